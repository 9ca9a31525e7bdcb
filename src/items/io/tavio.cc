#include "items/io/tavio.h"

#include "sys/sys.h"

namespace tav {

int tavio_read_hardware_info(int fd, HardwareInfo* info) {
  return sys::ioctl(fd, TAVIO_GET_HARDWRE_INFO, info);
}

bool hardware_info_valid(const HardwareInfo& info) { return info.magic == kHardwareInfoMagic; }

unsigned board_variant(const HardwareInfo& info) { return (info.cpu_attr >> 16) & 0x1FC; }

uint8_t alarm_count(uint32_t attr) { return static_cast<uint8_t>((attr >> 4) & 0x1F); }

}  // namespace tav
