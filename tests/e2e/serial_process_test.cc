// The serial items as real processes with a real pseudo-terminal for the
// board's port: the test plays the front panel, or the RS485 loop-back plug,
// on the master side, and reads back the settings the item gave the line.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "harness.h"

namespace {

using Bytes = std::vector<uint8_t>;

class Pty {
 public:
  Pty() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return;
    path_ = ptsname(master_);
    // Held open so the line keeps its settings after the program ends.
    slave_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~Pty() {
    if (slave_ >= 0) ::close(slave_);
    if (master_ >= 0) ::close(master_);
  }
  bool ok() const { return slave_ >= 0; }
  const std::string& path() const { return path_; }
  int master() const { return master_; }
  struct termios line() const {
    struct termios t = {};
    tcgetattr(slave_, &t);
    return t;
  }
  // Reads exactly n bytes from the program, within a generous deadline.
  Bytes read(size_t n) {
    Bytes got;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (got.size() < n && std::chrono::steady_clock::now() < deadline) {
      struct pollfd p = {master_, POLLIN, 0};
      if (poll(&p, 1, 100) <= 0) continue;
      uint8_t buf[256];
      ssize_t k = ::read(master_, buf, std::min(sizeof buf, n - got.size()));
      if (k > 0) got.insert(got.end(), buf, buf + k);
    }
    return got;
  }
  void write(const Bytes& b) { ASSERT_EQ(::write(master_, b.data(), b.size()), static_cast<ssize_t>(b.size())); }

 private:
  int master_ = -1;
  int slave_ = -1;
  std::string path_;
};

Bytes frames(std::initializer_list<Bytes> list, int times = 1) {
  Bytes all;
  for (int i = 0; i < times; ++i)
    for (const auto& f : list) all.insert(all.end(), f.begin(), f.end());
  return all;
}

const Bytes kReady = {0xFF, 0x07, 0x30, 0x09, 0x00, 0x04, 0x43};
const Bytes kReboot = {0xFF, 0x07, 0x30, 0x01, 0x01, 0x0A, 0x42};
const Bytes kLedO = {0xFF, 0x07, 0x30, 0x09, 0x00, 0x4F, 0x8E};
const Bytes kUp = {0xFF, 0x05, 0x20, 0x14, 0x38};
const Bytes kEsc = {0xFF, 0x05, 0x20, 0x0B, 0x2F};

class SerialProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!pty_.ok()) GTEST_SKIP() << "no pseudo-terminal available on this machine";
    dir_.link("tav_factory_sim", TAV_FACTORY_SIM_PATH);
    dir_.link("rs485", "tav_factory_sim");
    dir_.link("keys", "tav_factory_sim");
  }
  // Started in the background with its output in files of the directory.
  int start(const std::string& name, const std::vector<std::string>& args, const std::string& port,
            const std::string& input) {
    tavtest::write_file(dir_ / ".in", input);
    in_ = ::open((dir_ / ".in").c_str(), O_RDONLY | O_CLOEXEC);
    out_ = ::open((dir_ / ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    return tavtest::spawn(dir_, name, args, {"LC_ALL=C", "TAV_SIM_SERIAL=" + port + "=" + pty_.path()}, in_, out_,
                          out_);
  }
  std::string finish(int pid, int* status) {
    *status = tavtest::wait_status(pid);
    ::close(in_);
    ::close(out_);
    return tavtest::read_file(dir_ / ".out");
  }
  Pty pty_;
  tavtest::TempDir dir_;
  int in_ = -1, out_ = -1;
};

TEST_F(SerialProcess, panel_then_keys_in_one_process_with_the_test_as_the_panel) {
  int pid = start("tav_factory_sim", {"-m"}, "/dev/ttyS2", "11\n12\nq\n");
  ASSERT_GT(pid, 0);
  EXPECT_EQ(pty_.read(28), frames({kReady, kReboot, kReboot, kReboot}));
  struct termios t = pty_.line();
  EXPECT_EQ(cfgetispeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(t.c_cflag & (CSIZE | CSTOPB | PARENB | CREAD | CLOCAL), static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(t.c_lflag & (ISIG | ICANON | ECHO | ECHOE), 0u);
  EXPECT_EQ(t.c_iflag & (IXON | IXOFF | ICRNL | IGNCR | INLCR), 0u);
  EXPECT_EQ(t.c_oflag & OPOST, 0u);
  // The key test answers UP with six frames lighting 'O', and ESC ends it.
  pty_.write(kUp);
  EXPECT_EQ(pty_.read(42), frames({kLedO}, 6));
  pty_.write(kEsc);
  int status = -1;
  std::string out = finish(pid, &status);
  EXPECT_EQ(status, 0);
  EXPECT_NE(out.find("\nsend reboot command 3\n面板测试完毕\n"), std::string::npos) << out;
  EXPECT_NE(out.find("面板输入ESC退出测试\nselect return 1 \nselect return 1 \n"), std::string::npos) << out;
}

TEST_F(SerialProcess, rs485_with_the_test_as_the_loop_back_plug) {
  std::atomic<bool> done{false};
  Bytes echoed;
  std::thread plug([&] {
    while (!done) {
      struct pollfd p = {pty_.master(), POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      uint8_t buf[64];
      ssize_t k = ::read(pty_.master(), buf, sizeof buf);
      if (k <= 0) continue;
      echoed.insert(echoed.end(), buf, buf + k);
      ssize_t w = ::write(pty_.master(), buf, static_cast<size_t>(k));
      (void)w;
    }
  });
  int status = -1;
  std::string out = finish(start("rs485", {}, "/dev/ttyS1", ""), &status);
  done = true;
  plug.join();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(out, "RS485测试开始\n开始RS485全双工测试:\n" + std::string(26, '#') +
                     "\n/dev/ttyS1发送接收32字节完成, 错误次数0RS485测试完毕\n");
  EXPECT_EQ(std::string(echoed.begin(), echoed.end()), "abcdefghijklmnopqrstuvwxya");
  struct termios t = pty_.line();
  EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(t.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
  EXPECT_EQ(t.c_lflag & (ICANON | ECHO), 0u);
  EXPECT_EQ(t.c_cc[VTIME], 50);
  EXPECT_EQ(t.c_cc[VMIN], 0);
}

}  // namespace
