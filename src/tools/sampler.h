// The sampling loop hiddrs and hil2s share: a window of physical memory
// mapped through /dev/mem, a sample on every tick of an interval timer, and
// an orderly end (unmapped, closed, status 0) on Ctrl-C.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace tav {

struct SamplerSetup {
  const char* name;  // leads every failure message, e.g. "ddr statistic"
  off_t base;
  size_t size;
  long interval;  // seconds between samples; also the timer's absolute first expiry
  void (*map_failed)();
  void (*before_arm)(volatile uint8_t* area);  // may be null
  void (*after_arm)(volatile uint8_t* area);   // may be null; the first sample has come
  void (*heading)();
  void (*sample)(volatile uint8_t* area);    // from the signal handler
  void (*stopping)(volatile uint8_t* area);  // may be null; from the Ctrl-C handler
};

// -1 after a failure before sampling starts; otherwise the process ends from
// the Ctrl-C handler and this never returns.
int run_sampler(const SamplerSetup& setup);

}  // namespace tav
