// hivd, hiddrs and hil2s with every seam call failed in turn, each run on a
// fresh board as a new process would find it: no crash, no hang, the output
// ends properly, a failure is said (or does not matter), and descriptors are
// closed.
#include <gtest/gtest.h>

#include <functional>

#include "harness.h"
#include "tools/front.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kSec = 1000000000ull;

struct Scenario {
  const char* name;
  std::vector<std::string> words;
  uint64_t sigint_after;  // 0: the tool returns by itself
  size_t descriptors_left;
};

const Scenario kScenarios[] = {
    {"hiddrs", {"hiddrs"}, 2 * kSec + kSec / 2, 0},
    {"hiddrs_all", {"hiddrs", "-d", "4", "-i", "2"}, 4 * kSec + kSec / 2, 0},
    {"hil2s", {"hil2s"}, 2 * kSec + kSec / 2, 0},
    {"hivd", {"hivd", "0x63010000", "0x63020000", "80", "96", "64", "32", "sweep.yuv"}, 0, 1},  // the registry's
};

const char* const kFailureTexts[] = {
    "ddr statistic open failed:",
    "statistic mmap failed.",
    "statistic install signal failed.",
    "statistic timer create failed.",
    "statistic set timer failed.",
    "statistic catch SIGINT signal failed.",
    "memmap():open",
    "memmap():mmap",
    "open file sweep.yuv error!",
    "write file sweep.yuv error!",
    "cache statistic open failed:",
};

class StatisticFaultSweep : public tavtest::BoardTest, public ::testing::WithParamInterface<int> {
 protected:
  // One run on a fresh board, with the nth call failed (0: none).
  Outcome once(const Scenario& s, int nth, int err, std::string* file) {
    auto fresh = sim::make_default_board();
    fresh->set_console("");
    fresh->mem().fill(0x63010000, 0x5A, 0x20000);
    if (s.sigint_after != 0) fresh->clock().signal_at(fresh->clock().now_ns() + s.sigint_after, SIGINT);
    if (nth > 0) fresh->fail({sim::Call::Any, "", 0, nth, err});
    sim::install(fresh.get());
    ::unlink("sweep.yuv");
    Outcome r = tavtest::run(*fresh, tav::tav_tool_main, s.words);
    sim::install(&board());
    *file = tavtest::read_file("sweep.yuv");
    return r;
  }
};

TEST_P(StatisticFaultSweep, EveryCallFailedInTurn) {
  const Scenario& s = kScenarios[GetParam()];
  std::string clean_file;
  Outcome clean = once(s, 0, 0, &clean_file);
  ASSERT_EQ(clean.exited, s.sigint_after != 0);
  const size_t calls = clean.requests.size();
  ASSERT_GT(calls, 3u);
  for (size_t n = 1; n <= calls; ++n) {
    for (int err : {EIO, EINTR}) {
      std::string file;
      Outcome r = once(s, static_cast<int>(n), err, &file);
      SCOPED_TRACE(std::string(s.name) + " failing call " + std::to_string(n) + " " +
                   sim::call_name(clean.requests[n - 1].call) + " with " + std::to_string(err));
      EXPECT_LE(r.open_descriptors, s.descriptors_left);
      const std::string all = r.out + r.err;
      size_t ends = 0;
      for (size_t at = all.find("[END]"); at != std::string::npos; at = all.find("[END]", at + 1)) ++ends;
      if (r.exited) {
        // Only Ctrl-C ends these tools, through their stop handlers.
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(ends, 0u);
      } else {
        EXPECT_EQ(r.result, 0);
        EXPECT_EQ(ends, 1u);
      }
      bool reported = false;
      for (const char* text : kFailureTexts) reported = reported || all.find(text) != std::string::npos;
      if (!reported) {
        EXPECT_EQ(r.out, clean.out);
        EXPECT_EQ(file, clean_file);  // a dump is whole, or its failure is said
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tools, StatisticFaultSweep, ::testing::Range(0, static_cast<int>(std::size(kScenarios))),
                         [](const auto& info) { return std::string(kScenarios[info.param].name); });

}  // namespace
