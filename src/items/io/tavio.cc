#include "items/io/tavio.h"

#include <fcntl.h>

#include <cstdio>

#include "sys/sys.h"

namespace tav {

int tavio_read_hardware_info(int fd, HardwareInfo* info) { return sys::ioctl(fd, TAVIO_GET_HARDWRE_INFO, info); }

bool hardware_info_valid(const HardwareInfo& info) { return info.magic == kHardwareInfoMagic; }

RecordRead open_hardware_info(int* fd, HardwareInfo* info, bool negative_fails) {
  *fd = sys::open(kTavioPath, O_RDWR);
  if (*fd < 0) {
    puts("驱动接口打开失败!");
    return RecordRead::kUnopened;
  }
  int ret = tavio_read_hardware_info(*fd, info);
  if (negative_fails ? ret < 0 : ret != 0) {
    puts("获取CPLD失败!");
    return RecordRead::kFailed;
  }
  if (!hardware_info_valid(*info)) {
    puts("CPLD错误!");
    return RecordRead::kFailed;
  }
  return RecordRead::kValid;
}

unsigned board_variant(const HardwareInfo& info) { return (info.cpu_attr >> 16) & 0x1FC; }

uint8_t alarm_count(uint32_t attr) { return static_cast<uint8_t>((attr >> 4) & 0x1F); }

}  // namespace tav
