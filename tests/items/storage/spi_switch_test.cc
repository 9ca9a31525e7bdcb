// The SPI flash switch test: forty threads on the simulated NOR (the boot
// environment) and NAND (an MTD block device) at once.
#include "items/storage/spi_switch.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <string>
#include <vector>

#include "drivers/env.h"
#include "harness.h"
#include "items/factory_network.h"
#include "items/io/tavio.h"
#include "items/items.h"
#include "sim/env.h"
#include "sim/mtd.h"
#include "sim/tavio.h"

namespace {

const std::string kStart = "NAND FLASH和SPI NOR FLASH切换测试开始\n";
const std::string kEnd = "NAND FLASH和SPI NOR FLASH切换测试完毕\n";

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

// Rounds seen per thread id in "spi_<chip>_<tid>(<round>)" lines; each
// thread's rounds must come in order from 0.
std::map<long, int> rounds_by_thread(const std::string& out, const std::string& chip) {
  std::map<long, int> next;
  std::regex line("spi_" + chip + "_(\\d+)\\((\\d+)\\)\n");
  for (std::sregex_iterator it(out.begin(), out.end(), line), end; it != end; ++it) {
    long tid = std::stol((*it)[1]);
    int round = std::stoi((*it)[2]);
    EXPECT_EQ(round, next[tid]) << chip << " thread " << tid;
    next[tid] = round + 1;
  }
  return next;
}

class SpiSwitch : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    tavtest::BoardTest::SetUp();
    tav::set_spi_switch_rounds(3);
  }
  void TearDown() override {
    tav::set_spi_switch_rounds(tav::kSpiSwitchRounds);
    tavtest::BoardTest::TearDown();
  }
};

TEST_F(SpiSwitch, nor_threads_each_run_their_rounds_without_the_nand) {
  board().remove("/dev/mtdblock1");
  tavtest::Outcome o = run(tav::spi_switch, {"spi_switch"});
  EXPECT_EQ(o.result, 0);
  EXPECT_EQ(o.out.substr(0, kStart.size()), kStart);
  EXPECT_EQ(o.out.substr(o.out.size() - kEnd.size()), kEnd);
  EXPECT_EQ(count(o.out, "waiting for testing\n"), 1u);
  EXPECT_EQ(count(o.out, "驱动打开失败\n"), 20u);
  std::map<long, int> nor = rounds_by_thread(o.out, "nor");
  EXPECT_EQ(nor.size(), 20u);
  for (const auto& kv : nor) EXPECT_EQ(kv.second, 3) << kv.first;
  EXPECT_EQ(sim::env(board())->get("serverip"), tav::kFactoryServerIp);
  EXPECT_EQ(o.open_descriptors, 0u);
}

TEST_F(SpiSwitch, nand_threads_rewrite_and_restore_the_first_megabyte) {
  std::shared_ptr<sim::NandFlash> flash = sim::nand_flash(board());
  ASSERT_NE(flash, nullptr);
  std::vector<uint8_t> before(1 << 20);
  for (size_t i = 0; i < before.size(); ++i) before[i] = static_cast<uint8_t>(i * 7);
  {
    std::lock_guard<std::mutex> lock(flash->mu);
    std::copy(before.begin(), before.end(), flash->parts[1].data.begin());
  }
  tav::set_spi_switch_rounds(2);
  tavtest::Outcome o = run(tav::spi_switch, {"spi_switch"});
  EXPECT_EQ(o.result, 0);
  EXPECT_EQ(o.out.substr(o.out.size() - kEnd.size()), kEnd);
  // Another thread may restore its backup between a thread's write and its
  // read-back, as on the board: that thread reports the mismatch and ends.
  size_t finished = 0;
  for (const auto& kv : rounds_by_thread(o.out, "nand")) finished += kv.second == 2;
  EXPECT_EQ(finished + count(o.out, "erro: SPI NAND 读写出错!\n"), 20u);
  EXPECT_GT(finished, 0u);
  EXPECT_EQ(rounds_by_thread(o.out, "nor").size(), 20u);
  EXPECT_EQ(o.open_descriptors, 0u);
  // A thread's backup may have caught another's pattern: either is accepted.
  std::lock_guard<std::mutex> lock(flash->mu);
  std::vector<uint8_t> after(flash->parts[1].data.begin(), flash->parts[1].data.begin() + (1 << 20));
  EXPECT_TRUE(after == before || after == std::vector<uint8_t>(1 << 20, 0x5A));
}

TEST_F(SpiSwitch, threads_that_cannot_start_or_be_joined) {
  struct Case {
    sim::Fault fault;
    std::string line;
  };
  const Case cases[] = {
      {{sim::Call::Thread, "create", 0, 5, EAGAIN}, "创建多个hr_spi_nor_fn线程失败!\n"},
      {{sim::Call::Thread, "create", 0, 21, EAGAIN}, "创建多个hr_spi_nand_fn线程失败!\n"},
      {{sim::Call::Thread, "join", 0, 2, ESRCH}, "tid_nor线程结束失败!\n"},
      {{sim::Call::Thread, "join", 0, 21, ESRCH}, "tid_nand线程结束失败!\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    // The threads a row leaves running end with its board, replaced (or torn
    // down) while still installed.
    sim::Board& b = fresh_board();
    b.remove("/dev/mtdblock1");
    b.fail(c.fault);
    tavtest::Outcome o = run(tav::spi_switch, {"spi_switch"});
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(count(o.out, c.line), 1u) << o.out.substr(0, 300);
    EXPECT_EQ(count(o.out, kEnd), 0u);
  }
}

}  // namespace
