// hivd, hiddrs and hil2s as real processes under their link names: Linux
// backend, /dev/mem mapped to a sparse file through the device map (a
// simulated-board build shares the file as its physical memory).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness.h"

extern char** environ;

namespace {

class ToolProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/tave2eXXXXXX";
    dir_ = mkdtemp(tmpl);
    mem_ = dir_ + "/physmem";
    int fd = ::open(mem_.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, 0x100000000LL), 0);
    ::close(fd);
    tavtest::write_file(dir_ + "/devmap", "/dev/mem=" + mem_ + "\n");
  }
  void TearDown() override { ASSERT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

  void poke(off_t at, const std::string& bytes) {
    int fd = ::open(mem_.c_str(), O_RDWR);
    ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
    ::close(fd);
  }
  uint32_t peek32(off_t at) {
    uint32_t v = 0;
    int fd = ::open(mem_.c_str(), O_RDONLY);
    EXPECT_EQ(pread(fd, &v, sizeof v, at), 4);
    ::close(fd);
    return v;
  }

  // Starts the tool through a link named name; its stdout comes down *out_fd.
  pid_t spawn(const std::string& name, const std::vector<std::string>& args, int* out_fd) {
    std::string link = dir_ + "/" + name;
    ::symlink(TAV_TOOL_PATH, link.c_str());
    std::vector<std::string> words;
    std::string emulator = TAV_EMULATOR;
    if (!emulator.empty()) words = {emulator, "-0", name, link};
    else words = {name};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    std::vector<std::string> env_words = {"TAV_DEVMAP=" + dir_ + "/devmap", "TAV_SIM_MEM=" + mem_, "LC_ALL=C"};
    std::vector<char*> envp;
    for (auto& w : env_words) envp.push_back(&w[0]);
    envp.push_back(nullptr);
    int pipe_fds[2];
    if (pipe(pipe_fds) != 0) return -1;
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&fa, pipe_fds[1], 1);
    posix_spawn_file_actions_addclose(&fa, pipe_fds[0]);
    posix_spawn_file_actions_addchdir_np(&fa, dir_.c_str());
    // The test's own SIGINT disposition must not leak into the tool.
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGUSR1);
    posix_spawnattr_setsigdefault(&attr, &defaults);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF);
    std::string path = emulator.empty() ? link : emulator;
    pid_t pid = -1;
    int rc = posix_spawn(&pid, path.c_str(), &fa, &attr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&fa);
    posix_spawnattr_destroy(&attr);
    ::close(pipe_fds[1]);
    if (rc != 0) {
      ::close(pipe_fds[0]);
      ADD_FAILURE() << "spawn " << path << ": " << strerror(rc);
      return -1;
    }
    *out_fd = pipe_fds[0];
    return pid;
  }
  // Reads until text has arrived (or the pipe ends); returns what came.
  static std::string read_until(int fd, const std::string& text) {
    std::string got;
    char buf[4096];
    while (text.empty() || got.find(text) == std::string::npos) {
      ssize_t n = ::read(fd, buf, sizeof buf);
      if (n <= 0) break;
      got.append(buf, static_cast<size_t>(n));
    }
    return got;
  }
  static int wait_status(pid_t pid) {
    int st = 0;
    waitpid(pid, &st, 0);
    return WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  }

  std::string dir_;
  std::string mem_;
};

TEST_F(ToolProcess, HivdWritesThePlanarFrame) {
  poke(0x63010000, "ABCDEFGH");
  poke(0x63010010, "IJKLMNOP");
  poke(0x63020000, "uvwxyz01");
  int out = -1;
  pid_t pid = spawn("hivd", {"0x63010000", "0x63020000", "16", "16", "6", "2", "frame.yuv"}, &out);
  ASSERT_GT(pid, 0);
  std::string text = read_until(out, "");
  ::close(out);
  EXPECT_EQ(wait_status(pid), 0);
  EXPECT_EQ(text,
            "\nulHeight = 2\nulWidth = 6\nulCStride = 16\nulYStride = 16\nulYAddress = 0x63010000\n"
            "ulCAddress = 0x63020000\n\nBegin to dump video image to file :frame.yuv\nDump done!\n[END]\n");
  EXPECT_EQ(tavtest::read_file(dir_ + "/frame.yuv"), "ABCDEFIJKLMNvxzuwy");
}

// Ctrl-C ends the sampling loop through the stop handler with status 0; what
// was printed is not lost although the process ends without flushing.
TEST_F(ToolProcess, CtrlCStopsTheStatisticToolsWithStatusZero) {
  if (TAV_TOOL_IS_SIM) GTEST_SKIP() << "the simulated board's signals are virtual";
  struct Case {
    std::string name;
    std::vector<std::string> args;
    std::string banner;
  } cases[] = {
      {"hiddrs", {"-i", "0", "-d", "4"}, "\n===== ddr statistic =====\n"},
      {"hil2s", {"0"}, "\n===== L2 cache statistic =====\nL2 dr      L2 dw     L1 i     L1 d\n"},
  };
  poke(0x12068010, std::string(4, '\1'));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    int out = -1;
    pid_t pid = spawn(c.name, c.args, &out);
    ASSERT_GT(pid, 0);
    // The banner is flushed once the stop handler is in place.
    std::string text = read_until(out, c.banner);
    EXPECT_EQ(text, c.banner);
    kill(pid, SIGINT);
    text += read_until(out, "");
    ::close(out);
    EXPECT_EQ(wait_status(pid), 0);
    EXPECT_EQ(text, c.banner);
  }
  // Every controller was programmed, then stopped.
  for (off_t block = 0x12068000; block <= 0x1206B000; block += 0x1000) {
    EXPECT_EQ(peek32(block + 0x26C), 0x10000000u);  // enabled, zero length: interval 0
    EXPECT_EQ(peek32(block + 0x010), 0u);
  }
}

}  // namespace
