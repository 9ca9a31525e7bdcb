// Requests of the kernel's block layer sent to disk and flash nodes, and the
// board's eMMC node.
#pragma once

#include "drivers/requests.h"

namespace tav {

constexpr unsigned long kBlkSectorSize = 512;

constexpr const char* kEmmcNode = "/dev/mmcblk0";

}  // namespace tav
