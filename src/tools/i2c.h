// Linux i2c-dev: the requests and records as the kernel publishes them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

constexpr unsigned long I2C_SLAVE = 0x0706;  // argument: the 7-bit address itself
constexpr unsigned long I2C_RDWR = 0x0707;   // argument: I2cRdwrData*
constexpr uint16_t I2C_M_RD = 0x0001;

struct I2cMsg {
  uint16_t addr;
  uint16_t flags;
  uint16_t len;
  uint8_t* buf;
};
static_assert(sizeof(I2cMsg) == 16 && offsetof(I2cMsg, flags) == 2 && offsetof(I2cMsg, len) == 4 &&
              offsetof(I2cMsg, buf) == 8);

struct I2cRdwrData {
  I2cMsg* msgs;
  uint32_t nmsgs;
};
static_assert(sizeof(I2cRdwrData) == 16 && offsetof(I2cRdwrData, nmsgs) == 8);

}  // namespace tav
