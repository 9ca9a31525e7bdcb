// The bus and PHY tools with every seam call failed in turn: no crash, no
// hang, no descriptor left open, and either the failure's message or (where
// the tool does not care) the clean run's output.
#include <gtest/gtest.h>

#include "harness.h"
#include "tools/front.h"
#include "tools/tools.h"

namespace {

using tavtest::Outcome;

struct Scenario {
  const char* name;
  tavtest::Entry entry;
  std::vector<std::string> words;
  bool silent;  // driver failures pass unreported by design
};

const char* const kFailureTexts[] = {
    "Open /dev/",         "CMD_SET_I2C_SLAVE error!", "CMD_I2C_READ error!",   "set i2c device address error!",
    "i2c write error!",   "Open i2c dev error!",      "CMD_SET_DEV error!",    "I2C RDWR err",
    "I2C_WRITE error!",   "creat socket failed",      "get phy address error", "ioctl SIOCGMIIREG failed",
    "set spi mode fail!", "SPI_IOC_MESSAGE error ",
};

const Scenario kScenarios[] = {
    {"i2c_read", tav::tav_tool_main, {"i2c_read", "1", "0x56", "0x0", "0x4", "2", "2"}, false},
    {"i2c_write", tav::tav_tool_main, {"i2c_write", "1", "0x56", "0x10", "0x1234", "2", "2"}, false},
    {"i2c_recv", tav::tav_tool_main, {"i2c_recv", "1", "0x2b", "2", "0", "4", "3"}, false},
    {"i2c_send", tav::tav_tool_main, {"i2c_send", "1", "0x50", "0x20", "0xAA"}, false},
    {"hier", tav::tav_tool_main, {"hier", "0", "0xA0", "0x10", "4"}, true},
    {"hiew", tav::tav_tool_main, {"hiew", "0", "0xA0", "0x10", "4"}, true},
    {"himii_r", tav::tav_tool_main, {"himii.r", "eth0", "1", "2"}, false},
    {"himii_w", tav::tav_tool_main, {"himii.w", "eth0", "1", "0", "0x1140"}, false},
    {"ssp_read", tav::ssp_read, {"ssp_read", "0", "0", "2", "0", "3", "2", "2", "2", "0", "0"}, false},
    {"ssp_write", tav::ssp_write, {"ssp_write", "0", "0", "2", "0", "0x1234", "1", "2", "2"}, false},
};

class BusFaultSweep : public tavtest::BoardTest, public ::testing::WithParamInterface<int> {};

TEST_P(BusFaultSweep, EveryCallFailedInTurn) {
  const Scenario& s = kScenarios[GetParam()];
  const bool front = s.entry == tav::tav_tool_main;
  auto once = [&] {
    board().clear_log();
    return run(s.entry, s.words);
  };
  Outcome clean = once();
  ASSERT_FALSE(clean.exited);
  ASSERT_EQ(clean.result, 0) << clean.out;
  const size_t calls = clean.requests.size();
  ASSERT_GT(calls, 0u);
  for (size_t n = 1; n <= calls; ++n) {
    for (int err : {EIO, EINTR}) {
      board().fail({sim::Call::Any, "", 0, static_cast<int>(n), err});
      Outcome r = once();
      board().clear_faults();
      SCOPED_TRACE(std::string(s.name) + " failing call " + std::to_string(n) + " " +
                   sim::call_name(r.requests.size() >= n ? r.requests[n - 1].call : sim::Call::Any));
      EXPECT_EQ(r.open_descriptors, 0u);
      const std::string all = r.out + r.err;
      if (r.exited) {
        EXPECT_EQ(r.status, 255);
      } else {
        EXPECT_EQ(r.result, front ? 0 : (all == clean.out + clean.err ? 0 : -1));
      }
      if (front) {
        size_t ends = 0;
        for (size_t at = all.find("[END]"); at != std::string::npos; at = all.find("[END]", at + 1)) ++ends;
        EXPECT_EQ(ends, 1u);
      }
      bool reported = false;
      for (const char* text : kFailureTexts) reported = reported || all.find(text) != std::string::npos;
      if (s.silent) {
        EXPECT_EQ(all.substr(0, 20), clean.out.substr(0, 20));
      } else {
        EXPECT_TRUE(reported || all == clean.out) << all;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tools, BusFaultSweep, ::testing::Range(0, static_cast<int>(std::size(kScenarios))),
                         [](const auto& info) { return std::string(kScenarios[info.param].name); });

}  // namespace
