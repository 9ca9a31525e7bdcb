// ssp_read, ssp_write: registers of a device on an SPI bus through spidev.
// Reachable only from code: they have no row in the board-tool table.
#include <fcntl.h>

#include <cstdint>
#include <cstdio>

#include "drivers/spi.h"
#include "sys/owners.h"
#include "sys/sys.h"
#include "tools/number.h"
#include "tools/tools.h"

namespace tav {

namespace {
const char* const kReadUsage[] = {
    "Usage: ssp_read <spi_num> <csn> <dev_addr> <reg_addr> [num_reg] [dev_width] [reg_width] [data_width] "
    "[reg_order] [data_order] .",
    "\tnum_reg and dev_width and reg_width and data_width and reg_order and data_order can be omitted, the default "
    "is 0x1.",
    "eg:",
    "\tssp_read 0x0 0x0 0x2 0x0 0x10 0x1 0x1 0x1 0x1 0x1.",
    "\tssp_read 0x0 0x0 0x2 0x0. default num_reg and dev_width and reg_width and data_width and reg_order and "
    "data_order is 0x1.",
};
const char* const kWriteUsage[] = {
    "Usage: ssp_write <spi_num> <csn> <dev_addr> <reg_addr> <data> [dev_width] [reg_width] [data_width] "
    "[reg_order] [data_order].",
    "\tdev_width and reg_width and data_width and reg_order and data_order can be omitted, the default is 0x1.",
    "eg:",
    "\tssp_write 0x0 0x0 0x2 0x0 0x65 0x1 0x1 0x1 0x1 0x1.",
    "\tssp_write 0x0 0x0 0x2 0x0 0x65. default dev_width and reg_width and data_width and reg_order and "
    "data_orderis 0x1.",
};
constexpr uint32_t kSpeedHz = 2000000;

void ssp_read_usage() {
  for (const char* line : kReadUsage) puts(line);
}
void ssp_write_usage() {
  for (const char* line : kWriteUsage) puts(line);
}

struct SspArgs {
  uint32_t bus = 0, csn = 0, dev = 0, reg = 0, count_or_data = 1;
  uint32_t dev_width = 1, reg_width = 1, data_width = 1, reg_order = 1, data_order = 1;
};

// Parses every word given; false after the message and a usage.
bool parse_args(int argc, char** argv, SspArgs* a, void (*usage)()) {
  uint32_t* const fields[] = {&a->bus,       &a->csn,       &a->dev,        &a->reg,       &a->count_or_data,
                              &a->dev_width, &a->reg_width, &a->data_width, &a->reg_order, &a->data_order};
  for (int i = 1; i < argc; ++i) {
    uint64_t v = 0;
    if (str_to_number(argv[i], &v) != 0) {
      usage();
      return false;
    }
    if (i > 10) continue;
    *fields[i - 1] = static_cast<uint32_t>(v);
    const char* complaint = nullptr;
    void (*complaint_usage)() = usage;
    if (i >= 6 && i <= 8 && v != 1 && v != 2) {
      complaint = i == 6   ? "dev_width must be 1 or 2"
                  : i == 7 ? "reg_width must be 1 or 2"
                           : "data_width must be 1 or 2";
    } else if (i >= 9 && v > 1) {
      complaint = i == 9 ? "reg_order must be 1 or 0" : "data_order must be 1 or 0";
      // KEPT: the read tool shows the write usage here.
      complaint_usage = ssp_write_usage;
    }
    if (complaint != nullptr) {
      puts(complaint);
      complaint_usage();
      return false;
    }
  }
  return true;
}

// Order 0 is high byte first; order 1 the processor's own, low byte first.
uint8_t* put16(uint8_t* p, uint32_t v, uint32_t order) {
  p[order == 0 ? 0 : 1] = static_cast<uint8_t>(v >> 8);
  p[order == 0 ? 1 : 0] = static_cast<uint8_t>(v);
  return p + 2;
}

uint8_t* put_field(uint8_t* p, uint32_t v, uint32_t width, uint32_t order) {
  if (width == 2) return put16(p, v, order);
  *p = static_cast<uint8_t>(v);
  return p + 1;
}

// The frame for one register; its length.
uint32_t build_frame(const SspArgs& a, uint8_t* frame, uint32_t reg, bool read, uint32_t data) {
  for (int i = 0; i < 16; ++i) frame[i] = 0;
  uint32_t dev = a.dev;
  if (read) dev |= a.dev_width == 2 ? 0x8000 : 0x80;
  uint8_t* p = put_field(frame, dev, a.dev_width, 1);
  p = put_field(p, reg, a.reg_width, a.reg_order);
  put_field(p, read ? 0 : data, a.data_width, a.data_order);
  return a.dev_width + a.reg_width + a.data_width;
}

int transfer(int fd, uint8_t* frame, uint32_t len) {
  SpiIocTransfer t{};
  t.tx_buf = t.rx_buf = reinterpret_cast<uintptr_t>(frame);
  t.len = len;
  t.speed_hz = kSpeedHz;
  t.bits_per_word = 8;
  t.cs_change = 1;
  return sys::ioctl(fd, SPI_IOC_MESSAGE_1, &t);
}

// The device opened and set to the tools' mode, or a closed owner after the
// message.
sys::Fd open_device(const SspArgs& a) {
  char path[48];
  snprintf(path, sizeof path, "/dev/spidev%u.%u", a.bus, a.csn);
  sys::Fd fd(sys::open(path, O_RDONLY));
  if (!fd.ok()) {
    printf("Open %s error!\n", path);
    return fd;
  }
  uint8_t mode = kSspMode;
  if (sys::ioctl(fd.get(), SPI_IOC_WR_MODE, &mode) < 0) {
    puts("set spi mode fail!");
    return sys::Fd();
  }
  return fd;
}
}  // namespace

int ssp_read(int argc, char** argv) {
  SspArgs a;
  if (argc < 5) {
    ssp_read_usage();
    return -1;
  }
  if (!parse_args(argc, argv, &a, ssp_read_usage)) return -1;
  printf(
      "spi_num:%u, csn:%u\ndev_addr:0x%04x, reg_addr:0x%04x, num_reg:%d, dev_width:%d, reg_width:%d, "
      "data_width:%d, reg_order: %d, data_order: %d\n",
      a.bus, a.csn, a.dev, a.reg, static_cast<int>(a.count_or_data), static_cast<int>(a.dev_width),
      static_cast<int>(a.reg_width), static_cast<int>(a.data_width), static_cast<int>(a.reg_order),
      static_cast<int>(a.data_order));
  sys::Fd fd = open_device(a);
  if (!fd.ok()) return -1;
  printf("====reg_addr:0x%04x====", a.reg);
  const uint32_t count = static_cast<uint32_t>(a.reg + a.count_or_data) > a.reg ? a.count_or_data : 0;
  for (uint32_t i = 0; i < count; ++i) {
    uint8_t frame[16];
    uint32_t len = build_frame(a, frame, a.reg + i, true, 0);
    if (transfer(fd.get(), frame, len) != static_cast<int>(len)) {
      puts("SPI_IOC_MESSAGE error ");
      return -1;
    }
    const uint8_t* d = frame + a.dev_width + a.reg_width;
    unsigned value = a.data_width == 1 ? d[0] : a.data_order == 0 ? (d[0] << 8 | d[1]) : (d[1] << 8 | d[0]);
    // Rows are headed by the index within the run, not the register.
    if (i % 16 == 0) printf("\n0x%04x:  ", i);
    printf("0x%04x ", value);
  }
  puts("\n[END]");
  return 0;
}

int ssp_write(int argc, char** argv) {
  SspArgs a;
  if (argc < 6) {
    ssp_write_usage();
    return -1;
  }
  if (!parse_args(argc, argv, &a, ssp_write_usage)) return -1;
  printf(
      "spi_num:%u, csn:%u\ndev_addr:0x%04x, reg_addr:0x%04x, data:0x%04x, dev_width:%d, reg_width:%d, "
      "data_width:%d, reg_order: %d, data_order: %d\n",
      a.bus, a.csn, a.dev, a.reg, a.count_or_data, static_cast<int>(a.dev_width), static_cast<int>(a.reg_width),
      static_cast<int>(a.data_width), static_cast<int>(a.reg_order), static_cast<int>(a.data_order));
  sys::Fd fd = open_device(a);
  if (!fd.ok()) return -1;
  uint8_t frame[16];
  uint32_t len = build_frame(a, frame, a.reg, false, a.count_or_data);
  if (transfer(fd.get(), frame, len) != static_cast<int>(len)) {
    puts("SPI_IOC_MESSAGE error ");
    return -1;
  }
  puts("\n[END]");
  return 0;
}

}  // namespace tav
