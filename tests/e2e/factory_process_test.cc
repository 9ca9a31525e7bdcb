// tav_factory started as a real process: the runner's own behaviour on the
// built program, the items through their link names on the simulated-board
// build, and the menu typed on a real pseudo-terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "factory/factory.h"
#include <string>
#include <vector>

#include "harness.h"

extern char** environ;

namespace {

bool starts_with(const std::string& s, const std::string& head) { return s.compare(0, head.size(), head) == 0; }
bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

struct Proc {
  int status = -1;
  std::string out;
  std::string err;
};

class FactoryProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/tavfacXXXXXX";
    dir_ = mkdtemp(tmpl);
    ASSERT_EQ(::symlink(TAV_FACTORY_PATH, (dir_ + "/tav_factory").c_str()), 0);
    ASSERT_EQ(::symlink(TAV_FACTORY_SIM_PATH, (dir_ + "/tav_factory_sim").c_str()), 0);
  }
  void TearDown() override { ASSERT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

  std::vector<std::string> words(const std::string& name, const std::vector<std::string>& args) {
    std::vector<std::string> w;
    std::string emulator = TAV_EMULATOR;
    if (!emulator.empty()) w = {emulator, "-0", name, dir_ + "/" + name};
    else w = {dir_ + "/" + name};
    w.insert(w.end(), args.begin(), args.end());
    return w;
  }

  // Runs name (in the test directory) with its standard streams opened on
  // the given paths, from the test directory.
  pid_t spawn(const std::string& name, const std::vector<std::string>& args, const std::string& in,
              const std::string& out, const std::string& err) {
    std::vector<std::string> w = words(name, args);
    std::vector<char*> argv;
    for (auto& s : w) argv.push_back(&s[0]);
    argv.push_back(nullptr);
    std::string env_words[] = {"LC_ALL=C"};
    char* envp[] = {&env_words[0][0], nullptr};
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, in.c_str(), O_RDWR, 0);
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&fa, 2, err.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    char old[4096];
    EXPECT_NE(getcwd(old, sizeof old), nullptr);
    EXPECT_EQ(chdir(dir_.c_str()), 0);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, argv[0], &fa, nullptr, argv.data(), envp);
    EXPECT_EQ(chdir(old), 0);
    posix_spawn_file_actions_destroy(&fa);
    EXPECT_EQ(rc, 0) << strerror(rc);
    return rc == 0 ? pid : -1;
  }

  Proc start(const std::string& name, const std::vector<std::string>& args, const std::string& input = "") {
    Proc p;
    std::string in = dir_ + "/.in", out = dir_ + "/.out", err = dir_ + "/.err";
    tavtest::write_file(in, input);
    pid_t pid = spawn(name, args, in, out, err);
    if (pid < 0) return p;
    int st = 0;
    waitpid(pid, &st, 0);
    p.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    p.out = tavtest::read_file(out);
    p.err = tavtest::read_file(err);
    return p;
  }

  void link(const std::string& name, const std::string& target) {
    ASSERT_EQ(::symlink(target.c_str(), (dir_ + "/" + name).c_str()), 0);
  }

  std::string dir_;
};

extern const std::string kUsageHead;

// The usage lists every run-all item of the table.
std::string usage() {
  std::string items;
  for (const auto* row = tav::kFactoryItems; row->name != nullptr; ++row)
    if (row->flag == 1) {
      char line[64];
      snprintf(line, sizeof line, "\t%-20s\r\n", row->name);
      items += line;
    }
  return kUsageHead + items;
}

// Every item with a run function and a flag gets a link.
std::string install_failures() {
  std::string s;
  for (const auto* row = tav::kFactoryItems; row->name != nullptr; ++row)
    if (row->run != nullptr && row->flag != 0) s += std::string("install ") + row->name + " fail\n";
  return s;
}

const std::string kUsageHead =
    "\r\n./tav_factory\t--help:\n\r\n"
    "用法:   ./tav_factory [-m][-i][-u][-V][测试项][参数][...][-c测试次数]\n\r\n"
    "选项:\n\r\n"
    "\t-m\t\t查看可测试选项(菜单式)\n\n"
    "\t-i\t\t创建软连接\n\n"
    "\t-u\t\t删除软连接\n\n"
    "\t-c\t\t删除软连接\n\n"
    "\t-V\t\t打印版本信息\n\n"
    "\r\n测试项:\n\r\n";

TEST_F(FactoryProcess, UsageVersionAndBadItem) {
  Proc p = start("tav_factory", {"--help"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, usage());
  p = start("tav_factory", {"-v"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out.substr(0, 22), "*** tav_factory 1.1.0 ");
  EXPECT_EQ(p.out.size(), 22u + 20u + 5u) << p.out;
  p = start("tav_factory", {"abc", "1"});
  EXPECT_EQ(p.status, 255);
  EXPECT_EQ(p.out, "输入参数 ab 有误!\n" + usage());
  p = start("tav_factory", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "");
}

TEST_F(FactoryProcess, InstallRunThroughLinksUninstall) {
  Proc p = start("tav_factory", {"-i"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "");
  struct stat st;
  for (const char* name : {"watchdog", "bootparam", "cpld", "alarm", "buzzer", "gpio"}) {
    char target[64] = {};
    ASSERT_GT(readlink((dir_ + "/" + name).c_str(), target, sizeof target - 1), 0) << name;
    EXPECT_STREQ(target, "tav_factory");
  }
  // No IO control device on the host: the item says so through its link.
  p = start("cpld", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "CPLD测试开始\n驱动接口打开失败!\n");
  p = start("alarm", {"-manual"});
  EXPECT_EQ(p.out, "设备 /dev/tavio 不存在.\n");
  p = start("tav_factory", {"-i"});
  EXPECT_EQ(p.out, install_failures());
  p = start("tav_factory", {"--unstall"});
  EXPECT_EQ(p.out, "");
  for (const char* name : {"watchdog", "bootparam", "cpld", "alarm", "buzzer", "gpio"})
    EXPECT_NE(lstat((dir_ + "/" + name).c_str(), &st), 0) << name;
}

TEST_F(FactoryProcess, ItemsThroughLinksOnTheSimulatedBoard) {
  link("cpld", "tav_factory_sim");
  link("alarm", "tav_factory_sim");
  link("buzzer", "tav_factory_sim");
  Proc p = start("cpld", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(starts_with(p.out, "CPLD测试开始\n@start==============CPLD INFO================start@\n"
                                 "魔数:           0x444c5043\n"))
      << p.out;
  EXPECT_TRUE(ends_with(p.out, "@end================CPLD INFO================end@\n\n cpld测试完毕\n"));
  p = start("alarm", {"-alarm_board_necessary"});
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(ends_with(p.out, "常闭模式，报警I/O口测试完毕\n报警测试成功!\n")) << p.out;
  // Answers come from the real standard input.
  p = start("alarm", {"-manual"}, "1\nq\n");
  EXPECT_EQ(p.out,
            "报警输入:16个, 报警输出:4个\n常开模式报警测试:\n"
            "请选择输入输出模式，1:报警输入，2:报警输出，q:退出测试\n"
            "请选择输入输出模式，1:报警输入，2:报警输出，q:退出测试\n报警测试成功!\n");
  p = start("buzzer", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "");
  p = start("tav_factory_sim", {"bootparam"});
  EXPECT_NE(p.out.find("VELMO UID:     UID0123456789ABCDEFGHI\n"), std::string::npos);
  // Success is the board's reset, 29 seconds after the unfed watchdog's close.
  link("watchdog", "tav_factory_sim");
  p = start("watchdog", {});
  EXPECT_EQ(p.status, 137);
  EXPECT_TRUE(starts_with(p.out, "已喂狗1次\n")) << p.out;
  EXPECT_TRUE(ends_with(p.out, "已过去27秒\n已过去28秒\n")) << p.out;
}

TEST_F(FactoryProcess, StorageItemsThroughLinksOnTheSimulatedBoard) {
  link("sata_port", "tav_factory_sim");
  link("hdbuffer", "tav_factory_sim");
  link("harddisk_info_test", "tav_factory_sim");
  Proc p = start("sata_port", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(starts_with(p.out, "\033[0;32mSTOR_CMD_SCAN_DONE test OK.\033[m\n")) << p.out;
  EXPECT_TRUE(ends_with(p.out, "硬盘信息输出完毕,请对照/proc/tavata/sataport0!!!\n"));
  p = start("hdbuffer", {"-c", "3"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "");
  EXPECT_TRUE(starts_with(p.err, "\nUsage: hdbuffer -i index -c cmd -s size(M)\n"));
  p = start("tav_factory_sim", {"hdbuffer", "-i", "sda", "-c", "1", "-s", "32"});
  EXPECT_EQ(p.out, "set hdd [sda] success，buffer size is 32 \n");
  // The device name is answered on standard input.
  p = start("harddisk_info_test", {}, "/dev/sdb\n");
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find("SerialNumber(SN)     WD-TAV0000002       \n"), std::string::npos) << p.out;
  EXPECT_NE(p.out.find("c2  Power temperature"), std::string::npos);
}

// The menu's key reader on a real terminal: the program switches it raw,
// echoes the keys itself, and restores the settings.
TEST_F(FactoryProcess, MenuOnAPseudoTerminal) {
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  std::string slave = ptsname(master);
  struct termios cooked;
  ASSERT_EQ(tcgetattr(master, &cooked), 0);
  ASSERT_NE(cooked.c_lflag & ICANON, 0u);
  // Held open so the terminal outlives the program and can be inspected.
  int keep = ::open(slave.c_str(), O_RDWR | O_NOCTTY);
  ASSERT_GE(keep, 0);
  pid_t pid = spawn("tav_factory_sim", {"-m"}, slave, slave, slave);
  ASSERT_GT(pid, 0);

  std::string seen;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  // Reads until want shows at or after from.
  auto pump = [&](const std::string& want, size_t from = 0) {
    while (seen.find(want, from) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
      struct pollfd pfd = {master, POLLIN, 0};
      if (poll(&pfd, 1, 100) <= 0) continue;
      char buf[4096];
      ssize_t n = ::read(master, buf, sizeof buf);
      if (n > 0) seen.append(buf, static_cast<size_t>(n));
    }
    return seen.find(want, from) != std::string::npos;
  };
  auto wait_raw = [&] {
    struct termios t;
    while (std::chrono::steady_clock::now() < deadline) {
      if (tcgetattr(master, &t) == 0 && (t.c_lflag & (ICANON | ECHO)) == 0) return true;
      usleep(2000);
    }
    return false;
  };
  const std::string prompt = "请选择测试选项(默认值=0):";
  ASSERT_TRUE(pump(prompt)) << seen;
  ASSERT_TRUE(wait_raw());
  ASSERT_EQ(::write(master, "7", 1), 1);
  ASSERT_TRUE(pump(prompt + "7"));
  ASSERT_EQ(::write(master, "\x7f" "2\n", 3), 3);
  ASSERT_TRUE(pump("cpld测试完毕")) << seen;
  ASSERT_TRUE(pump(prompt, seen.find("cpld测试完毕"))) << seen;
  ASSERT_TRUE(wait_raw());
  ASSERT_EQ(::write(master, "q\n", 2), 2);
  ASSERT_TRUE(pump("退出测试\r\n")) << seen;
  int st = 0;
  ASSERT_EQ(waitpid(pid, &st, 0), pid);
  EXPECT_TRUE(WIFEXITED(st) && WEXITSTATUS(st) == 0);
  // The key typed, erased with "\b \b", and the next key; the newline is the
  // program's own, turned into CR LF by the terminal.
  EXPECT_NE(seen.find(prompt + "7\b \b2\r\n" + "CPLD测试开始\r\n"), std::string::npos) << seen;
  struct termios after;
  ASSERT_EQ(tcgetattr(master, &after), 0);
  EXPECT_EQ(after.c_lflag & (ICANON | ECHO), cooked.c_lflag & (ICANON | ECHO));
  ::close(keep);
  ::close(master);
}

}  // namespace
