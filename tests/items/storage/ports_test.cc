// The controller scan, the SATA port report and the disk power cycling test.
#include <gtest/gtest.h>

#include "harness.h"
#include "items/items.h"
#include "items/storage/storage_ctl.h"
#include "sim/storage.h"

namespace {

using tavtest::Outcome;

class Ports : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    // The default board's controller, reached through its device.
    ctl_ = sim::add_storage(board());
  }
  std::shared_ptr<sim::StorageController> ctl_;
};

const char kStart[] = "\n硬盘上下电测试开始\n请输入测试硬盘号，99表示测试所有存在的硬盘\n请输入测试次数\n";

std::string cycle_scan_lines(int polls) {
  std::string s;
  for (int i = 0; i < polls; ++i) s += "硬盘扫描中...\n";
  return s + "硬盘扫描完毕\n";
}

TEST_F(Ports, power_cycle_of_a_disk_that_comes_back) {
  ctl_->scan_polls = 0;
  board().set_console("1\n2\n");
  Outcome r = run(tav::disk_power, {"disk_power"});
  EXPECT_EQ(r.result, 0);
  std::string cycle = cycle_scan_lines(0) + cycle_scan_lines(0);
  EXPECT_EQ(r.out, std::string(kStart) + "硬盘    1 将会被测试    2 次\n" + cycle +
                       "测试:        1 次, 错误:        0 次\n" + cycle + "测试:        2 次, 错误:        0 次\n" +
                       "\033[0;32mdisk updown test OK.\033[m\n");
  auto power = board().log();
  int downs = 0, ups = 0;
  for (auto& q : power)
    if (q.call == sim::Call::Ioctl && q.path == tav::kHdpmPath) {
      (q.request == tav::HD_POWER_DOWN ? downs : ups)++;
      EXPECT_EQ(q.bytes, (std::vector<uint8_t>{1, 0, 0, 0}));
    }
  EXPECT_EQ(downs, 2);
  EXPECT_EQ(ups, 2);
  EXPECT_EQ(r.open_descriptors, 0u);
}

}  // namespace
