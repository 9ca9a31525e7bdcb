// The built tav_tool started as a real process under its link names. Against
// the Linux backend, /dev/mem is mapped to a sparse file through the device
// map; a simulated-board build shares the same file as its physical memory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness.h"

extern char** environ;

namespace {

struct Proc {
  int status = -1;
  std::string out;
  std::string err;
};

class Process : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/tave2eXXXXXX";
    dir_ = mkdtemp(tmpl);
    ASSERT_EQ(::symlink(TAV_TOOL_PATH, (dir_ + "/tav_tool").c_str()), 0);
    mem_ = dir_ + "/physmem";
    int fd = ::open(mem_.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, 0x100000000LL), 0);
    std::string bytes;
    for (int i = 0; i < 64; ++i) bytes += static_cast<char>('A' + i % 26);
    ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0x80040000), 64);
    ::close(fd);
    tavtest::write_file(dir_ + "/devmap", "# test board\n/dev/mem=" + mem_ + "\n");
  }
  void TearDown() override { ASSERT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

  // Runs name (a link in the test directory) with args, feeding input.
  Proc start(const std::string& name, const std::vector<std::string>& args, const std::string& input = "") {
    Proc p;
    std::string in = dir_ + "/.in", out = dir_ + "/.out", err = dir_ + "/.err";
    tavtest::write_file(in, input);
    std::vector<std::string> words;
    std::string emulator = TAV_EMULATOR;
    if (!emulator.empty()) words = {emulator, "-0", name, dir_ + "/" + name};
    else words = {name};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    std::vector<std::string> env_words = {"TAV_DEVMAP=" + dir_ + "/devmap", "TAV_SIM_MEM=" + mem_, "LC_ALL=C"};
    std::vector<char*> envp;
    for (auto& w : env_words) envp.push_back(&w[0]);
    envp.push_back(nullptr);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&fa, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::string old = cwd();
    EXPECT_EQ(chdir(dir_.c_str()), 0);
    std::string path = emulator.empty() ? "./" + name : emulator;
    pid_t pid;
    int rc = posix_spawn(&pid, path.c_str(), &fa, nullptr, argv.data(), envp.data());
    EXPECT_EQ(chdir(old.c_str()), 0);
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
  static std::string cwd() {
    char buf[4096];
    return getcwd(buf, sizeof buf) ? buf : "/";
  }
  std::string dir_;
  std::string mem_;
};

TEST_F(Process, InstallThenRunEveryMemoryToolUnderItsLinkName) {
  Proc p = start("tav_tool", {"-i"});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find(" install <himd.l> ok.\n"), std::string::npos) << p.out;
  char target[64] = {};
  ASSERT_GT(readlink((dir_ + "/himd.l").c_str(), target, sizeof target - 1), 0);
  EXPECT_STREQ(target, "tav_tool");

  struct Case {
    std::string name;
    std::vector<std::string> args;
    std::string input;
    int status;
    std::string out;
  } cases[] = {
      {"himd", {"0x80040000", "20"}, "", 0,
       "\n====dump memory 0X80040000====\n"
       "00000:  41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50  |ABCDEFGHIJKLMNOP|\n"
       "00010:  51 52 53 54                                      |QRST            |\n[END]\n"},
      {"himc", {"0x80040004", "3"}, "", 1, "\nlength 0X3 is invalid.must 2 byte aligned\n"},
      {"himc", {"0x80040004", "4", "0x2121"}, "", 0,
       "\n====clear memory 0X80040004, length 4====\n"
       "00000:  21 21 21 21                                      |!!!!            |\n[END]\n"},
      {"himm", {}, "", 255,
       "\nusage: himm <address> <Value>. sample: himm 0x80040000 0x123\n exit:0XFFFFFFFFFFFFFFFF.{tools/mm:35}\n[END]\n"},
      {"himm", {"0x80040008"}, "0x64636261\n", 0,
       "\n====dump memory 0X80040008====\n0x80040008: 0x4C4B4A49\nNewValue:[END]\n"},
      {"himd.l", {"0x80040000", "16"}, "", 0,
       "\n====dump memory 0x80040000====\n0000:  44434241 21212121 64636261 504f4e4d\n[END]\n"},
      {"himdb", {"0x80040000", "8", "dump.bin"}, "", 0,
       "\n====dump memory:<0X80040000><8> to file:<dump.bin>====\n[END]\n"},
  };
  for (const auto& c : cases) {
    Proc r = start(c.name, c.args, c.input);
    EXPECT_EQ(r.status, c.status) << c.name;
    EXPECT_EQ(r.out, c.out) << c.name;
    EXPECT_EQ(r.err, "") << c.name;
  }
  EXPECT_EQ(tavtest::read_file(dir_ + "/dump.bin"), "ABCD!!!!");

  p = start("tav_tool", {"-u"});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find(" uninstall <himii.w>  ok.\n"), std::string::npos);
  struct stat st;
  EXPECT_NE(lstat((dir_ + "/himd").c_str(), &st), 0);
}

TEST_F(Process, UnknownNameFailsQuietlyWithStatusZero) {
  ASSERT_EQ(::symlink("tav_tool", (dir_ + "/HIMD").c_str()), 0);
  Proc p = start("HIMD", {"0x80040000"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "\n\ndo errro\n[END]\n");
}

TEST_F(Process, SecondInstallReportsTheExistingNamesOnStandardError) {
  start("tav_tool", {"-i"});
  Proc p = start("tav_tool", {"-i"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "\n");
  std::string line = std::string(" install error!: ") + strerror(EEXIST) + "\n";
  std::string want;
  for (int i = 0; i < 16; ++i) want += line;
  EXPECT_EQ(p.err, want);
}

}  // namespace
