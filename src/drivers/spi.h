// Linux spidev: the requests and the transfer record.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

constexpr unsigned long SPI_IOC_WR_MODE = 0x40016B01;    // argument: uint8_t*
constexpr unsigned long SPI_IOC_MESSAGE_1 = 0x40206B00;  // one SpiIocTransfer
constexpr uint8_t kSspMode = 0x0B;                       // CPOL | CPHA | LSB first

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
