// The eMMC and USB items as real processes on the host build, against loop
// devices standing in for the board's nodes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "harness.h"

namespace {

using tavtest::ends_with;
using tavtest::Proc;
using tavtest::shell;
using tavtest::starts_with;

constexpr long kMiB = 1 << 20;
const std::string kEmmcSteps =
    "eMMC read...\nok\neMMC write...\nok\neMMC data check...\nok\neMMC write back...\nok\n\n";
const std::string kHashes(25, '#');
const std::string kOthersMissing = "没有发现USB[/dev/h_msb]\n没有发现USB[/dev/h_msc]\nUSB[/dev/h_msc]测试完毕.\n\n";

// A command line for the built program, behind the emulator in a cross build.
std::string emulated(const std::string& program) {
  const std::string emulator = TAV_EMULATOR;
  return emulator.empty() ? program : emulator + " " + program;
}

// A loop device over an image file; skipped where the machine does not allow one.
class FlashUsbLoop : public tavtest::FactoryDirTest {
 protected:
  void SetUp() override {
    FactoryDirTest::SetUp();
    std::string why = tavtest::loop_unavailable();
    if (!why.empty()) GTEST_SKIP() << why;
  }
  void TearDown() override {
    if (!loop_.empty()) tavtest::detach_loop(loop_);
  }
  // Attaches an image of this many bytes, every byte fill.
  bool attach(long bytes, unsigned char fill) {
    image_ = dir_ / "image";
    int fd = ::open(image_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    std::vector<unsigned char> block(kMiB, fill);
    for (long done = 0; done < bytes; done += kMiB)
      if (::write(fd, block.data(), kMiB) != kMiB) return false;
    ::close(fd);
    loop_ = tavtest::attach_loop(image_);
    return !loop_.empty();
  }
  void detach() {
    tavtest::detach_loop(loop_);
    loop_.clear();
  }
  std::string map(const std::string& node) {
    tavtest::write_file(dir_ / "devmap", node + "=" + loop_ + "\n");
    return "TAV_DEVMAP=" + (dir_ / "devmap");
  }
  std::string image_;
  std::string loop_;
};

TEST_F(FlashUsbLoop, emmc_leaves_its_region_erased_and_the_rest_untouched) {
  constexpr long kBytes = 16 * kMiB;
  if (!attach(kBytes, 0xA5)) GTEST_SKIP() << "losetup could not attach an image here";
  dir_.link("emmc", "tav_factory");
  Proc p = tavtest::run_process(dir_, "emmc", {}, {"LC_ALL=C", map("/dev/mmcblk0")});
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(starts_with(p.out, kEmmcSteps + "eMMC write speed:")) << p.out;
  EXPECT_NE(p.out.find("(M/S)\neMMC read  speed:"), std::string::npos) << p.out;
  EXPECT_TRUE(ends_with(p.out, "(M/S)\nTest EMMC OK\n")) << p.out;
  detach();
  std::string bytes = tavtest::read_file(image_);
  ASSERT_EQ(bytes.size(), static_cast<size_t>(kBytes));
  std::string want(kBytes, '\xA5');
  want.replace(5 * kMiB, 10 * kMiB, 10 * kMiB, '\xFF');
  EXPECT_TRUE(bytes == want);
}

// The kernel here has no FAT: the item's mount fails twice and it tests the
// ext2 file system mounted on /mnt beforehand, in a private mount namespace.
TEST_F(FlashUsbLoop, usb_tests_what_mnt_holds_when_its_mount_fails) {
  if (shell("unshare -m true 2>/dev/null").status != 0) GTEST_SKIP() << "no private mount namespace (unshare -m)";
  if (shell("command -v mkfs.ext2 >/dev/null").status != 0) GTEST_SKIP() << "mkfs.ext2 not installed";
  if (!attach(64 * kMiB, 0)) GTEST_SKIP() << "losetup could not attach an image here";
  ASSERT_EQ(shell("mkfs.ext2 -q -F " + loop_ + " >/dev/null 2>&1").status, 0);
  dir_.link("usb", "tav_factory");
  Proc p = shell("cd " + dir_.path() + " && env -i LC_ALL=C " + map("/dev/h_msa") +
                 " unshare -m sh -c 'mount -t ext2 " + loop_ + " /mnt && exec " + emulated("./usb") + "' 2>&1");
  EXPECT_EQ(p.status, 0);
  EXPECT_TRUE(starts_with(p.out, "\nUSB测试开始\n磁盘分区大小:0.06(G)\n磁盘剩余空间:0.0")) << p.out;
  const std::string middle = "(G)\n" + kHashes + "\n磁盘写入速度:";
  size_t w = p.out.find(middle);
  ASSERT_NE(w, std::string::npos) << p.out;
  EXPECT_NE(p.out.find("(M/S)\n" + kHashes + "\n磁盘读取速度:", w), std::string::npos) << p.out;
  EXPECT_TRUE(ends_with(
      p.out, "(M/S)\n\nUSB硬盘完成25(M)创建数据测试,错误数据0(8bit)\nUSB[/dev/h_msa]测试成功.\n\n" + kOthersMissing))
      << p.out;
  // The test file stayed on the stick's file system.
  detach();
  Proc ls = shell("debugfs -R 'ls -l /' " + image_ + " 2>/dev/null");
  EXPECT_NE(ls.out.find("26214400"), std::string::npos) << ls.out;
  EXPECT_NE(ls.out.find("usbtest.dat"), std::string::npos) << ls.out;
}

}  // namespace
