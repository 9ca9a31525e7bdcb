#include "items/storage/emmc.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "items/storage/blkdev.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr size_t kMiB = 1 << 20;
constexpr int kBlocks = 10;
constexpr double kRegionBytes = 10485760.0;
constexpr double kPerMiB = 9.5367431640625e-7;
constexpr int kDataMismatch = -6;

// Indexed by result + 4.
constexpr const char* kEmmcErrors[] = {"ioctl err", "write err", "read err", "lseek err"};

// Offsets from the end: -11 MiB up to -2 MiB.
off_t block_offset(int i) { return -static_cast<off_t>(11 - i) * static_cast<off_t>(kMiB); }

bool seek(int fd, off_t offset) {
  return sys::lseek(fd, offset, offset < 0 ? SEEK_END : SEEK_SET) != static_cast<off_t>(-1);
}

// 0, or 1 (seek), 3 (write), 4 (flush); the descriptor itself when it or
// the buffer is unusable.
int write_block(int fd, const char* buf, off_t offset) {
  if (fd < 0 || buf == nullptr) return fd;
  if (!seek(fd, offset)) return 1;
  if (sys::write(fd, buf, kMiB) < 0) return 3;
  if (sys::ioctl(fd, BLKFLSBUF, nullptr) != 0) return 4;
  return 0;
}

// 0, or 1 (seek), 2 (read).
int read_block(int fd, char* buf, off_t offset) {
  if (!seek(fd, offset)) return 1;
  if (sys::read(fd, buf, kMiB) == -1) return 2;
  return 0;
}

double now_s() {
  struct timespec ts;
  sys::clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec / 1000) / 1e6;
}

double speed(double start, double end) {
  double elapsed = end - start;
  return elapsed == 0 ? kRegionBytes : kRegionBytes / elapsed;
}

// Writes the ten blocks from buf; the first negative result, else 0.
int write_region(int fd, const char* buf) {
  for (int i = 0; i < kBlocks; ++i) {
    int r = write_block(fd, buf, block_offset(i));
    if (r < 0) return r;
  }
  return 0;
}

int run(int fd, char* buf, double* read_speed, double* write_speed) {
  char* area0 = buf;
  char* area1 = buf + kMiB;
  char* area2 = buf + 2 * kMiB;
  errno = 0;
  puts("eMMC read...");
  double start = now_s();
  for (int i = 0; i < kBlocks; ++i) read_block(fd, area0, block_offset(i));
  *read_speed = speed(start, now_s());
  puts("ok");

  puts("eMMC write...");
  memset(area1, 0x55, kMiB);
  start = now_s();
  // Only a negative result fails: the writer's own codes pass unnoticed.
  int result = write_region(fd, area1);
  *write_speed = speed(start, now_s());
  if (result < 0) return result;
  puts("ok");

  puts("eMMC data check...");
  for (int i = 0; i < kBlocks; ++i) {
    read_block(fd, area2, block_offset(i));
    if (memcmp(area1, area2, kMiB) != 0) return kDataMismatch;
  }
  puts("ok");

  // Left erased, not restored.
  puts("eMMC write back...");
  memset(area0, 0xFF, kMiB);
  write_region(fd, area0);
  puts("ok");
  return 0;
}

}  // namespace

int emmc_test(int, char**) {
  int fd = sys::open(kEmmcPath, O_RDWR | O_DSYNC);
  if (fd < 0) {
    printf("open \"%s\" failed!\n", kEmmcPath);
    return 0;
  }
  char* buf = static_cast<char*>(calloc(3, kMiB));
  double read_speed = 0, write_speed = 0;
  int result = buf != nullptr ? run(fd, buf, &read_speed, &write_speed) : -ENOMEM;
  free(buf);
  if (result == 0) {
    puts("");
    printf("eMMC write speed:%4.2f(M/S)\n", write_speed * kPerMiB);
    printf("eMMC read  speed:%4.2f(M/S)\n", read_speed * kPerMiB);
    puts("Test EMMC OK");
  } else {
    int err = errno;
    // Outside the table the name is a null string, as the C library prints it.
    const char* name = result >= -4 && result <= -1 ? kEmmcErrors[result + 4] : "(null)";
    printf("failed(%s:%d)\n", name, -err);
    puts("\nTest EMMC failed");
  }
  sys::close(fd);
  return 0;
}

}  // namespace tav
