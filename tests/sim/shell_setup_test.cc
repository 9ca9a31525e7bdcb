// The board variant and faults an engineer names in the environment.
#include "sim/shell_setup.h"

#include <gtest/gtest.h>

#include "harness.h"

namespace {

TEST(ShellSetup, fault_lists_are_read_or_refused_with_a_reason) {
  struct Case {
    const char* text;
    bool ok;
    size_t count;
    sim::Call call;
    unsigned long request;
    int err;
    int nth;
    const char* why;  // part of the refusal
  } cases[] = {
      {"/dev/rtc0:ioctl:EIO", true, 1, sim::Call::Ioctl, 0, EIO, 0, ""},
      {"/dev/rtc0:0x80247009:EINVAL:2", true, 1, sim::Call::Ioctl, 0x80247009, EINVAL, 2, ""},
      {"/dev/sda:open:13,/dev/ttyS1:write:EAGAIN", true, 2, sim::Call::Open, 0, 13, 0, ""},
      {"/dev/rtc0:ioctl", false, 0, sim::Call::Any, 0, 0, 0, "PATH:CALL:ERRNO"},
      {"/dev/rtc0:frob:EIO", false, 0, sim::Call::Any, 0, 0, 0, "neither a call"},
      {"/dev/rtc0:ioctl:EWHAT", false, 0, sim::Call::Any, 0, 0, 0, "not an errno"},
      {"/dev/rtc0:ioctl:0", false, 0, sim::Call::Any, 0, 0, 0, "not an errno"},
      {"/dev/rtc0:ioctl:EIO:0", false, 0, sim::Call::Any, 0, 0, 0, "counted from 1"},
      {"/dev/rtc0:ioctl:EIO:x", false, 0, sim::Call::Any, 0, 0, 0, "counted from 1"},
      {"/dev/rtc0:ioctl:EIO,", false, 0, sim::Call::Any, 0, 0, 0, "PATH:CALL:ERRNO"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::vector<sim::Fault> faults;
    std::string error;
    ASSERT_EQ(sim::parse_faults(c.text, &faults, &error), c.ok);
    if (!c.ok) {
      EXPECT_NE(error.find(c.why), std::string::npos) << error;
      continue;
    }
    ASSERT_EQ(faults.size(), c.count);
    EXPECT_EQ(faults[0].call, c.call);
    EXPECT_EQ(faults[0].request, c.request);
    EXPECT_EQ(faults[0].err, c.err);
    EXPECT_EQ(faults[0].nth, c.nth);
  }
}

TEST(ShellSetup, board_choices_are_read_or_refused) {
  struct Case {
    const char* text;
    bool ok;
    unsigned variant;
    bool alarms;
    unsigned in, out;
  } cases[] = {
      {"0x30", true, 0x30, false, 0, 0}, {"0x20:16:4", true, 0x20, true, 16, 4}, {"48", true, 48, false, 0, 0},
      {"", false, 0, false, 0, 0},       {"0x30:16", false, 0, false, 0, 0},     {"0x20:32:1", false, 0, false, 0, 0},
      {"-1", false, 0, false, 0, 0},     {"0x10000", false, 0, false, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    sim::BoardChoice choice;
    std::string error;
    ASSERT_EQ(sim::parse_board_choice(c.text, &choice, &error), c.ok);
    if (!c.ok) continue;
    EXPECT_EQ(choice.variant, c.variant);
    EXPECT_EQ(choice.alarms, c.alarms);
    EXPECT_EQ(choice.alarm_inputs, c.in);
    EXPECT_EQ(choice.alarm_outputs, c.out);
  }
}

// From the shell, as the README shows: a clock that refuses to be read, a
// board with another variant, and a misspelt fault that runs nothing.
class ShellSetupProcess : public tavtest::FactoryDirTest {};

TEST_F(ShellSetupProcess, rehearsed_failures_reach_the_items) {
  dir_.link("rtc", "tav_factory_sim");
  dir_.link("cpld", "tav_factory_sim");
  tavtest::Proc p = tavtest::run_process(dir_, "rtc", {}, {"LC_ALL=C", "TAV_SIM_FAULT=/dev/rtc0:ioctl:EIO"});
  EXPECT_EQ(p.status, 0);
  EXPECT_EQ(p.out, "\nRTC测试开始\nrtc rd time faid\nRTC测试完毕\n");

  tavtest::Proc plain = tavtest::run_process(dir_, "cpld", {}, {"LC_ALL=C"});
  tavtest::Proc other = tavtest::run_process(dir_, "cpld", {}, {"LC_ALL=C", "TAV_SIM_BOARD=0x50"});
  EXPECT_EQ(other.status, 0);
  EXPECT_NE(plain.out, other.out);

  p = tavtest::run_process(dir_, "rtc", {}, {"LC_ALL=C", "TAV_SIM_FAULT=/dev/rtc0:ioctl:EIOO"});
  EXPECT_EQ(p.status, 2);
  EXPECT_EQ(p.out, "");
  EXPECT_EQ(p.err,
            "simulated board: TAV_SIM_FAULT=/dev/rtc0:ioctl:EIOO: 'EIOO' is not an errno (EIO, EINVAL, ... or 1 "
            "to 4095)\n");
}

}  // namespace
