#include "timers.h"

#include <errno.h>

#include <algorithm>

namespace sim {

namespace {
constexpr uint64_t kNsPerSec = 1000000000ull;
}  // namespace

uint64_t to_ns(const struct timespec& ts) {
  return static_cast<uint64_t>(ts.tv_sec) * kNsPerSec + static_cast<uint64_t>(ts.tv_nsec);
}

struct timespec to_ts(uint64_t ns) {
  struct timespec ts;
  ts.tv_sec = static_cast<time_t>(ns / kNsPerSec);
  ts.tv_nsec = static_cast<long>(ns % kNsPerSec);
  return ts;
}

int TimerQueue::create(int signo, clockid_t clock) {
  int id = next_id_++;
  timers_.push_back(Timer{id, signo, 0, 0, clock, 0});
  return id;
}

TimerQueue::Timer* TimerQueue::find(int id) {
  auto it = std::find_if(timers_.begin(), timers_.end(), [id](const Timer& t) { return t.id == id; });
  return it == timers_.end() ? nullptr : &*it;
}

int TimerQueue::settime(int id, const struct itimerspec& v, struct itimerspec* old, int flags, uint64_t now_ns,
                        uint64_t realtime_base_ns, bool* due_now) {
  *due_now = false;
  Timer* t = find(id);
  if (t == nullptr) return -EINVAL;
  if (old != nullptr) {
    old->it_interval = to_ts(t->interval_ns);
    old->it_value = to_ts(t->next_ns ? t->next_ns - now_ns : 0);
  }
  uint64_t first = to_ns(v.it_value);
  t->interval_ns = to_ns(v.it_interval);
  t->rearm_ns = 0;
  if (first == 0) {
    t->next_ns = 0;
  } else if ((flags & TIMER_ABSTIME) == 0) {
    t->next_ns = now_ns + first;
  } else {
    bool realtime = t->clock == CLOCK_REALTIME || t->clock == CLOCK_REALTIME_COARSE;
    uint64_t base = realtime ? realtime_base_ns : 0;
    uint64_t now_on_clock = now_ns + base;
    if (first > now_on_clock) {
      t->next_ns = first - base;
    } else {
      // Overdue: expires at once, then on the period's own phase, as the
      // kernel forwards it.
      t->next_ns = now_ns;
      if (t->interval_ns != 0)
        t->rearm_ns = first + ((now_on_clock - first) / t->interval_ns + 1) * t->interval_ns - base;
      *due_now = true;
    }
  }
  return 0;
}

int TimerQueue::remove(int id) {
  auto it = std::find_if(timers_.begin(), timers_.end(), [id](const Timer& t) { return t.id == id; });
  if (it == timers_.end()) return -EINVAL;
  timers_.erase(it);
  return 0;
}

TimerQueue::Due TimerQueue::first_due(uint64_t limit_ns) const {
  Due due;
  // KEPT: of timers due at the same time, the one created last fires first.
  for (const auto& t : timers_)
    if (t.next_ns != 0 && t.next_ns <= limit_ns && t.next_ns <= due.at_ns) due = Due{t.id, t.next_ns};
  return due;
}

int TimerQueue::expire(int id) {
  Timer* t = find(id);
  if (t == nullptr) return 0;
  if (t->rearm_ns != 0)
    t->next_ns = t->rearm_ns;
  else
    t->next_ns = t->interval_ns ? t->next_ns + t->interval_ns : 0;
  t->rearm_ns = 0;
  return t->signo;
}

}  // namespace sim
