// hiddrs: how busy the DDR controllers are, sampled on a timer signal until
// Ctrl-C.
#include <fcntl.h>
#include <sys/mman.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/access.h"
#include "tools/sampler.h"
#include "tools/tools.h"

namespace tav {

namespace {

const char* const kHelp[] = {
    "NAME",
    "  ddrs - ddr statistic\n",
    "DESCRIPTION",
    "  Statistic percentage of occupation of ddr.\n",
    "  -d, --ddrc",
    "      which ddrc you want statistic. \"0\" statistic ddrc0,",
    "      \"1\" statistic ddrc1,  \"2\" statistic ddrc2, \"3\" statistic ddrc3,\"4\" statistic ddrc0-3 at the same "
    "time. \"0\" as default.",
    "  -f, --freq",
    "      one ddcr freq, one chip, please set the freq referring to the chip.",
    "      \"667\" as default.",
    "  -w, --width",
    "      set the bit-width referring to the chip. \"32\" or \"16\".",
    "      \"32\" as default.",
    "  -i, --interval",
    "      the range is 1~3 second, 1 second as default.",
    "  -h, --help",
    "      display this help and exit",
    "  eg:",
    "      $ hiddrs -d 0 -f 667 -i 1",
    "      or",
    "      $ hiddrs",
};

constexpr off_t kAreaBase = 0x12060000;
constexpr size_t kAreaSize = 0x20000;
constexpr size_t kBlockOffset = 0x8000;  // ddrc0; the others follow a page apart
constexpr int kBlocks = 4;
constexpr unsigned long kAllBlocks = 4;
// Registers of a statistic block.
constexpr size_t kRun = 0x010;
constexpr size_t kPeriod = 0x26C;
constexpr size_t kBusyFirst = 0x380;
constexpr size_t kBusySecond = 0x384;
constexpr uint32_t kPeriodEnable = 0x10000000;
constexpr uint32_t kPeriodMask = 0x0FFFFFFF;

enum class Opt { Ddrc, Freq, Width, Interval, Help };
struct OptionRow {
  const char* short_name;
  const char* long_name;
  Opt opt;
};
constexpr OptionRow kOptions[] = {
    {"-d", "--ddrc", Opt::Ddrc},         {"-f", "--freq", Opt::Freq}, {"-w", "--width", Opt::Width},
    {"-i", "--interval", Opt::Interval}, {"-h", "--help", Opt::Help},
};

// Shared with the sampler's handlers; all set before the timer is armed.
struct DdrsState {
  unsigned long ddrc;
  unsigned long width;
  unsigned long interval;
  uint32_t freq;
  uint32_t period_word;
  volatile uint8_t* block[kBlocks];
};
DdrsState g_ddrs;

void print_help() {
  for (const char* line : kHelp) puts(line);
}

bool all_digits(const char* s) {
  for (; *s != '\0'; ++s)
    if (!isdigit(static_cast<unsigned char>(*s))) return false;
  return true;
}

bool in_range(Opt opt, unsigned long v) {
  switch (opt) {
    case Opt::Ddrc:
      return v <= kAllBlocks;
    case Opt::Freq:
      return static_cast<int32_t>(v) >= 0;
    case Opt::Width:
      return v == 16 || v == 32;
    case Opt::Interval:
      return v <= 3;
    case Opt::Help:
      return true;
  }
  return false;
}

// 0 when the words are good.
int parse_options(int argc, char** argv) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const OptionRow* row = nullptr;
    for (const OptionRow& r : kOptions)
      if (strcmp(argv[i], r.short_name) == 0 || strcmp(argv[i], r.long_name) == 0) row = &r;
    if (row == nullptr) return -1;
    if (row->opt == Opt::Help) {
      print_help();
      continue;
    }
    const char* word = argv[i + 1];
    if (!all_digits(word)) return -1;
    unsigned long v = strtoul(word, nullptr, 10);
    if (!in_range(row->opt, v)) return -1;
    switch (row->opt) {
      case Opt::Ddrc:
        g_ddrs.ddrc = v;
        break;
      case Opt::Freq:
        g_ddrs.freq = static_cast<uint32_t>(v);
        break;
      case Opt::Width:
        g_ddrs.width = v;
        break;
      case Opt::Interval:
        g_ddrs.interval = v;
        break;
      case Opt::Help:
        break;
    }
  }
  return 0;
}

double busy_percent(volatile uint8_t* block) {
  double divisor = static_cast<int32_t>(load<uint32_t>(block + kPeriod) & kPeriodMask);
  uint32_t busy = load<uint32_t>(block + kBusyFirst) + load<uint32_t>(block + kBusySecond);
  double percent = static_cast<double>(busy) / divisor * 100.0 * 0.0625;
  return g_ddrs.width == 16 ? percent * 2 : percent;
}

// Starts a new measuring period on every block.
void restart_all() {
  for (volatile uint8_t* b : g_ddrs.block) store<uint32_t>(b + kRun, 1);
}

void sample(volatile uint8_t*) {
  if (g_ddrs.ddrc == kAllBlocks) {
    volatile uint8_t* const* b = g_ddrs.block;
    printf("ddrc0[%0.2f%%] ddrc1[%0.2f%%] ddrc2[%0.2f%%] ddrc3[%0.2f%%]\n", busy_percent(b[0]), busy_percent(b[1]),
           busy_percent(b[2]), busy_percent(b[3]));
    for (volatile uint8_t* one : g_ddrs.block) store<uint32_t>(one + kPeriod, g_ddrs.period_word);
  } else {
    volatile uint8_t* b = g_ddrs.block[g_ddrs.ddrc];
    // KEPT: controllers 1 to 3 all carry the label of controller 1.
    printf(g_ddrs.ddrc == 0 ? "ddrc0[%0.2f%%]\n" : "ddrc1[%0.2f%%]\n", busy_percent(b));
    store<uint32_t>(b + kPeriod, g_ddrs.period_word);
  }
  restart_all();
}

void stop_counting(volatile uint8_t*) {
  for (volatile uint8_t* b : g_ddrs.block) store<uint32_t>(b + kRun, 0);
}

void map_failed() { printf("ddr%d statistic mmap failed.\n", static_cast<int>(g_ddrs.ddrc)); }

// Programs the measuring period and starts every block.
void start(volatile uint8_t* area) {
  for (int i = 0; i < kBlocks; ++i) g_ddrs.block[i] = area + kBlockOffset + 0x1000 * i;
  // KEPT: wraps in 32 bits above 4294 MHz and is cut to the register's 28 bits.
  uint32_t cycles16 = (g_ddrs.freq * 1000000u) >> 4;
  g_ddrs.period_word = ((cycles16 * static_cast<uint32_t>(g_ddrs.interval)) & kPeriodMask) | kPeriodEnable;
  if (g_ddrs.ddrc == kAllBlocks) {
    for (volatile uint8_t* b : g_ddrs.block) store<uint32_t>(b + kPeriod, g_ddrs.period_word);
  } else {
    store<uint32_t>(g_ddrs.block[g_ddrs.ddrc] + kPeriod, g_ddrs.period_word);
  }
  restart_all();
}

void heading() { puts("===== ddr statistic ====="); }

}  // namespace

int hiddrs(int argc, char** argv) {
  g_ddrs = DdrsState{0, 32, 1, 667, 0, {}};
  if (argc % 2 == 0 || parse_options(argc, argv) != 0) {
    print_help();
    return -1;
  }
  const SamplerSetup setup = {"ddr statistic", kAreaBase,    kAreaSize, static_cast<long>(g_ddrs.interval),
                              map_failed,      start,        nullptr,   heading,
                              sample,          stop_counting};
  return run_sampler(setup);
}

}  // namespace tav
