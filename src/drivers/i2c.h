// I2C: Linux i2c-dev's requests and records as the kernel publishes them,
// and the SoC vendor's node, one register per request with no bus field.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

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

// The vendor node.
constexpr const char* kExtI2cNode = "/dev/hi_i2c";

struct ExtI2cRecord {
  uint8_t dev_addr;  // 8-bit form; the rest of its 32-bit slot is unused
  uint8_t unused[3];
  uint32_t reg_addr;
  uint32_t reg_bytes;
  uint32_t data;  // low byte used
  uint32_t data_bytes;
};
static_assert(sizeof(ExtI2cRecord) == 20 && offsetof(ExtI2cRecord, reg_addr) == 4 &&
              offsetof(ExtI2cRecord, reg_bytes) == 8 && offsetof(ExtI2cRecord, data) == 12 &&
              offsetof(ExtI2cRecord, data_bytes) == 16);

}  // namespace tav
