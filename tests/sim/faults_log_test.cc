// Faults chosen by a test and the log of what was asked.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/faults.h"
#include "sim/request_log.h"

namespace {

using sim::Call;

struct Attempt {
  Call call;
  const char* path;
  unsigned long request;
  bool can_be_short;
};

// What each attempt got: the errno, or "short N", or 0.
std::vector<std::string> outcomes(sim::FaultTable& faults, const std::vector<Attempt>& attempts) {
  std::vector<std::string> out;
  for (const auto& a : attempts) {
    long short_len = -1;
    int err = faults.check(a.call, a.path, a.request, a.can_be_short ? &short_len : nullptr);
    out.push_back(err == 0 && short_len >= 0 ? "short " + std::to_string(short_len) : std::to_string(err));
  }
  return out;
}

TEST(SimFaults, each_filter_picks_its_calls_and_nth_counts_only_those) {
  const std::vector<Attempt> attempts = {
      {Call::Open, "/dev/mtd0", 2, false},       {Call::Read, "/dev/mtd0", 0, true},
      {Call::Ioctl, "/dev/mtd0", 0x4D01, false}, {Call::Read, "/dev/mtd1", 0, true},
      {Call::Ioctl, "/dev/mtd1", 0x4D02, false}, {Call::Read, "/dev/mtd0", 0, true},
      {Call::Open, "/dev/mtd0", 0x4D01, false},  {Call::Ioctl, "/dev/mtd0", 0x4D01, false},
  };
  struct Case {
    const char* name;
    sim::Fault fault;
    std::vector<std::string> expected;
  };
  const std::string eio = std::to_string(EIO);
  const Case cases[] = {
      {"every call", {Call::Any, "", 0, 0, EIO}, {eio, eio, eio, eio, eio, eio, eio, eio}},
      {"the third call", {Call::Any, "", 0, 3, EIO}, {"0", "0", eio, "0", "0", "0", "0", "0"}},
      {"the second read", {Call::Read, "", 0, 2, EIO}, {"0", "0", "0", eio, "0", "0", "0", "0"}},
      {"reads of one path", {Call::Read, "/dev/mtd0", 0, 0, EIO}, {"0", eio, "0", "0", "0", eio, "0", "0"}},
      {"the second call on a path", {Call::Any, "/dev/mtd1", 0, 2, EIO}, {"0", "0", "0", "0", eio, "0", "0", "0"}},
      // A request number picks ioctls only, never another call with that number.
      {"one ioctl request", {Call::Any, "", 0x4D01, 0, EIO}, {"0", "0", eio, "0", "0", "0", "0", eio}},
      {"short reads", {Call::Read, "", 0, 0, EIO, 16}, {"0", "short 16", "0", "short 16", "0", "short 16", "0", "0"}},
      // A call that cannot be short is not failed by a short-transfer fault.
      {"short anything", {Call::Any, "", 0, 1, EIO, 0}, {"0", "0", "0", "0", "0", "0", "0", "0"}},
      {"chosen errno", {Call::Open, "", 0, 0, ENOENT}, {"2", "0", "0", "0", "0", "0", "2", "0"}},
  };
  for (const auto& c : cases) {
    sim::FaultTable faults;
    faults.add(c.fault);
    EXPECT_EQ(outcomes(faults, attempts), c.expected) << c.name;
  }
}

TEST(SimFaults, the_first_failing_fault_decides_and_clear_ends_them_all) {
  sim::FaultTable faults;
  faults.add({Call::Read, "", 0, 0, EIO, 8});
  faults.add({Call::Read, "", 0, 2, ENOSPC});
  std::vector<Attempt> reads(3, Attempt{Call::Read, "/dev/x", 0, true});
  const std::string busy = std::to_string(EBUSY), nospc = std::to_string(ENOSPC);
  EXPECT_EQ(outcomes(faults, reads), (std::vector<std::string>{"short 8", nospc, "short 8"}));
  sim::FaultTable again;
  again.add({Call::Read, "", 0, 2, ENOSPC});
  again.add({Call::Read, "", 0, 0, EBUSY});
  EXPECT_EQ(outcomes(again, reads), (std::vector<std::string>{busy, nospc, busy}));
  again.clear();
  EXPECT_EQ(outcomes(again, reads), (std::vector<std::string>{"0", "0", "0"}));
}

TEST(SimRequestLog, entries_keep_their_order_and_what_their_call_sent) {
  sim::RequestLog log;
  sim::Request* first = log.add(Call::Open, "/dev/i2c-0", 2, 0);
  for (int i = 0; i < 1000; ++i) log.add(i % 2 ? Call::Read : Call::Ioctl, "/dev/i2c-0", i, 4);
  // The entry stays put while others are added, so its call can fill it in.
  first->bytes = {1, 2, 3};
  std::vector<sim::Request> all = log.entries();
  ASSERT_EQ(all.size(), 1001u);
  EXPECT_EQ(all[0].call, Call::Open);
  EXPECT_EQ(all[0].bytes, (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(all[1000].request, 999u);
  std::vector<sim::Request> reads = log.of(Call::Read);
  ASSERT_EQ(reads.size(), 500u);
  EXPECT_EQ(reads[0].request, 1u);
  EXPECT_EQ(log.of(Call::Close).size(), 0u);
}

TEST(SimRequestLog, clearing_empties_the_log_but_the_call_count_goes_on) {
  sim::RequestLog log;
  log.add(Call::Sleep, "", 0, 5);
  log.add(Call::Clock, "", 1, 0);
  log.clear();
  EXPECT_TRUE(log.entries().empty());
  log.add(Call::Close, "/dev/x", 0, 0);
  EXPECT_EQ(log.calls(), 3u);
  EXPECT_EQ(log.entries().size(), 1u);
  EXPECT_STREQ(sim::call_name(Call::Close), "close");
  EXPECT_STREQ(sim::call_name(Call::Thread), "thread");
}

}  // namespace
