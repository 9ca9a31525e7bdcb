// The bus and PHY tools started as real processes under their link names:
// the simulated-board build for devices that answer ioctls, and the Linux
// build against plain files standing in for the device nodes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness.h"

namespace {

struct Proc {
  int status = -1;
  std::string out;
  std::string err;
};

class BusProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/tavbusXXXXXX";
    dir_ = mkdtemp(tmpl);
    tavtest::write_file(dir_ + "/i2c-0", "");
    tavtest::write_file(dir_ + "/hi_i2c", "");
    tavtest::write_file(dir_ + "/devmap", "/dev/i2c-0=" + dir_ + "/i2c-0\n/dev/hi_i2c=" + dir_ + "/hi_i2c\n");
  }
  void TearDown() override { ASSERT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

  // Runs the executable through a link called name in the test directory.
  Proc start(const char* exe, const std::string& name, const std::vector<std::string>& args) {
    Proc p;
    const std::string link = dir_ + "/" + name;
    ::unlink(link.c_str());
    EXPECT_EQ(::symlink(exe, link.c_str()), 0);
    std::string emulator = TAV_EMULATOR;
    std::vector<std::string> words;
    if (emulator.empty())
      words = {name};
    else
      words = {emulator, "-0", name, link};
    const std::string path = emulator.empty() ? link : emulator;
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    std::vector<std::string> env = {"TAV_DEVMAP=" + dir_ + "/devmap", "LC_ALL=C"};
    std::vector<char*> envp;
    for (auto& w : env) envp.push_back(&w[0]);
    envp.push_back(nullptr);
    const std::string out = dir_ + "/.out", err = dir_ + "/.err";
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&fa, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid;
    int rc = posix_spawn(&pid, path.c_str(), &fa, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0) {
      ADD_FAILURE() << "spawn " << path << ": " << strerror(rc);
      return p;
    }
    int st = 0;
    waitpid(pid, &st, 0);
    p.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    p.out = tavtest::read_file(out);
    p.err = tavtest::read_file(err);
    return p;
  }
  std::string dir_;
};

struct Case {
  std::string name;
  std::vector<std::string> args;
  int status;
  std::string out;
};

TEST_F(BusProcess, ToolsRunOnTheSimulatedBoardUnderTheirLinkNames) {
  const Case cases[] = {
      {"i2c_read",
       {"1", "0xA0", "0x0", "0x3"},
       0,
       "\ni2c_num:0x1, dev_addr:0xa0; reg_addr:0x0; reg_addr_end:0x3; reg_width: 1; data_width: 1. \n\n"
       "0x0: 0x7\n0x1: 0x24\n0x2: 0x41\n0x3: 0x5e\n[END]\n"},
      {"i2c_read",
       {"1", "0x56", "0x100", "0x100", "2", "2"},
       0,
       "\ni2c_num:0x1, dev_addr:0x56; reg_addr:0x100; reg_addr_end:0x100; reg_width: 2; data_width: 2. \n\n"
       "0x100: 0x724\n[END]\n"},
      {"i2c_send",
       {"1", "0x20", "1"},
       0,
       "\ndev_addr:0x20, value:0x01-0x00-0x00-0x00-0x00-0x00-0x00-0x00\nI2C_WRITE error!\n\ndo errro\n[END]\n"},
      {"hier",
       {"0", "0xA0", "0x41", "2"},
       0,
       "\n====I2C read:<0xa0> <0x41> <0x2>====\r\n00000:  64 81" + std::string(42, ' ') +
           "  |d.              |\n[END]\n"},
      {"himii.r", {"eth0", "1", "2"}, 0, "\nifname eth0 phyaddr 1 reg 2 reading ...\nregvalue 0x123\n[END]\n"},
      {"himii.w",
       {"eth0", "1", "0"},
       255,
       "\nusage: himii.w ifname register regvalue . sample: himii.w eth0 0 0x7509\n"
       " exit:0XFFFFFFFFFFFFFFFF.{tools/mii.cc:94}\n[END]\n"},
  };
  for (const auto& c : cases) {
    Proc p = start(TAV_TOOL_SIM_PATH, c.name, c.args);
    EXPECT_EQ(p.status, c.status) << c.name;
    EXPECT_EQ(p.out, c.out) << c.name;
    EXPECT_EQ(p.err, "") << c.name;
  }
}

TEST_F(BusProcess, LinuxBuildReachesTheMappedNodes) {
  if (TAV_TOOL_IS_SIM) GTEST_SKIP() << "tav_tool is the simulated-board build";
  // A plain file answers no I2C request: the address is refused, and the
  // vendor node's silent reads show as zeros.
  const Case cases[] = {
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
  };
  for (const auto& c : cases) {
    Proc p = start(TAV_TOOL_PATH, c.name, c.args);
    EXPECT_EQ(p.status, c.status) << c.name;
    EXPECT_EQ(p.out, c.out) << c.name;
    EXPECT_EQ(p.err, "") << c.name;
  }
}

}  // namespace
