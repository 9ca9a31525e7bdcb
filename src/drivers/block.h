// Requests of the kernel's block layer sent to disk and flash nodes, and the
// board's eMMC node.
#pragma once

namespace tav {

constexpr unsigned long BLKGETSIZE = 0x1260;        // capacity in 512-byte sectors, unsigned long
constexpr unsigned long BLKGETSIZE64 = 0x80081272;  // capacity in bytes, 64-bit
constexpr unsigned long BLKFLSBUF = 0x1261;         // write back and drop the device's buffers, no argument
constexpr unsigned long kBlkSectorSize = 512;

constexpr const char* kEmmcNode = "/dev/mmcblk0";

}  // namespace tav
