// The environment, key and network items as real processes through their
// links: on the simulated board, with the Linux backend where they need no
// driver, and the PHY tool against real interfaces in a private network
// namespace where the machine allows one.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"

namespace {

using tavtest::Proc;

using NetEnvProcess = tavtest::FactoryDirTest;

TEST_F(NetEnvProcess, items_through_links_on_the_simulated_board) {
  for (const char* name : {"uboot_env", "encrypto_test", "workkey", "phy", "switch", "nas_kill", "temperature", "fan"})
    dir_.link(name, "tav_factory_sim");
  Proc p = start("uboot_env", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE(p.out.find("测试设置serverip: '192.168.1.100'\nUBOOT环境变量模块测试完毕\n"), std::string::npos) << p.out;
  EXPECT_EQ(start("encrypto_test", {"s3cret"}).out, "successful!\n");
  p = start("encrypto_test", {std::string(64, 'x')});
  EXPECT_EQ(p.out, "passwd too large\n");
  EXPECT_EQ(p.status, 0);  // the runner does not pass an item's result on
  // Each run is a fresh board; the key file in the working directory carries over.
  EXPECT_EQ(start("workkey", {"-e", "abc"}).out, "");
  EXPECT_EQ(start("workkey", {"-d"}).out, "out:abc\n");
  p = start("workkey", {"-h"});
  EXPECT_EQ(p.err.substr(0, 32), "\nUsage: workkey String [option]\n");
  EXPECT_EQ(start("phy", {"link", "eth0"}).out, "phy on eth0 is link up\n");
  p = start("phy", {});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out.substr(0, 6), "mdio:\n");
  EXPECT_EQ(start("switch", {"vlan"}).out, "[V3]set vlan succeed\n");
  EXPECT_EQ(start("nas_kill", {}, "/mnt/nfs\n").out,
            "测试NAS异常处理内核删除操作功能测试开始\nPlease input nfs path[default:/mnt/test]:"
            "Kill the nfs path[/mnt/nfs]\nKill the nfs path done.\n测试NAS异常处理内核删除操作功能测试完毕\n");
  EXPECT_EQ(start("temperature", {}).out, "Temperature = 47\n");
  EXPECT_EQ(start("fan", {"50"}).out, "Set pwm_duty = 50 succeed\n");
  EXPECT_EQ(start("tav_factory_sim", {"fan", "101"}).out, "Please input pwm duty from (0~100)\n");
}

// Says why this machine gives the test no private network namespace.
bool namespace_unavailable(std::string* why) {
  if (geteuid() != 0) {
    *why = "needs root for a private network namespace";
    return true;
  }
  if (access("/usr/bin/unshare", X_OK) != 0 || access("/usr/sbin/ip", X_OK) != 0) {
    *why = "needs unshare and ip";
    return true;
  }
  if (tavtest::shell("/usr/bin/unshare -n /bin/true >/dev/null 2>&1").status != 0) {
    *why = "this machine refuses a private network namespace";
    return true;
  }
  return false;
}

TEST_F(NetEnvProcess, phy_link_and_reset_on_real_interfaces) {
  std::string why;
  if (namespace_unavailable(&why)) GTEST_SKIP() << why;
  if (std::string(TAV_EMULATOR).size() > 0)
    GTEST_SKIP() << "the emulator cannot pass the ethtool and MII socket requests on to the kernel";
  dir_.link("phy", "tav_factory");
  dir_.link("unshare", "/usr/bin/unshare");
  // A veth pair: the carrier follows the peer; neither end has MII.
  const std::string script =
      "ip=/usr/sbin/ip; $ip link add v0 type veth peer name v1 || exit 9; "
      "./phy link v0; ./phy reset v0; echo rc=$?; $ip -o link show v0 | grep -c '<.*UP'; "
      "./phy link v0; $ip link set v1 up; ./phy link v0; "
      "$ip link set v0 down; ./phy link v0; ./phy reset lo; $ip -o link show lo | grep -c '<.*UP'";
  Proc p = start("unshare", {"-n", "/bin/sh", "-c", script});
  ASSERT_NE(p.status, 9) << "veth pair: " << p.err;
  EXPECT_EQ(p.out,
            "phy on v0 is link down\n"
            "ioctl cmd SIOCGMIIPHY failed, errno: 95\n"
            "rc=0\n1\n"
            "phy on v0 is link down\n"
            "phy on v0 is link up\n"
            "phy on v0 is link down\n"
            "ioctl cmd SIOCGMIIPHY failed, errno: 95\n1\n");
}

}  // namespace
