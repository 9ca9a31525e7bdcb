// I2C on the simulated board: chips with register files, the i2c-dev bus
// nodes and the vendor's single-register node. The request log records what
// went on the wire: per message the address byte (7-bit address, then the
// read bit), then the bytes written or read; I2C_SLAVE records the address
// it was given.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "board.h"

namespace sim {

// A chip whose register pointer is set by the first written bytes (one, or
// two high byte first) and advances with every byte written or read.
class I2cChip {
 public:
  explicit I2cChip(int addr_bytes);
  int addr_bytes() const { return addr_bytes_; }
  void write(const uint8_t* p, size_t n);
  void read(uint8_t* p, size_t n);
  std::vector<uint8_t>& regs() { return regs_; }

 private:
  int addr_bytes_;
  uint32_t pointer_ = 0;
  std::vector<uint8_t> regs_;
};

// The chips on one bus, by 7-bit address.
struct I2cChips {
  std::map<uint16_t, std::shared_ptr<I2cChip>> at;
  std::mutex mu;  // one transfer at a time on the bus
  I2cChip* find(uint32_t addr7) const;
};

// /dev/i2c-N: I2C_SLAVE, I2C_RDWR, and read/write to the chosen slave.
class I2cBus final : public ModelDevice<I2cChips> {
 public:
  using ModelDevice::ModelDevice;
  int open(OpenFile& f) override;
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

// The vendor node: one register of one chip per request, 8-bit addresses.
class ExtI2cNode final : public ModelDevice<I2cChips> {
 public:
  using ModelDevice::ModelDevice;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

// Buses 0 and 1, each with an 8-bit-addressed chip at 0x50; bus 1 also has a
// 16-bit-addressed chip at 0x2b. The vendor node reaches bus 0's chips.
void add_i2c_devices(Board& board);
// The chip at addr7 on /dev/i2c-<bus> of board (null if none).
I2cChip* i2c_chip(Board& board, int bus, uint16_t addr7);

}  // namespace sim
