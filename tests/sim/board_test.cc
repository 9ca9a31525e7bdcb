// The simulated board's own mechanisms: virtual time, signals, faults, the log.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "harness.h"
#include "sys/sys.h"

namespace {

class SimBoard : public tavtest::BoardTest {};

std::atomic<int> g_ticks{0};
void on_tick(int) { ++g_ticks; }
void on_stop(int) { sys::exit(0); }

TEST_F(SimBoard, SleepsAdvanceVirtualTimeAtOnce) {
  struct timespec a, b;
  sys::clock_gettime(CLOCK_MONOTONIC, &a);
  EXPECT_EQ(sys::sleep(3600), 0u);
  sys::usleep(250000);
  sys::clock_gettime(CLOCK_MONOTONIC, &b);
  EXPECT_EQ((b.tv_sec - a.tv_sec) * 1000000000L + (b.tv_nsec - a.tv_nsec), 3600250000000L);
  EXPECT_EQ(sys::time(nullptr), 1767225600 + 3600);
}

TEST_F(SimBoard, IntervalTimerDeliversAtItsVirtualTimesUntilSigint) {
  struct sigaction sa = {};
  sa.sa_handler = on_tick;
  ASSERT_EQ(sys::sigaction(SIGUSR1, &sa, nullptr), 0);
  sa.sa_handler = on_stop;
  ASSERT_EQ(sys::sigaction(SIGINT, &sa, nullptr), 0);
  struct sigevent sev = {};
  sev.sigev_notify = SIGEV_SIGNAL;
  sev.sigev_signo = SIGUSR1;
  timer_t id;
  ASSERT_EQ(sys::timer_create(CLOCK_REALTIME, &sev, &id), 0);
  struct itimerspec its = {};
  its.it_value.tv_nsec = 500000000;
  its.it_interval.tv_nsec = 500000000;
  ASSERT_EQ(sys::timer_settime(id, 0, &its, nullptr), 0);
  board().clock().signal_at(board().clock().now_ns() + 2100000000ull, SIGINT);
  g_ticks = 0;
  int status = -1;
  try {
    for (;;) sys::pause();
  } catch (const sim::ProcessExit& e) {
    status = e.status;
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(g_ticks.load(), 4);
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

TEST_F(SimBoard, FaultsPickTheNthCallOfAKindOrEveryOne) {
  board().fail({sim::Call::Open, "/dev/mem", 0, 2, ENXIO});
  int a = sys::open("/dev/mem", O_RDWR);
  int b = sys::open("/dev/mem", O_RDWR);
  EXPECT_EQ(errno, ENXIO);
  int c = sys::open("/dev/mem", O_RDWR);
  EXPECT_GE(a, 0);
  EXPECT_EQ(b, -1);
  EXPECT_GE(c, 0);
  board().fail({sim::Call::Read, "", 0, 0, -1, 3});  // every read is cut to three bytes
  char buf[16];
  EXPECT_EQ(sys::pread(a, buf, sizeof buf, 0x1000), 3);
  EXPECT_EQ(board().open_descriptors(), 2u);
  sys::close(a);
  sys::close(c);
  EXPECT_EQ(board().open_descriptors(), 0u);
  EXPECT_EQ(sys::open("/dev/nothing", O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(SimBoard, LogRecordsBytesSentToDevices) {
  int fd = sys::open("/dev/mem", O_RDWR);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(sys::pwrite(fd, "\x01\x02", 2, 0x2000), 2);
  sys::close(fd);
  auto writes = board().log_of(sim::Call::Write);
  ASSERT_EQ(writes.size(), 1u);
  EXPECT_EQ(writes[0].path, "/dev/mem");
  EXPECT_EQ(writes[0].request, 0x2000u);
  EXPECT_EQ(writes[0].bytes, (std::vector<uint8_t>{1, 2}));
  EXPECT_EQ(board().mem().read16(0x2000), 0x0201);
}

TEST_F(SimBoard, ExitThrowsTheStatus) {
  tavtest::Outcome r = run([](int, char**) -> int { sys::exit(-1); }, {"x"});
  EXPECT_TRUE(r.exited);
  EXPECT_EQ(r.status, 255);
}

}  // namespace
