// Nodes and records of the presence items: hidraw identities and the IR
// receiver's events.
#pragma once

#include <cstdint>

#include "drivers/requests.h"

namespace tav {

// The kernel's hidraw_devinfo.
struct HidrawDevinfo {
  uint32_t bustype;
  int16_t vendor;
  int16_t product;
};
static_assert(sizeof(HidrawDevinfo) == 8);

// The joystick keyboard (kq3307t) on USB.
constexpr uint32_t kJoystickBus = 3;
constexpr uint16_t kJoystickVendor = 0x0483;
constexpr uint16_t kJoystickProduct = 0x5710;

constexpr const char* kTavirPath = "/dev/tavir";

// One key event of the IR driver.
struct IrEvent {
  uint64_t datah;
  uint64_t datal;
  uint64_t state_code;
};
static_assert(sizeof(IrEvent) == 24);

}  // namespace tav
