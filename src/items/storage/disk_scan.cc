// Disk scan detection: which bays hold a disk, with model, size and the
// board's version date.
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/i2c.h"
#include "items/io/tavio.h"
#include "items/items.h"
#include "items/storage/ata.h"
#include "items/storage/storage_ctl.h"
#include "sys/owners.h"
#include "sys/sys.h"
#include "tools/number.h"

namespace tav {

namespace {

struct DiskSlot {
  uint32_t slot;
  uint32_t port;
  const char* device;
};

// Port 4 (sde) is never a bay.
constexpr DiskSlot kSlots8[] = {{1, 0, "sda"}, {2, 1, "sdb"}, {3, 2, "sdc"}, {4, 3, "sdd"},
                                {5, 5, "sdf"}, {6, 6, "sdg"}, {7, 7, "sdh"}, {8, 8, "sdi"}};
constexpr DiskSlot kSlots16[] = {{1, 0, "sda"},  {2, 5, "sdf"},  {3, 10, "sdk"},  {4, 15, "sdp"},
                                 {5, 1, "sdb"},  {6, 6, "sdg"},  {7, 11, "sdl"},  {8, 16, "sdq"},
                                 {9, 2, "sdc"},  {10, 7, "sdh"}, {11, 12, "sdm"}, {12, 17, "sdr"},
                                 {13, 3, "sdd"}, {14, 8, "sdi"}, {15, 13, "sdn"}, {16, 18, "sds"}};

struct SlotState {
  bool present;
  char model[24];
  uint32_t capacity;
};

constexpr const char* kRule = "+--------+--------+--------+------------------------+--------+";
constexpr const char* kMapRule = "+---------------+---------------+---------------+---------------+";
constexpr unsigned kSettleSeconds = 2;

const char* state_word(bool present) { return present ? "存在" : "不存在"; }

void slot_row(unsigned number, bool present, const char* name, const char* model, unsigned capacity) {
  // Signed, as the board has always printed them.
  printf("|%-8d|%-8s|%-8s|%-24s|%-8d|\n", static_cast<int>(number), state_word(present), name, model,
         static_cast<int>(capacity));
  puts(kRule);
}

}  // namespace

int get_slot_info(const char* name, char* model, uint32_t* capacity) {
  char path[32];
  snprintf(path, sizeof path, "/dev/%.15s", name);
  int fd = sys::open(path, O_RDONLY);
  if (fd < 0) return -1;
  uint8_t id[kAtaSector] = {};
  if (sys::ioctl(fd, HDIO_GET_IDENTITY, id) != 0) {
    sys::close(fd);
    return -1;
  }
  unsigned long sectors = 0;
  uint64_t bytes = 0;
  if (sys::ioctl(fd, BLKGETSIZE, &sectors) == 0)
    *capacity = static_cast<uint32_t>(sectors >> 21);
  else if (sys::ioctl(fd, BLKGETSIZE64, &bytes) == 0)
    *capacity = static_cast<uint32_t>(bytes >> 30);
  else
    *capacity = 0;
  // As stored, characters in pairs; the text runs to the first zero byte.
  const char* text = reinterpret_cast<const char*>(id + 54);
  size_t n = strnlen(text, sizeof id - 54);
  if (n > 23) n = 23;
  memcpy(model, text, n);
  model[n] = '\0';
  sys::close(fd);
  return 0;
}

int version_date_report() {
  uint64_t bus = 0, addr = 0, reg = 0;
  if (str_to_number("0", &bus) != 0 || str_to_number("0x6c", &addr) != 0 || str_to_number("0xf1", &reg) != 0)
    return -EIO;
  auto* buf = static_cast<uint8_t*>(malloc(12));
  if (buf == nullptr) {
    puts("malloc memery failed!");
    return -ENOMEM;
  }
  int fd = sys::open("/dev/i2c-0", O_RDWR);
  if (fd < 0) {
    int rc = -errno;
    puts("Open i2c dev error!");
    free(buf);
    return rc;
  }
  int rc = -EIO;
  if (sys::ioctl(fd, I2C_SLAVE, reinterpret_cast<void*>(addr)) < 0) {
    puts("设置device_addr错误!");
  } else {
    // KEPT: the register number is put in the buffer but a plain read never
    // sends it, so the chip answers with whatever comes next.
    static const char* const kFails[3] = {"读取yy错误!", "读取mm错误!", "读取dd错误!"};
    uint8_t ymd[3] = {};
    int i = 0;
    for (; i < 3; ++i) {
      buf[0] = static_cast<uint8_t>(reg + static_cast<uint64_t>(i));
      ssize_t got = sys::read(fd, buf, 1);
      if (got != 1) {
        puts(kFails[i]);
        break;
      }
      ymd[i] = buf[0];
      rc = static_cast<int>(got);
    }
    if (i == 3) {
      char date[16];
      snprintf(date, sizeof date, "20%d-%d-%d", ymd[0], ymd[1], ymd[2]);
      date[9] = '\0';  // at most nine characters, as the field has always held
      printf("|版本日期|                 %10s                        |\n", date);
      puts(kRule);
    } else {
      rc = -EIO;
    }
  }
  sys::close(fd);
  free(buf);
  return rc;
}

namespace {

// /dev/tavio with a valid hardware record in *hw, into *out; 0 or -EINVAL.
// KEPT: the scan's own messages, and descriptor 0 counted as a failed open
// (and left open), unlike the other items' shared reader.
int open_checked_tavio(sys::Fd* out, HardwareInfo* hw) {
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 1) {
    puts("打开/dev/tavio设备失败");
    return -EINVAL;
  }
  out->reset(fd);
  memset(hw, 0, sizeof *hw);
  if (tavio_read_hardware_info(fd, hw) != 0) {
    puts("执行TAVIO_GET_HARDWRE_INFO失败");
    return -EINVAL;
  }
  if (!hardware_info_valid(*hw)) {
    puts("CPLD信息MAGIC校验失败");
    return -EINVAL;
  }
  return 0;
}

// The bays whose /dev/sd* node answers IDENTIFY, from the listing of /dev.
void find_disks(DIR* dev, const DiskSlot* table, unsigned bays, SlotState* state) {
  for (struct dirent* e = sys::readdir(dev); e != nullptr; e = sys::readdir(dev)) {
    if (strncmp(e->d_name, "sd", 2) != 0) continue;
    for (unsigned i = 0; i < bays; ++i)
      if (strncmp(table[i].device, e->d_name, 4) == 0 &&
          get_slot_info(table[i].device, state[i].model, &state[i].capacity) == 0)
        state[i].present = true;
  }
}

// The table of bays and eSATA ports, one row each.
void print_slots(const DiskSlot* table, unsigned bays, const SlotState* state, unsigned esata, SlotState* ext) {
  puts(kRule);
  puts("| 盘位号 |  状态  |  节点  |           名称         |  大小  |");
  puts(kRule);
  for (unsigned i = 0; i < bays; ++i)
    slot_row(table[i].slot, state[i].present, table[i].device, state[i].model, state[i].capacity);
  for (unsigned i = 0; i < esata; ++i) {
    char name[8], path[16];
    snprintf(name, sizeof name, "esd%c", 'a' + i);
    snprintf(path, sizeof path, "/dev/%s", name);
    if (sys::access(path, F_OK) != 0) {
      slot_row(bays + i + 1, false, name, " ", 0);
      continue;
    }
    get_slot_info(name, ext[i].model, &ext[i].capacity);
    ext[i].present = true;
    slot_row(bays + i + 1, true, name, ext[i].model, ext[i].capacity);
  }
}

// The bays four to a row, then the eSATA ports.
void print_slot_map(const DiskSlot* table, unsigned bays, const SlotState* state, unsigned esata,
                    const SlotState* ext) {
  puts(kMapRule);
  for (unsigned i = 0; i < bays; ++i) {
    printf("| %2d_%3s_%-6s ", static_cast<int>(table[i].slot), table[i].device, state_word(state[i].present));
    if (i % 4 == 3) {
      puts("|");
      puts(kMapRule);
    }
  }
  for (unsigned i = 0; i < esata; ++i) {
    char name[8];
    snprintf(name, sizeof name, "esd%c", 'a' + i);
    printf("| %2d_%4s_%-6s", static_cast<int>(bays + i + 1), name, state_word(ext[i].present));
    printf("|               |               ");
    puts("|               |");
    puts(kMapRule);
  }
}

}  // namespace

// item: disk_scan
int disk_scan(int, char**) {
  puts("硬盘扫描检测功能开始");
  sys::Fd tavio;
  HardwareInfo hw;
  if (int rc = open_checked_tavio(&tavio, &hw); rc != 0) return rc;
  const unsigned bays = (hw.sata_attr >> 9) & 0x1FF;
  const unsigned esata = (hw.sata_attr >> 18) & 0x7;
  const DiskSlot* table;
  if (bays == 4 || bays == 8) {
    table = kSlots8;
  } else if (bays == 16) {
    table = kSlots16;
  } else {
    printf("硬盘个数:%2d, 不支持\n硬盘扫描功能仅支持4、8、16盘位设备\n", static_cast<int>(bays));
    return 0;
  }
  int stor_fd = sys::open(kStoragePath, O_RDWR);
  if (stor_fd < 1) {
    puts("打开/dev/tavstorage设备失败");
    return -EINVAL;
  }
  sys::Fd stor(stor_fd);
  DiskEntry ports[kPorts] = {};
  storage_scan(stor.get(), ports);
  puts("硬盘扫描完毕");
  sys::sleep(kSettleSeconds);

  DIR* dev = sys::opendir("/dev");
  if (dev == nullptr) {
    puts("打开/dev目录失败");
    return -EINVAL;
  }
  SlotState state[16] = {};
  find_disks(dev, table, bays, state);
  SlotState ext[8] = {};
  print_slots(table, bays, state, esata, ext);
  int rc = version_date_report();
  putchar('\n');
  print_slot_map(table, bays, state, esata, ext);
  putchar('\n');
  sys::closedir(dev);
  return rc;
}

}  // namespace tav
