// eMMC test: read and write speed over the 10 MiB that end 1 MiB before the
// device's end, a check of the written data, and the region left erased.
#pragma once

namespace tav {

constexpr const char* kEmmcPath = "/dev/mmcblk0";

// Always returns 0: the printed "Test EMMC OK" or "Test EMMC failed" is the verdict.
int emmc_test(int argc, char** argv);

}  // namespace tav
