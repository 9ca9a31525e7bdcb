// Statistic counters that live in physical memory and run with virtual time:
// the DDR controllers' busy-cycle statistic blocks and the CPU cache event
// counters.
#pragma once

#include <cstdint>

#include "board.h"

namespace sim {

// DDR controllers: four statistic blocks, one page apart.
constexpr uint64_t kDdrStatBase = 0x12068000;
constexpr uint64_t kDdrStatStride = 0x1000;
constexpr unsigned kDdrClockMhz = 667;
constexpr uint32_t kDdrRun = 0x010;     // 1 starts a measuring period, 0 stops it
constexpr uint32_t kDdrPeriod = 0x26C;  // bit 28 enable, bits 0..27 length in 16-cycle units
constexpr uint32_t kDdrBusyRead = 0x380;
constexpr uint32_t kDdrBusyWrite = 0x384;
// Read back from the run register while a period runs and once it is over;
// a tool only ever writes 0 or 1, so the model sees every write.
constexpr uint32_t kDdrRunning = 0x80000001;
constexpr uint32_t kDdrDone = 0x40000000;

// Busy cycles per thousand DDR cycles, reading and writing, per controller.
struct DdrLoad {
  unsigned read_permille;
  unsigned write_permille;
};
constexpr DdrLoad kDdrLoads[4] = {{250, 125}, {100, 50}, {500, 125}, {30, 20}};

// Cache event counters: count down from all-ones at fixed event rates.
constexpr uint64_t kCacheCounterPage = 0x20700000;
struct CacheCounter {
  uint32_t offset;
  uint64_t per_second;
};
constexpr CacheCounter kCacheCounters[] = {
    {0x608, 10000000},   {0x60C, 40000000},  // L2 data read: 25 %
    {0x610, 2500000},    {0x614, 20000000},  // L2 data write: 12.5 %
    {0x618, 1600000},    {0x61C, 80000000},  // L1 instruction: 2 %
    {0x700, 1000000000},                     // cycles
    {0x704, 3000000},    {0x708, 50000000},  // L1 data: 6 % (94 % shown)
};

// Makes both blocks count on board's clock, from power-on at virtual time 0.
void add_perf_counters(Board& board);

}  // namespace sim
