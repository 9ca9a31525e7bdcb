// The PCIe transfer ends as real processes on the Linux backend, with
// /dev/mem mapped to a shared file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "harness.h"

namespace {

class PcieProcess : public tavtest::FactoryDirTest {
 protected:
  // Starts a receive and a send end, reads their output until each has
  // printed its 200th exchange, then stops them with Ctrl-C. A guard kills
  // them if that takes longer than a minute and a half. Neither may have
  // dumped the area.
  void play(const std::vector<std::string>& env) {
    const std::vector<std::vector<std::string>> ends = {{"recv", "2000"}, {"send", "2000"}};
    const std::string want = "test_count = 200\n";
    struct End {
      int pid = -1;
      int fd = -1;
      std::string seen;
    };
    std::vector<End> running(ends.size());
    for (size_t i = 0; i < ends.size(); ++i) {
      int pipefd[2];
      ASSERT_EQ(pipe2(pipefd, O_CLOEXEC), 0);
      int null_in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
      running[i].pid = tavtest::spawn(dir_, "pcietran", ends[i], env, null_in, pipefd[1], pipefd[1]);
      ::close(pipefd[1]);
      ::close(null_in);
      running[i].fd = pipefd[0];
      ASSERT_GT(running[i].pid, 0);
    }
    const auto guard = std::chrono::steady_clock::now() + std::chrono::seconds(90);
    bool stopped = false, timed_out = false;
    for (;;) {
      auto shown = [&](const End& e) { return e.seen.find(want) != std::string::npos; };
      bool all = true;
      for (const auto& e : running) all = all && shown(e);
      if (!stopped && (all || std::chrono::steady_clock::now() > guard)) {
        timed_out = !all;
        for (const auto& e : running) kill(e.pid, timed_out ? SIGKILL : SIGINT);
        stopped = true;
      }
      std::vector<pollfd> fds;
      for (const auto& e : running)
        if (e.fd >= 0) fds.push_back({e.fd, POLLIN, 0});
      if (fds.empty()) break;
      if (poll(fds.data(), fds.size(), 1000) < 0) break;
      for (auto& e : running) {
        if (e.fd < 0) continue;
        struct pollfd p = {e.fd, POLLIN, 0};
        if (poll(&p, 1, 0) <= 0) continue;
        char buf[65536];
        ssize_t n = ::read(e.fd, buf, sizeof buf);
        if (n <= 0) {
          ::close(e.fd);
          e.fd = -1;
        } else if (e.seen.size() < (1u << 20)) {
          e.seen.append(buf, static_cast<size_t>(n));
        }
      }
    }
    EXPECT_FALSE(timed_out);
    for (size_t i = 0; i < running.size(); ++i) {
      const auto& e = running[i];
      EXPECT_EQ(tavtest::wait_status(e.pid), 128 + (timed_out ? SIGKILL : SIGINT));
      const std::string head = " *******pcie " + ends[i][0] + " at 0x" + ends[i][1] + " *******\n";
      EXPECT_EQ(e.seen.compare(0, head.size(), head), 0) << e.seen.substr(0, 200);
      EXPECT_NE(e.seen.find(want), std::string::npos) << ends[i][0];
      EXPECT_EQ(e.seen.find("-\n"), std::string::npos) << e.seen.substr(0, 400);
    }
  }
};

// The Linux backend: /dev/mem is a file both processes map; each exchange
// takes real 50 ms sleeps, so a few hundred take some seconds.
TEST_F(PcieProcess, send_and_receive_processes_exchange_through_a_shared_memory_file) {
  if (TAV_TOOL_IS_SIM) GTEST_SKIP() << "tav_factory is the simulated-board build";
  const std::string mem = dir_ / "pcie-window";
  int fd = ::open(mem.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ftruncate(fd, 0x3000), 0);
  ::close(fd);
  tavtest::write_file(dir_ / "devmap", "/dev/mem=" + mem + "\n");
  dir_.link("pcietran", "tav_factory");
  play({"TAV_DEVMAP=" + (dir_ / "devmap"), "LC_ALL=C"});
  // The send end's pattern or the receive end's, whole.
  std::string area = tavtest::read_file(mem).substr(0x2000, 1280);
  EXPECT_TRUE(area == std::string(1280, '\x5A') || area == std::string(1280, '\xA5'));
}

}  // namespace
