// Linux spidev: the transfer record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr uint8_t kSspMode = 0x0B;  // CPOL | CPHA | LSB first

struct SpiIocTransfer {
  uint64_t tx_buf;
  uint64_t rx_buf;
  uint32_t len;
  uint32_t speed_hz;
  uint16_t delay_usecs;
  uint8_t bits_per_word;
  uint8_t cs_change;
  uint8_t tx_nbits;
  uint8_t rx_nbits;
  uint8_t word_delay_usecs;
  uint8_t pad;
};
static_assert(sizeof(SpiIocTransfer) == 32 && offsetof(SpiIocTransfer, rx_buf) == 8 &&
              offsetof(SpiIocTransfer, len) == 16 && offsetof(SpiIocTransfer, speed_hz) == 20 &&
              offsetof(SpiIocTransfer, delay_usecs) == 24 && offsetof(SpiIocTransfer, bits_per_word) == 26 &&
              offsetof(SpiIocTransfer, cs_change) == 27);

}  // namespace tav
