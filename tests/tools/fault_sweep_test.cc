// Every seam call a tool makes is failed in turn: the tool must not crash or
// hang, must end its output properly and must say what went wrong (or carry
// on as if nothing had, where the failure does not matter to it).
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "harness.h"
#include "tools/front.h"

namespace {

using tavtest::Outcome;

struct Scenario {
  const char* name;
  std::vector<std::string> words;
  std::string console;
  std::function<void()> setup;
};

void remove_links() {
  for (const auto* row = tav::kBoardTools; row->name != nullptr; ++row) ::unlink(row->name);
}

// Texts that report a failed call; one of them, or the clean run's output,
// must show.
const char* const kFailureTexts[] = {
    "memmap():open",  "memmap():mmap", "Open File",     "Input Error", " install error!",
    " read link error", " uninstall error", "memmap failed!", "Dump memory error",
};

class FaultSweep : public tavtest::BoardTest, public ::testing::WithParamInterface<int> {};

const Scenario kScenarios[] = {
    {"himc", {"himc", "0x80040000", "100", "1"}, "", nullptr},
    {"himd", {"himd", "0x80040ff0", "0x40"}, "", nullptr},
    {"himd.l", {"himd.l", "0x80040000", "0x40"}, "", nullptr},
    {"himdb", {"himdb", "0x80040000", "0x2000", "dump.bin"}, "", nullptr},
    {"himm set", {"himm", "0x80040000", "0x1"}, "", nullptr},
    {"himm ask", {"himm", "0x80040000"}, "0x55\n", nullptr},
    {"install", {"tav_tool", "-i"}, "", remove_links},
    {"uninstall", {"tav_tool", "-u"}, "",
     [] {
       remove_links();
       for (const auto* row = tav::kBoardTools; row->name != nullptr; ++row) (void)!::symlink("tav_tool", row->name);
     }},
};

TEST_P(FaultSweep, EveryCallFailedInTurn) {
  const Scenario& s = kScenarios[GetParam()];
  auto once = [&] {
    if (s.setup) s.setup();
    board().set_console(s.console);
    board().clear_log();
    return run(tav::tav_tool_main, s.words);
  };
  board().clear_faults();
  Outcome clean = once();
  const size_t calls = clean.requests.size();
  ASSERT_GT(calls, 0u) << s.name;
  for (size_t n = 1; n <= calls; ++n) {
    for (int err : {EIO, EINTR}) {
      board().clear_faults();
      board().fail({sim::Call::Any, "", 0, static_cast<int>(n), err});
      Outcome r = once();
      board().clear_faults();
      SCOPED_TRACE(std::string(s.name) + " failing call " + std::to_string(n) + " " +
                   sim::call_name(r.requests.size() >= n ? r.requests[n - 1].call : sim::Call::Any));
      // Only the registry's /dev/mem descriptor may stay open.
      EXPECT_LE(r.open_descriptors, 1u);
      const std::string all = r.out + r.err;
      if (r.exited) {
        EXPECT_EQ(r.status, 255);
      } else {
        EXPECT_EQ(r.result, 0);
      }
      size_t ends = 0;
      for (size_t at = all.find("[END]"); at != std::string::npos; at = all.find("[END]", at + 1)) ++ends;
      EXPECT_EQ(ends, s.words[0] == "tav_tool" ? 0u : 1u);
      bool reported = false;
      for (const char* text : kFailureTexts) reported = reported || all.find(text) != std::string::npos;
      EXPECT_TRUE(reported || r.out == clean.out) << all;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tools, FaultSweep, ::testing::Range(0, static_cast<int>(std::size(kScenarios))),
                         [](const auto& info) {
                           std::string n = kScenarios[info.param].name;
                           for (char& c : n)
                             if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                           return n;
                         });

}  // namespace
