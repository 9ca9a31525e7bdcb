// The eMMC test and its block reader and writer, on the board's eMMC model.
#include "items/storage/emmc.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "drivers/block.h"
#include "harness.h"
#include "items/items.h"
#include "sim/block.h"
#include "sim/emmc.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kMiB = 1 << 20;
const std::string kSteps = "eMMC read...\nok\neMMC write...\nok\neMMC data check...\n";
const std::string kFailedTail = "\nTest EMMC failed\n";

std::string passed(const char* write_speed, const char* read_speed) {
  return kSteps + "ok\neMMC write back...\nok\n\neMMC write speed:" + write_speed +
         "(M/S)\neMMC read  speed:" + read_speed + "(M/S)\nTest EMMC OK\n";
}

class Emmc : public tavtest::BoardTest {
 protected:
  std::shared_ptr<sim::BlockDevice> emmc() {
    return std::static_pointer_cast<sim::BlockDevice>(board().device(tav::kEmmcNode));
  }
  // A fresh part of this size in place of the default one.
  std::shared_ptr<sim::BlockDevice> replace(uint64_t bytes) {
    auto dev = std::make_shared<sim::BlockDevice>(board().clock(), bytes, sim::kEmmcRate);
    dev->keep_data();
    board().remove(tav::kEmmcNode);
    board().add(tav::kEmmcNode, dev);
    return dev;
  }
};

TEST_F(Emmc, healthy_part_is_left_erased_around_untouched_bytes) {
  auto dev = emmc();
  const uint64_t end = sim::kEmmcBytes;
  std::vector<uint8_t> mark(kMiB, 0xA5);
  dev->poke(end - 12 * kMiB, mark.data(), kMiB);
  dev->poke(end - kMiB, mark.data(), kMiB);
  Outcome r = run(tav::emmc_test, {});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, passed("40.00", "40.00"));
  std::vector<uint8_t> got(12 * kMiB);
  dev->peek(end - 12 * kMiB, got.data(), got.size());
  std::vector<uint8_t> want(12 * kMiB, 0xFF);
  std::fill(want.begin(), want.begin() + kMiB, 0xA5);
  std::fill(want.end() - kMiB, want.end(), 0xA5);
  EXPECT_TRUE(got == want);
  // Pattern, then erase: twenty writes, each followed by its flush.
  EXPECT_EQ(dev->flushes(), 20u);
  auto writes = tavtest::requests_of(r, sim::Call::Write);
  auto opens = tavtest::requests_of(r, sim::Call::Open);
  ASSERT_EQ(writes.size(), 20u);
  EXPECT_TRUE(writes[0]->bytes == std::vector<uint8_t>(kMiB, 0x55));
  EXPECT_TRUE(writes[19]->bytes == std::vector<uint8_t>(kMiB, 0xFF));
  ASSERT_EQ(opens.size(), 1u);
  EXPECT_EQ(opens[0]->request, static_cast<unsigned long>(O_RDWR | O_DSYNC));
  EXPECT_EQ(r.open_descriptors, 0u);
}

// Only a data mismatch is ever seen: the step codes of the reader and writer
// are positive and pass.
TEST_F(Emmc, faults_show_only_through_the_data_check) {
  const unsigned long kRead = 0;
  struct Case {
    const char* name;
    sim::Fault fault;
    std::string out;
  } cases[] = {
      {"flush fails", {sim::Call::Ioctl, tav::kEmmcNode, tav::BLKFLSBUF, 0, EIO}, passed("40.00", "40.00")},
      {"seeks fail", {sim::Call::Lseek, tav::kEmmcNode, 0, 0, EIO}, kSteps + "failed((null):-5)\n" + kFailedTail},
      {"short writes",
       {sim::Call::Write, tav::kEmmcNode, 0, 0, EIO, 4096},
       kSteps + "failed((null):0)\n" + kFailedTail},
      {"check read empty",
       {sim::Call::Read, tav::kEmmcNode, kRead, 11, EIO, 0},
       kSteps + "failed((null):0)\n" + kFailedTail},
      {"first check read fails",
       {sim::Call::Read, tav::kEmmcNode, kRead, 11, EIO},
       kSteps + "failed((null):-5)\n" + kFailedTail},
      // The area still holds the block before, which matches.
      {"later check read fails", {sim::Call::Read, tav::kEmmcNode, kRead, 12, EIO}, passed("40.00", "40.00")},
  };
  for (auto& c : cases) {
    board().clear_faults();
    board().clear_log();  // each run logs 20 MiB of writes
    board().fail(c.fault);
    Outcome r = run(tav::emmc_test, {});
    EXPECT_EQ(r.result, 0) << c.name;
    EXPECT_EQ(r.out, c.out) << c.name;
    EXPECT_EQ(r.open_descriptors, 0u) << c.name;
  }
}

TEST_F(Emmc, part_smaller_than_eleven_mebibytes_fails_the_check_with_a_null_name) {
  auto dev = replace(8 * kMiB);
  Outcome r = run(tav::emmc_test, {});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, kSteps + "failed((null):-22)\n" + kFailedTail);
  // The blocks that fit were written with the pattern and not erased.
  std::vector<uint8_t> got(7 * kMiB);
  dev->peek(0, got.data(), got.size());
  EXPECT_EQ(got, std::vector<uint8_t>(7 * kMiB, 0x55));
}

}  // namespace
