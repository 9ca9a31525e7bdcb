// The wall clock as the items time their phases: microseconds, through the
// seam so the simulated board's virtual time stands in for it.
#pragma once

#include <time.h>

#include "sys/sys.h"

namespace tav {

inline struct timespec wall_now() {
  struct timespec ts = {0, 0};
  sys::clock_gettime(CLOCK_REALTIME, &ts);
  return ts;
}

// Seconds from one reading to the next, to the microsecond.
inline double elapsed_seconds(const struct timespec& from, const struct timespec& to) {
  return static_cast<double>(to.tv_nsec / 1000 - from.tv_nsec / 1000) / 1e6 +
         static_cast<double>(to.tv_sec - from.tv_sec);
}

// An amount per second over a phase; the plain amount when no time passed.
inline double per_second(double amount, const struct timespec& from, const struct timespec& to) {
  double elapsed = elapsed_seconds(from, to);
  return elapsed == 0 ? amount : amount / elapsed;
}

}  // namespace tav
