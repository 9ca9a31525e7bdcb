// The USB stick model and the board's mounted file systems, through the seam.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <vector>

#include "harness.h"
#include "sim/usb.h"

namespace {

constexpr uint64_t kMiB = 1 << 20;

class UsbStickModel : public tavtest::BoardTest {};

TEST_F(UsbStickModel, files_under_the_mount_point_live_in_the_mounted_stick) {
  auto stick = std::make_shared<sim::UsbStick>(board().clock(), 4 * kMiB, 2 * kMiB);
  board().add("/dev/h_msb", stick);
  // Unmounted, /mnt is the board's and refuses files.
  EXPECT_EQ(sys::open("/mnt/f", O_RDWR | O_CREAT, 0644), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(sys::mount("/dev/h_msb", "/mnt", "ext2", 0, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  ASSERT_EQ(sys::mount("/dev/h_msb", "/mnt", "vfat", 0, nullptr), 0);
  int fd = sys::open("/mnt/f", O_RDWR | O_CREAT, 0644);
  ASSERT_GE(fd, 0);
  std::vector<char> data(3 * kMiB, 'x');
  // Two free MiB: the write fills them and stops.
  EXPECT_EQ(sys::write(fd, data.data(), data.size()), static_cast<ssize_t>(2 * kMiB));
  EXPECT_EQ(sys::write(fd, data.data(), 1), -1);
  EXPECT_EQ(errno, ENOSPC);
  struct statvfs vfs;
  ASSERT_EQ(sys::statvfs("/mnt", &vfs), 0);
  EXPECT_EQ(vfs.f_bavail, 0u);
  EXPECT_EQ(vfs.f_blocks * vfs.f_frsize, 4 * kMiB);
  EXPECT_EQ(sys::lseek(fd, 0, SEEK_SET), 0);
  char back[4] = {};
  EXPECT_EQ(sys::read(fd, back, 3), 3);
  EXPECT_STREQ(back, "xxx");
  EXPECT_EQ(sys::close(fd), 0);
  struct stat st;
  ASSERT_EQ(sys::stat("/mnt/f", &st), 0);
  EXPECT_EQ(st.st_size, static_cast<off_t>(2 * kMiB));
  ASSERT_EQ(sys::unlink("/mnt/f"), 0);
  EXPECT_EQ(stick->free_bytes(), 2 * kMiB);
  EXPECT_EQ(sys::stat("/mnt/f", &st), -1);
  ASSERT_EQ(sys::umount("/mnt"), 0);
  EXPECT_FALSE(stick->has_file("f"));
  ASSERT_EQ(sys::stat("/dev/h_msb", &st), 0);
  EXPECT_TRUE(S_ISBLK(st.st_mode));
  EXPECT_EQ(sys::stat("/dev/h_msc", &st), -1);
}

}  // namespace
