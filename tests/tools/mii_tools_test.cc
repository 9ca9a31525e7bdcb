// himii.r and himii.w against the simulated PHYs behind the MII socket ioctls.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "drivers/netif.h"
#include "harness.h"
#include "sim/mii.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

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

TEST_F(MiiTools, read_uses_the_phy_address_given) {
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

}  // namespace
