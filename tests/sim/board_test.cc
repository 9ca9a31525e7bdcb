// The simulated board as tools see it through the seam: virtual time, which
// every tool test leans on, and what the board composes from its parts
// (descriptors, mounts, listings, faults on real models, signals, threads).
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include "harness.h"
#include "sys/sys.h"

namespace {

constexpr uint64_t kSec = 1000000000ull;

class SimBoard : public tavtest::BoardTest {};

TEST_F(SimBoard, sleeps_advance_virtual_time_at_once) {
  struct timespec a, b;
  sys::clock_gettime(CLOCK_MONOTONIC, &a);
  EXPECT_EQ(sys::sleep(3600), 0u);
  sys::usleep(250000);
  sys::clock_gettime(CLOCK_MONOTONIC, &b);
  EXPECT_EQ((b.tv_sec - a.tv_sec) * 1000000000L + (b.tv_nsec - a.tv_nsec), 3600250000000L);
  EXPECT_EQ(sys::time(nullptr), 1767225600 + 3600);
}

TEST_F(SimBoard, pause_with_nothing_pending_is_reported_not_hung) { EXPECT_THROW(sys::pause(), sim::Stuck); }

TEST_F(SimBoard, other_threads_wait_for_virtual_time) {
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

// Keeps what was written to it.
class Sink : public sim::Device {
 public:
  ssize_t write(sim::OpenFile&, const void* p, size_t n) override {
    const auto* b = static_cast<const uint8_t*>(p);
    got.insert(got.end(), b, b + n);
    return static_cast<ssize_t>(n);
  }
  std::vector<uint8_t> got;
};

TEST_F(SimBoard, descriptors_take_the_lowest_free_number_and_unknown_ones_fail_to_close) {
  board().add("/dev/t0", std::make_shared<sim::Device>());
  size_t before = board().open_descriptors();
  int a = sys::open("/dev/t0", O_RDWR);
  int b = sys::open("/dev/t0", O_RDWR);
  ASSERT_GE(a, 0);
  ASSERT_EQ(sys::close(a), 0);
  EXPECT_EQ(sys::open("/dev/t0", O_RDWR), a);
  EXPECT_EQ(board().open_descriptors(), before + 2);
  EXPECT_EQ(sys::close(b), 0);
  errno = 0;
  EXPECT_EQ(sys::close(b), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(sys::close(a), 0);
  EXPECT_EQ(board().open_descriptors(), before);
  auto closes = board().log_of(sim::Call::Close);
  ASSERT_EQ(closes.size(), 4u);
  EXPECT_EQ(closes[2].path, "");  // the descriptor was no longer the board's
}

TEST_F(SimBoard, a_short_write_reaches_the_model_and_the_log_cut_short) {
  auto sink = std::make_shared<Sink>();
  board().add("/dev/sink", sink);
  board().fail(sim::Fault{sim::Call::Write, "/dev/sink", 0, 2, EIO, 3});
  int fd = sys::open("/dev/sink", O_WRONLY);
  EXPECT_EQ(sys::write(fd, "abcdef", 6), 6);
  EXPECT_EQ(sys::write(fd, "ghijkl", 6), 3);
  sys::close(fd);
  EXPECT_EQ(std::string(sink->got.begin(), sink->got.end()), "abcdefghi");
  auto writes = board().log_of(sim::Call::Write);
  ASSERT_EQ(writes.size(), 2u);
  EXPECT_EQ(writes[1].length, 6u);  // what was asked
  EXPECT_EQ(std::string(writes[1].bytes.begin(), writes[1].bytes.end()), "ghi");
}

// One file, "a.txt", on a medium the board can mount.
class OneFileFs : public sim::FileSystem, public sim::Device {
 public:
  int mount(const std::string& type, unsigned long) override { return type == "vfat" ? 0 : -EINVAL; }
  int open(const std::string& name, int, std::shared_ptr<sim::Device>* file) override {
    if (name != "a.txt") return -ENOENT;
    *file = std::make_shared<sim::Device>();
    return 0;
  }
  int unlink(const std::string&) override { return -EROFS; }
  int stat(const std::string& name, struct stat* st) override {
    if (name != "a.txt") return -ENOENT;
    memset(st, 0, sizeof *st);
    st->st_size = 42;
    return 0;
  }
  int statvfs(struct statvfs*) override { return 0; }
  sim::FileSystem* file_system() override { return this; }
  using sim::Device::open;
};

TEST_F(SimBoard, a_mounted_medium_holds_the_files_under_its_mount_point) {
  board().add("/dev/sdz1", std::make_shared<OneFileFs>());
  struct stat st;
  EXPECT_EQ(sys::stat("/mnt/a.txt", &st), -1);
  EXPECT_EQ(sys::mount("/dev/sdz1", "/mnt", "ext4", 0, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  ASSERT_EQ(sys::mount("/dev/sdz1", "/mnt", "vfat", 0, nullptr), 0);
  EXPECT_EQ(sys::mount("/dev/sdz1", "/mnt", "vfat", 0, nullptr), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(board().mounts(), (std::map<std::string, std::string>{{"/mnt", "/dev/sdz1"}}));
  ASSERT_EQ(sys::stat("/mnt/a.txt", &st), 0);
  EXPECT_EQ(st.st_size, 42);
  int fd = sys::open("/mnt/a.txt", O_RDONLY);
  EXPECT_GE(fd, 0);
  sys::close(fd);
  EXPECT_EQ(sys::open("/mnt/b.txt", O_RDONLY), -1);
  EXPECT_EQ(sys::unlink("/mnt/a.txt"), -1);
  EXPECT_EQ(errno, EROFS);
  EXPECT_EQ(sys::umount("/mnt"), 0);
  EXPECT_EQ(sys::umount("/mnt"), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(sys::open("/mnt/a.txt", O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(SimBoard, a_board_directory_lists_its_nodes_and_counts_as_open_until_closed) {
  board().add("/dev/zz/one", std::make_shared<sim::Device>());
  board().add("/dev/zz/two", std::make_shared<sim::Device>());
  size_t before = board().open_descriptors();
  DIR* d = sys::opendir("/dev/zz/");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(board().open_descriptors(), before + 1);
  std::vector<std::string> names;
  while (struct dirent* e = sys::readdir(d)) names.push_back(e->d_name);
  EXPECT_EQ(names, (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(sys::closedir(d), 0);
  EXPECT_EQ(board().open_descriptors(), before);
}

int g_depth, g_max_depth, g_runs;
void reenter(int sig) {
  ++g_runs;
  g_max_depth = std::max(g_max_depth, ++g_depth);
  if (g_runs == 1) sys::raise(sig);
  --g_depth;
}

TEST_F(SimBoard, a_signal_raised_in_its_handler_waits_for_it_unless_nodefer) {
  struct Case {
    int flags;
    int max_depth;
  };
  for (const Case& c : {Case{0, 1}, Case{SA_NODEFER, 2}}) {
    g_depth = g_max_depth = g_runs = 0;
    struct sigaction sa = {};
    sa.sa_handler = reenter;
    sa.sa_flags = c.flags;
    ASSERT_EQ(sys::sigaction(SIGUSR1, &sa, nullptr), 0);
    sys::raise(SIGUSR1);
    EXPECT_EQ(g_runs, 2) << c.flags;
    EXPECT_EQ(g_max_depth, c.max_depth) << c.flags;
  }
}

TEST_F(SimBoard, default_actions_end_the_process_or_are_ignored_as_the_kernels) {
  struct sigaction ign = {};
  ign.sa_handler = SIG_IGN;
  sys::sigaction(SIGTERM, &ign, nullptr);
  EXPECT_EQ(sys::raise(SIGTERM), 0);
  EXPECT_EQ(sys::raise(SIGCHLD), 0);
  try {
    sys::raise(SIGUSR2);
    ADD_FAILURE() << "SIGUSR2 went unnoticed";
  } catch (const sim::ProcessExit& e) {
    EXPECT_EQ(e.status, 128 + SIGUSR2);
  }
}

uint64_t g_joined_at;
void* sleep_five(void*) {
  sys::sleep(5);
  return nullptr;
}
void* start_and_join(void*) {
  pthread_t t;
  if (sys::thread_create(&t, sleep_five, nullptr) == 0 && sys::thread_join(t, nullptr) == 0) {
    struct timespec ts;
    sys::clock_gettime(CLOCK_MONOTONIC, &ts);
    g_joined_at = sim::to_ns(ts);
  }
  return nullptr;
}

TEST_F(SimBoard, a_board_thread_joining_another_lets_time_reach_it) {
  g_joined_at = 0;
  const uint64_t t0 = board().clock().now_ns();
  pthread_t t;
  ASSERT_EQ(sys::thread_create(&t, start_and_join, nullptr), 0);
  sys::sleep(10);
  ASSERT_EQ(sys::thread_join(t, nullptr), 0);
  EXPECT_GE(g_joined_at, t0 + 5 * kSec);
  EXPECT_EQ(sys::thread_join(t, nullptr), ESRCH);  // joined already
}

void* busy_thread(void*) {
  int fd = sys::open("/dev/sink", O_WRONLY);
  if (fd < 0) return nullptr;
  for (int i = 0; i < 20; ++i) {
    sys::write(fd, "x", 1);
    struct timespec ts;
    sys::clock_gettime(CLOCK_MONOTONIC, &ts);
  }
  sys::sleep(1);
  sys::write(fd, "y", 1);
  sys::close(fd);
  return nullptr;
}

// Shared writes go through the model's own lock.
class LockedSink : public sim::Device {
 public:
  ssize_t write(sim::OpenFile& f, const void*, size_t n) override {
    f.log_sent("w", 1);
    std::lock_guard<std::mutex> lock(mu_);
    written += n;
    return static_cast<ssize_t>(n);
  }
  std::mutex mu_;
  size_t written = 0;
};

TEST_F(SimBoard, forty_threads_share_the_board_and_leave_it_as_they_found_it) {
  auto sink = std::make_shared<LockedSink>();
  board().add("/dev/sink", sink);
  board().fail(sim::Fault{sim::Call::Write, "/dev/sink", 0, 0, EIO, 1});
  size_t before = board().open_descriptors();
  size_t calls = board().calls();
  constexpr int kThreads = 40;
  pthread_t threads[kThreads];
  for (auto& t : threads) ASSERT_EQ(sys::thread_create(&t, busy_thread, nullptr), 0);
  sys::sleep(2);
  for (auto& t : threads) ASSERT_EQ(sys::thread_join(t, nullptr), 0);
  EXPECT_EQ(sink->written, kThreads * 21u);
  EXPECT_EQ(board().open_descriptors(), before);
  EXPECT_EQ(board().log_of(sim::Call::Write).size(), kThreads * 21u);
  // Each thread: create, open, 20 writes and clock reads, sleep, write, close,
  // join; and the driver's sleep.
  EXPECT_EQ(board().calls() - calls, kThreads * 46u + 1);
}

}  // namespace
