#include "clock.h"

#include <algorithm>
#include <atomic>

#include "locked.h"

namespace sim {

namespace {
constexpr uint64_t kNsPerSec = 1000000000ull;
// 2026-01-01 00:00:00 UTC: a plausible wall clock for the board.
constexpr uint64_t kDefaultRealtime = 1767225600ull * kNsPerSec;

std::atomic<uint64_t> g_clocks{0};
struct Spent {
  uint64_t clock_id = 0;
  uint64_t ns = 0;
};
thread_local Spent t_spent;
// The clock counting the calling thread, if one does, and whether the thread
// has stepped aside from it.
thread_local uint64_t t_counted_by = 0;
thread_local bool t_aside = false;
}  // namespace

Clock::Clock()
    : now_ns_(kNsPerSec),
      realtime_base_ns_(kDefaultRealtime - kNsPerSec),
      driver_(std::this_thread::get_id()),
      id_(++g_clocks) {}

bool Clock::counted_here() const { return t_counted_by == id_ && !t_aside; }

void Clock::spend_here(uint64_t ns) {
  if (t_spent.clock_id != id_) t_spent = Spent{id_, 0};
  t_spent.ns += ns;
}

void Clock::spend_transfer(uint64_t n, uint64_t bytes_per_second) {
  if (bytes_per_second != 0)
    spend_here(static_cast<uint64_t>((static_cast<unsigned __int128>(n) * kNsPerSec) / bytes_per_second));
}

uint64_t Clock::spent_here() const { return t_spent.clock_id == id_ ? t_spent.ns : 0; }

void Clock::close() {
  std::lock_guard<std::mutex> lock(mu_);
  closed_ = true;
  cv_.notify_all();
  quiet_.notify_all();
}

void Clock::thread_starting() {
  std::lock_guard<std::mutex> lock(mu_);
  ++running_;
}

void Clock::thread_begins_here() { t_counted_by = id_; }

void Clock::thread_ended() {
  std::lock_guard<std::mutex> lock(mu_);
  --running_;
  quiet_.notify_all();
}

Clock::Aside::Aside(Clock& clock) : clock_(clock), counted_(clock.counted_here()) {
  if (!counted_) return;
  t_aside = true;
  std::lock_guard<std::mutex> lock(clock_.mu_);
  --clock_.running_;
  clock_.quiet_.notify_all();
}

Clock::Aside::~Aside() {
  if (!counted_) return;
  t_aside = false;
  std::lock_guard<std::mutex> lock(clock_.mu_);
  ++clock_.running_;
}

uint64_t Clock::now_ns() const { return locked_read(mu_, now_ns_); }

uint64_t Clock::realtime_base_ns() const { return locked_read(mu_, realtime_base_ns_); }

void Clock::set_realtime(uint64_t ns_since_epoch) {
  std::lock_guard<std::mutex> lock(mu_);
  realtime_base_ns_ = ns_since_epoch - now_ns_;
}

void Clock::set_driver_here() { locked_write(mu_, driver_, std::this_thread::get_id()); }

void Clock::on_advance(std::function<void(uint64_t)> fn) {
  std::lock_guard<std::mutex> lock(mu_);
  tickers_.push_back(std::move(fn));
}

void Clock::on_signal(std::function<void(int)> fn) { locked_write(mu_, deliver_, std::move(fn)); }

void Clock::sleep_ns(uint64_t ns, const std::function<bool()>& stop) {
  std::unique_lock<std::mutex> lock(mu_);
  uint64_t target = now_ns_ + ns;
  if (std::this_thread::get_id() == driver_) {
    lock.unlock();
    advance_to(target, stop);
    return;
  }
  if (closed_) throw BoardGone{};
  if (now_ns_ >= target) return;
  // Another thread waits for the driver to bring time to its wake-up.
  const bool counted = counted_here();
  if (counted) {
    wakeups_.insert(target);
    --running_;
    quiet_.notify_all();
  }
  cv_.wait(lock, [&] { return now_ns_ >= target || closed_; });
  if (counted && now_ns_ < target) {
    // Woken by close: the driver did not count this thread as running again.
    wakeups_.erase(wakeups_.find(target));
    ++running_;
  }
  if (closed_) throw BoardGone{};
}

void Clock::wait_quiet() {
  // Counted threads each reach a sleep, an end or an Aside; none waits on
  // the driver by other means, so this wait needs no bound.
  std::unique_lock<std::mutex> lock(mu_);
  quiet_.wait(lock, [&] { return running_ <= 0 || closed_; });
}

Clock::Step Clock::step_toward(uint64_t target) {
  std::lock_guard<std::mutex> lock(mu_);
  TimerQueue::Due timer = timers_.first_due(target);
  uint64_t due = timer.id != 0 ? timer.at_ns : target;
  auto pending = pending_.end();
  // KEPT: a timer goes before a signal scheduled for its time; of signals
  // scheduled for one time, the last scheduled goes first.
  for (auto it = pending_.begin(); it != pending_.end(); ++it)
    if (it->at_ns <= due && (timer.id == 0 || it->at_ns < due)) {
      due = it->at_ns;
      pending = it;
      timer.id = 0;
    }
  if (!wakeups_.empty() && *wakeups_.begin() < due) {
    due = *wakeups_.begin();
    timer.id = 0;
    pending = pending_.end();
  }
  if (due > now_ns_) now_ns_ = due;
  while (!wakeups_.empty() && *wakeups_.begin() <= now_ns_) {
    wakeups_.erase(wakeups_.begin());
    ++running_;
  }
  Step step{now_ns_, 0, tickers_, deliver_};
  if (timer.id != 0) {
    step.sig = timers_.expire(timer.id);
  } else if (pending != pending_.end()) {
    step.sig = pending->sig;
    pending_.erase(pending);
  }
  return step;
}

void Clock::advance_to(uint64_t target, const std::function<bool()>& stop) {
  // A counted thread moving time itself must not wait for itself.
  Aside aside(*this);
  for (;;) {
    // A thread just started or woken does its work at the time it was given.
    wait_quiet();
    Step step = step_toward(target);
    cv_.notify_all();
    wait_quiet();
    for (auto& fn : step.tickers) fn(step.now_ns);
    if (step.sig != 0 && step.deliver) step.deliver(step.sig);
    if (step.now_ns >= target && step.sig == 0) return;
    if (stop && stop()) return;
  }
}

bool Clock::run_next_event() {
  uint64_t due;
  {
    std::lock_guard<std::mutex> lock(mu_);
    due = timers_.first_due(UINT64_MAX).at_ns;
    for (auto& p : pending_) due = std::min(due, p.at_ns);
    if (due == UINT64_MAX) return false;
    if (due < now_ns_) due = now_ns_;
  }
  advance_to(due);
  return true;
}

void Clock::signal_at(uint64_t at_ns, int sig) {
  std::lock_guard<std::mutex> lock(mu_);
  pending_.push_back(Pending{at_ns, sig});
}

int Clock::timer_create(int signo, timer_t* id, clockid_t clock) {
  std::lock_guard<std::mutex> lock(mu_);
  int n = timers_.create(signo, clock);
  *id = reinterpret_cast<timer_t>(static_cast<intptr_t>(n));
  return 0;
}

int Clock::timer_settime(timer_t id, const struct itimerspec* v, struct itimerspec* old, int flags, bool* due_now) {
  bool ignored = false;
  std::lock_guard<std::mutex> lock(mu_);
  int n = static_cast<int>(reinterpret_cast<intptr_t>(id));
  return timers_.settime(n, *v, old, flags, now_ns_, realtime_base_ns_, due_now != nullptr ? due_now : &ignored);
}

int Clock::timer_delete(timer_t id) {
  std::lock_guard<std::mutex> lock(mu_);
  return timers_.remove(static_cast<int>(reinterpret_cast<intptr_t>(id)));
}

}  // namespace sim
