// Virtual time. Sleeps of the driving thread advance it at once; other threads
// wait until it reaches their wake-up. Interval timers and scheduled signals
// fire at their virtual times.
#pragma once

#include <time.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "outcomes.h"
#include "timers.h"

namespace sim {

class Clock {
 public:
  Clock();
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  uint64_t now_ns() const;
  // Advance to now + ns, delivering what falls due on the way.
  // A driving thread's sleep ends early once stop says so (checked as
  // events fall due on the way).
  void sleep_ns(uint64_t ns, const std::function<bool()>& stop = nullptr);
  // Deliver the next due event (timer or scheduled signal), advancing to it.
  // False when nothing is pending.
  bool run_next_event();
  void signal_at(uint64_t at_ns, int sig);
  int timer_create(int signo, timer_t* id, clockid_t clock = CLOCK_MONOTONIC);
  // TIMER_ABSTIME in flags takes the value on the timer's clock; a time
  // already past falls due now and the period keeps that time's phase.
  // True in *due_now when the timer is due at once.
  int timer_settime(timer_t id, const struct itimerspec* v, struct itimerspec* old, int flags = 0,
                    bool* due_now = nullptr);
  int timer_delete(timer_t id);
  uint64_t realtime_base_ns() const;
  void set_realtime(uint64_t ns_since_epoch);
  // The thread whose sleeps advance time (the one that built the clock).
  void set_driver_here();
  // A model may run an action when time passes (counters that tick).
  void on_advance(std::function<void(uint64_t now_ns)> fn);
  // Where signals go as they fall due; called on the thread moving time.
  void on_signal(std::function<void(int sig)> fn);
  // Time the calling thread spends inside a device transfer. Only that
  // thread's own clock reads see it, so concurrent threads each time their
  // own transfers without waiting for one another or for the driving thread.
  void spend_here(uint64_t ns);
  // The same for n bytes moved at bytes_per_second (0: free).
  void spend_transfer(uint64_t n, uint64_t bytes_per_second);
  uint64_t spent_here() const;
  // Wakes every thread waiting for virtual time; they get BoardGone.
  void close();

  // Threads the board starts count as running until they sleep; time stops
  // at their wake-ups and goes on only once they sleep again (or end), so
  // they do their work at their own virtual times. The starter calls
  // thread_starting before the thread exists, the thread itself calls
  // thread_begins_here first and thread_ended last.
  void thread_starting();
  void thread_begins_here();
  void thread_ended();
  // While it lives, a counted thread waiting outside virtual time (joining
  // another thread, moving time itself) does not hold time up.
  class Aside {
   public:
    explicit Aside(Clock& clock);
    ~Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

   private:
    Clock& clock_;
    bool counted_;
  };

 private:
  struct Pending {
    uint64_t at_ns;
    int sig;
  };
  // What one step of advancing did.
  struct Step {
    uint64_t now_ns;
    int sig;
    std::vector<std::function<void(uint64_t)>> tickers;
    std::function<void(int)> deliver;
  };
  bool counted_here() const;
  void advance_to(uint64_t target, const std::function<bool()>& stop = nullptr);
  Step step_toward(uint64_t target);
  void wait_quiet();
  mutable std::mutex mu_;
  std::condition_variable cv_;     // time moved, or the clock closed
  std::condition_variable quiet_;  // a counted thread went to sleep or ended
  uint64_t now_ns_;
  uint64_t realtime_base_ns_;
  TimerQueue timers_;
  std::vector<Pending> pending_;
  std::vector<std::function<void(uint64_t)>> tickers_;
  std::function<void(int)> deliver_;
  std::thread::id driver_;
  bool closed_ = false;
  std::multiset<uint64_t> wakeups_;  // of the counted threads asleep
  int running_ = 0;                  // counted threads neither asleep nor aside
  const uint64_t id_;                // tells this clock's threads and time from an older clock's
};

}  // namespace sim
