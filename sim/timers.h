// Interval timers on the virtual time line. Not locked: the clock keeps them
// under its own lock.
#pragma once

#include <time.h>

#include <cstdint>
#include <vector>

namespace sim {

class TimerQueue {
 public:
  struct Due {
    int id = 0;  // 0: nothing due
    uint64_t at_ns = UINT64_MAX;
  };
  // The new timer's id, from 1.
  int create(int signo, clockid_t clock);
  // Arms or disarms timer id at virtual time now_ns. TIMER_ABSTIME in flags
  // takes the value on the timer's own clock, CLOCK_REALTIME being
  // realtime_base_ns ahead of the virtual time line; a time already past
  // falls due now (*due_now) and the period keeps that time's phase.
  // 0 or -EINVAL for an unknown id.
  int settime(int id, const struct itimerspec& v, struct itimerspec* old, int flags, uint64_t now_ns,
              uint64_t realtime_base_ns, bool* due_now);
  int remove(int id);
  // The armed timer expiring first, at or before limit_ns.
  Due first_due(uint64_t limit_ns) const;
  // Expires timer id: re-arms it for its next period (or disarms a one-shot)
  // and returns its signal.
  int expire(int id);

 private:
  struct Timer {
    int id;
    int signo;
    uint64_t next_ns;  // 0 = disarmed
    uint64_t interval_ns;
    clockid_t clock;
    uint64_t rearm_ns;  // next expiry after an overdue first one, 0 = next_ns + interval_ns
  };
  Timer* find(int id);
  std::vector<Timer> timers_;
  int next_id_ = 1;
};

uint64_t to_ns(const struct timespec& ts);
struct timespec to_ts(uint64_t ns);

}  // namespace sim
