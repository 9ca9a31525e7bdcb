// Interval timers on the virtual time line, without threads or a board.
#include "sim/timers.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <vector>

namespace {

constexpr uint64_t kSec = 1000000000ull;

struct timespec ts(uint64_t ns) {
  return sim::to_ts(ns);
}

// The virtual times at which the timer expires next, up to n of them.
std::vector<uint64_t> expiries(sim::TimerQueue& q, int n) {
  std::vector<uint64_t> out;
  for (int i = 0; i < n; ++i) {
    sim::TimerQueue::Due due = q.first_due(UINT64_MAX);
    if (due.id == 0) break;
    out.push_back(due.at_ns);
    q.expire(due.id);
  }
  return out;
}

TEST(SimTimers, expiries_follow_value_period_clock_and_flags) {
  const uint64_t now = 100 * kSec;
  const uint64_t base = 5000 * kSec;  // CLOCK_REALTIME is this far ahead
  struct Case {
    const char* name;
    clockid_t clock;
    int flags;
    uint64_t value, interval;
    bool due_now;
    std::vector<uint64_t> expected;
  };
  const Case cases[] = {
      {"relative one-shot", CLOCK_MONOTONIC, 0, 2 * kSec, 0, false, {now + 2 * kSec}},
      {"relative periodic",
       CLOCK_MONOTONIC,
       0,
       2 * kSec,
       3 * kSec,
       false,
       {now + 2 * kSec, now + 5 * kSec, now + 8 * kSec}},
      {"zero value disarms", CLOCK_MONOTONIC, 0, 0, 3 * kSec, false, {}},
      {"absolute monotonic ahead",
       CLOCK_MONOTONIC,
       TIMER_ABSTIME,
       150 * kSec,
       kSec,
       false,
       {150 * kSec, 151 * kSec, 152 * kSec}},
      {"absolute realtime ahead", CLOCK_REALTIME, TIMER_ABSTIME, base + 130 * kSec, 0, false, {130 * kSec}},
      // Overdue: once at once, then on the phase of the time asked for.
      {"absolute overdue periodic",
       CLOCK_MONOTONIC,
       TIMER_ABSTIME,
       93 * kSec,
       5 * kSec,
       true,
       {now, 103 * kSec, 108 * kSec}},
      {"absolute overdue realtime",
       CLOCK_REALTIME,
       TIMER_ABSTIME,
       base + 99 * kSec + kSec / 2,
       kSec,
       true,
       {now, now + kSec / 2, now + kSec + kSec / 2}},
      {"absolute overdue one-shot", CLOCK_MONOTONIC, TIMER_ABSTIME, 10 * kSec, 0, true, {now}},
      {"absolute exactly now", CLOCK_MONOTONIC, TIMER_ABSTIME, now, 4 * kSec, true, {now, now + 4 * kSec}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    sim::TimerQueue q;
    int id = q.create(SIGALRM, c.clock);
    struct itimerspec v = {ts(c.interval), ts(c.value)};
    bool due_now = !c.due_now;
    ASSERT_EQ(q.settime(id, v, nullptr, c.flags, now, base, &due_now), 0);
    EXPECT_EQ(due_now, c.due_now);
    EXPECT_EQ(expiries(q, static_cast<int>(c.expected.size()) + (c.interval && c.value ? 0 : 1)), c.expected);
  }
}

TEST(SimTimers, earliest_of_several_fires_first_and_limit_is_respected) {
  sim::TimerQueue q;
  int slow = q.create(SIGUSR1, CLOCK_MONOTONIC);
  int fast = q.create(SIGUSR2, CLOCK_MONOTONIC);
  struct itimerspec every3 = {ts(3 * kSec), ts(3 * kSec)};
  struct itimerspec every2 = {ts(2 * kSec), ts(2 * kSec)};
  bool due_now;
  q.settime(slow, every3, nullptr, 0, 0, 0, &due_now);
  q.settime(fast, every2, nullptr, 0, 0, 0, &due_now);
  EXPECT_EQ(q.first_due(kSec).id, 0);
  std::vector<int> signals;
  for (int i = 0; i < 5; ++i) signals.push_back(q.expire(q.first_due(UINT64_MAX).id));
  // 2 (fast), 3 (slow), 4 (fast), 6 (both, the later created first), 6.
  EXPECT_EQ(signals, (std::vector<int>{SIGUSR2, SIGUSR1, SIGUSR2, SIGUSR2, SIGUSR1}));
}

TEST(SimTimers, old_value_reports_what_was_left_and_deleted_timers_are_gone) {
  sim::TimerQueue q;
  int id = q.create(SIGALRM, CLOCK_MONOTONIC);
  bool due_now;
  struct itimerspec v = {ts(kSec), ts(10 * kSec)};
  q.settime(id, v, nullptr, 0, 0, 0, &due_now);
  struct itimerspec old;
  struct itimerspec off = {ts(0), ts(0)};
  ASSERT_EQ(q.settime(id, off, &old, 0, 4 * kSec, 0, &due_now), 0);
  EXPECT_EQ(sim::to_ns(old.it_value), 6 * kSec);
  EXPECT_EQ(sim::to_ns(old.it_interval), kSec);
  EXPECT_EQ(q.first_due(UINT64_MAX).id, 0);

  q.settime(id, v, nullptr, 0, 0, 0, &due_now);
  EXPECT_EQ(q.remove(id), 0);
  EXPECT_EQ(q.first_due(UINT64_MAX).id, 0);
  EXPECT_EQ(q.remove(id), -EINVAL);
  EXPECT_EQ(q.settime(id, v, nullptr, 0, 0, 0, &due_now), -EINVAL);
  EXPECT_NE(q.create(SIGALRM, CLOCK_MONOTONIC), id);  // ids are not reused
}

}  // namespace
