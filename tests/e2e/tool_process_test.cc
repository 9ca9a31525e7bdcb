// The built tav_tool started as a real process under its link names. The
// Linux build reaches /dev/mem (a sparse file) and the I2C nodes (plain
// files) through the device map; the simulated-board build shares the same
// file as its physical memory and answers the ioctls itself.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness.h"

namespace {

using tavtest::Proc;

struct Case {
  std::string name;
  std::vector<std::string> args;
  int status;
  std::string out;
  std::string input = "";
};

class ToolProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    mem_fd_ = ::open((dir_ / "physmem").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(ftruncate(mem_fd_, 0x100000000LL), 0);
    std::string bytes;
    for (int i = 0; i < 64; ++i) bytes += static_cast<char>('A' + i % 26);
    ASSERT_EQ(pwrite(mem_fd_, bytes.data(), bytes.size(), 0x80040000), 64);
    tavtest::write_file(dir_ / "i2c-0", "");
    tavtest::write_file(dir_ / "hi_i2c", "");
    tavtest::write_file(dir_ / "devmap", "# test board\n/dev/mem=" + (dir_ / "physmem") + "\n/dev/i2c-0=" +
                                             (dir_ / "i2c-0") + "\n/dev/hi_i2c=" + (dir_ / "hi_i2c") + "\n");
    dir_.link("tav_tool", TAV_TOOL_PATH);
  }
  void TearDown() override { ::close(mem_fd_); }

  std::vector<std::string> env() const {
    return {"TAV_DEVMAP=" + (dir_ / "devmap"), "TAV_SIM_MEM=" + (dir_ / "physmem"), "LC_ALL=C"};
  }
  Proc start(const std::string& name, const std::vector<std::string>& args, const std::string& input = "") {
    return tavtest::run_process(dir_, name, args, env(), input);
  }
  // Each case through a fresh link to exe.
  void run_cases(const char* exe, const std::vector<Case>& cases) {
    for (const auto& c : cases) {
      ::unlink((dir_ / c.name).c_str());
      dir_.link(c.name, exe);
      Proc p = start(c.name, c.args, c.input);
      EXPECT_EQ(p.status, c.status) << c.name;
      EXPECT_EQ(p.out, c.out) << c.name;
      EXPECT_EQ(p.err, "") << c.name;
    }
  }

  tavtest::TempDir dir_;
  int mem_fd_ = -1;
};

TEST_F(ToolProcess, install_then_every_memory_tool_under_its_link_name_then_uninstall) {
  Proc p = start("tav_tool", {"-i"});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find(" install <himd.l> ok.\n"), std::string::npos) << p.out;
  char target[64] = {};
  ASSERT_GT(readlink((dir_ / "himd.l").c_str(), target, sizeof target - 1), 0);
  EXPECT_STREQ(target, "tav_tool");
  // The real link call's error, once per name, on standard error.
  p = start("tav_tool", {"-i"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "\n");
  std::string want;
  for (int i = 0; i < 16; ++i) want += std::string(" install error!: ") + strerror(EEXIST) + "\n";
  EXPECT_EQ(p.err, want);

  dir_.link("HIMD", "tav_tool");
  const Case cases[] = {
      {"himd", {"0x80040000", "20"}, 0,
       "\n====dump memory 0X80040000====\n"
       "00000:  41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50  |ABCDEFGHIJKLMNOP|\n"
       "00010:  51 52 53 54                                      |QRST            |\n[END]\n"},
      {"himc", {"0x80040004", "3"}, 1, "\nlength 0X3 is invalid.must 2 byte aligned\n"},
      {"himc", {"0x80040004", "4", "0x2121"}, 0,
       "\n====clear memory 0X80040004, length 4====\n"
       "00000:  21 21 21 21                                      |!!!!            |\n[END]\n"},
      {"himm", {}, 255,
       "\nusage: himm <address> <Value>. sample: himm 0x80040000 0x123\n exit:0XFFFFFFFFFFFFFFFF.{tools/mm:35}\n[END]\n"},
      {"himm", {"0x80040008"}, 0, "\n====dump memory 0X80040008====\n0x80040008: 0x4C4B4A49\nNewValue:[END]\n",
       "0x64636261\n"},
      {"himd.l", {"0x80040000", "16"}, 0,
       "\n====dump memory 0x80040000====\n0000:  44434241 21212121 64636261 504f4e4d\n[END]\n"},
      {"himdb", {"0x80040000", "8", "dump.bin"}, 0,
       "\n====dump memory:<0X80040000><8> to file:<dump.bin>====\n[END]\n"},
      {"HIMD", {"0x80040000"}, 0, "\n\ndo errro\n[END]\n"},  // an unknown name fails quietly
  };
  for (const auto& c : cases) {
    Proc r = start(c.name, c.args, c.input);
    EXPECT_EQ(r.status, c.status) << c.name;
    EXPECT_EQ(r.out, c.out) << c.name;
    EXPECT_EQ(r.err, "") << c.name;
  }
  EXPECT_EQ(tavtest::read_file(dir_ / "dump.bin"), "ABCD!!!!");

  p = start("tav_tool", {"-u"});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find(" uninstall <himii.w>  ok.\n"), std::string::npos);
  struct stat st;
  EXPECT_NE(lstat((dir_ / "himd").c_str(), &st), 0);
}

TEST_F(ToolProcess, bus_and_phy_tools_run_on_the_simulated_board) {
  run_cases(TAV_TOOL_SIM_PATH,
            {
                {"i2c_read", {"1", "0xA0", "0x0", "0x3"}, 0,
                 "\ni2c_num:0x1, dev_addr:0xa0; reg_addr:0x0; reg_addr_end:0x3; reg_width: 1; data_width: 1. \n\n"
                 "0x0: 0x7\n0x1: 0x24\n0x2: 0x41\n0x3: 0x5e\n[END]\n"},
                {"i2c_read", {"1", "0x56", "0x100", "0x100", "2", "2"}, 0,
                 "\ni2c_num:0x1, dev_addr:0x56; reg_addr:0x100; reg_addr_end:0x100; reg_width: 2; data_width: 2. \n\n"
                 "0x100: 0x724\n[END]\n"},
                {"i2c_send", {"1", "0x20", "1"}, 0,
                 "\ndev_addr:0x20, value:0x01-0x00-0x00-0x00-0x00-0x00-0x00-0x00\nI2C_WRITE error!\n\ndo errro\n[END]\n"},
                {"hier", {"0", "0xA0", "0x41", "2"}, 0,
                 "\n====I2C read:<0xa0> <0x41> <0x2>====\r\n00000:  64 81" + std::string(42, ' ') +
                     "  |d.              |\n[END]\n"},
                {"himii.r", {"eth0", "1", "2"}, 0, "\nifname eth0 phyaddr 1 reg 2 reading ...\nregvalue 0x123\n[END]\n"},
                {"himii.w", {"eth0", "1", "0"}, 255,
                 "\nusage: himii.w ifname register regvalue . sample: himii.w eth0 0 0x7509\n"
                 " exit:0XFFFFFFFFFFFFFFFF.{tools/mii.cc:94}\n[END]\n"},
            });
}

TEST_F(ToolProcess, linux_build_reaches_the_mapped_bus_nodes) {
  if (TAV_TOOL_IS_SIM) GTEST_SKIP() << "tav_tool is the simulated-board build";
  // A plain file answers no I2C request: the address is refused, and the
  // vendor node's silent reads show as zeros.
  run_cases(TAV_TOOL_PATH,
            {
                {"i2c_write", {"0", "0xA0", "0x10", "0x5"}, 0,
                 "\ni2c_num:0x0, dev_addr:0xa0; reg_addr:0x10; data:0x5; reg_width: 1; data_width: 1.\n"
                 "set i2c device address error!\n\ndo errro\n[END]\n"},
                {"hier", {"0", "0xA0", "0x10", "2"}, 0,
                 "\n====I2C read:<0xa0> <0x10> <0x2>====\r\n00000:  00 00" + std::string(42, ' ') +
                     "  |..              |\n[END]\n"},
                {"i2c_read", {"2", "0xA0", "0x10"}, 0,
                 "\ni2c_num:0x2, dev_addr:0xa0; reg_addr:0x10; reg_addr_end:0x10; reg_width: 1; data_width: 1. \n\n"
                 "Open /dev/i2c-2 error!\n\ndo errro\n[END]\n"},
            });
}

TEST_F(ToolProcess, hivd_writes_the_planar_frame) {
  ASSERT_EQ(pwrite(mem_fd_, "ABCDEFGH", 8, 0x63010000), 8);
  ASSERT_EQ(pwrite(mem_fd_, "IJKLMNOP", 8, 0x63010010), 8);
  ASSERT_EQ(pwrite(mem_fd_, "uvwxyz01", 8, 0x63020000), 8);
  dir_.link("hivd", TAV_TOOL_PATH);
  Proc p = start("hivd", {"0x63010000", "0x63020000", "16", "16", "6", "2", "frame.yuv"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out,
            "\nulHeight = 2\nulWidth = 6\nulCStride = 16\nulYStride = 16\nulYAddress = 0x63010000\n"
            "ulCAddress = 0x63020000\n\nBegin to dump video image to file :frame.yuv\nDump done!\n[END]\n");
  EXPECT_EQ(tavtest::read_file(dir_ / "frame.yuv"), "ABCDEFIJKLMNvxzuwy");
}

// Reads until text has come (empty: until the end); returns what came.
std::string read_until(int fd, const std::string& text = "") {
  std::string got;
  char buf[4096];
  ssize_t n;
  while ((text.empty() || got.find(text) == std::string::npos) && (n = ::read(fd, buf, sizeof buf)) > 0)
    got.append(buf, static_cast<size_t>(n));
  return got;
}

// Ctrl-C ends the sampling loop through the stop handler with status 0, and
// what was printed is not lost although that end skips stdio's flush.
TEST_F(ToolProcess, ctrl_c_stops_the_statistic_tools_with_status_0) {
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
  int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    dir_.link(c.name, TAV_TOOL_PATH);
    int fds[2];
    ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
    int pid = tavtest::spawn(dir_, c.name, c.args, env(), null, fds[1], null);
    ::close(fds[1]);
    // The banner is flushed once the stop handler is in place.
    std::string text = read_until(fds[0], c.banner);
    kill(pid, SIGINT);
    text += read_until(fds[0]);
    ::close(fds[0]);
    EXPECT_EQ(tavtest::wait_status(pid), 0);
    EXPECT_EQ(text, c.banner);
  }
  ::close(null);
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
