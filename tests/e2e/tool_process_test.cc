// The built tav_tool started as a real process under its link names. The
// Linux build reaches /dev/mem (a sparse file) and the I2C nodes (plain
// files) through the device map; the simulated-board build shares the same
// file as its physical memory and answers the ioctls itself.
#include <fcntl.h>
#include <gtest/gtest.h>
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
      {"himd",
       {"0x80040000", "20"},
       0,
       "\n====dump memory 0X80040000====\n"
       "00000:  41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50  |ABCDEFGHIJKLMNOP|\n"
       "00010:  51 52 53 54                                      |QRST            |\n[END]\n"},
      {"himc", {"0x80040004", "3"}, 1, "\nlength 0X3 is invalid.must 2 byte aligned\n"},
      {"himc",
       {"0x80040004", "4", "0x2121"},
       0,
       "\n====clear memory 0X80040004, length 4====\n"
       "00000:  21 21 21 21                                      |!!!!            |\n[END]\n"},
      {"himm",
       {},
       255,
       "\nusage: himm <address> <Value>. sample: himm 0x80040000 0x123\n "
       "exit:0XFFFFFFFFFFFFFFFF.{tools/mm:35}\n[END]\n"},
      {"himm",
       {"0x80040008"},
       0,
       "\n====dump memory 0X80040008====\n0x80040008: 0x4C4B4A49\nNewValue:[END]\n",
       "0x64636261\n"},
      {"himd.l",
       {"0x80040000", "16"},
       0,
       "\n====dump memory 0x80040000====\n0000:  44434241 21212121 64636261 504f4e4d\n[END]\n"},
      {"himdb",
       {"0x80040000", "8", "dump.bin"},
       0,
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

// Started through a path, the program dispatches on the name's last
// component; the tools still print the started name whole.
TEST_F(ToolProcess, programs_started_through_a_path_dispatch_on_their_base_name) {
  for (const char* name : {"himm", "himd.l"}) dir_.link(name, "tav_tool");
  const std::string here = dir_.path().substr(dir_.path().rfind('/') + 1);
  const Case cases[] = {
      {"./himm",
       {},
       255,
       "\nusage: ./himm <address> <Value>. sample: ./himm 0x80040000 0x123\n"
       " exit:0XFFFFFFFFFFFFFFFF.{tools/mm:35}\n[END]\n"},
      {"../" + here + "/himd.l",
       {"0x80040000", "16"},
       0,
       "\n====dump memory 0x80040000====\n0000:  44434241 48474645 4c4b4a49 504f4e4d\n[END]\n"},
      {"./tav_tool",
       {"-x"},
       0,
       "\nWrong Args y: -x\n\t-h\t\tprint help msg\n\n\t-i\t\tinstall board tools\n\n"
       "\t-u\t\tuninstall board tools\n\n------------------------------------------------------\n"},
  };
  for (const auto& c : cases) {
    Proc r = start(c.name, c.args, c.input);
    EXPECT_EQ(r.status, c.status) << c.name;
    if (c.name == "./tav_tool")
      EXPECT_TRUE(tavtest::starts_with(r.out, c.out)) << r.out;
    else
      EXPECT_EQ(r.out, c.out) << c.name;
    EXPECT_EQ(r.err, "") << c.name;
  }
}

TEST_F(ToolProcess, linux_build_reaches_the_mapped_bus_nodes) {
  if (TAV_TOOL_IS_SIM) GTEST_SKIP() << "tav_tool is the simulated-board build";
  // A plain file answers no I2C request: the address is refused, and the
  // vendor node's silent reads show as zeros.
  run_cases(TAV_TOOL_PATH,
            {
                {"i2c_write",
                 {"0", "0xA0", "0x10", "0x5"},
                 0,
                 "\ni2c_num:0x0, dev_addr:0xa0; reg_addr:0x10; data:0x5; reg_width: 1; data_width: 1.\n"
                 "set i2c device address error!\n\ndo errro\n[END]\n"},
                {"hier",
                 {"0", "0xA0", "0x10", "2"},
                 0,
                 "\n====I2C read:<0xa0> <0x10> <0x2>====\r\n00000:  00 00" + std::string(42, ' ') +
                     "  |..              |\n[END]\n"},
                {"i2c_read",
                 {"2", "0xA0", "0x10"},
                 0,
                 "\ni2c_num:0x2, dev_addr:0xa0; reg_addr:0x10; reg_addr_end:0x10; reg_width: 1; data_width: 1. \n\n"
                 "Open /dev/i2c-2 error!\n\ndo errro\n[END]\n"},
            });
}

}  // namespace
