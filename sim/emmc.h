// The board's eMMC: a block device whose data is kept, so what a test
// writes reads back.
#pragma once

#include <cstdint>

#include "board.h"
#include "drivers/block.h"

namespace sim {

constexpr uint64_t kEmmcBytes = uint64_t{15269888} * 512;  // an "8 GB" part
constexpr uint64_t kEmmcRate = uint64_t{40} << 20;

void add_emmc(Board& board);

}  // namespace sim
