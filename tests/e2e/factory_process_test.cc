// tav_factory started as a real process: the runner's own behaviour on the
// built program, and the items through their link names on the
// simulated-board build.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"

namespace {

using tavtest::ends_with;
using tavtest::Proc;
using tavtest::starts_with;

using FactoryProcess = tavtest::FactoryDirTest;

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

// Started through a path, the runner and an item's link still find their
// names in the path's last component.
TEST_F(FactoryProcess, started_through_a_path_the_base_name_decides) {
  dir_.link("cpld", "tav_factory");
  const std::string here = dir_.path().substr(dir_.path().rfind('/') + 1);
  struct PathCase {
    std::string name;
    std::vector<std::string> args;
    std::string out_head;
  };
  const PathCase cases[] = {
      {"./tav_factory", {"-v"}, "*** tav_factory 1.1.0 "},
      {"../" + here + "/tav_factory", {"--version"}, "*** tav_factory 1.1.0 "},
      {"./cpld", {}, "CPLD测试开始\n驱动接口打开失败!\n"},
  };
  for (const PathCase& c : cases) {
    Proc p = start(c.name, c.args);
    EXPECT_EQ(p.status, 0) << c.name;
    EXPECT_TRUE(starts_with(p.out, c.out_head)) << c.name << ": " << p.out;
  }
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

}  // namespace
