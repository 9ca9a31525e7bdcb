// The USB test on the board's stick models.
#include "items/io/usb.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <vector>

#include "harness.h"
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
  std::vector<sim::Request> calls(const Outcome& r, sim::Call c) {
    std::vector<sim::Request> out;
    for (auto& q : r.requests)
      if (q.call == c) {
        sim::Request head{q.call, q.path, q.request, q.length, {}};
        head.bytes.assign(q.bytes.begin(), q.bytes.begin() + std::min<size_t>(q.bytes.size(), 16));
        out.push_back(std::move(head));
      }
    return out;
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
  auto mounts = calls(r, sim::Call::Mount);
  ASSERT_EQ(mounts.size(), 1u);
  EXPECT_EQ(mounts[0].path, "/dev/h_msa");
  EXPECT_EQ(mounts[0].request, 0u);
  EXPECT_EQ(std::string(mounts[0].bytes.begin(), mounts[0].bytes.end()), "vfat");
  auto opens = calls(r, sim::Call::Open);
  ASSERT_EQ(opens.size(), 1u);
  EXPECT_EQ(opens[0].path, "/mnt/usbtest.dat");
  EXPECT_EQ(opens[0].request, static_cast<unsigned long>(O_RDWR | O_CREAT | O_TRUNC | O_DIRECT));
  EXPECT_TRUE(board().mounts().empty());
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(Usb, free_space_decides_whether_the_stick_is_written) {
  const std::string kNoRoom = "磁盘空间不足,请释放磁盘空间,测试需要25(M)磁盘空间\n";
  struct Case {
    const char* name;
    uint64_t free;
    uint64_t old_file;  // an earlier test file, removed first
    std::string body;
  } cases[] = {
      {"exactly 25 MiB", 25 * kMiB, 0, sizes("0.06", "0.02") + full_run()},
      {"one cluster short", 25 * kMiB - sim::UsbStick::kClusterSize, 0, sizes("0.06", "0.02") + kNoRoom},
      {"room after the old file goes", 15 * kMiB, 10 * kMiB, sizes("0.06", "0.02") + full_run()},
  };
  for (const auto& c : cases) {
    auto s = plug("/dev/h_msa", 64 * kMiB, c.free + c.old_file);
    if (c.old_file) s->put_file("usbtest.dat", std::vector<uint8_t>(c.old_file, 1));
    board().clear_log();
    Outcome r = run(tav::usb_test, {});
    EXPECT_EQ(r.out, kStart + c.body + kOkA + kOthersMissing) << c.name;
    EXPECT_TRUE(board().mounts().empty()) << c.name;
  }
}

TEST_F(Usb, failures_after_the_mount_still_end_with_the_success_line) {
  struct Case {
    const char* name;
    sim::Fault fault;
    std::string body;
    bool stays_mounted;
  } cases[] = {
      {"statistics fail", {sim::Call::Statvfs, "/mnt", 0, 0, EIO}, "获取硬盘信息失败,Input/output error\n", false},
      {"file not created",
       {sim::Call::Open, "/mnt/usbtest.dat", 0, 0, EROFS},
       sizes("14.90", "13.97") + "创建USB硬盘测试文件失败\n",
       false},
      {"short read",
       {sim::Call::Read, "/mnt/usbtest.dat", 0, 3, EIO, 4096},
       sizes("14.90", "13.97") + kHashes + "\n磁盘写入速度:20.00(M/S)\n##",
       false},
      {"unmount fails",
       {sim::Call::Umount, "/mnt", 0, 0, EBUSY},
       sizes("14.90", "13.97") + kHashes + "\n磁盘写入速度:20.00(M/S)\n" + kHashes +
           "\n磁盘读取速度:30.00(M/S)\n\n卸载/mnt失败!\n",
       true},
      {"close fails",
       {sim::Call::Close, "/mnt/usbtest.dat", 0, 0, EIO},
       sizes("14.90", "13.97") + kHashes + "\n磁盘写入速度:20.00(M/S)\n" + kHashes +
           "\n磁盘读取速度:30.00(M/S)\n\n关闭文件失败!\n",
       true},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    board().clear_log();
    board().fail(c.fault);
    Outcome r = run(tav::usb_test, {});
    EXPECT_EQ(r.out, kStart + c.body + kOkA + kOthersMissing) << c.name;
    EXPECT_EQ(board().mounts().size(), c.stays_mounted ? 1u : 0u) << c.name;
    EXPECT_EQ(r.open_descriptors, 0u) << c.name;
    board().clear_faults();
    if (c.stays_mounted) sys::umount("/mnt");
  }
}

TEST_F(Usb, worn_byte_is_counted) {
  stick("/dev/h_msa")->set_bad_byte(5 * kMiB + 77);
  Outcome r = run(tav::usb_test, {});
  EXPECT_EQ(r.out, kStart + sizes("14.90", "13.97") + full_run(1) + kOkA + kOthersMissing);
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
    auto mounts = calls(r, sim::Call::Mount);
    ASSERT_EQ(mounts.size(), 2u) << c.name;
    EXPECT_EQ(mounts[1].path, "/dev/h_msa") << c.name;
  }
}

TEST_F(Usb, busy_mount_point_tests_the_stick_already_there_and_missing_sticks_are_named) {
  auto a = stick("/dev/h_msa");
  auto b = plug("/dev/h_msb", 64 * kMiB, 40 * kMiB);
  ASSERT_EQ(sys::mount("/dev/h_msb", "/mnt", "vfat", 0, nullptr), 0);
  Outcome r = run(tav::usb_test, {});
  const std::string b_sizes = sizes("0.06", "0.04");
  EXPECT_EQ(r.out, kStart + b_sizes + full_run() + kOkA + b_sizes + full_run() + "USB[/dev/h_msb]测试成功.\n\n" +
                       "没有发现USB[/dev/h_msc]\n" + kDone);
  EXPECT_FALSE(a->has_file("usbtest.dat"));
  EXPECT_TRUE(b->has_file("usbtest.dat"));
  EXPECT_TRUE(board().mounts().empty());
  for (const char* p : {"/dev/h_msa", "/dev/h_msb"}) board().remove(p);
  r = run(tav::usb_test, {});
  EXPECT_EQ(r.out, kStart + "没有发现USB[/dev/h_msa]\n" + kOthersMissing);
}

}  // namespace
