// USB test: mount each stick, report its size, write 25 MiB of a seeded
// pattern with direct I/O, read it back and count wrong bytes.
#include "items/io/usb.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/stopwatch.h"
#include "common/verdict_note.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr long kBlock = 0x100000;
static_assert(kBlock % 256 == 0, "the pattern's runs tile a block");
constexpr int kBlocks = 25;
constexpr size_t kAlign = 512;
constexpr int kLastPartition = 7;
constexpr size_t kNameCopy = 25;

double gib(unsigned long long blocks, unsigned long long block_size) {
  return static_cast<double>(blocks) * static_cast<double>(block_size) / 1024 / 1024 / 1024;
}

// Mounts the stick, or the name built for a partition. False when every
// partition digit was refused; a failing attempt returns -1 and goes on, so
// the test then runs on whatever /mnt holds.
bool mount_stick(const char* dev) {
  if (sys::mount(dev, kUsbMountPoint, "vfat", 0, nullptr) == 0) return true;
  for (int attempt = 0; attempt < kLastPartition; ++attempt) {
    char name[32] = {};
    memcpy(name, dev, strnlen(dev, kNameCopy));
    // KEPT: the partition digit goes into a one-byte buffer, which holds
    // only the terminator, so the same name is mounted again.
    int rc = sys::mount(name, kUsbMountPoint, "vfat", 0, nullptr);
    if (rc < 0) note_failure("mount of the USB stick on /mnt failed; tested whatever /mnt held");
    if (rc <= 0) return true;
    printf("挂载USB:%s失败\n", name);
  }
  puts("挂载USB失败,分区号大于7，或无有效分区。");
  return false;
}

// The pattern repeats every 256 bytes: whole runs are compared at memory
// speed and only a run that differs is counted byte by byte, so the timed
// read loop measures the stick rather than the comparison.
int count_wrong(const unsigned char* buf, unsigned char seed) {
  unsigned char run[256];
  for (int i = 0; i < 256; ++i) run[i] = static_cast<unsigned char>(seed + i);
  int wrong = 0;
  for (long at = 0; at < kBlock; at += sizeof run) {
    if (memcmp(buf + at, run, sizeof run) == 0) continue;
    for (size_t k = 0; k < sizeof run; ++k)
      if (buf[at + static_cast<long>(k)] != run[k]) ++wrong;
  }
  return wrong;
}

// A short read ends the stick at once: the file closed and /mnt unmounted.
void write_and_check(unsigned char* buf, int fd, unsigned char seed) {
  for (long i = 0; i < kBlock; ++i) buf[i] = static_cast<unsigned char>(seed + i);
  struct timespec t0 = wall_now();
  for (int i = 0; i < kBlocks; ++i) {
    sys::write(fd, buf, kBlock);
    putchar('#');
    fflush(stdout);
  }
  printf("\n磁盘写入速度:%4.2f(M/S)\n", per_second(kBlocks, t0, wall_now()));

  sys::lseek(fd, 0, SEEK_SET);
  int wrong = 0;
  t0 = wall_now();
  for (int i = 0; i < kBlocks; ++i) {
    memset(buf, 0, kBlock);
    if (sys::read(fd, buf, kBlock) != kBlock) {
      sys::close(fd);
      sys::umount(kUsbMountPoint);
      return;
    }
    wrong += count_wrong(buf, seed);
    putchar('#');
    fflush(stdout);
  }
  printf("\n磁盘读取速度:%4.2f(M/S)\n", per_second(kBlocks, t0, wall_now()));
  putchar('\n');
  if (sys::close(fd) != 0) {
    puts("关闭文件失败!");
  } else if (sys::umount(kUsbMountPoint) == 0) {
    printf("USB硬盘完成%d(M)创建数据测试,错误数据%d(8bit)\n", kBlocks, wrong);
  } else {
    puts("卸载/mnt失败!");
  }
}

void test_mounted() {
  sys::unlink(kUsbTestFile);
  struct statvfs fs;
  if (sys::statvfs(kUsbMountPoint, &fs) != 0) {
    printf("获取硬盘信息失败,%s\n", strerror(errno));
    sys::umount(kUsbMountPoint);
    return;
  }
  printf("磁盘分区大小:%4.2f(G)\n", gib(fs.f_blocks, fs.f_frsize));
  printf("磁盘剩余空间:%4.2f(G)\n", gib(fs.f_bavail, fs.f_frsize));
  if (static_cast<double>(fs.f_bavail) * static_cast<double>(fs.f_frsize) / 1024 / 1024 < kBlocks) {
    printf("磁盘空间不足,请释放磁盘空间,测试需要%d(M)磁盘空间\n", kBlocks);
    sys::umount(kUsbMountPoint);
    return;
  }
  int fd = sys::open(kUsbTestFile, O_RDWR | O_CREAT | O_TRUNC | O_DIRECT, 0777);
  if (fd < 0) {
    puts("创建USB硬盘测试文件失败");
    sys::umount(kUsbMountPoint);
    return;
  }
  srandom(static_cast<unsigned>(wall_now().tv_nsec / 1000));
  auto seed = static_cast<unsigned char>(random());
  void* mem = nullptr;
  if (posix_memalign(&mem, kAlign, kBlock) != 0) {
    puts("DIO mem alloc failed!");
    if (sys::umount(kUsbMountPoint) != 0) puts("卸载/mnt失败!");
    sys::close(fd);
    return;
  }
  write_and_check(static_cast<unsigned char*>(mem), fd, seed);
  free(mem);
}

}  // namespace

// item: usb
int usb_test(int, char**) {
  puts("\nUSB测试开始");
  char dev[32] = {};
  for (char letter = 'a'; letter <= 'c'; ++letter) {
    snprintf(dev, sizeof dev, kUsbNodeFormat, letter);
    struct stat st;
    if (sys::stat(dev, &st) != 0) {
      printf("没有发现USB[%s]\n", dev);
      continue;
    }
    if (mount_stick(dev)) test_mounted();
    // Ends every stick that got this far: the lines before it are the verdict.
    printf("USB[%s]测试成功.\n\n", dev);
  }
  printf("USB[%s]测试完毕.\n\n", dev);
  return 0;
}

}  // namespace tav
