// The eMMC read/write test and its 1 MiB block reader and writer.
#pragma once

namespace tav {

constexpr long kEmmcBlock = 0x100000;

// Negative offsets count from the end of the device. Both return 0 on
// success and a small positive code naming the step that failed.
int emmc_block_write(int fd, const unsigned char* buf, long off);
int emmc_block_read(int fd, unsigned char* buf, long off);

}  // namespace tav
