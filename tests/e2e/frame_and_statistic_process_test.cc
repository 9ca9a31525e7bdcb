// hivd, hiddrs and hil2s as real processes under their link names: Linux
// backend, /dev/mem mapped to a sparse file through the device map (a
// simulated-board build shares the file as its physical memory).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "harness.h"

namespace {

class ToolProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/tave2eXXXXXX";
    dir_ = mkdtemp(tmpl);
    mem_fd_ = ::open((dir_ + "/physmem").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(ftruncate(mem_fd_, 0x100000000LL), 0);
    tavtest::write_file(dir_ + "/devmap", "/dev/mem=" + dir_ + "/physmem\n");
  }
  void TearDown() override {
    ::close(mem_fd_);
    ASSERT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0);
  }

  // Starts the tool through a link named name; its stdout comes down *out.
  pid_t spawn(const std::string& name, std::vector<std::string> args, int* out) {
    std::string link = dir_ + "/" + name;
    EXPECT_EQ(::symlink(TAV_TOOL_PATH, link.c_str()), 0);
    std::string emulator = TAV_EMULATOR;
    std::vector<std::string> words =
        emulator.empty() ? std::vector<std::string>{name} : std::vector<std::string>{emulator, "-0", name, link};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<std::string> env = {"TAV_DEVMAP=" + dir_ + "/devmap", "TAV_SIM_MEM=" + dir_ + "/physmem"};
    std::vector<char*> argv, envp;
    for (auto& w : words) argv.push_back(&w[0]);
    for (auto& w : env) envp.push_back(&w[0]);
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_adddup2(&fa, fds[1], 1);
    posix_spawn_file_actions_addclose(&fa, fds[0]);
    posix_spawn_file_actions_addchdir_np(&fa, dir_.c_str());
    // Whatever the test runner does with SIGINT must not leak into the tool.
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t defaults;
    sigfillset(&defaults);
    posix_spawnattr_setsigdefault(&attr, &defaults);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, (emulator.empty() ? link : emulator).c_str(), &fa, &attr, argv.data(), envp.data()), 0);
    posix_spawn_file_actions_destroy(&fa);
    posix_spawnattr_destroy(&attr);
    ::close(fds[1]);
    *out = fds[0];
    return pid;
  }
  // Reads until text has come (empty: until the end); returns what came.
  static std::string read_until(int fd, const std::string& text = "") {
    std::string got;
    char buf[4096];
    ssize_t n;
    while ((text.empty() || got.find(text) == std::string::npos) && (n = ::read(fd, buf, sizeof buf)) > 0)
      got.append(buf, static_cast<size_t>(n));
    return got;
  }
  static int status_of(pid_t pid) {
    int st = 0;
    waitpid(pid, &st, 0);
    return WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  }

  std::string dir_;
  int mem_fd_ = -1;
};

TEST_F(ToolProcess, HivdWritesThePlanarFrame) {
  ASSERT_EQ(pwrite(mem_fd_, "ABCDEFGH", 8, 0x63010000), 8);
  ASSERT_EQ(pwrite(mem_fd_, "IJKLMNOP", 8, 0x63010010), 8);
  ASSERT_EQ(pwrite(mem_fd_, "uvwxyz01", 8, 0x63020000), 8);
  int out = -1;
  pid_t pid = spawn("hivd", {"0x63010000", "0x63020000", "16", "16", "6", "2", "frame.yuv"}, &out);
  std::string text = read_until(out);
  ::close(out);
  EXPECT_EQ(status_of(pid), 0);
  EXPECT_EQ(text,
            "\nulHeight = 2\nulWidth = 6\nulCStride = 16\nulYStride = 16\nulYAddress = 0x63010000\n"
            "ulCAddress = 0x63020000\n\nBegin to dump video image to file :frame.yuv\nDump done!\n[END]\n");
  EXPECT_EQ(tavtest::read_file(dir_ + "/frame.yuv"), "ABCDEFIJKLMNvxzuwy");
}

// Ctrl-C ends the sampling loop through the stop handler with status 0, and
// what was printed is not lost although that end skips stdio's flush.
TEST_F(ToolProcess, CtrlCStopsTheStatisticToolsWithStatusZero) {
  if (TAV_TOOL_IS_SIM) GTEST_SKIP() << "the simulated board's signals are virtual";
  // With interval 0 the timer stays disarmed, so the output is fixed.
  const struct {
    std::string name;
    std::vector<std::string> args;
    std::string banner;
  } cases[] = {
      {"hiddrs", {"-i", "0", "-d", "4"}, "\n===== ddr statistic =====\n"},
      {"hil2s", {"0"}, "\n===== L2 cache statistic =====\nL2 dr      L2 dw     L1 i     L1 d\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    int out = -1;
    pid_t pid = spawn(c.name, c.args, &out);
    // The banner is flushed once the stop handler is in place.
    std::string text = read_until(out, c.banner);
    kill(pid, SIGINT);
    text += read_until(out);
    ::close(out);
    EXPECT_EQ(status_of(pid), 0);
    EXPECT_EQ(text, c.banner);
  }
  // Every DDR controller was programmed (enabled, zero length), then stopped.
  for (off_t block = 0x12068000; block <= 0x1206B000; block += 0x1000) {
    uint32_t period = 0, run = 1;
    ASSERT_EQ(pread(mem_fd_, &period, 4, block + 0x26C), 4);
    ASSERT_EQ(pread(mem_fd_, &run, 4, block + 0x010), 4);
    EXPECT_EQ(period, 0x10000000u);
    EXPECT_EQ(run, 0u);
  }
}

}  // namespace
