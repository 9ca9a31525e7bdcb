// hil2s: cache hit ratios from the CPU's event counters, sampled on a timer
// signal until Ctrl-C.
#include <fcntl.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/access.h"
#include "tools/sampler.h"
#include "tools/tools.h"

namespace tav {

namespace {

const char* const kUsage[] = {
    "L2 cache statistic usage like this:",
    "\thil2s [second=1,2,3...]",
    "\teg. hil2s 2",
};

constexpr off_t kPageBase = 0x20700000;
constexpr size_t kPageSize = 4096;
// The counters count down from all-ones; presetting restarts them, in this
// order.
constexpr size_t kPresetOrder[] = {0x700, 0x704, 0x708, 0x608, 0x60C, 0x610, 0x614, 0x618, 0x61C};
constexpr size_t kL2ReadHit = 0x608, kL2Read = 0x60C;
constexpr size_t kL2WriteHit = 0x610, kL2Write = 0x614;
constexpr size_t kL1InstrHit = 0x618, kL1Instr = 0x61C;
constexpr size_t kL1DataMiss = 0x704, kL1Data = 0x708;

// Set before the timer is armed; read by the sampler's handlers.
volatile uint8_t* g_page;

void preset(volatile uint8_t*) {
  for (size_t off : kPresetOrder) store<uint32_t>(g_page + off, 0xFFFFFFFFu);
}

float count(size_t off) { return static_cast<float>(~load<uint32_t>(g_page + off)); }

void sample(volatile uint8_t* page) {
  float l2_read = count(kL2ReadHit) / count(kL2Read) * 100.0f;
  float l2_write = count(kL2WriteHit) / count(kL2Write) * 100.0f;
  float l1_instr = count(kL1InstrHit) / count(kL1Instr) * 100.0f;
  float l1_data = (1.0f - count(kL1DataMiss) / count(kL1Data)) * 100.0f;
  printf("%0.2f%% %8.2f%% %8.2f%% %8.2f%%\n", l2_read, l2_write, l1_instr, l1_data);
  preset(page);
}

void keep_page(volatile uint8_t* page) { g_page = page; }

void map_failed() { puts("cache statistic mmap failed."); }

void heading() {
  puts("===== L2 cache statistic =====");
  printf("%s %10s %8s %8s\n", "L2 dr", "L2 dw", "L1 i", "L1 d");
}

}  // namespace

int hil2s(int argc, char** argv) {
  long interval = 1;
  if (argc == 2) {
    interval = strtol(argv[1], nullptr, 10);
  } else if (argc != 1) {
    for (const char* line : kUsage) puts(line);
    return -1;
  }
  g_page = nullptr;
  // The first sample comes before the counters are preset; unlike the DDR
  // statistic, the counters are left running at the end.
  const SamplerSetup setup = {"cache statistic", kPageBase, kPageSize, interval, map_failed,
                              keep_page,         preset,    heading,   sample,   nullptr};
  return run_sampler(setup);
}

}  // namespace tav
