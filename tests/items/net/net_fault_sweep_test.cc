// Every seam call of a phy or switch run failed in turn: no crash, nothing
// left open, and either the failure is reported with its errno or it did not
// matter (a close) and the clean run's output stands.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

#include "harness.h"
#include "items/net/net_items.h"
#include "items/net/netif.h"
#include "sim/mii.h"

namespace {

using tavtest::Outcome;

class NetFaultSweep : public tavtest::BoardTest {
 protected:
  // A failed reset can leave eth0 down; each run starts from it up.
  void restore_flags() {
    auto net = std::dynamic_pointer_cast<sim::MiiSocket>(board().device("socket:" + std::to_string(AF_INET)));
    tav::IfFlagsReq r = {"eth0", 0x1043, {}};
    net->ioctl(*std::make_shared<sim::OpenFile>(), tav::SIOC_SIFFLAGS, &r);
  }
};

TEST_F(NetFaultSweep, EveryFailedCallIsReportedOrHarmless) {
  struct Scenario {
    tavtest::Entry entry;
    std::vector<std::string> words;
  } scenarios[] = {
      {tav::phy_tool, {"phy", "mdio", "eth0", "1"}},  {tav::phy_tool, {"phy", "reset", "eth0"}},
      {tav::phy_tool, {"phy", "link", "eth0"}},       {tav::switch_tool, {"switch", "m_sec", "3", "1:2:3:4:5:6"}},
      {tav::switch_tool, {"switch", "mirror", "-r"}},
  };
  for (const auto& s : scenarios) {
    const std::string what = s.words[0] + " " + s.words[1];
    board().clear_faults();
    size_t start = board().calls();
    Outcome clean = run(s.entry, s.words);
    const int calls = static_cast<int>(board().calls() - start);
    ASSERT_GT(calls, 0) << what;
    for (int n = 1; n <= calls; ++n) {
      restore_flags();
      board().clear_faults();
      board().fail({sim::Call::Any, "", 0, n, EIO});
      Outcome o = run(s.entry, s.words);
      EXPECT_FALSE(o.exited) << what << " call " << n;
      EXPECT_EQ(o.open_descriptors, 0u) << what << " call " << n;
      const bool reported = o.out.find("errno: 5") != std::string::npos || o.out.find("errno:5") != std::string::npos;
      EXPECT_TRUE(reported || o.out == clean.out) << what << " call " << n << ": " << o.out;
    }
  }
}

}  // namespace
