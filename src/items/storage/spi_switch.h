// SPI flash switch test: 20 threads on the NOR (through the boot
// environment) and 20 on the NAND (through an MTD block device) at once.
#pragma once

namespace tav {

// Rounds each thread makes. Tests shorten it: 20 threads rewriting a
// megabyte 10000 times each is the board's load, not a unit test's.
constexpr int kSpiSwitchRounds = 10000;
void set_spi_switch_rounds(int rounds);

}  // namespace tav
