// The gpio tool's arguments and requests, and the PSE simulation mirroring
// the port-request lines onto the port-power lines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;

// The last GPIO request sent and the word it carried.
std::pair<unsigned long, uint16_t> last_gpio(const Outcome& o) {
  std::pair<unsigned long, uint16_t> last = {0, 0};
  for (const auto& r : o.requests)
    if (r.call == sim::Call::Ioctl && r.bytes.size() == 2) {
      last.first = r.request;
      memcpy(&last.second, r.bytes.data(), 2);
    }
  return last;
}

class Gpio : public tavtest::BoardTest {
 protected:
  unsigned& line(unsigned group, unsigned bit) { return sim::tavio(board())->gpio[group | bit << 12]; }
};

TEST_F(Gpio, reads_or_drives_one_line) {
  struct Case {
    std::vector<std::string> words;
    std::string out;
    unsigned long request;
    uint16_t word;
  } cases[] = {
      {{"gpio", "3", "5"}, "GET GPIO3_5:1[HIGH]\n", tav::TAVIO_GPIO_IN, 0x5003},
      {{"gpio", "3", "5", "7"}, "SET GPIO3_5:1[HIGH]\n", tav::TAVIO_GPIO_SET_HIGH, 0xD003},
      {{"gpio", "3", "5", "0"}, "SET GPIO3_5:0[LOW]\n", tav::TAVIO_GPIO_SET_LOW, 0x5003},
      {{"gpio", "4096", "9"}, "GET GPIO0_1:0[LOW]\n", tav::TAVIO_GPIO_IN, 0x1000},
  };
  for (const auto& c : cases) {
    line(3, 5) = 1;
    Outcome o = run(tav::gpio_tool, c.words);
    EXPECT_EQ(o.out, c.out) << c.words.size();
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(last_gpio(o), std::make_pair(c.request, c.word)) << c.out;
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

TEST_F(Gpio, options_or_missing_numbers_get_the_usage) {
  for (const auto& words : std::vector<std::vector<std::string>>{
           {}, {"gpio"}, {"gpio", "3"}, {"gpio", "-h", "3", "5"}, {"gpio", "3", "5", "-x"}}) {
    Outcome o = run(tav::gpio_tool, words);
    EXPECT_EQ(o.err, "\nUsage: gpio [option] row bit [value]\n\n    -h         help\n\n") << words.size();
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.result, -1);
    EXPECT_TRUE(o.requests.empty());
  }
}

using Pse = Gpio;

TEST_F(Pse, power_follows_the_active_low_requests_every_second) {
  // GPIO1_5 (port 1) asks for power from the second pass on.
  uint64_t t0 = board().clock().now_ns();
  board().clock().on_advance([this, t0](uint64_t now) {
    if (now - t0 >= 1000000000) line(1, 5) = 0;
  });
  board().fail({sim::Call::Ioctl, tav::kTavioPath, tav::TAVIO_GPIO_IN, 9, EIO});
  Outcome o = run(tav::pse_test, {});
  EXPECT_EQ(o.out,
            "开始测试模拟PSE供电功能\ng_poe_port.status: 0\ng_poe_port.status: 2\n"
            "ioctl TAVIO_GPIO_IN failed, errno: 5\n");
  EXPECT_EQ(o.result, -1);
  EXPECT_EQ(o.open_descriptors, 0u);
  EXPECT_EQ((std::vector<unsigned>{line(21, 0), line(1, 0), line(1, 1), line(1, 2)}),
            (std::vector<unsigned>{0, 1, 0, 0}));
}

}  // namespace
