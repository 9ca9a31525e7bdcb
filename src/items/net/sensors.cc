// NAS kill, temperature and fan: one request each to a small driver.
#include "drivers/sensors.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/console.h"
#include "items/items.h"
#include "sys/owners.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kNasDefaultPath = "/mnt/test";

// KEPT: a descriptor of 0 is reported as a failure but still used.
sys::Fd open_nas() {
  sys::Fd fd(sys::open(kNasPath, O_RDWR));
  if (fd.get() <= 0) puts("device open fail");
  return fd;
}

// The sensor's node, or a closed owner after saying so.
sys::Fd open_sensor(const char* path, const char* complaint) {
  sys::Fd fd(sys::open(path, O_RDWR));
  if (!fd.ok()) puts(complaint);
  return fd;
}

// The typed path overwrites the default from its first byte, so an empty
// line sends an empty path. False at end of input before the line ended.
bool read_nas_path(char (&path)[kNasPathSize]) {
  ConsoleReader console;
  for (size_t i = 0; i < kNasPathSize; ++i) {
    int c = console.get();
    if (c < 0) return false;
    if (c == '\n') {
      path[i] = '\0';
      return true;
    }
    path[i] = static_cast<char>(c);
  }
  path[kNasPathSize - 1] = '\0';
  return true;
}

}  // namespace

// item: nas_kill
int nas_kill_test(int, char**) {
  puts("测试NAS异常处理内核删除操作功能测试开始");
  char path[kNasPathSize] = {};
  snprintf(path, sizeof path, "%s", kNasDefaultPath);
  printf("Please input nfs path[default:%s]:", kNasDefaultPath);
  fflush(stdout);
  // End of input is no answer: nothing is sent.
  if (!read_nas_path(path)) {
    putchar('\n');
    return -1;
  }
  printf("Kill the nfs path[%s]\n", path);
  sys::Fd fd = open_nas();
  if (!fd.ok()) {
    fflush(stdout);
    perror("open /dev/tavnet failed.\n");
    return -1;
  }
  if (sys::ioctl(fd.get(), TAVIO_NAS_KILL_DATA, path) != 0) {
    fflush(stdout);
    perror("tavio_nas_kill_data failed.\n");
    return -1;
  }
  puts("Kill the nfs path done.");
  fd.close();
  puts("测试NAS异常处理内核删除操作功能测试完毕");
  return 0;
}

// item: temperature
int temperature_tool(int argc, char** argv) {
  sys::Fd fd = open_sensor(kSensorPath, "Open tsensor error!");
  if (!fd.ok()) return -1;
  int ret = 0;
  if (argc <= 1) {
    int32_t temperature = 0;
    ret = sys::ioctl(fd.get(), TSENSOR_READ_TEMP, &temperature);
    if (ret != 0)
      printf("Ioctl error, errno = %d\n", errno);
    else
      printf("Temperature = %d\n", temperature);
  } else {
    puts("Input format error");
    puts("./temperat");
  }
  return ret;
}

// item: fan
int fan_tool(int argc, char** argv) {
  sys::Fd fd = open_sensor(kFanPath, "Open tavfan error!");
  if (!fd.ok()) return -1;
  int ret = 0;
  if (argc <= 1) {
    int32_t duty = 0;
    ret = sys::ioctl(fd.get(), FAN_GET_DUTY, &duty);
    if (ret != 0)
      printf("Ioctl error, ret = %d\n", ret);
    else
      printf("Get pwm_duty = %d\n", duty);
  } else if (argc == 2) {
    // Taken as an int and checked unsigned, so negative duties fail the range too.
    int32_t duty = static_cast<int32_t>(strtol(argv[1], nullptr, 10));
    if (static_cast<uint32_t>(duty) > kMaxFanDuty) {
      puts("Please input pwm duty from (0~100)");
    } else if ((ret = sys::ioctl(fd.get(), FAN_SET_DUTY, &duty)) != 0) {
      printf("Ioctl error, ret = %d\n", ret);
    } else {
      printf("Set pwm_duty = %d succeed\n", duty);
    }
  } else {
    puts("Input format error !");
    puts("Get pwm duty: ./pwm_test");
    puts("Set pwm duty: ./pwm_test [count(0-100)]");
  }
  return ret;
}

}  // namespace tav
