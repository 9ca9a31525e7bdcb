// The SoC vendor's I2C node: one register per request, no bus field.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

constexpr const char* kExtI2cNode = "/dev/hi_i2c";
constexpr unsigned long EXT_I2C_WRITE = 1;
constexpr unsigned long EXT_I2C_READ = 3;

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
