// Timers armed at an absolute time, as the statistic tools arm theirs.
#include <gtest/gtest.h>

#include <vector>

#include "harness.h"
#include "sys/sys.h"

namespace {

class SimTimer : public tavtest::BoardTest {};

std::vector<uint64_t> g_at;
sim::Board* g_board = nullptr;
void on_tick(int) { g_at.push_back(g_board->clock().now_ns()); }

constexpr uint64_t kSec = 1000000000ull;

TEST_F(SimTimer, OverdueAbsoluteTimeFiresBeforeTheCallReturnsThenKeepsItsPhase) {
  g_board = &board();
  g_at.clear();
  struct sigaction sa = {};
  sa.sa_handler = on_tick;
  ASSERT_EQ(sys::sigaction(SIGUSR1, &sa, nullptr), 0);
  struct sigevent sev = {};
  sev.sigev_notify = SIGEV_SIGNAL;
  sev.sigev_signo = SIGUSR1;
  timer_t id;
  ASSERT_EQ(sys::timer_create(CLOCK_REALTIME, &sev, &id), 0);
  // Wall clock 0.25 s past a multiple of 2 s.
  board().clock().set_realtime(1767225600ull * kSec + kSec / 4);
  const uint64_t t0 = board().clock().now_ns();
  struct itimerspec its = {{2, 0}, {2, 0}};
  ASSERT_EQ(sys::timer_settime(id, TIMER_ABSTIME, &its, nullptr), 0);
  ASSERT_EQ(g_at, std::vector<uint64_t>{t0});
  sys::sleep(6);
  EXPECT_EQ(g_at, (std::vector<uint64_t>{t0, t0 + 7 * kSec / 4, t0 + 15 * kSec / 4, t0 + 23 * kSec / 4}));

  // A time still ahead is simply waited for; a zero time disarms.
  g_at.clear();
  struct timespec now;
  sys::clock_gettime(CLOCK_REALTIME, &now);
  its = {{0, 0}, {now.tv_sec + 3, now.tv_nsec}};
  ASSERT_EQ(sys::timer_settime(id, TIMER_ABSTIME, &its, nullptr), 0);
  sys::sleep(5);
  EXPECT_EQ(g_at.size(), 1u);
  its = {{0, 0}, {0, 0}};
  ASSERT_EQ(sys::timer_settime(id, TIMER_ABSTIME, &its, nullptr), 0);
  sys::sleep(5);
  EXPECT_EQ(g_at.size(), 1u);

  its = {{0, 0}, {-1, 0}};
  EXPECT_EQ(sys::timer_settime(id, TIMER_ABSTIME, &its, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(sys::timer_delete(id), 0);
}

}  // namespace
