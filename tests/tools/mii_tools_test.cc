// himii.r and himii.w against the simulated PHYs behind the MII socket ioctls.
#include <gtest/gtest.h>

#include "harness.h"
#include "sim/mii.h"
#include "tools/mii.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

std::string report(int line) { return " exit:0XFFFFFFFFFFFFFFFF.{tools/mii.cc:" + std::to_string(line) + "}\n[END]\n"; }

class MiiTools : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    sock_ = std::dynamic_pointer_cast<sim::MiiSocket>(board().device("socket:" + std::to_string(AF_INET)));
    ASSERT_NE(sock_, nullptr);
    sock_->add_interface("wan1", 5);
    sock_->phy("eth0", 1)[4] = 0x01E1;
  }
  // The management frames of the run: ioctl request and its bytes.
  static std::vector<std::pair<unsigned long, Bytes>> frames(const Outcome& r) {
    std::vector<std::pair<unsigned long, Bytes>> out;
    for (const auto& q : r.requests)
      if (q.call == sim::Call::Ioctl) out.emplace_back(q.request, q.bytes);
    return out;
  }
  std::shared_ptr<sim::MiiSocket> sock_;
};

TEST_F(MiiTools, ReadUsesThePhyAddressGiven) {
  struct Case {
    std::vector<std::string> words;
    std::string out;
    Bytes frame;
  } cases[] = {
      {{"himii.r", "eth0", "1", "4"}, "ifname eth0 phyaddr 1 reg 4 reading ...\nregvalue 0x1e1\n", {1, 4, 0x01, 0xE1}},
      {{"himii.r", "eth0", "0x1", "0x2"},
       "ifname eth0 phyaddr 1 reg 2 reading ...\nregvalue 0x123\n",
       {1, 2, 0x01, 0x23}},
      // No PHY answers at 3: the bus reads all ones.
      {{"himii.r", "eth0", "3", "1"}, "ifname eth0 phyaddr 3 reg 1 reading ...\nregvalue 0xffff\n", {3, 1, 0xFF, 0xFF}},
      // Words that are not numbers leave the fields at 0.
      {{"himii.r", "wan1", "zz", "12k"},
       "ifname wan1 phyaddr 0 reg 0 reading ...\nregvalue 0xffff\n",
       {0, 0, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    Outcome r = run(tav::himii_r, c.words);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(frames(r), (std::vector<std::pair<unsigned long, Bytes>>{{0x8947, {}}, {0x8948, c.frame}}));
    EXPECT_EQ(r.open_descriptors, 0u);
  }
  // An AF_INET datagram socket.
  Outcome r = run(tav::himii_r, {"himii.r", "eth0", "1", "4"});
  EXPECT_EQ(r.requests[0].call, sim::Call::Socket);
  EXPECT_EQ(r.requests[0].request, static_cast<unsigned long>(SOCK_DGRAM));
}

TEST_F(MiiTools, WriteGoesToThePhyTheDriverReports) {
  Outcome r = run(tav::himii_w, {"himii.w", "eth0", "7", "0", "0x1200"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "ifname eth0 phyaddr 1 reg 0 value 0x1200 writting ...\n");
  EXPECT_EQ(frames(r), (std::vector<std::pair<unsigned long, Bytes>>{{0x8947, {}}, {0x8949, {1, 0, 0x12, 0x00}}}));
  EXPECT_EQ(sock_->phy("eth0", 1)[0], 0x1200);
  EXPECT_EQ(sock_->phy("eth0", 7)[0], 0x1140);

  r = run(tav::himii_w, {"himii.w", "wan1", "1", "0x1f", "0x12345"});
  EXPECT_EQ(r.out, "ifname wan1 phyaddr 5 reg 31 value 0x12345 writting ...\n");
  EXPECT_EQ(sock_->phy("wan1", 5)[31], 0x2345);
}

TEST_F(MiiTools, FailuresReturnWithTheirMessages) {
  struct Case {
    tavtest::Entry entry;
    std::vector<std::string> words;
    unsigned long failing;
    std::string out;
  } cases[] = {
      {tav::himii_r, {"himii.r", "eth9", "1", "1"}, 0, "get phy address error\n"},
      {tav::himii_w, {"himii.w", "eth9", "1", "1", "1"}, 0, "get phy address error\n"},
      {tav::himii_r,
       {"himii.r", "eth0", "1", "1"},
       tav::SIOC_GMIIREG,
       "ifname eth0 phyaddr 1 reg 1 reading ...\nioctl SIOCGMIIREG failed\n"},
      {tav::himii_w,
       {"himii.w", "eth0", "1", "1", "1"},
       tav::SIOC_SMIIREG,
       "ifname eth0 phyaddr 1 reg 1 value 0x1 writting ...\nioctl SIOCGMIIREG failed\n"},
      // Names that cannot be an interface's end the run without a word.
      {tav::himii_r, {"himii.r", "", "1", "1"}, 0, ""},
      {tav::himii_r, {"himii.r", "eth0123456789abc", "1", "1"}, 0, ""},
      {tav::himii_w, {"himii.w", "eth0123456789abc", "1", "1", "1"}, 0, ""},
  };
  for (const auto& c : cases) {
    if (c.failing) board().fail({sim::Call::Ioctl, "", c.failing, 0, EIO});
    Outcome r = run(c.entry, c.words);
    board().clear_faults();
    EXPECT_FALSE(r.exited);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.open_descriptors, 0u);
  }
  Outcome r = run(tav::himii_r, {"himii.r", "eth012345678abc", "1", "1"});  // 15 characters fit
  EXPECT_EQ(r.out, "get phy address error\n");
}

TEST_F(MiiTools, UsageAndSocketFailuresEndTheProcess) {
  struct Case {
    tavtest::Entry entry;
    std::vector<std::string> words;
    bool socket_fails;
    std::string out;
  } cases[] = {
      {tav::himii_r,
       {"himii.r", "eth0", "1"},
       false,
       "usage: himii.r ifname register . sample: himii.r eth0 1\n" + report(39)},
      {tav::himii_r,
       {"himii.r", "eth0", "1", "2", "3"},
       false,
       "usage: himii.r ifname register . sample: himii.r eth0 1\n" + report(39)},
      {tav::himii_w,
       {"himii.w", "eth0", "1", "2"},
       false,
       "usage: himii.w ifname register regvalue . sample: himii.w eth0 0 0x7509\n" + report(94)},
      {tav::himii_r, {"himii.r", "eth0", "1", "2"}, true, "creat socket failed\n" + report(48)},
      {tav::himii_w, {"himii.w", "eth0", "1", "2", "3"}, true, "creat socket failed\n" + report(102)},
  };
  for (const auto& c : cases) {
    if (c.socket_fails) board().fail({sim::Call::Socket, "", 0, 0, EMFILE});
    Outcome r = run(c.entry, c.words);
    board().clear_faults();
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, c.out);
  }
}

}  // namespace
