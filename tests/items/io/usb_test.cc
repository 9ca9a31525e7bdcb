// The USB test on the board's stick models.
#include "items/io/usb.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <vector>

#include "harness.h"
#include "items/items.h"
#include "sim/usb.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kMiB = 1 << 20;
const std::string kHashes(25, '#');
const std::string kStart = "\nUSB测试开始\n";
const std::string kDone = "USB[/dev/h_msc]测试完毕.\n\n";
const std::string kOthersMissing = "没有发现USB[/dev/h_msb]\n没有发现USB[/dev/h_msc]\n" + kDone;
const std::string kOkA = "USB[/dev/h_msa]测试成功.\n\n";

std::string sizes(const char* total, const char* free) {
  return std::string("磁盘分区大小:") + total + "(G)\n磁盘剩余空间:" + free + "(G)\n";
}
std::string full_run(int wrong = 0) {
  return kHashes + "\n磁盘写入速度:20.00(M/S)\n" + kHashes + "\n磁盘读取速度:30.00(M/S)\n\n" +
         "USB硬盘完成25(M)创建数据测试,错误数据" + std::to_string(wrong) + "(8bit)\n";
}

class Usb : public tavtest::BoardTest {
 protected:
  std::shared_ptr<sim::UsbStick> stick(const char* path) {
    return std::static_pointer_cast<sim::UsbStick>(board().device(path));
  }
  std::shared_ptr<sim::UsbStick> plug(const char* path, uint64_t size, uint64_t free) {
    auto s = std::make_shared<sim::UsbStick>(board().clock(), size, free);
    board().remove(path);
    board().add(path, s);
    return s;
  }
};

TEST_F(Usb, healthy_stick_holds_the_seeded_pattern_and_is_unmounted) {
  Outcome r = run(tav::usb_test, {});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, kStart + sizes("14.90", "13.97") + full_run() + kOkA + kOthersMissing);
  auto data = stick("/dev/h_msa")->file("usbtest.dat");
  ASSERT_EQ(data.size(), 25 * kMiB);
  // Every block is the same run of bytes counting up from the drawn value.
  bool pattern = true;
  for (size_t i = 0; i < data.size() && pattern; ++i) pattern = data[i] == static_cast<uint8_t>(data[0] + i % kMiB);
  EXPECT_TRUE(pattern);
  auto mounts = tavtest::requests_of(r, sim::Call::Mount);
  ASSERT_EQ(mounts.size(), 1u);
  EXPECT_EQ(mounts[0]->path, "/dev/h_msa");
  EXPECT_EQ(mounts[0]->request, 0u);
  EXPECT_EQ(std::string(mounts[0]->bytes.begin(), mounts[0]->bytes.end()), "vfat");
  auto opens = tavtest::requests_of(r, sim::Call::Open);
  ASSERT_EQ(opens.size(), 1u);
  EXPECT_EQ(opens[0]->path, "/mnt/usbtest.dat");
  EXPECT_EQ(opens[0]->request, static_cast<unsigned long>(O_RDWR | O_CREAT | O_TRUNC | O_DIRECT));
  EXPECT_TRUE(board().mounts().empty());
  EXPECT_EQ(r.open_descriptors, 0u);
}

// A refused mount is tried once more under the same name; when that fails
// too, the test goes on with whatever /mnt holds.
TEST_F(Usb, refused_mount_tries_the_same_name_again_and_goes_on) {
  const std::string kRootFull = sizes("0.12", "0.00") + "磁盘空间不足,请释放磁盘空间,测试需要25(M)磁盘空间\n";
  struct Case {
    const char* name;
    int nth;  // 0: every mount refused
    std::string body;
  } cases[] = {
      {"second attempt mounts", 1, sizes("14.90", "13.97") + full_run()},
      {"both refused, the board's own /mnt", 0, kRootFull},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    board().clear_log();
    board().fail({sim::Call::Mount, "/dev/h_msa", 0, c.nth, EIO});
    Outcome r = run(tav::usb_test, {});
    EXPECT_EQ(r.out, kStart + c.body + kOkA + kOthersMissing) << c.name;
    auto mounts = tavtest::requests_of(r, sim::Call::Mount);
    ASSERT_EQ(mounts.size(), 2u) << c.name;
    EXPECT_EQ(mounts[1]->path, "/dev/h_msa") << c.name;
  }
}

}  // namespace
