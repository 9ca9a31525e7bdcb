// The simulated board's virtual time, which every tool test leans on: sleeps
// cost nothing, other threads wait for it, and a wait nothing can end is
// reported instead of hanging the suite. (Timers, faults and the log are
// checked through the tools that use them.)
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "harness.h"
#include "sys/sys.h"

namespace {

class SimBoard : public tavtest::BoardTest {};

TEST_F(SimBoard, SleepsAdvanceVirtualTimeAtOnce) {
  struct timespec a, b;
  sys::clock_gettime(CLOCK_MONOTONIC, &a);
  EXPECT_EQ(sys::sleep(3600), 0u);
  sys::usleep(250000);
  sys::clock_gettime(CLOCK_MONOTONIC, &b);
  EXPECT_EQ((b.tv_sec - a.tv_sec) * 1000000000L + (b.tv_nsec - a.tv_nsec), 3600250000000L);
  EXPECT_EQ(sys::time(nullptr), 1767225600 + 3600);
}

TEST_F(SimBoard, PauseWithNothingPendingIsReportedNotHung) {
  EXPECT_THROW(sys::pause(), sim::Stuck);
}

TEST_F(SimBoard, OtherThreadsWaitForVirtualTime) {
  std::atomic<int> woke{0};
  std::thread heartbeat([&] {
    for (int i = 0; i < 3; ++i) {
      sys::sleep(10);
      ++woke;
    }
  });
  // The heartbeat cannot move time; the driving thread does, a second at a
  // time, and the heartbeat wakes once per ten of them.
  int seconds = 0;
  while (woke.load() < 3 && seconds < 100) {
    int before = woke.load();
    sys::sleep(1);
    ++seconds;
    // Give a due heartbeat the chance to run before time moves on.
    for (int spin = 0; spin < 1000 && woke.load() == before; ++spin) std::this_thread::yield();
  }
  heartbeat.join();
  EXPECT_EQ(woke.load(), 3);
  // Never before thirty virtual seconds; a loaded machine may let time run
  // on a little before the heartbeat gets to sleep again.
  EXPECT_GE(seconds, 30);
  EXPECT_LT(seconds, 100);
}

}  // namespace
