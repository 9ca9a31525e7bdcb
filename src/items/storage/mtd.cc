// The MTD tool and the NAND ID check.
#include "drivers/mtd.h"

#include <errno.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kMtdUsage =
    "\nusage:./mtd_test [cmd]\n"
    "./mtd_test setpro [mtd_num] [unlock/lock] ------ \"unlock/lock mtdN\"\n"
    "./mtd_test erasestat                      ------ \"get block erase info\"\n"
    "./mtd_test erase [mtd_num]                ------ \"erase flash partition\"\n"
    "./mtd_test bootpart                       ------ \"get bootpart info\"\n"
    "./mtd_test intercept [mtd_num]            ------ \"get mtd intercept in protection\"\n"
    "./mtd_test ecc [mtd_num]                  ------ \"get flash ecc info\"";

// args starts at the sub-command, so args[1] is its first argument.
using MtdHandler = int (*)(int fd, int argc, char** args);

struct MtdCommand {
  const char* name;
  MtdHandler handler;
};

int partition_of(const char* word) { return static_cast<int>(strtol(word, nullptr, 10)); }

int get_bootpart(int fd, int, char**) {
  if (fd < 0) return -EFAULT;
  uint32_t part = 0;
  int rc = sys::ioctl(fd, TAVMTD_GET_BOOT_PART, &part);
  if (rc < 0) {
    printf("ioctl TAVMTD_GET_BOOT_PART failed, errno:%d!\n", errno);
    return rc;
  }
  printf("bootpart is %u\n", part);
  return 0;
}

int get_erase_stat(int fd, int, char**) {
  if (fd < 0) return -EFAULT;
  EraseStat stat;
  memset(&stat, 0, sizeof stat);
  stat.kind = kEraseStatKind;
  int rc = sys::ioctl(fd, TAVMTD_ERASE_STAT, &stat);
  if (rc < 0) {
    printf("ioctl TAVMTD_ERASE_STAT failed, errno:%d!\n", errno);
    return rc;
  }
  printf("most wore out block is %u, erase %llu, total: %llu\n", stat.max_block,
         static_cast<unsigned long long>(stat.max_erase), static_cast<unsigned long long>(stat.total_erase));
  return 0;
}

int erase_partition(int fd, int argc, char** args) {
  if (fd < 0 || argc < 3) return -EFAULT;
  uint32_t part = static_cast<uint32_t>(partition_of(args[1]));
  int rc = sys::ioctl(fd, TAVMTD_NAND_ERASE, &part);
  if (rc < 0) {
    printf("ioctl TAVMTD_NAND_ERASE failed, errno:%d!\n", errno);
    return rc;
  }
  return 0;
}

int set_protect(int fd, int argc, char** args) {
  if (fd < 0 || argc < 4) return -EFAULT;
  const char* word = args[2];
  size_t n = strlen(word);
  ProtectRequest req;
  req.partition = static_cast<uint32_t>(partition_of(args[1]));
  if (strncmp("unlock", word, n) == 0) {
    req.unlock = 1;
  } else if (strncmp("lock", word, n) == 0) {
    req.unlock = 0;
  } else {
    // Any other word locks the partition, after the usage.
    puts(kMtdUsage);
    req.unlock = 0;
  }
  int rc = sys::ioctl(fd, TAVMTD_SET_PROTECT, &req);
  if (rc < 0) {
    printf("ioctl TAVMTD_SET_PROTECT failed, errno:%d!\n", errno);
    return rc;
  }
  printf("%s MTD%d successful\n", word, static_cast<int>(req.partition));
  return 0;
}

int get_intercept(int fd, int argc, char** args) {
  if (fd < 0 || argc < 3) return -EFAULT;
  int part = partition_of(args[1]);
  uint32_t arg = static_cast<uint32_t>(part);
  long count = sys::ioctl(fd, TAVMTD_GET_INTERCEPT, &arg);
  if (count < 0) {
    printf("ioctl TAVMTD_GET_INTERCEPT failed, errno:%d!\n", errno);
    return static_cast<int>(count);
  }
  printf("mtd%d intercept count is %ld\n", part, count);
  return 0;
}

int get_ecc(int fd, int argc, char** args) {
  if (fd < 0 || argc < 3) return -EFAULT;
  char path[12];
  snprintf(path, sizeof path, "/dev/mtd%d", partition_of(args[1]));
  int mtd = sys::open(path, O_RDWR);
  if (mtd < 0) {
    printf("open %s failed, errno:%d!\n", path, errno);
    return -ENOENT;
  }
  MtdEccStats stats;
  memset(&stats, 0, sizeof stats);
  int rc = sys::ioctl(mtd, ECCGETSTATS, &stats);
  if (rc < 0) {
    printf("ioctl ECCGETSTATS failed, errno:%d!\n", errno);
    sys::close(mtd);
    return rc;
  }
  sys::close(mtd);
  printf("bitflips       : %d\n", static_cast<int>(stats.corrected));
  printf("ECC failures   : %d\n", static_cast<int>(stats.failed));
  printf("Bad blocks     : %d\n", static_cast<int>(stats.badblocks));
  printf("BBT blocks     : %d\n", static_cast<int>(stats.bbtblocks));
  return 0;
}

constexpr MtdCommand kMtdCommands[] = {
    {"bootpart", get_bootpart}, {"erasestat", get_erase_stat}, {"erase", erase_partition},
    {"setpro", set_protect},    {"intercept", get_intercept},  {"ecc", get_ecc},
    {nullptr, nullptr},
};

}  // namespace

// item: mtd_test
int mtd_test(int argc, char** argv) {
  if (argc < 2 || argv == nullptr) {
    puts(kMtdUsage);
    return -1;
  }
  int fd = sys::open(kTavmtdPath, O_RDWR);
  if (fd < 0) {
    printf("打开文件%s失败, errno:%d!\n", kTavmtdPath, errno);
    return -1;
  }
  const MtdCommand* cmd = kMtdCommands;
  while (cmd->name != nullptr && std::string_view(cmd->name) != argv[1]) ++cmd;
  if (cmd->name == nullptr || cmd->handler(fd, argc, argv + 1) < 0) puts(kMtdUsage);
  if (sys::close(fd) < 0) printf("close file %s failed, errno:%d!\n", kTavmtdPath, errno);
  return 0;
}

namespace {

// The ID check after the record is allocated; the caller frees it.
int check_nand(MtdInfoUser* info) {
  int fd = sys::open(kTavmtdPath, O_RDWR);
  if (fd < 0) {
    puts("[APP]open /dev/tavmtd fail ");
    puts("[APP]get nand id fail ");
    return -1;
  }
  // One byte more than the driver fills, so the ID always ends as a string.
  uint8_t id[kNandIdSize + 1] = {};
  int rc = sys::ioctl(fd, TAVMTD_GET_NAND_ID, id);
  if (rc >= 0) {
    printf("NAND_ID:");
    for (size_t i = 0; i < kNandIdSize; ++i) printf("%x ", id[i]);
    printf("\n");
  } else {
    puts("[APP]ioctrl /dev/tavmtd fail ");
  }
  sys::close(fd);
  if (rc < 0) {
    puts("[APP]get nand id fail ");
    return -1;
  }
  char expected[sizeof kMt29f2gId + 1] = {};
  memcpy(expected, kMt29f2gId, sizeof kMt29f2gId);
  if (strcmp(reinterpret_cast<const char*>(id), expected) != 0) {
    puts("The flash is not MT29F2G08ABAEA flash");
    return 0;
  }
  fd = sys::open(kMtd0Path, O_RDWR);
  if (fd < 0) {
    puts("[APP]open /dev/mtd0 fail ");
    puts("[APP]get nand mtd_user fail ");
    return -1;
  }
  memset(info, 0, sizeof *info);
  rc = sys::ioctl(fd, MEMGETINFO, info);
  sys::close(fd);
  if (rc < 0) {
    puts("[APP]ioctrl /dev/mtd0 fail ");
    puts("[APP]get nand mtd_user fail ");
    return -1;
  }
  puts("NAND_info:");
  printf(" oob: %dB \n", static_cast<int>(info->oobsize));
  if (info->oobsize == kNewPartOob)
    puts("MT29F2G08ABAEA new flash");
  else if (info->oobsize == kOldPartOob)
    puts("MT29F2G08ABAEA old flash");
  return 0;
}

}  // namespace

// item: nand_id
int nand_id_check(int, char**) {
  auto* info = static_cast<MtdInfoUser*>(malloc(sizeof(MtdInfoUser)));
  if (info == nullptr) {
    puts("[APP]malloc fail ");
    return -1;
  }
  int rc = check_nand(info);
  free(info);
  return rc;
}

}  // namespace tav
