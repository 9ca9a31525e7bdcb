// i2c_read, i2c_write: registers of a device on an i2c-dev bus.
// i2c_recv, i2c_send: raw transfers on an i2c-dev bus.
#include "drivers/i2c.h"

#include <fcntl.h>

#include <cstdint>
#include <cstdio>

#include "sys/owners.h"
#include "sys/sys.h"
#include "tools/number.h"
#include "tools/tools.h"

namespace tav {

namespace {
const char* const kReadUsage[] = {
    "usage: i2c_read <i2c_num> <dev_addr> <reg_addr> <reg_addr_end><reg_width> <data_width> <reg_step>. sample: ",
    "\t\t0x1 0x56 0x0 0x10 2 2. ",
    "\t\t0x1 0x56 0x0 0x10 2 2 2. ",
    "\t\t0x1 0x56 0x0 0x10. default reg_width, data_width, reg_step is 1. ",
};
const char* const kWriteUsage[] = {
    "usage: i2c_write <i2c_num> <dev_addr> <reg_addr> <value> <reg_width> <data_width>. sample:",
    "\t\t 0x1 0x56 0x0 0x28 2 2. ",
    "\t\t 0x1 0x56 0x0 0x28. default reg_width and data_width is 1. ",
};
constexpr const char* kDashes = "------------------------------------------------------------------------------------";
constexpr const char* kRecvUsage =
    "usage: %s <i2c_num> <device_addr> <write_num> <write_value1> <write_value2>...<read_num>\n";
constexpr const char* kRecvSample = "\t\t%s 0x1 0x56 8 0x11 0x12 0x13 0x14 0x15 0x16 0x17 0x18 3\n";
constexpr const char* kSendUsage = "usage: %s <i2c_num> <device_addr> <value1> <value2>...<value8>\n";
constexpr const char* kSendSample = "\t\t%s 0x1 0x56 0x10 0x11. \n";
constexpr const char* kStepError = "((reg_addr or reg_addr_end) %% reg_step) != 0, error!\n";
constexpr uint32_t kMaxRawBus = 14;
constexpr uint32_t kMaxRaw = 8;

template <size_t N>
void put_lines(const char* const (&lines)[N]) {
  for (const char* line : lines) puts(line);
}

// The remainder by a zero step is the dividend, so only zero is a multiple.
bool multiple_of(uint32_t value, uint32_t step) { return (step == 0 ? value : value % step) == 0; }

bool parse32(const char* text, uint32_t* out) {
  uint64_t v = 0;
  if (str_to_number(text, &v) != 0) return false;
  *out = static_cast<uint32_t>(v);
  return true;
}

void* ioctl_value(uint32_t v) { return reinterpret_cast<void*>(static_cast<uintptr_t>(v)); }

// Register address or value into the frame, high byte first when two wide.
uint8_t* put_be(uint8_t* p, uint32_t value, uint32_t width) {
  if (width == 2) *p++ = static_cast<uint8_t>(value >> 8);
  *p++ = static_cast<uint8_t>(value);
  return p;
}

struct RegArgs {
  uint32_t bus = 0, dev = 0, reg = 0, end_or_value = 0;
  uint32_t reg_width = 1, data_width = 1, step = 1;
};

// Stores word i (from the third on) or says why it cannot be taken.
using TakeWord = bool (*)(int i, uint32_t v, RegArgs* a);

// Parses every word in turn.
bool parse_reg_args(int argc, char** argv, TakeWord take, RegArgs* a) {
  for (int i = 1; i < argc; ++i) {
    uint32_t v = 0;
    if (!parse32(argv[i], &v)) {
      // KEPT: i2c_write shows the read usage here too.
      put_lines(kReadUsage);
      return false;
    }
    if (i == 1)
      a->bus = v;
    else if (i == 2)
      a->dev = v >> 1;
    else if (!take(i, v, a))
      return false;
  }
  return true;
}

bool take_read_word(int i, uint32_t v, RegArgs* a) {
  switch (i) {
    case 3:
      a->reg = a->end_or_value = v;
      break;
    case 4:
      a->end_or_value = v;
      if (v < a->reg) {
        puts("reg_addr_end < reg_addr error!");
        return false;
      }
      break;
    case 5:
    case 6:
      if (v != 1 && v != 2) {
        puts(i == 5 ? "reg_width must be 1 or 2" : "data_width must be 1 or 2");
        return false;
      }
      if (i == 5)
        a->reg_width = v;
      else
        a->data_width = a->step = v;
      break;
    case 7:
      a->step = v;
      break;
    default:
      break;
  }
  if ((i == 6 || i == 7) && !(multiple_of(a->reg, a->step) && multiple_of(a->end_or_value, a->step))) {
    printf(kStepError);
    return false;
  }
  return true;
}

bool take_write_word(int i, uint32_t v, RegArgs* a) {
  if (i == 3) a->reg = v;
  if (i == 4) a->end_or_value = v;
  if (i == 5 || i == 6) {
    if (v != 1 && v != 2) {
      puts(i == 5 ? "reg_width must be 1 or 2" : "data_width must be 1 or 2");
      put_lines(kReadUsage);
      return false;
    }
    (i == 5 ? a->reg_width : a->data_width) = v;
  }
  return true;
}

// The register tools' bus, or a closed owner after saying so.
sys::Fd open_reg_bus(uint32_t bus) {
  char path[32];
  snprintf(path, sizeof path, "/dev/i2c-%u", bus);
  sys::Fd fd(sys::open(path, O_RDWR));
  if (!fd.ok()) printf("Open %s error!\n", path);
  return fd;
}

// The raw tools' bus, or a closed owner after saying so.
sys::Fd open_raw_bus(uint32_t bus) {
  char path[32];
  snprintf(path, sizeof path, "/dev/i2c-%d", static_cast<int>(bus));
  sys::Fd fd(sys::open(path, O_RDWR));
  if (!fd.ok()) puts("Open i2c dev error!");
  return fd;
}

}  // namespace

int i2c_read(int argc, char** argv) {
  if (argc < 4) {
    put_lines(kReadUsage);
    return -1;
  }
  RegArgs a;
  if (!parse_reg_args(argc, argv, take_read_word, &a)) return -1;
  printf("i2c_num:0x%x, dev_addr:0x%x; reg_addr:0x%x; reg_addr_end:0x%x; reg_width: %d; data_width: %d. \n\n", a.bus,
         a.dev << 1, a.reg, a.end_or_value, static_cast<int>(a.reg_width), static_cast<int>(a.data_width));
  sys::Fd fd = open_reg_bus(a.bus);
  if (!fd.ok()) return -1;
  if (sys::ioctl(fd.get(), I2C_SLAVE, ioctl_value(a.dev)) < 0) {
    puts("CMD_SET_I2C_SLAVE error!");
    return -1;
  }
  uint8_t buf[2] = {0, 0};
  const auto addr = static_cast<uint16_t>(a.dev);
  I2cMsg msgs[2] = {{addr, 0, static_cast<uint16_t>(a.reg_width), buf},
                    {addr, I2C_M_RD, static_cast<uint16_t>(a.data_width), buf}};
  I2cRdwrData rdwr = {msgs, 2};
  // Walked in 64 bits so a walk to the top of the range or with a zero step
  // still ends.
  for (uint64_t reg = a.reg; reg <= a.end_or_value;) {
    put_be(buf, static_cast<uint32_t>(reg), a.reg_width);
    if (sys::ioctl(fd.get(), I2C_RDWR, &rdwr) != 2) {
      puts("CMD_I2C_READ error!");
      return -1;
    }
    unsigned value = a.data_width == 2 ? (buf[0] << 8 | buf[1]) : buf[0];
    printf("0x%x: 0x%x\n", static_cast<unsigned>(reg), value);
    if (a.step == 0) break;
    reg += a.step;
  }
  return 0;
}

int i2c_write(int argc, char** argv) {
  if (argc < 5) {
    put_lines(kWriteUsage);
    return -1;
  }
  RegArgs a;
  if (!parse_reg_args(argc, argv, take_write_word, &a)) return -1;
  printf("i2c_num:0x%x, dev_addr:0x%x; reg_addr:0x%x; data:0x%x; reg_width: %d; data_width: %d.\n", a.bus, a.dev << 1,
         a.reg, a.end_or_value, static_cast<int>(a.reg_width), static_cast<int>(a.data_width));
  sys::Fd fd = open_reg_bus(a.bus);
  if (!fd.ok()) return -1;
  if (sys::ioctl(fd.get(), I2C_SLAVE, ioctl_value(a.dev)) < 0) {
    puts("set i2c device address error!");
    return -1;
  }
  uint8_t frame[4];
  uint8_t* end = put_be(put_be(frame, a.reg, a.reg_width), a.end_or_value, a.data_width);
  if (sys::write(fd.get(), frame, static_cast<size_t>(end - frame)) < 0) {
    puts("i2c write error!");
    return -1;
  }
  return 0;
}

int i2c_recv(int argc, char** argv) {
  if (argc < 5) {
    printf(kRecvUsage, argv[0]);
    puts(kDashes);
    printf(kRecvSample, argv[0]);
    return -1;
  }
  uint32_t bus = 0;
  // Unparsable numbers and counts too big end quietly with success.
  if (!parse32(argv[1], &bus)) return 0;
  printf("-------------i2c_num: 0x%x\n", bus);
  if (bus > kMaxRawBus) return -1;
  sys::Fd fd = open_raw_bus(bus);
  if (!fd.ok()) return -1;
  uint32_t dev = 0, write_num = 0, read_num = 0;
  uint8_t wbuf[kMaxRaw] = {}, rbuf[kMaxRaw] = {};
  if (!parse32(argv[2], &dev) || !parse32(argv[3], &write_num)) return 0;
  if (write_num > kMaxRaw) {
    printf("write_num:%d, too big\n", static_cast<int>(write_num));
    return 0;
  }
  // The count decides where read_num sits; a shorter line has none.
  if (static_cast<uint32_t>(argc) < 5 + write_num) {
    printf("write_num:%d, but read_num is missing\n", static_cast<int>(write_num));
    return -1;
  }
  for (uint32_t i = 0; i < write_num; ++i) {
    uint32_t v = 0;
    if (!parse32(argv[4 + i], &v)) return 0;
    wbuf[i] = static_cast<uint8_t>(v);
  }
  if (!parse32(argv[4 + write_num], &read_num)) return 0;
  if (read_num > kMaxRaw) {
    printf("read_num:%d, too big\n", static_cast<int>(read_num));
    return 0;
  }
  printf(
      "i2c_num:0x%x, dev_addr:0x%2x; write_num:0x%2x; write_value: "
      "0x%02x-0x%02x-0x%02x-0x%02x-0x%02x-0x%02x-0x%02x-0x%02x\nread_num:0x%2x \n\n",
      bus, dev, write_num, wbuf[0], wbuf[1], wbuf[2], wbuf[3], wbuf[4], wbuf[5], wbuf[6], wbuf[7], read_num);
  if (sys::ioctl(fd.get(), I2C_SLAVE, ioctl_value(dev)) < 0) {
    puts("CMD_SET_DEV error!");
    return -1;
  }
  const auto addr = static_cast<uint16_t>(dev);
  I2cMsg msgs[2] = {{addr, 0, static_cast<uint16_t>(write_num), wbuf},
                    {addr, I2C_M_RD, static_cast<uint16_t>(read_num), rbuf}};
  I2cRdwrData rdwr = {msgs, 2};
  if (sys::ioctl(fd.get(), I2C_RDWR, &rdwr) < 0) {
    puts("I2C RDWR err");
    return -1;
  }
  for (uint32_t i = 0; i < read_num; ++i) printf("read_value[%d] = 0x%02x\n", static_cast<int>(i), rbuf[i]);
  return 0;
}

int i2c_send(int argc, char** argv) {
  if (argc < 4 || argc > 3 + static_cast<int>(kMaxRaw)) {
    printf(kSendUsage, argv[0]);
    puts(kDashes);
    printf(kSendSample, argv[0]);
    return -1;
  }
  uint32_t bus = 0;
  if (!parse32(argv[1], &bus)) return 0;
  if (bus > kMaxRawBus) return -1;
  sys::Fd fd = open_raw_bus(bus);
  if (!fd.ok()) return -1;
  uint32_t dev = 0;
  uint8_t buf[kMaxRaw] = {};
  const int count = argc - 3;
  if (!parse32(argv[2], &dev)) return 0;
  for (int i = 0; i < count; ++i) {
    uint32_t v = 0;
    if (!parse32(argv[3 + i], &v)) return 0;
    buf[i] = static_cast<uint8_t>(v);
  }
  const auto addr = static_cast<uint8_t>(dev);
  printf("dev_addr:0x%02x, value:0x%02x-0x%02x-0x%02x-0x%02x-0x%02x-0x%02x-0x%02x-0x%02x\n", addr, buf[0], buf[1],
         buf[2], buf[3], buf[4], buf[5], buf[6], buf[7]);
  // A refused address shows as the failed transfer that follows.
  sys::ioctl(fd.get(), I2C_SLAVE, ioctl_value(addr));
  I2cMsg msg = {addr, 0, static_cast<uint16_t>(count), buf};
  I2cRdwrData rdwr = {&msg, 1};
  if (sys::ioctl(fd.get(), I2C_RDWR, &rdwr) < 0) {
    puts("I2C_WRITE error!");
    return -1;
  }
  return 0;
}

}  // namespace tav
