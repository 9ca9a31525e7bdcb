// The RTC and watchdog items against the simulated clock chip and watchdog:
// the rate check and its wrap, each failing request, and the watchdog
// sequence that only the board's reset ends.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "harness.h"
#include "items/items.h"
#include "sim/peripherals.h"

namespace {

using tavtest::Outcome;

constexpr int64_t k2026 = 1767225600;  // 2026-01-01 00:00:00 UTC

std::string lines(const char* fmt, int from, int to) {
  std::string s;
  char buf[96];
  for (int i = from; from <= to ? i <= to : i >= to; i += from <= to ? 1 : -1) {
    snprintf(buf, sizeof buf, fmt, i);
    s += buf;
  }
  return s;
}

const std::string kRateLines =
    "2026-01-01 00:00:57\n2026-01-01 00:00:58\n2026-01-01 00:00:59\n"
    "2026-01-01 00:01:00\n2026-01-01 00:01:01\n2026-01-01 00:01:02\n";
const std::string kSetHead = "RTC走时测试成功。\n\n设置RTC时间: 2015-04-01 08:57:23\n";
const std::string kWatch = "测试设置后的走时:\n" + lines("2015-04-01 08:57:%02d\n", 24, 29);

class Rtc : public tavtest::BoardTest {
 protected:
  sim::RtcDevice& chip() { return *sim::rtc(board()); }
};

TEST_F(Rtc, second_fifty_seven_to_two_passes_then_the_set_time_runs) {
  chip().set_time(k2026 + 57);
  Outcome o = run(tav::rtc_test, {});
  EXPECT_EQ(o.out, "\nRTC测试开始\n" + kRateLines + kSetHead + kWatch + "RTC测试完毕\n");
  EXPECT_EQ(o.result, 0);
  ASSERT_EQ(chip().sets.size(), 1u);
  EXPECT_EQ(chip().sets[0].tm_wday, 0);
  EXPECT_EQ(o.open_descriptors, 0u);
}

TEST_F(Rtc, rate_check_accepts_four_to_eight_seconds_in_five) {
  struct Case {
    int second;
    unsigned per_mille;
    bool passes;
  } cases[] = {{0, 1600, true}, {0, 1800, false}, {10, 800, true}, {10, 600, false}, {30, 0, false}};
  for (const auto& c : cases) {
    chip().sets.clear();
    chip().set_time(k2026 + c.second);
    chip().set_rate(c.per_mille);
    Outcome o = run(tav::rtc_test, {"rtc"});
    // A failed check is silent: the six readings, then the end.
    std::string rest = o.out.substr(o.out.find("2026-") + 6 * 20);
    EXPECT_EQ(rest.rfind(c.passes ? "RTC走时测试成功" : "RTC测试完毕\n", 0), 0u) << c.per_mille;
    EXPECT_EQ(chip().sets.size(), c.passes ? 1u : 0u) << c.per_mille;
  }
}

// A broken chip can return any fields; the item prints what the board's
// 32-bit arithmetic makes of them and judges the clock stopped.
TEST_F(Rtc, readings_at_the_ends_of_int_print_wrapped_and_fail) {
  struct Case {
    tav::RtcTime t;
    const char* line;
  } cases[] = {
      {{INT32_MIN, 0, 0, 1, INT32_MAX, INT32_MAX, 0, 0, 0}, "-2147481749--2147483648-01 00:00:-2147483648\n"},
      {{INT32_MAX, INT32_MIN, INT32_MAX, INT32_MIN, INT32_MIN, INT32_MIN, 0, 0, 0},
       "-2147481748--2147483647--2147483648 2147483647:-2147483648:2147483647\n"},
  };
  for (const auto& c : cases) {
    chip().set_broken_reading(c.t);
    Outcome o = run(tav::rtc_test, {});
    std::string six;
    for (int i = 0; i < 6; ++i) six += c.line;
    EXPECT_EQ(o.out, "\nRTC测试开始\n" + six + "RTC测试完毕\n");
    EXPECT_TRUE(chip().sets.empty());
  }
}

const std::string kFed = lines("已喂狗%d次\n", 1, 10) + "\n";
const std::string kDisabled =
    "开门狗已关闭，检查倒计时10秒后能否保持正常:\n" + lines("倒计时%d秒\n", 10, 1) + "\n正常，开门狗已重新打开!\n";
const std::string kArmed = "设置超时时间为30s\n";

class Watchdog : public tavtest::BoardTest {};

TEST_F(Watchdog, left_armed_it_resets_the_board_twenty_nine_seconds_after_close) {
  sim::WatchdogDevice& dog = *sim::watchdog(board());
  uint64_t t0 = board().clock().now_ns();
  // A board that never resets would count forever.
  board().clock().on_advance([t0](uint64_t now) {
    if (now - t0 > 200000000000ull) throw sim::Stuck{"no reset"};
  });
  Outcome o = run(tav::watchdog_test, {});
  EXPECT_EQ(o.out, kFed + kDisabled + kArmed + "若30秒后开门狗复位，则测试成功。\n" + lines("已过去%d秒\n", 1, 28));
  EXPECT_TRUE(o.exited);
  EXPECT_EQ(o.status, sim::kBoardResetStatus);
  EXPECT_EQ(dog.resets, 1);
  // 60 s of feeding, 10 s disabled, then the 29 s timeout.
  EXPECT_EQ(dog.reset_ns - t0, 99000000000ull);
  EXPECT_EQ(dog.timeout_s(), 29);
}

}  // namespace
