// spidev on the simulated board: a register device that answers frames of
// device-address, register-address and data fields. The request log records
// the bytes sent (the frame, or the mode byte).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "board.h"
#include "drivers/spi.h"

namespace sim {

struct SpiFormat {
  int dev_width = 1;  // the device field is little-endian when two wide
  int reg_width = 1;
  int data_width = 1;
  int reg_order = 1;  // 0: high byte first; 1: low byte first
  int data_order = 1;
};

class SpiDevice final : public Device {
 public:
  SpiDevice(uint32_t dev_addr, SpiFormat format) : dev_addr_(dev_addr), format_(format) {}
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
  std::map<uint32_t, uint16_t>& regs() { return regs_; }
  uint8_t mode() const { return mode_; }
  const tav::SpiIocTransfer& last_transfer() const { return last_; }

 private:
  int transfer(OpenFile& f, tav::SpiIocTransfer* t);
  std::mutex mu_;
  uint32_t dev_addr_;
  SpiFormat format_;
  std::map<uint32_t, uint16_t> regs_;
  uint8_t mode_ = 0;
  tav::SpiIocTransfer last_{};
};

// /dev/spidev0.0: device 0x2 with one-byte fields and a few registers set.
void add_spi_devices(Board& board);

}  // namespace sim
