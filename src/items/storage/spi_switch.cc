// SPI flash switch test: twenty threads keep the NOR busy through the boot
// environment while twenty more rewrite the NAND's first megabyte, so the
// controller must switch between the two chips all the time.
#include "items/storage/spi_switch.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/block.h"
#include "drivers/env.h"
#include "items/factory_network.h"
#include "items/io/tavio.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr int kThreadsPerChip = 20;
constexpr size_t kMiB = 1 << 20;
constexpr const char* kNandPath = "/dev/mtdblock1";

int g_rounds = kSpiSwitchRounds;

void* hr_spi_nor_fn(void*) {
  EnvVariable record = {};
  snprintf(record.name, sizeof record.name, "%s", "serverip");
  snprintf(record.value, sizeof record.value, "%s", kFactoryServerIp);
  int env = sys::open(kEnvPath, O_RDWR);
  if (env < 0) {
    puts("驱动接口TAVENV_NAME打开失败!");
    return nullptr;
  }
  int io = sys::open(kTavioPath, O_RDWR);
  if (io < 0) {
    puts("驱动接口TAVIO_NAME打开失败!");
    sys::close(env);
    return nullptr;
  }
  HardwareInfo info;
  for (int i = 0; i < g_rounds; ++i) {
    if (sys::ioctl(env, UBOOT_ENV_SET, &record) < 0) break;
    if (sys::ioctl(env, UBOOT_ENV_GET, &record) < 0) break;
    // Over the value read back only: an empty value passes.
    if (strncmp(record.value, kFactoryServerIp, strnlen(record.value, sizeof record.value)) != 0) break;
    if (tavio_read_hardware_info(io, &info) < 0) {
      puts("获取cpld失败!");
      break;
    }
    if (!hardware_info_valid(info)) {
      puts("读取cpld不正确!");
      break;
    }
    printf("spi_nor_%ld(%d)\n", static_cast<long>(sys::gettid()), i);
  }
  sys::close(env);
  sys::close(io);
  return nullptr;
}

// The thread's buffers and device, released on every way out.
struct NandRun {
  int fd = -1;
  char* backup = nullptr;
  char* pattern = nullptr;
  char* compare = nullptr;
  ~NandRun() {
    free(backup);
    free(pattern);
    free(compare);
    if (fd >= 0) sys::close(fd);
  }
};

bool seek_start(int fd, const char* failure) {
  if (sys::lseek(fd, 0, SEEK_SET) == 0) return true;
  puts(failure);
  return false;
}

bool flush(int fd) {
  if (sys::ioctl(fd, BLKFLSBUF, nullptr) == 0) return true;
  puts("数据刷入spi_nand_flash!");
  return false;
}

bool whole(ssize_t n, const char* failure) {
  if (n == static_cast<ssize_t>(kMiB)) return true;
  puts(failure);
  return false;
}

void* hr_spi_nand_fn(void*) {
  NandRun run;
  run.fd = sys::open(kNandPath, O_RDWR | O_NONBLOCK | O_DSYNC);
  if (run.fd < 0) {
    puts("驱动打开失败");
    return nullptr;
  }
  if ((run.backup = static_cast<char*>(calloc(1, kMiB))) == nullptr) {
    puts("malloc buf_r failed!");
    return nullptr;
  }
  if ((run.pattern = static_cast<char*>(malloc(kMiB))) == nullptr) {
    puts("malloc buf_w failed !");
    return nullptr;
  }
  if ((run.compare = static_cast<char*>(calloc(1, kMiB))) == nullptr) {
    puts("malloc buf_cmp failed");
    return nullptr;
  }
  memset(run.pattern, 0x5A, kMiB);
  if (!flush(run.fd)) return nullptr;
  const int fd = run.fd;
  for (int i = 0;; ++i) {
    if (!seek_start(fd, "读数据指针偏移失败!")) break;
    ssize_t got = sys::read(fd, run.backup, kMiB);
    if (!whole(got, "读取数据备份失败!")) break;
    if (!seek_start(fd, "写数据指针偏移失败!")) break;
    if (!whole(sys::write(fd, run.pattern, static_cast<size_t>(got)), "写随机数据失败!")) break;
    if (!flush(fd)) break;
    if (!seek_start(fd, "读数据指针偏移失败!")) break;
    if (!whole(sys::read(fd, run.compare, kMiB), "读取写入的数据失败!")) break;
    if (!seek_start(fd, "数据对比指针偏移错误!")) break;
    if (memcmp(run.pattern, run.compare, kMiB) != 0) {
      puts("erro: SPI NAND 读写出错!");
      break;
    }
    if (!seek_start(fd, "数据还原指针偏移错误!")) break;
    if (!whole(sys::write(fd, run.backup, kMiB), "还原数据失败!")) break;
    printf("spi_nand_%ld(%d)\n", static_cast<long>(sys::gettid()), i);
    if (i + 1 >= g_rounds) break;
    if (!flush(fd)) break;
  }
  return nullptr;
}

// Creates the group, or says which group failed; the created ones go on.
bool start_all(pthread_t (&ids)[kThreadsPerChip], void* (*fn)(void*), const char* failure) {
  for (auto& id : ids) {
    if (sys::thread_create(&id, fn, nullptr) != 0) {
      puts(failure);
      return false;
    }
  }
  return true;
}

// Joins the group in creation order, or says which group failed.
bool join_all(const pthread_t (&ids)[kThreadsPerChip], const char* failure) {
  for (pthread_t id : ids) {
    if (sys::thread_join(id, nullptr) != 0) {
      puts(failure);
      return false;
    }
  }
  return true;
}

}  // namespace

void set_spi_switch_rounds(int rounds) { g_rounds = rounds; }

// item: spi_switch
int spi_switch(int, char**) {
  puts("NAND FLASH和SPI NOR FLASH切换测试开始");
  pthread_t nor[kThreadsPerChip];
  pthread_t nand[kThreadsPerChip];
  if (!start_all(nor, hr_spi_nor_fn, "创建多个hr_spi_nor_fn线程失败!")) return -1;
  if (!start_all(nand, hr_spi_nand_fn, "创建多个hr_spi_nand_fn线程失败!")) return -1;
  puts("waiting for testing");
  if (!join_all(nor, "tid_nor线程结束失败!") || !join_all(nand, "tid_nand线程结束失败!")) return -1;
  puts("NAND FLASH和SPI NOR FLASH切换测试完毕");
  return 0;
}

}  // namespace tav
