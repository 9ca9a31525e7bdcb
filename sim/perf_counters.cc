#include "perf_counters.h"

#include <memory>

namespace sim {

namespace {

constexpr uint64_t kNsPerSec = 1000000000ull;

// Events at rate per_second up to time t, exact over any split of time.
uint64_t events(uint64_t per_second, uint64_t t_ns) {
  return (t_ns / kNsPerSec) * per_second + (t_ns % kNsPerSec) * per_second / kNsPerSec;
}

class PerfCounters {
 public:
  PerfCounters(PhysMem& mem, uint64_t now) : mem_(mem), last_(now) {
    for (const auto& c : kCacheCounters)
      mem_.write32(kCacheCounterPage + c.offset, ~static_cast<uint32_t>(events(c.per_second, now)));
  }

  void tick(uint64_t now) {
    for (unsigned i = 0; i < 4; ++i) tick_ddr(i, now);
    // Each counter falls by the events since the last look, from whatever
    // the tools preset it to meanwhile.
    for (const auto& c : kCacheCounters) {
      uint64_t at = kCacheCounterPage + c.offset;
      auto n = static_cast<uint32_t>(events(c.per_second, now) - events(c.per_second, last_));
      mem_.write32(at, mem_.read32(at) - n);
    }
    last_ = now;
  }

 private:
  struct Period {
    bool running = false;
    uint64_t start = 0;
    uint64_t end = 0;
  };

  void tick_ddr(unsigned i, uint64_t now) {
    uint64_t base = kDdrStatBase + i * kDdrStatStride;
    Period& p = ddr_[i];
    uint32_t run = mem_.read32(base + kDdrRun);
    // A write made since the last look was made by a handler right after
    // it, so it took effect then.
    if (run == 1) {
      uint32_t period = mem_.read32(base + kDdrPeriod);
      if ((period & 0x10000000) == 0) return;  // not enabled: the request waits
      p.running = true;
      p.start = last_;
      p.end = last_ + uint64_t{period & 0x0FFFFFFF} * 16 * 1000 / kDdrClockMhz;
      mem_.write32(base + kDdrRun, kDdrRunning);
    } else if (run == 0 && p.running) {
      update_ddr(i, last_);
      p.running = false;
      return;
    }
    if (!p.running) return;
    update_ddr(i, now < p.end ? now : p.end);
    if (now >= p.end) {
      p.running = false;
      mem_.write32(base + kDdrRun, kDdrDone);
    }
  }

  void update_ddr(unsigned i, uint64_t until) {
    uint64_t base = kDdrStatBase + i * kDdrStatStride;
    uint64_t cycles = (until - ddr_[i].start) * kDdrClockMhz / 1000;
    mem_.write32(base + kDdrBusyRead, static_cast<uint32_t>(cycles * kDdrLoads[i].read_permille / 1000));
    mem_.write32(base + kDdrBusyWrite, static_cast<uint32_t>(cycles * kDdrLoads[i].write_permille / 1000));
  }

  PhysMem& mem_;
  uint64_t last_;
  Period ddr_[4];
};

}  // namespace

void add_perf_counters(Board& board) {
  auto model = std::make_shared<PerfCounters>(board.mem(), board.clock().now_ns());
  board.clock().on_advance([model](uint64_t now) { model->tick(now); });
}

}  // namespace sim
