// Work-key tool: the driver encrypts a key given on the command line and the
// result is stored (in the driver or a file here); or the stored form is
// fetched and the driver decrypts it. The program itself holds no key.
#include <fcntl.h>
#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/ded.h"
#include "items/item_options.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kWorkkeyFile = "ded_workkey";  // in the working directory
constexpr const char* kWorkkeyUsage =
    "\nUsage: workkey String [option]\n\n"
    "    -e [Str]   encrypt workkey and write\n"
    "    -d         decrypt workkey and read\n"
    "    -t         workkey read write by tavded\n"
    "    -h         help\n\n";

size_t round_up8(size_t n) { return (std::min(n, kWorkkeyMax) + 7) & ~size_t{7}; }

int store_in_driver(DedStoredKey* key, bool reading) {
  int fd = sys::open(kDedPath, O_RDWR);
  if (fd < 0) {
    printf("Open tavded fail. errno[%d]\n", errno);
    return 0;
  }
  if (sys::ioctl(fd, reading ? TAVDED_READ_WORKKEY : TAVDED_WRITE_WORKKEY, key) != 0) {
    printf("workkey_rw ioctl faild. errno[%d]\n", errno);
    sys::close(fd);
    return -1;
  }
  sys::close(fd);
  return 0;
}

// The file is neither truncated nor given permission bits, as the tool
// always made it (it runs as root).
int store_in_file(DedStoredKey* key, bool reading) {
  int fd = sys::open(kWorkkeyFile, O_RDWR | O_CREAT, 0);
  if (fd < 0) {
    printf("Open ded_workkey fail. errno[%d]\n", errno);
    return 0;
  }
  auto* bytes = reinterpret_cast<uint8_t*>(key);
  if (reading) {
    sys::read(fd, bytes, kStoredKeyHeader);
    sys::read(fd, key->data, std::min<size_t>(key->length, kWorkkeyMax));
  } else if (sys::write(fd, bytes, kStoredKeyHeader) == static_cast<ssize_t>(kStoredKeyHeader)) {
    sys::write(fd, key->data, std::min<size_t>(key->length, kWorkkeyMax));
  }
  sys::close(fd);
  return 0;
}

}  // namespace

// item: workkey
int workkey_tool(int argc, char** argv) {
  bool decrypt = false;
  bool in_driver = false;
  const char* text = nullptr;
  restart_option_scan();
  if (argc > 0 && argv != nullptr) {
    int opt;
    while ((opt = getopt(argc, argv, "he:dt")) != -1) {
      switch (opt) {
        case 'e':
          decrypt = false;
          text = optarg;
          break;
        case 'd':
          decrypt = true;
          break;
        case 't':
          in_driver = true;
          break;
        default:
          fputs(kWorkkeyUsage, stderr);
          return -1;
      }
    }
  }
  size_t len = text != nullptr ? strlen(text) : 0;
  // Zeroed, so nothing unset is ever sent or printed.
  auto* crypt = static_cast<DedCrypt*>(calloc(1, sizeof(DedCrypt)));
  if (crypt == nullptr) {
    printf("open dedarg[%p] failed, errno[%d].\n", static_cast<void*>(nullptr), errno);
    return 0;
  }
  auto* key = static_cast<DedStoredKey*>(calloc(1, sizeof(DedStoredKey)));
  if (key == nullptr) {
    printf("open parg13[%p] failed, errno[%d].\n", static_cast<void*>(nullptr), errno);
    free(crypt);
    return 0;
  }
  auto store = in_driver ? store_in_driver : store_in_file;
  size_t n;
  if (!decrypt) {
    n = round_up8(len);
    memcpy(crypt->data, text != nullptr ? text : "", std::min(len, n));
  } else {
    key->length = kWorkkeyMax;
    store(key, true);
    n = round_up8(key->length);
    memcpy(crypt->data, key->data, n);
  }
  crypt->length = static_cast<uint32_t>(n);
  crypt->zero = 0;

  int fd = sys::open(kDedPath, O_RDWR);
  if (fd < 0) {
    printf("Open tavded fail. errno[%d]\n", errno);
  } else {
    if (sys::ioctl(fd, decrypt ? TAVDED_DECRYPT : TAVDED_ENCRYPT, crypt) != 0)
      printf("workkey_test ioctl faild. errno[%d]\n", errno);
    sys::close(fd);
  }
  if (!decrypt) {
    key->length = static_cast<uint32_t>(n);
    memcpy(key->data, crypt->data, n);
    store(key, false);
  } else {
    printf("out:%.*s\n", static_cast<int>(kWorkkeyMax), reinterpret_cast<const char*>(crypt->data));
  }
  free(crypt);
  free(key);
  return 0;
}

}  // namespace tav
