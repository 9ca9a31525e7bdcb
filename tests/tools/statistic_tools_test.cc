// hiddrs and hil2s on the simulated board: the sampling loop driven by the
// interval timer, ended by Ctrl-C, against counters that run with virtual time.
#include <gtest/gtest.h>

#include "harness.h"
#include "sim/perf_counters.h"
#include "tools/front.h"
#include "tools/tools.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kSec = 1000000000ull;
constexpr uint64_t kWallClock = 1767225600ull * kSec;  // a multiple of 1, 2 and 3 seconds

const std::string kDdrsHelp =
    "NAME\n  ddrs - ddr statistic\n\nDESCRIPTION\n  Statistic percentage of occupation of ddr.\n\n"
    "  -d, --ddrc\n"
    "      which ddrc you want statistic. \"0\" statistic ddrc0,\n"
    "      \"1\" statistic ddrc1,  \"2\" statistic ddrc2, \"3\" statistic ddrc3,\"4\" statistic ddrc0-3 at the same "
    "time. \"0\" as default.\n"
    "  -f, --freq\n      one ddcr freq, one chip, please set the freq referring to the chip.\n"
    "      \"667\" as default.\n"
    "  -w, --width\n      set the bit-width referring to the chip. \"32\" or \"16\".\n      \"32\" as default.\n"
    "  -i, --interval\n      the range is 1~3 second, 1 second as default.\n"
    "  -h, --help\n      display this help and exit\n"
    "  eg:\n      $ hiddrs -d 0 -f 667 -i 1\n      or\n      $ hiddrs\n";

const std::string kL2sHead = "===== L2 cache statistic =====\nL2 dr      L2 dw     L1 i     L1 d\n";
const std::string kL2sLine = "25.00%    12.50%     2.00%    94.00%\n";

std::string times(int n, const std::string& s) {
  std::string out;
  for (int i = 0; i < n; ++i) out += s;
  return out;
}

class StatisticTools : public tavtest::BoardTest {
 protected:
  // Runs words through the front end with Ctrl-C after `after` of virtual
  // time. The wall clock is set to a whole second plus past_second, so the
  // timer's phase is the same in every run.
  Outcome run_until_sigint(const std::vector<std::string>& words, uint64_t after, uint64_t past_second = 0) {
    board().clock().set_realtime(kWallClock + past_second);
    board().clock().signal_at(board().clock().now_ns() + after, SIGINT);
    return run(tav::tav_tool_main, words);
  }
  uint32_t ddr(int block, uint32_t reg) {
    return board().mem().read32(sim::kDdrStatBase + block * sim::kDdrStatStride + reg);
  }
};

struct LoopCase {
  std::vector<std::string> words;
  uint64_t sigint_after;
  std::string out;
  uint64_t past_second = 0;
};

// The first sample comes at once (the timer is armed at an absolute time long
// past), before the banner; then one every interval until Ctrl-C.
TEST_F(StatisticTools, ddrs_samples_every_interval_until_ctrl_c) {
  const LoopCase cases[] = {
      {{"hiddrs"}, 3 * kSec + kSec / 2, "\nddrc0[0.00%]\n===== ddr statistic =====\n" + times(3, "ddrc0[37.50%]\n")},
      {{"hiddrs", "-i", "2"},
       6 * kSec + kSec / 2,
       "\nddrc0[0.00%]\n===== ddr statistic =====\n" + times(3, "ddrc0[37.50%]\n")},
      {{"hiddrs", "--interval", "3", "-d", "2"},
       7 * kSec,
       "\nddrc1[0.00%]\n===== ddr statistic =====\n" + times(2, "ddrc1[62.50%]\n")},
      {{"hiddrs", "-d", "4", "-w", "16"},
       2 * kSec + kSec / 2,
       "\nddrc0[0.00%] ddrc1[0.00%] ddrc2[0.00%] ddrc3[0.00%]\n===== ddr statistic =====\n" +
           times(2, "ddrc0[75.00%] ddrc1[30.00%] ddrc2[125.00%] ddrc3[10.00%]\n")},
      // Controller 3 is reported under the label of controller 1.
      {{"hiddrs", "-d", "3"}, 1 * kSec + kSec / 2, "\nddrc1[0.00%]\n===== ddr statistic =====\nddrc1[5.00%]\n"},
      // A clock given above the board's: the period outlasts the interval,
      // every sample restarts it early.
      {{"hiddrs", "--freq", "800", "--ddrc", "1"},
       2 * kSec + kSec / 2,
       "\nddrc1[0.00%]\n===== ddr statistic =====\n" + times(2, "ddrc1[12.51%]\n")},
      // The timer keeps the phase of its absolute time: started half way
      // through a second, the first period is cut short by the next sample.
      {{"hiddrs"}, 2 * kSec, "\nddrc0[0.00%]\n===== ddr statistic =====\nddrc0[18.75%]\nddrc0[37.50%]\n", kSec / 2},
      // A zero interval disarms the timer: nothing until Ctrl-C.
      {{"hiddrs", "-i", "0"}, 5 * kSec, "\n===== ddr statistic =====\n"},
      // Help is printed and sampling goes on with the defaults.
      {{"hiddrs", "-h", "0"},
       kSec + kSec / 2,
       "\n" + kDdrsHelp + "ddrc0[0.00%]\n===== ddr statistic =====\nddrc0[37.50%]\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    Outcome r = run_until_sigint(c.words, c.sigint_after, c.past_second);
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

}  // namespace
