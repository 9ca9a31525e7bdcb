// The PCIe transfer test: arguments, and a lone end playing on the board's
// memory in a board thread until virtual time has run long enough.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"

namespace {

using tavtest::Outcome;

const std::string kUsage = "\nUsage: pcietran [option] send/recv addr\n\n    -h         help\n\n";
constexpr uint64_t kMs = 1000000;
constexpr uint64_t kArea = 0x8C000000;

std::string dump(unsigned long long count, const char* byte) {
  std::string s = "test_count = " + std::to_string(count) + "\n";
  for (int i = 0; i < 1280; ++i) s += std::string(byte) + "-";
  return s + "\n";
}

class Pcie : public tavtest::BoardTest {
 protected:
  static void* run_end(void* p) {
    auto* argv = static_cast<std::vector<char*>*>(p);
    tav::pcietran_test(static_cast<int>(argv->size()) - 1, argv->data());
    return nullptr;
  }
  // Starts the end in a board thread and lets virtual time run ns. The end
  // is still waiting in a sleep when this returns and ends with the board.
  std::string play(const std::vector<std::string>& words, uint64_t ns) {
    words_ = words;
    for (auto& w : words_) argv_.push_back(&w[0]);
    argv_.push_back(nullptr);
    std::string out, err;
    tavtest::run_capture(
        [&] {
          pthread_t t;
          ASSERT_EQ(board().thread_create(&t, run_end, &argv_), 0);
          board().clock().sleep_ns(ns);
        },
        &out, &err);
    EXPECT_EQ(err, "");
    return out;
  }
  std::vector<std::string> words_;
  std::vector<char*> argv_;
};

TEST_F(Pcie, bad_arguments_print_the_usage_on_standard_error) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"pcietran"},
      {"pcietran", "send"},
      {"pcietran", "-h", "send", "8c000000"},
      {"pcietran", "-x", "recv", "8c000000"},
      {"pcietran", "snd", "8c000000"},
      {"pcietran", "Send", "8c000000"},
      {"pcietran", "rec", "8c000000"},
  };
  for (const auto& words : cases) {
    Outcome o = run(tav::pcietran_test, words);
    EXPECT_EQ(o.err, kUsage) << words.size();
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.result, -1);
    EXPECT_TRUE(o.requests.empty());
  }
}

TEST_F(Pcie, addresses_and_mapping_failures) {
  const std::string send = " *******pcie send at 0x1234 *******\n";
  struct Case {
    std::vector<std::string> words;
    sim::Fault fault;
    std::string out;
  } cases[] = {
      {{"pcietran", "send", "0x100000000"}, {}, "addr: 0x0 invalid\n"},
      {{"pcietran", "recv", "100000000"}, {}, "addr: 0x0 invalid\n"},
      {{"pcietran", "recv", "zz"}, {}, "addr: 0x0 invalid\n"},
      {{"pcietran", "send", "1234"},
       {sim::Call::Open, "/dev/mem", 0, 0, EACCES},
       send + "open \"/dev/mem\" is fail.\nmap addr fail\n"},
      // /dev/mem maps whole pages only.
      {{"pcietran", "sender", "0x1234"}, {}, send + "memmap():mmap @ 0x1234 error!\nmap addr fail\n"},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    if (c.fault.call != sim::Call::Any) board().fail(c.fault);
    Outcome o = run(tav::pcietran_test, c.words);
    EXPECT_EQ(o.out, c.out) << c.words[2];
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

TEST_F(Pcie, lone_ends_dump_the_area_about_every_five_seconds) {
  // Send: its fill, 50 ms, then 101 failed looks of 50 ms each.
  std::string out = play({"pcietran", "send", "8c000000"}, 10225 * kMs);
  EXPECT_EQ(out, " *******pcie send at 0x8c000000 *******\n" + dump(1, "5a") + dump(2, "5a"));
  EXPECT_EQ(board().mem().read32(kArea), 0x5A5A5A5Au);
}

}  // namespace
