// RTC rate test and the watchdog reset test.
#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/wrapping.h"
#include "drivers/rtc_watchdog.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr int kRateReadings = 6;
constexpr int kWrapSeconds = 60;

void print_time(const RtcTime& t) {
  printf("%04d-%02d-%02d %02d:%02d:%02d\n", wrapping_add(t.tm_year, 1900), wrapping_add(t.tm_mon, 1), t.tm_mday,
         t.tm_hour, t.tm_min, t.tm_sec);
}

// Six readings a second apart; false after a failed read (reported).
bool rate_check(int fd, RtcTime* t, bool* passed) {
  int first = t->tm_sec;
  print_time(*t);
  sys::sleep(1);
  for (int i = 1; i < kRateReadings; ++i) {
    if (sys::ioctl(fd, RTC_RD_TIME, t) != 0) {
      puts("rtc rd time faid");
      return false;
    }
    print_time(*t);
    sys::sleep(1);
  }
  // A stopped clock counts as a whole minute, so it fails.
  int elapsed =
      t->tm_sec > first ? wrapping_sub(t->tm_sec, first) : wrapping_sub(wrapping_add(t->tm_sec, kWrapSeconds), first);
  *passed = static_cast<unsigned>(elapsed) - 4u <= 4u;
  return true;
}

void set_and_watch(int fd) {
  RtcTime t = {};
  t.tm_sec = 23;
  t.tm_min = 57;
  t.tm_hour = 8;
  t.tm_mday = 1;
  t.tm_mon = 3;
  t.tm_year = 115;
  puts("设置RTC时间: 2015-04-01 08:57:23");
  int ret = sys::ioctl(fd, RTC_SET_TIME, &t);
  if (ret != 0) printf("ret:%d, errno:%d\n", ret, errno);
  sys::sleep(1);
  puts("测试设置后的走时:");
  for (int i = 0; i < kRateReadings; ++i) {
    if (sys::ioctl(fd, RTC_RD_TIME, &t) != 0) {
      puts("读取RTC失败");
      return;
    }
    print_time(t);
    sys::sleep(1);
  }
}

// Every failed request ends the same way; the board stays unfed and armed.
int watchdog_fail(int fd, const char* message) {
  puts(message);
  sys::close(fd);
  putchar('\n');
  return -EIO;
}

}  // namespace

// item: rtc
int rtc_test(int, char**) {
  puts("\nRTC测试开始");
  int fd = sys::open(kRtcPath, O_RDWR);
  if (fd < 0) {
    puts("open rtc0 failed");
    return -1;
  }
  RtcTime t = {};
  bool passed = false;
  if (sys::ioctl(fd, RTC_RD_TIME, &t) != 0)
    puts("rtc rd time faid");
  else if (rate_check(fd, &t, &passed) && passed) {
    puts("RTC走时测试成功。\n");
    set_and_watch(fd);
  }
  if (sys::close(fd) != 0) {
    puts("关闭文件失败!");
    return -1;
  }
  puts("RTC测试完毕");
  return 0;
}

// item: watchdog
int watchdog_test(int, char**) {
  int fd = sys::open(kWatchdogPath, O_RDWR);
  if (fd < 0) {
    puts("驱动接口打开失败");
    return -1;
  }
  int timeout = 9;
  if (sys::ioctl(fd, WDIOC_SETTIMEOUT, &timeout) != 0) return watchdog_fail(fd, "打开开门狗失败");
  for (int fed = 1; fed <= 10; ++fed) {
    sys::sleep(6);
    if (sys::ioctl(fd, WDIOC_KEEPALIVE, nullptr) != 0) return watchdog_fail(fd, "喂狗失败");
    printf("已喂狗%d次\n", fed);
  }
  putchar('\n');
  int option = WDIOS_DISABLECARD;
  if (sys::ioctl(fd, WDIOC_SETOPTIONS, &option) != 0) return watchdog_fail(fd, "关闭开门狗失败");
  printf("开门狗已关闭，检查倒计时%d秒后能否保持正常:\n", 10);
  for (int left = 10; left >= 1; --left) {
    printf("倒计时%d秒\n", left);
    sys::sleep(1);
  }
  putchar('\n');
  option = WDIOS_ENABLECARD;
  if (sys::ioctl(fd, WDIOC_SETOPTIONS, &option) != 0) return watchdog_fail(fd, "开门狗已重新打开失败!");
  puts("正常，开门狗已重新打开!");
  // KEPT: announced as 30 while 29 is set; the station expects both.
  timeout = 29;
  if (sys::ioctl(fd, WDIOC_SETTIMEOUT, &timeout) != 0) return watchdog_fail(fd, "设置超时时间失败!");
  puts("设置超时时间为30s");
  // No magic close: the watchdog stays armed and nobody feeds it now.
  if (sys::close(fd) != 0) {
    puts("关闭文件失败!");
    sys::close(fd);
    putchar('\n');
    return -EIO;
  }
  printf("若%d秒后开门狗复位，则测试成功。\n", 30);
  for (int seconds = 1;; ++seconds) {
    sys::sleep(1);
    printf("已过去%d秒\n", seconds);
    // The reset takes whatever is still buffered with it.
    fflush(stdout);
  }
}

}  // namespace tav
