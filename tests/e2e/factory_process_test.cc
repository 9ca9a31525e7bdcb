// tav_factory started as a real process: the runner's own behaviour on the
// built program, the items through their link names on the simulated-board
// build, and the menu typed on a real pseudo-terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "harness.h"

namespace {

using tavtest::Proc;

bool starts_with(const std::string& s, const std::string& head) { return s.compare(0, head.size(), head) == 0; }
bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

class FactoryProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_.link("tav_factory", TAV_FACTORY_PATH);
    dir_.link("tav_factory_sim", TAV_FACTORY_SIM_PATH);
  }
  Proc start(const std::string& name, const std::vector<std::string>& args, const std::string& input = "") {
    return tavtest::run_process(dir_, name, args, {"LC_ALL=C"}, input);
  }
  tavtest::TempDir dir_;
};

// The whole usage text is the runner's (asserted there); here the real
// table's run-all items follow it, the run-once watchdog left out.
TEST_F(FactoryProcess, usage_version_and_bad_item_with_their_statuses) {
  Proc help = start("tav_factory", {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(starts_with(help.out, "\r\n./tav_factory\t--help:\n")) << help.out;
  EXPECT_NE(help.out.find("\r\n测试项:\n\r\n\tbootparam           \r\n\tcpld                \r\n"), std::string::npos);
  EXPECT_EQ(help.out.find("watchdog"), std::string::npos);
  Proc p = start("tav_factory", {"-v"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out.substr(0, 22), "*** tav_factory 1.1.0 ");
  EXPECT_EQ(p.out.size(), 22u + 20u + 5u) << p.out;
  p = start("tav_factory", {"abc", "1"});
  EXPECT_EQ(p.status, 255);
  EXPECT_EQ(p.out, "输入参数 ab 有误!\n" + help.out);
  p = start("tav_factory", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "");
}

TEST_F(FactoryProcess, install_run_through_links_and_uninstall) {
  Proc p = start("tav_factory", {"-i"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "");
  struct stat st;
  for (const char* name : {"watchdog", "bootparam", "cpld", "alarm", "buzzer", "gpio"}) {
    char target[64] = {};
    ASSERT_GT(readlink((dir_ / name).c_str(), target, sizeof target - 1), 0) << name;
    EXPECT_STREQ(target, "tav_factory");
  }
  // No IO control device on the host: the item says so through its link.
  p = start("cpld", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "CPLD测试开始\n驱动接口打开失败!\n");
  p = start("alarm", {"-manual"});
  EXPECT_EQ(p.out, "设备 /dev/tavio 不存在.\n");
  // A second install fails on every existing link, one line each.
  p = start("tav_factory", {"-i"});
  EXPECT_TRUE(starts_with(p.out, "install watchdog fail\ninstall bootparam fail\ninstall cpld fail\n")) << p.out;
  p = start("tav_factory", {"--unstall"});
  EXPECT_EQ(p.out, "");
  for (const char* name : {"watchdog", "bootparam", "cpld", "alarm", "buzzer", "gpio"})
    EXPECT_NE(lstat((dir_ / name).c_str(), &st), 0) << name;
}

TEST_F(FactoryProcess, io_and_storage_items_through_links_on_the_simulated_board) {
  for (const char* name : {"cpld", "alarm", "buzzer", "watchdog", "sata_port", "hdbuffer", "harddisk_info_test"})
    dir_.link(name, "tav_factory_sim");
  Proc p = start("cpld", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(starts_with(p.out,
                          "CPLD测试开始\n@start==============CPLD INFO================start@\n"
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
  p = start("watchdog", {});
  EXPECT_EQ(p.status, 137);
  EXPECT_TRUE(starts_with(p.out, "已喂狗1次\n")) << p.out;
  EXPECT_TRUE(ends_with(p.out, "已过去27秒\n已过去28秒\n")) << p.out;
  p = start("sata_port", {});
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

TEST_F(FactoryProcess, scan_power_unlock_and_perf_items_through_links_on_the_simulated_board) {
  for (const char* name : {"disk_scan", "disk_power", "disk_unlock", "disk_perf"}) dir_.link(name, "tav_factory_sim");
  // The default board's hardware record names no bay count.
  Proc p = start("disk_scan", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "硬盘扫描检测功能开始\n硬盘个数: 0, 不支持\n硬盘扫描功能仅支持4、8、16盘位设备\n");
  // Disk 1, one cycle: it vanishes when powered down and returns after power-up.
  p = start("disk_power", {}, "1\n1\n");
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(ends_with(p.out, "测试:        1 次, 错误:        0 次\n\033[0;32mdisk updown test OK.\033[m\n"))
      << p.out;
  p = start("disk_unlock", {}, "/dev/sdb\n");
  EXPECT_EQ(p.out, "请输入块设备名称[非分区设备]:\033[0;32m/dev/sdb is not a lock disk, don't need password\033[m\n");
  p = start("disk_perf", {"/dev/sdc", "B", "1", "1", "4K", "4"});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find("total_size = 16384\n"), std::string::npos) << p.out;
  EXPECT_NE(p.out.find("Complete."), std::string::npos) << p.out;
}

// The menu's key reader on a real terminal: the program switches it raw,
// echoes the keys itself, and restores the settings.
TEST_F(FactoryProcess, menu_on_a_pseudo_terminal_goes_raw_echoes_and_restores) {
  int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  struct termios cooked;
  ASSERT_EQ(tcgetattr(master, &cooked), 0);
  ASSERT_NE(cooked.c_lflag & ICANON, 0u);
  // Held open so the terminal outlives the program and can be inspected.
  int slave = ::open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(slave, 0);
  int pid = tavtest::spawn(dir_, "tav_factory_sim", {"-m"}, {"LC_ALL=C"}, slave, slave, slave);
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
  ASSERT_EQ(::write(master,
                    "\x7f"
                    "2\n",
                    3),
            3);
  ASSERT_TRUE(pump("cpld测试完毕")) << seen;
  ASSERT_TRUE(pump(prompt, seen.find("cpld测试完毕"))) << seen;
  ASSERT_TRUE(wait_raw());
  ASSERT_EQ(::write(master, "q\n", 2), 2);
  ASSERT_TRUE(pump("退出测试\r\n")) << seen;
  EXPECT_EQ(tavtest::wait_status(pid), 0);
  // The key typed, erased with "\b \b", and the next key; the newline is the
  // program's own, turned into CR LF by the terminal.
  EXPECT_NE(seen.find(prompt + "7\b \b2\r\n" + "CPLD测试开始\r\n"), std::string::npos) << seen;
  struct termios after;
  ASSERT_EQ(tcgetattr(master, &after), 0);
  EXPECT_EQ(after.c_lflag & (ICANON | ECHO), cooked.c_lflag & (ICANON | ECHO));
  ::close(slave);
  ::close(master);
}

TEST_F(FactoryProcess, clock_and_presence_items_through_links_on_the_simulated_board) {
  for (const char* name : {"rtc", "hdmi", "vga", "reset", "joystick", "gpio", "ir", "pse"})
    dir_.link(name, "tav_factory_sim");
  Proc p = start("rtc", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(starts_with(p.out, "\nRTC测试开始\n2026-01-01 00:00:00\n")) << p.out;
  EXPECT_TRUE(ends_with(p.out, "2015-04-01 08:57:29\nRTC测试完毕\n")) << p.out;
  EXPECT_EQ(start("hdmi", {}).out, "HDMI接入检测测试开始\n请确认HDMI显示器已接入\nHDMI 已接入\nHDMI接入检测测试完毕\n");
  EXPECT_EQ(start("vga", {}).out,
            "VGA接入检测测试开始\n请确认VGA显示器已接入,并确认当前主板有CVBS\nVGA 已接入\nVGA接入检测测试完毕\n");
  EXPECT_EQ(start("reset", {}).out, "reset detect ready, please press the reset key.\nreset key not pressed\n");
  EXPECT_TRUE(ends_with(start("joystick", {}).out, "测试完毕, 存在kq3307t设备[/dev/hidraw1].\n\n"));
  EXPECT_EQ(start("gpio", {"1", "2", "1"}).out, "SET GPIO1_2:1[HIGH]\n");
  p = start("gpio", {"1"});
  EXPECT_NE((p.out + p.err).find("Usage: gpio [option] row bit [value]\n"), std::string::npos) << p.out << p.err;
  // The two that run until stopped: Ctrl-C ends them by the signal.
  struct Endless {
    const char* name;
    const char* line;
  } endless[] = {{"ir", "Select recv timeout!\n"}, {"pse", "g_poe_port.status: 0\n"}};
  for (const auto& e : endless) {
    int pipefd[2];
    ASSERT_EQ(pipe2(pipefd, O_CLOEXEC), 0);
    int null_in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    int pid = tavtest::spawn(dir_, e.name, {}, {"LC_ALL=C"}, null_in, pipefd[1], pipefd[1]);
    ::close(pipefd[1]);
    ::close(null_in);
    ASSERT_GT(pid, 0);
    std::string seen;
    char buf[4096];
    bool stopped = false;
    for (;;) {
      if (!stopped && seen.find(std::string(e.line) + e.line) != std::string::npos) {
        kill(pid, SIGINT);
        stopped = true;
      }
      ssize_t n = ::read(pipefd[0], buf, sizeof buf);
      if (n <= 0) break;
      if (seen.size() < 65536) seen.append(buf, static_cast<size_t>(n));
    }
    ::close(pipefd[0]);
    EXPECT_EQ(tavtest::wait_status(pid), 128 + SIGINT) << e.name;
    EXPECT_NE(seen.find(e.line), std::string::npos) << e.name << seen.substr(0, 200);
  }
}

}  // namespace
