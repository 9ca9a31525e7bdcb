// The eMMC test against a simulated eMMC that keeps its data: speeds on
// virtual time, the data check, and the block writer's results it ignores.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "harness.h"
#include "items/storage/blkdev.h"
#include "items/storage/emmc.h"
#include "sim/block.h"

namespace {

constexpr uint64_t kMiB = 1 << 20;

const std::string kPhases = "eMMC read...\nok\neMMC write...\nok\neMMC data check...\n";
const std::string kOk = kPhases +
                        "ok\neMMC write back...\nok\n\neMMC write speed:40.00(M/S)\neMMC read  speed:40.00(M/S)\n"
                        "Test EMMC OK\n";

sim::BlockDevice* emmc(sim::Board& b) { return dynamic_cast<sim::BlockDevice*>(b.device(tav::kEmmcPath).get()); }

struct Case {
  const char* what;
  std::function<void(sim::Board&)> setup;
  std::string out;
};

TEST(Emmc, VerdictsAndWhatTheRegionHolds) {
  auto fault = [](sim::Call call, unsigned long request, long short_len, int err) {
    return [=](sim::Board& b) { b.fail({call, tav::kEmmcPath, request, 0, err, short_len}); };
  };
  const Case cases[] = {
      {"healthy", [](sim::Board&) {}, kOk},
      // Seeks past the start fail; the writer's codes pass; the check catches it.
      {"smaller than 11 MiB",
       [](sim::Board& b) {
         auto small = std::make_shared<sim::BlockDevice>(b.clock(), 8 * kMiB);
         small->keep_data();
         b.add(tav::kEmmcPath, small);
       },
       kPhases + "failed((null):-22)\n\nTest EMMC failed\n"},
      {"flushes fail: written data still checks", fault(sim::Call::Ioctl, tav::BLKFLSBUF, -1, EIO), kOk},
      {"writes fail: only the check sees it", fault(sim::Call::Write, 0, -1, EIO),
       kPhases + "failed((null):-5)\n\nTest EMMC failed\n"},
      {"short writes", fault(sim::Call::Write, 0, 4096, 0), kPhases + "failed((null):0)\n\nTest EMMC failed\n"},
      {"seeks fail", fault(sim::Call::Lseek, 0, -1, ESPIPE), kPhases + "failed((null):-29)\n\nTest EMMC failed\n"},
      {"no eMMC", [](sim::Board& b) { b.remove(tav::kEmmcPath); }, "open \"/dev/mmcblk0\" failed!\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto b = sim::make_default_board();
    b->set_console("");
    sim::install(b.get());
    c.setup(*b);
    tavtest::Outcome o = tavtest::run(*b, tav::emmc_test, {});
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.open_descriptors, 0u);
    sim::install(nullptr);
  }
}

TEST(Emmc, LeavesTheRegionErasedAndFlushesEachBlock) {
  auto b = sim::make_default_board();
  sim::install(b.get());
  sim::BlockDevice* dev = emmc(*b);
  uint64_t end = static_cast<uint64_t>(dev->size());
  tavtest::Outcome o = tavtest::run(*b, tav::emmc_test, {"emmc"});
  EXPECT_EQ(o.out, kOk);
  EXPECT_EQ(dev->data(end - 11 * kMiB, 10 * kMiB), std::vector<uint8_t>(10 * kMiB, 0xFF));
  // Nothing outside the region is touched.
  EXPECT_EQ(dev->data(end - 12 * kMiB, kMiB), std::vector<uint8_t>(kMiB, 0));
  EXPECT_EQ(dev->data(end - kMiB, kMiB), std::vector<uint8_t>(kMiB, 0));
  EXPECT_EQ(dev->flushes(), 20);
  bool dsync = false;
  for (const auto& r : o.requests)
    if (r.call == sim::Call::Open && r.path == tav::kEmmcPath) dsync = (r.request & O_DSYNC) == O_DSYNC;
  EXPECT_TRUE(dsync);
  sim::install(nullptr);
}

}  // namespace
