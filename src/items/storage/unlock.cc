// The disk password test and the disk buffer tool.
#include <errno.h>
#include <fcntl.h>
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/console.h"
#include "items/item_options.h"
#include "items/items.h"
#include "items/storage/ata.h"
#include "items/storage/storage_ctl.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kBufferUsage =
    "\nUsage: hdbuffer -i index -c cmd -s size(M)\n\n"
    "    -i         HD index\n"
    "    -c         select ioctl command.like:\n"
    "               0:get buffer size\n"
    "               1:set buffer size\n"
    "               2:unset buffer size\n"
    "    -s         size\n"
    "    -h         help\n\n";

constexpr uint8_t kSecurityUnlock = 0xF2;
constexpr uint8_t kPioDataOut = 0x0A;  // protocol 5 in bits 1-4
constexpr int kSecurityWord = 128;

int send_unlock(int fd, const uint8_t* password) {
  uint8_t block[kAtaSector] = {};
  memcpy(block + 2, password, 32);  // bytes 0-1 zero: the user password is compared
  uint8_t cdb[16] = {};
  cdb[0] = kAtaPassThrough16;
  cdb[1] = kPioDataOut;
  cdb[14] = kSecurityUnlock;
  return sg_data_out(fd, cdb, block, sizeof block, 0);
}

}  // namespace

// item: disk_unlock
int disk_unlock(int, char**) {
  printf("请输入块设备名称[非分区设备]:");
  fflush(stdout);
  char name[64];
  int n = console_read_line(name, sizeof name);
  if (n < 0) {
    puts("get block device name error");
    return -EINVAL;
  }
  if (n > 0 && name[n - 1] == '\n') name[n - 1] = '\0';

  uint8_t id[kAtaSector] = {};
  int rc = get_identify_result(name, id);
  if (rc < 0) {
    printf("\033[0;32mget_identify_result error errno = %d\033[m\n", rc);
    return rc;
  }
  const int security = id[2 * kSecurityWord] & 0xF;
  if (security < 2) {
    printf("\033[0;32m%s is not a lock disk, don't need password\033[m\n", name);
    return -EINVAL;
  }
  if (security == 3) {
    printf("\033[0;32m%s have already unlocked\033[m\n", name);
    return -EINVAL;
  }

  PasswordRequest req;
  memset(&req, 0, sizeof req);
  req.disk_index = strlen(name) > 7 ? static_cast<uint32_t>(name[7] - 'a') : 0;
  for (int i = 20; i < 40 && req.serial_length < sizeof req.serial; ++i)
    if (id[i] != ' ') req.serial[req.serial_length++] = static_cast<char>(id[i]);

  int ctl = sys::open(kStoragePath, O_RDWR);
  if (ctl < 0) {
    puts("open /dev/tavstorage fail");
    return -EINVAL;
  }
  rc = sys::ioctl(ctl, STOR_CMD_GET_PASSWORD, &req);
  if (rc < 0) {
    printf("get password fail:%d\n", rc);
  } else {
    int fd = sys::open(name, O_RDWR | O_NONBLOCK);
    if (fd < 0) {
      printf("open %s failed\n", name);
      rc = -1;
    } else {
      rc = send_unlock(fd, req.password);
      sys::close(fd);
      if (rc < 0)
        printf("send password fail:%d\n", rc);
      else
        printf("\033[0;32m%s has password, test OK.\033[m\n", name);
    }
  }
  // The password never stays in memory longer than needed.
  memset(req.password, 0, sizeof req.password);
  sys::close(ctl);
  return rc;
}

// item: hdbuffer
int hdbuffer(int argc, char** argv) {
  restart_option_scan();
  BufferRecord rec;
  memset(&rec, 0, sizeof rec);
  int cmd = 0;
  uint32_t size = 0;
  int opt;
  while (argc > 0 && argv != nullptr && (opt = getopt(argc, argv, "hi:c:s:")) != -1) {
    switch (opt) {
      case 'i':
        strncpy(rec.name, optarg, sizeof rec.name);
        rec.name[sizeof rec.name - 1] = '\0';
        break;
      case 's':
        size = static_cast<uint32_t>(strtol(optarg, nullptr, 10));
        break;
      case 'c':
        cmd = static_cast<int>(strtol(optarg, nullptr, 10));
        break;
      default:
        fputs(kBufferUsage, stderr);
        return 0;
    }
  }
  if (cmd >= 3) {
    fputs(kBufferUsage, stderr);
    return 0;
  }
  unsigned long request = cmd == 1 ? HDBUFF_SET : cmd == 2 ? HDBUFF_CLEAR : HDBUFF_GET;
  rec.size_mb = size;
  char name[sizeof rec.name];
  memcpy(name, rec.name, sizeof name);
  int fd = sys::open(kBuffctlPath, O_RDWR);
  if (fd < 0) {
    printf("open file %s failed, errno: %d\n", kBuffctlPath, errno);
    return 0;
  }
  int rc = sys::ioctl(fd, request, &rec);
  if (rc != 0) {
    printf("%s(%d): ioctl failed, errno: %d\n", "hdbuffer_main", 133, errno);
    sys::close(fd);
    return rc;
  }
  if (sys::close(fd) != 0) {
    printf("close file %s failed, errno:%d!\n", kBuffctlPath, errno);
    return 0;
  }
  if (request == HDBUFF_GET) {
    int32_t got;
    memcpy(&got, &rec, sizeof got);
    printf("%s hdd [%s] success，buffer size is %d \n", "get", name, got);
  } else if (request == HDBUFF_SET) {
    printf("%s hdd [%s] success，buffer size is %d \n", "set", name, static_cast<int>(size));
  } else {
    printf("clear hdd [%s] buffer set success\n", name);
  }
  return 0;
}

}  // namespace tav
