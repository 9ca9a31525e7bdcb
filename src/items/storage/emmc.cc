// eMMC test: read, write, check and erase the 10 MiB that end 1 MiB before
// the end of the device, reporting both speeds.
#include "items/storage/emmc.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/stopwatch.h"
#include "common/verdict_note.h"
#include "drivers/block.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr int kBlocks = 10;
constexpr long kFirstOffset = -11 * kEmmcBlock;
constexpr double kRegionBytes = static_cast<double>(kBlocks * kEmmcBlock);
constexpr double kPerMiB = 9.5367431640625e-7;
constexpr int kMismatch = -6;
constexpr unsigned char kPattern = 0x55;
constexpr unsigned char kErased = 0xFF;

// Indexed by result + 4.
constexpr const char* kErrorNames[] = {"ioctl err", "write err", "read err", "lseek err"};

off_t seek_block(int fd, long off) { return sys::lseek(fd, off, off < 0 ? SEEK_END : SEEK_SET); }

}  // namespace

int emmc_block_write(int fd, const unsigned char* buf, long off) {
  if (fd < 0 || buf == nullptr) return fd;
  if (seek_block(fd, off) < 0) return 1;
  if (sys::write(fd, buf, kEmmcBlock) != kEmmcBlock) return 3;
  if (sys::ioctl(fd, BLKFLSBUF, nullptr) != 0) return 4;
  return 0;
}

int emmc_block_read(int fd, unsigned char* buf, long off) {
  if (seek_block(fd, off) < 0) return 1;
  if (sys::read(fd, buf, kEmmcBlock) == -1) return 2;
  return 0;
}

// item: emmc
int emmc_test(int, char**) {
  int fd = sys::open(kEmmcNode, O_RDWR | O_DSYNC);
  if (fd < 0) {
    printf("open \"%s\" failed!\n", kEmmcNode);
    return 0;
  }
  // Zeroed, so an area a failed read never filled compares as unwritten.
  auto* buf = static_cast<unsigned char*>(calloc(3, kEmmcBlock));
  if (buf == nullptr) {
    sys::close(fd);
    return 0;
  }
  unsigned char* area0 = buf;
  unsigned char* area1 = buf + kEmmcBlock;
  unsigned char* area2 = buf + 2 * kEmmcBlock;
  int result = 0;
  errno = 0;

  puts("eMMC read...");
  struct timespec t0 = wall_now();
  for (int i = 0; i < kBlocks; ++i) emmc_block_read(fd, area0, kFirstOffset + i * kEmmcBlock);
  double read_speed = per_second(kRegionBytes, t0, wall_now());
  puts("ok");

  puts("eMMC write...");
  memset(area1, kPattern, kEmmcBlock);
  t0 = wall_now();
  // Only a negative result stops the phase; the step codes are positive.
  for (int i = 0; i < kBlocks && result >= 0; ++i) {
    result = emmc_block_write(fd, area1, kFirstOffset + i * kEmmcBlock);
    if (result > 0) note_failure("eMMC block write failed unnoticed");
  }
  double write_speed = per_second(kRegionBytes, t0, wall_now());
  if (result < 0) goto failed;
  puts("ok");

  puts("eMMC data check...");
  for (int i = 0; i < kBlocks; ++i) {
    emmc_block_read(fd, area2, kFirstOffset + i * kEmmcBlock);
    if (memcmp(area1, area2, kEmmcBlock) != 0) {
      result = kMismatch;
      goto failed;
    }
  }
  puts("ok");

  puts("eMMC write back...");
  memset(area0, kErased, kEmmcBlock);
  for (int i = 0; i < kBlocks; ++i) emmc_block_write(fd, area0, kFirstOffset + i * kEmmcBlock);
  puts("ok");

  free(buf);
  putchar('\n');
  printf("eMMC write speed:%4.2f(M/S)\n", write_speed * kPerMiB);
  printf("eMMC read  speed:%4.2f(M/S)\n", read_speed * kPerMiB);
  puts("Test EMMC OK");
  sys::close(fd);
  return 0;

failed:
  // Outside the table the C library would print a null string as "(null)".
  printf("failed(%s:%d)\n", result >= -4 && result <= -1 ? kErrorNames[result + 4] : "(null)", -errno);
  puts("\nTest EMMC failed");
  free(buf);
  sys::close(fd);
  return 0;
}

}  // namespace tav
