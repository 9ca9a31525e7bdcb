// The PHY tool against the simulated interfaces: what it prints, what it
// asks of the PHY and what it leaves in the interface flags.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "drivers/netif.h"
#include "harness.h"
#include "items/items.h"
#include "sim/mii.h"

namespace {

const std::string kUsage =
    "mdio:\nread operation: mdio reg_addr\nwrite operation: mdio reg_addr value\nFor example:\nmdio eth0 1\n"
    "mdio eth0 0 0x12\n\nreset:\nFor example, if want eth0 reset:\nreset eth0\nlink:\n"
    "For example, test eth0 if link:\nlink eth0\n";

class Phy : public tavtest::BoardTest {
 protected:
  sim::MiiSocket& net() {
    return *std::dynamic_pointer_cast<sim::MiiSocket>(board().device("socket:" + std::to_string(AF_INET)));
  }
};

using Prepare = std::function<void(sim::Board&, sim::MiiSocket&)>;

struct Case {
  const char* what;
  std::vector<std::string> words;
  Prepare setup;
  std::string out;
  int result;
};

TEST_F(Phy, sub_commands) {
  const Prepare none = [](sim::Board&, sim::MiiSocket&) {};
  auto fail = [](unsigned long request, int nth, int err) {
    return [=](sim::Board& b, sim::MiiSocket&) { b.fail({sim::Call::Ioctl, "", request, nth, err}); };
  };
  const std::string reset_line = "write phy addr: 0x1  reg: 0x0  value : 0x8000\n\n";
  const Case cases[] = {
      {"unknown sub-command", {"phy", "mdiox", "eth0", "1"}, none, kUsage, 0},
      {"read", {"phy", "mdio", "eth0", "1"}, none, "read phy addr: 0x1  reg: 0x1   value : 0x796d\n\n", 0},
      {"write form only reads",
       {"phy", "mdio", "eth0", "010", "0x12"},
       none,
       "write phy addr: 0x1  reg: 0x8  value : 0x12\n\n",
       0},
      {"no register is a usage error", {"phy", "mdio", "eth0"}, none, kUsage, -22},
      {"unknown interface", {"phy", "mdio", "eth9", "1"}, none, "ioctl cmd SIOCGMIIPHY failed, errno: 19\n", -1},
      {"driver without MII",
       {"phy", "mdio", "eth0", "1"},
       [](sim::Board&, sim::MiiSocket& n) { n.set_support("eth0", true, false); },
       "ioctl cmd SIOCGMIIPHY failed, errno: 95\n",
       -1},
      {"reset", {"phy", "reset", "eth0"}, none, reset_line, 0},
      {"reset of an unknown interface stops at the down step",
       {"phy", "reset", "eth9"},
       none,
       "ioctl cmd SIOCGIFFLAGS, errno: 19\n",
       -1},
      {"16-character name: the down step goes on",
       {"phy", "reset", "abcdefghijklmnop"},
       none,
       "name is too long\nioctl cmd SIOCGMIIPHY failed, errno: 19\nname is too long\n",
       -1},
      {"PHY write fails: the interface still comes up",
       {"phy", "reset", "eth0"},
       fail(tav::SIOC_SMIIREG, 0, EIO),
       "ioctl cmd SIOCSMIIREG failed, errno: 5\n",
       -1},
      {"link up", {"phy", "link", "eth0"}, none, "phy on eth0 is link up\n", 0},
      {"no ethtool: reported up under the wrong name",
       {"phy", "link", "eth0"},
       [](sim::Board&, sim::MiiSocket& n) { n.set_support("eth0", false, true); },
       "ioctl cmd SIOCSMIIREG failed, errno: 95\nphy on eth0 is link up\n",
       0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    sim::Board& board = fresh_board();
    c.setup(board, net());
    tavtest::Outcome o = run(tav::phy_tool, c.words);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.result, c.result);
    EXPECT_FALSE(o.exited);
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

TEST_F(Phy, usage_ends_the_process) {
  for (std::vector<std::string> words : {std::vector<std::string>{"phy"}, {"phy", "-h"}, {}}) {
    tavtest::Outcome o = run(tav::phy_tool, words);
    EXPECT_TRUE(o.exited);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, kUsage);
  }
}

TEST_F(Phy, reset_takes_the_interface_down_and_up_around_the_phy_reset) {
  net().phy("eth0", 1)[4] = 0x0061;
  EXPECT_EQ(run(tav::phy_tool, {"phy", "reset", "eth0"}).result, 0);
  EXPECT_EQ(net().flag_sets("eth0"), (std::vector<int16_t>{0x1042, 0x1043}));
  EXPECT_EQ(net().phy("eth0", 1)[4], 0x01E1);  // the PHY came back from reset
  // A down interface is set down again, then up and running.
  auto down = [&] {
    tav::IfFlagsReq r = {"eth0", 0x1002, {}};
    net().ioctl(*std::make_shared<sim::OpenFile>(), tav::SIOC_SIFFLAGS, &r);
  };
  down();
  EXPECT_EQ(run(tav::phy_tool, {"phy", "reset", "eth0"}).result, 0);
  std::vector<int16_t> sets = net().flag_sets("eth0");
  ASSERT_GE(sets.size(), 2u);
  EXPECT_EQ(sets[sets.size() - 2], 0x1002);
  EXPECT_EQ(sets.back(), 0x1043);
  // The write form of mdio writes nothing.
  run(tav::phy_tool, {"phy", "mdio", "eth0", "4", "0x5"});
  EXPECT_EQ(net().phy("eth0", 1)[4], 0x01E1);
}

}  // namespace
