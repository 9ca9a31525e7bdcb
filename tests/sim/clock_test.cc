// The virtual clock on its own: what falls due while the driving thread
// sleeps, and threads it counts doing their work at their own times.
#include "sim/clock.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr uint64_t kSec = 1000000000ull;

// A clock with its signals recorded as (virtual time, signal).
struct Recorded {
  sim::Clock clock;
  std::vector<std::pair<uint64_t, int>> signals;
  Recorded() {
    clock.on_signal([this](int sig) { signals.emplace_back(clock.now_ns(), sig); });
  }
};

TEST(SimClock, timers_and_scheduled_signals_fall_due_in_time_order_during_a_sleep) {
  Recorded r;
  const uint64_t t0 = r.clock.now_ns();
  timer_t periodic, once;
  r.clock.timer_create(SIGALRM, &periodic);
  r.clock.timer_create(SIGUSR1, &once);
  struct itimerspec every3 = {{3, 0}, {3, 0}};
  struct itimerspec after5 = {{0, 0}, {5, 0}};
  r.clock.timer_settime(periodic, &every3, nullptr);
  r.clock.timer_settime(once, &after5, nullptr);
  r.clock.signal_at(t0 + 4 * kSec, SIGINT);
  r.clock.sleep_ns(10 * kSec);
  EXPECT_EQ(r.clock.now_ns(), t0 + 10 * kSec);
  std::vector<std::pair<uint64_t, int>> expected = {
      {t0 + 3 * kSec, SIGALRM}, {t0 + 4 * kSec, SIGINT},  {t0 + 5 * kSec, SIGUSR1},
      {t0 + 6 * kSec, SIGALRM}, {t0 + 9 * kSec, SIGALRM},
  };
  EXPECT_EQ(r.signals, expected);
  r.clock.timer_delete(periodic);
  r.clock.sleep_ns(10 * kSec);
  EXPECT_EQ(r.signals.size(), expected.size());
}

TEST(SimClock, run_next_event_goes_to_the_next_event_only) {
  Recorded r;
  EXPECT_FALSE(r.clock.run_next_event());
  const uint64_t t0 = r.clock.now_ns();
  r.clock.signal_at(t0 + 7 * kSec, SIGUSR2);
  r.clock.signal_at(t0 + 2 * kSec, SIGUSR1);
  EXPECT_TRUE(r.clock.run_next_event());
  EXPECT_EQ(r.signals, (std::vector<std::pair<uint64_t, int>>{{t0 + 2 * kSec, SIGUSR1}}));
  EXPECT_TRUE(r.clock.run_next_event());
  EXPECT_EQ(r.clock.now_ns(), t0 + 7 * kSec);
  EXPECT_FALSE(r.clock.run_next_event());
  // A signal scheduled in the past is delivered now, without going back.
  r.clock.signal_at(t0, SIGHUP);
  EXPECT_TRUE(r.clock.run_next_event());
  EXPECT_EQ(r.signals.back(), std::make_pair(t0 + 7 * kSec, SIGHUP));
}

TEST(SimClock, sleep_ends_early_when_stop_says_so_after_an_event) {
  Recorded r;
  const uint64_t t0 = r.clock.now_ns();
  r.clock.signal_at(t0 + 2 * kSec, SIGUSR1);
  r.clock.sleep_ns(60 * kSec, [&] { return !r.signals.empty(); });
  EXPECT_EQ(r.clock.now_ns(), t0 + 2 * kSec);
}

TEST(SimClock, tickers_see_every_step_and_realtime_follows_the_virtual_line) {
  Recorded r;
  std::vector<uint64_t> ticks;
  r.clock.on_advance([&](uint64_t now) { ticks.push_back(now); });
  const uint64_t t0 = r.clock.now_ns();
  r.clock.signal_at(t0 + kSec, SIGUSR1);
  r.clock.sleep_ns(3 * kSec);
  EXPECT_EQ(ticks, (std::vector<uint64_t>{t0 + kSec, t0 + 3 * kSec}));
  r.clock.set_realtime(2000 * kSec);
  r.clock.sleep_ns(kSec);
  EXPECT_EQ(r.clock.now_ns() + r.clock.realtime_base_ns(), 2001 * kSec);
}

TEST(SimClock, spent_time_is_the_calling_threads_own_and_this_clocks_own) {
  sim::Clock clock;
  clock.spend_transfer(3000, 1000);  // 3 s at 1000 bytes/s
  clock.spend_here(5);
  uint64_t other = 1;
  std::thread([&] { other = clock.spent_here(); }).join();
  EXPECT_EQ(clock.spent_here(), 3 * kSec + 5);
  EXPECT_EQ(other, 0u);
  sim::Clock newer;
  EXPECT_EQ(newer.spent_here(), 0u);
  clock.spend_transfer(1 << 20, 0);  // free
  EXPECT_EQ(clock.spent_here(), 3 * kSec + 5);
}

// Starts a thread the clock counts, as the board starts one.
template <typename Fn>
std::thread counted(sim::Clock& clock, Fn fn) {
  clock.thread_starting();
  return std::thread([&clock, fn] {
    clock.thread_begins_here();
    try {
      fn();
    } catch (const sim::BoardGone&) {
    }
    clock.thread_ended();
  });
}

TEST(SimClock, counted_threads_wake_at_their_own_times_even_when_slow_to_get_there) {
  sim::Clock clock;
  const uint64_t t0 = clock.now_ns();
  std::vector<uint64_t> woke;
  std::thread t = counted(clock, [&] {
    // Slow to reach its first sleep: time must wait for it all the same.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (int i = 0; i < 3; ++i) {
      clock.sleep_ns(10 * kSec);
      woke.push_back(clock.now_ns());
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  clock.sleep_ns(35 * kSec);
  t.join();
  EXPECT_EQ(woke, (std::vector<uint64_t>{t0 + 10 * kSec, t0 + 20 * kSec, t0 + 30 * kSec}));
  EXPECT_EQ(clock.now_ns(), t0 + 35 * kSec);
}

TEST(SimClock, a_counted_thread_stepped_aside_does_not_hold_time_up) {
  sim::Clock clock;
  std::mutex gate;
  gate.lock();
  std::thread t = counted(clock, [&] {
    sim::Clock::Aside aside(clock);
    std::lock_guard<std::mutex> wait(gate);  // released only after time moved
  });
  clock.sleep_ns(5 * kSec);
  gate.unlock();
  t.join();
  SUCCEED();
}

TEST(SimClock, close_ends_every_wait_for_time_with_board_gone) {
  sim::Clock clock;
  std::atomic<int> gone{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.push_back(std::thread([&] {
      try {
        clock.sleep_ns(kSec);
      } catch (const sim::BoardGone&) {
        ++gone;
      }
    }));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  clock.close();
  for (auto& t : threads) t.join();
  EXPECT_EQ(gone.load(), 4);
  // A wait begun after the close ends at once.
  std::thread([&] {
    try {
      clock.sleep_ns(kSec);
    } catch (const sim::BoardGone&) {
      ++gone;
    }
  }).join();
  EXPECT_EQ(gone.load(), 5);
}

}  // namespace
