// The gpio tool (read or drive one line) and the PSE simulation that mirrors
// the port-request lines onto the port-power lines.
#include <fcntl.h>
#include <getopt.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "common/process_state.h"
#include "items/io/tavio.h"
#include "items/item_options.h"
#include "items/items.h"
#include "sys/owners.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr char kGpioUsage[] = "\nUsage: gpio [option] row bit [value]\n\n    -h         help\n\n";

constexpr int kPoePorts = 4;

// This board's line assignment; the driver writes the input levels back in
// place, and the table lives as long as the process.
struct PoePortTable {
  int count;
  uint16_t status;  // bit i: port i powered
  uint16_t request[kPoePorts];
  uint16_t power[kPoePorts];
};
constexpr PoePortTable kPoePortStart = {
    kPoePorts,
    0,
    {gpio_word(1, 4, 1), gpio_word(1, 5, 1), gpio_word(1, 6, 1), gpio_word(1, 7, 1)},
    {gpio_word(21, 0, 1), gpio_word(1, 0, 1), gpio_word(1, 1, 1), gpio_word(1, 2, 1)}};
PoePortTable g_poe_port = kPoePortStart;
[[maybe_unused]] const bool g_poe_port_resets = register_state_reset([] { g_poe_port = kPoePortStart; });
static_assert(gpio_word(1, 4, 1) == 0xC001 && gpio_word(21, 0, 1) == 0x8015);

}  // namespace

// item: gpio
int gpio_tool(int argc, char** argv) {
  bool option = scan_help_option(argc, argv);
  if (option || argc - optind < 2) {
    fputs(kGpioUsage, stderr);
    return -1;
  }
  long row = strtol(argv[optind], nullptr, 10);
  long bit = strtol(argv[optind + 1], nullptr, 10);
  bool set = argc - optind > 2;
  long value = set ? strtol(argv[optind + 2], nullptr, 10) : 0;
  sys::Fd fd(sys::open(kTavioPath, O_RDWR));
  if (!fd.ok()) {
    printf("打开文件%s失败, errno:%d!\n", kTavioPath, errno);
    return 0;
  }
  uint16_t word = gpio_word(static_cast<unsigned>(row), static_cast<unsigned>(bit), value != 0);
  if (set) {
    if (sys::ioctl(fd.get(), gpio_level(word) ? TAVIO_GPIO_SET_HIGH : TAVIO_GPIO_SET_LOW, &word) < 0) {
      printf("ioctl TAVIO_GPIO_SET failed, errno:%d!\n", errno);
      return 0;
    }
  } else if (sys::ioctl(fd.get(), TAVIO_GPIO_IN, &word) < 0) {
    printf("ioctl TAVIO_GPIO_IN failed, errno:%d!\n", errno);
    return 0;
  }
  if (fd.close() < 0) printf("close file %s failed, errno:%d!\n", kTavioPath, errno);
  unsigned level = gpio_level(word);
  if (set)
    printf("SET GPIO%d_%d:%d[%s]\n", static_cast<int>(gpio_group(word)), static_cast<int>(gpio_bit(word)),
           static_cast<int>(level), level ? "HIGH" : "LOW");
  else
    printf("GET GPIO%d_%d:%d[%s]\n", static_cast<int>(gpio_group(word)), static_cast<int>(gpio_bit(word)),
           static_cast<int>(level), level ? "HIGH" : "LOW");
  return 0;
}

// item: pse
int pse_test(int, char**) {
  puts("开始测试模拟PSE供电功能");
  // Not in an owner: the loop ends only with the process, which must not
  // make a request of its own on the way out.
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 0) {
    printf("open file %s failed, errno: %d\n", kTavioPath, errno);
    return fd;
  }
  for (;;) {
    // The request lines are active low.
    for (int i = 0; i < g_poe_port.count; ++i) {
      int rc = sys::ioctl(fd, TAVIO_GPIO_IN, &g_poe_port.request[i]);
      if (rc < 0) {
        printf("ioctl TAVIO_GPIO_IN failed, errno: %d\n", errno);
        sys::close(fd);
        return rc;
      }
      if (gpio_level(g_poe_port.request[i]))
        g_poe_port.status &= static_cast<uint16_t>(~(1u << i));
      else
        g_poe_port.status |= static_cast<uint16_t>(1u << i);
    }
    printf("g_poe_port.status: %d\n", g_poe_port.status);
    for (int i = 0; i < g_poe_port.count; ++i) {
      uint16_t& w = g_poe_port.power[i];
      w = gpio_word(gpio_group(w), gpio_bit(w), g_poe_port.status >> i & 1);
      int rc = sys::ioctl(fd, TAVIO_GPIO_OUT, &w);
      if (rc != 0) {
        printf("ioctl TAVIO_GPIO_OUT failed, errno: %d\n", errno);
        sys::close(fd);
        return rc;
      }
    }
    sys::sleep(1);
  }
}

}  // namespace tav
