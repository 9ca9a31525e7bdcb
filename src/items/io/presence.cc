// Presence items: HDMI and VGA monitors and the reset key through
// /dev/tavio, the joystick keyboard among the hidraw nodes, and the IR
// receiver's key events.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "drivers/input.h"
#include "items/io/tavio.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

struct DisplayTexts {
  const char* start;
  const char* ask;
  unsigned long request;
  const char* name;
  const char* end;
};

constexpr DisplayTexts kHdmi = {"HDMI接入检测测试开始", "请确认HDMI显示器已接入", TAVIO_HDMI_DETECT, "HDMI",
                                "HDMI接入检测测试完毕"};
constexpr DisplayTexts kVga = {"VGA接入检测测试开始", "请确认VGA显示器已接入,并确认当前主板有CVBS", TAVIO_VGA_DETECT,
                               "VGA", "VGA接入检测测试完毕"};

int display_detect(const DisplayTexts& t) {
  puts(t.start);
  puts(t.ask);
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 0) {
    printf("打开文件%s失败, errno:%d!\n", kTavioPath, errno);
    return -1;
  }
  int32_t connected = 0;
  // A failed request leaves the preset, so the verdict still comes.
  if (sys::ioctl(fd, t.request, &connected) != 0)
    printf("ioctl cmd %#x failed, errno:%d!\n", static_cast<unsigned>(t.request), errno);
  printf("%s %s\n", t.name, connected == 1 ? "已接入" : "未接入");
  if (sys::close(fd) != 0) printf("close file %s failed, errno:%d!\n", kTavioPath, errno);
  puts(t.end);
  return 0;
}

void report_keyboard(const char* node) { printf("测试完毕, 存在kq3307t设备[%s].\n\n", node); }

}  // namespace

// item: hdmi
int hdmi_detect(int, char**) { return display_detect(kHdmi); }

// item: vga
int vga_detect(int, char**) { return display_detect(kVga); }

// item: reset
int reset_detect(int, char**) {
  puts("reset detect ready, please press the reset key.");
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 0) {
    printf("open file %s failed [%d]!\n", kTavioPath, fd);
    return fd;
  }
  // Asked once: the operator holds the key while the item starts.
  int32_t pressed = 0;
  int ret = sys::ioctl(fd, TAVIO_RESET_DETECT, &pressed);
  if (ret < 0)
    printf("ioctl cmd %#x failed[%d]!\n", static_cast<unsigned>(TAVIO_RESET_DETECT), errno);
  else
    printf("reset key %s\n", pressed == 1 ? "pressed" : "not pressed");
  sys::close(fd);
  return ret;
}

// item: joystick
// KEPT: a node that exists but will not answer is taken for the keyboard;
// the station has always read it that way.
int joystick_probe(int, char**) {
  puts("kq3307t摇杆usb键盘设备探测功能测试开始");
  char node[20];
  for (char c = '0'; c <= '8'; ++c) {
    snprintf(node, sizeof node, "/dev/hidraw%c", c);
    if (sys::access(node, F_OK) != 0) continue;
    int fd = sys::open(node, O_RDWR);
    if (fd < 0) {
      printf("open %s error!\n", node);
      report_keyboard(node);
      return 0;
    }
    HidrawDevinfo info = {};
    if (sys::ioctl(fd, HIDIOCGRAWINFO, &info) < 0) {
      puts("ioctl cmd HIDIOCGRAWINFO error!");
      sys::close(fd);
      report_keyboard(node);
      return 0;
    }
    if (info.bustype == kJoystickBus && static_cast<uint16_t>(info.vendor) == kJoystickVendor &&
        static_cast<uint16_t>(info.product) == kJoystickProduct) {
      report_keyboard(node);
      return 0;  // KEPT: the node stays open
    }
    sys::close(fd);
  }
  printf("测试完毕, 不存在kq3307t设备.\n");
  return 0;
}

// item: ir
int ir_test(int, char**) {
  puts("请确认红外小板已经接入测试头!");
  int fd = sys::open(kTavirPath, O_RDWR);
  if (fd < 0) {
    int err = errno;
    printf("Open device %s err! errno: %d, %s\n", kTavirPath, err, strerror(err));
    return -1;
  }
  printf("Open device %s success !\n", kTavirPath);
  for (;;) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    struct timeval wait = {1, 0};
    int n = sys::select(fd + 1, &readable, nullptr, nullptr, &wait);
    if (n < 0) {
      int err = errno;
      printf("Select recv err! errno is %d\n", err);
      sys::close(fd);
      printf("Device %s closed !\n", kTavirPath);
      return err;
    }
    if (n == 0) {
      puts("Select recv timeout!");
      continue;
    }
    IrEvent ev;
    // A short read sets no errno of its own; report 0 rather than a stale one.
    errno = 0;
    if (sys::read(fd, &ev, sizeof ev) < static_cast<ssize_t>(sizeof ev)) {
      int err = errno;
      printf("Read ir err! errno is %d\n", err);
      sys::close(fd);
      printf("Device %s closed !\n", kTavirPath);
      return err;
    }
    puts("ir received");
    printf("irkey_datah: 0x%lx ijrkey_datal: 0x%lx irkey_state_code: 0x%lx\n", static_cast<unsigned long>(ev.datah),
           static_cast<unsigned long>(ev.datal), static_cast<unsigned long>(ev.state_code));
  }
}

}  // namespace tav
