// What the items make of /dev/tavio's words: GPIO line words, the
// hardware-information validity test, the board-variant code and the alarm
// counts.
#pragma once

#include <cstdint>

#include "drivers/tavio.h"

namespace tav {

// GPIO line word: group in bits 0-11, line in 12-14, level in 15.
constexpr uint16_t gpio_word(unsigned group, unsigned bit, unsigned level) {
  return static_cast<uint16_t>((group & 0xFFF) | ((bit & 0x7) << 12) | ((level & 1) << 15));
}
constexpr unsigned gpio_group(uint16_t w) { return w & 0xFFF; }
constexpr unsigned gpio_bit(uint16_t w) { return (w >> 12) & 0x7; }
constexpr unsigned gpio_level(uint16_t w) { return (w >> 15) & 1; }

// Reads the hardware-information record on an open /dev/tavio into info.
// Returns the ioctl's result (callers judge it their own way).
int tavio_read_hardware_info(int fd, HardwareInfo* info);
// The magic test; callers judge the request's result first, each its own way.
bool hardware_info_valid(const HardwareInfo& info);
// Opens /dev/tavio into *fd and reads the record into *info, with the items'
// shared messages: "驱动接口打开失败!" when it cannot be opened (nothing left
// open), "获取CPLD失败!" when the request fails and "CPLD错误!" for a bad
// magic (*fd left open for the caller's own ending). A request fails when its
// result is non-zero, or with negative_fails only when it is negative.
enum class RecordRead { kUnopened, kFailed, kValid };
RecordRead open_hardware_info(int* fd, HardwareInfo* info, bool negative_fails = false);
// Halfword at 0x1A masked with 0x1FC.
unsigned board_variant(const HardwareInfo& info);
// Bits 4-8 of an alarm attribute word.
uint8_t alarm_count(uint32_t attr);

}  // namespace tav
