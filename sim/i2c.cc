#include "i2c.h"

#include <errno.h>

#include <cstring>
#include <string>

#include "drivers/i2c.h"

namespace sim {

namespace {
constexpr uint32_t kMaxMessages = 42;  // as the kernel limits a combined transfer
constexpr uint16_t kMaxMessageLen = 8192;

struct BusState {
  uint32_t slave = 0;
};

void log_message(OpenFile& f, uint32_t addr7, bool rd, const uint8_t* p, size_t n) {
  if (f.request == nullptr) return;
  f.request->bytes.push_back(static_cast<uint8_t>(addr7 << 1 | (rd ? 1 : 0)));
  if (p != nullptr) f.request->bytes.insert(f.request->bytes.end(), p, p + n);
}
}  // namespace

I2cChip::I2cChip(int addr_bytes) : addr_bytes_(addr_bytes), regs_(addr_bytes == 2 ? 0x10000 : 0x100) {
  // A recognisable pattern that differs from the register address.
  for (size_t i = 0; i < regs_.size(); ++i) regs_[i] = static_cast<uint8_t>(i * 0x1D + 0x07);
}

void I2cChip::write(const uint8_t* p, size_t n) {
  if (n < static_cast<size_t>(addr_bytes_)) return;
  pointer_ = addr_bytes_ == 2 ? (p[0] << 8 | p[1]) : p[0];
  for (size_t i = static_cast<size_t>(addr_bytes_); i < n; ++i) {
    regs_[pointer_] = p[i];
    pointer_ = (pointer_ + 1) % regs_.size();
  }
}

void I2cChip::read(uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    p[i] = regs_[pointer_];
    pointer_ = (pointer_ + 1) % regs_.size();
  }
}

I2cChip* I2cChips::find(uint32_t addr7) const {
  auto it = at.find(static_cast<uint16_t>(addr7));
  return addr7 > 0x7F || it == at.end() ? nullptr : it->second.get();
}

int I2cBus::open(OpenFile& f) {
  f.state = std::make_shared<BusState>();
  return 0;
}

ssize_t I2cBus::read(OpenFile& f, void* buf, size_t n) {
  std::lock_guard<std::mutex> lock(model_->mu);
  uint32_t addr = static_cast<BusState*>(f.state.get())->slave;
  I2cChip* chip = model_->find(addr);
  if (chip == nullptr) {
    log_message(f, addr, true, nullptr, 0);
    return -ENXIO;
  }
  chip->read(static_cast<uint8_t*>(buf), n);
  log_message(f, addr, true, static_cast<uint8_t*>(buf), n);
  return static_cast<ssize_t>(n);
}

ssize_t I2cBus::write(OpenFile& f, const void* buf, size_t n) {
  std::lock_guard<std::mutex> lock(model_->mu);
  uint32_t addr = static_cast<BusState*>(f.state.get())->slave;
  if (f.request != nullptr) f.request->bytes.clear();
  I2cChip* chip = model_->find(addr);
  if (chip == nullptr) {
    log_message(f, addr, false, nullptr, 0);
    return -ENXIO;
  }
  log_message(f, addr, false, static_cast<const uint8_t*>(buf), n);
  chip->write(static_cast<const uint8_t*>(buf), n);
  return static_cast<ssize_t>(n);
}

int I2cBus::ioctl(OpenFile& f, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(model_->mu);
  if (request == tav::I2C_SLAVE) {
    auto addr = reinterpret_cast<uintptr_t>(arg);
    if (addr > 0x7F) return -EINVAL;
    static_cast<BusState*>(f.state.get())->slave = static_cast<uint32_t>(addr);
    if (f.request != nullptr) f.request->bytes.push_back(static_cast<uint8_t>(addr));
    return 0;
  }
  if (request != tav::I2C_RDWR) return -ENOTTY;
  auto* rdwr = static_cast<tav::I2cRdwrData*>(arg);
  if (rdwr == nullptr || rdwr->msgs == nullptr) return -EFAULT;
  if (rdwr->nmsgs > kMaxMessages) return -EINVAL;
  for (uint32_t i = 0; i < rdwr->nmsgs; ++i) {
    const tav::I2cMsg& m = rdwr->msgs[i];
    if (m.len > kMaxMessageLen || m.addr > 0x7F) return -EINVAL;
    if (m.len > 0 && m.buf == nullptr) return -EFAULT;
  }
  for (uint32_t i = 0; i < rdwr->nmsgs; ++i) {
    const tav::I2cMsg& m = rdwr->msgs[i];
    bool rd = (m.flags & tav::I2C_M_RD) != 0;
    I2cChip* chip = model_->find(m.addr);
    if (chip == nullptr) {
      log_message(f, m.addr, rd, nullptr, 0);
      return -ENXIO;
    }
    if (rd)
      chip->read(m.buf, m.len);
    else
      chip->write(m.buf, m.len);
    log_message(f, m.addr, rd, m.buf, m.len);
  }
  return static_cast<int>(rdwr->nmsgs);
}

int ExtI2cNode::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (request != tav::EXT_I2C_READ && request != tav::EXT_I2C_WRITE) return -ENOTTY;
  auto* r = static_cast<tav::ExtI2cRecord*>(arg);
  if (r == nullptr) return -EFAULT;
  if (r->reg_bytes < 1 || r->reg_bytes > 2 || r->data_bytes != 1) return -EINVAL;
  std::lock_guard<std::mutex> lock(model_->mu);
  const uint32_t addr7 = r->dev_addr >> 1;
  uint8_t frame[3];
  size_t n = 0;
  if (r->reg_bytes == 2) frame[n++] = static_cast<uint8_t>(r->reg_addr >> 8);
  frame[n++] = static_cast<uint8_t>(r->reg_addr);
  I2cChip* chip = model_->find(addr7);
  if (chip == nullptr) {
    log_message(f, addr7, false, nullptr, 0);
    return -ENXIO;
  }
  if (request == tav::EXT_I2C_WRITE) {
    frame[n++] = static_cast<uint8_t>(r->data);
    log_message(f, addr7, false, frame, n);
    chip->write(frame, n);
    return 0;
  }
  log_message(f, addr7, false, frame, n);
  chip->write(frame, n);
  uint8_t value = 0;
  chip->read(&value, 1);
  log_message(f, addr7, true, &value, 1);
  r->data = value;
  return 0;
}

void add_i2c_devices(Board& board) {
  auto bus0 = std::make_shared<I2cChips>();
  bus0->at[0x50] = std::make_shared<I2cChip>(1);
  auto bus1 = std::make_shared<I2cChips>();
  bus1->at[0x50] = std::make_shared<I2cChip>(1);
  bus1->at[0x2b] = std::make_shared<I2cChip>(2);
  board.add("/dev/i2c-0", std::make_shared<I2cBus>(bus0));
  board.add("/dev/i2c-1", std::make_shared<I2cBus>(bus1));
  board.add(tav::kExtI2cNode, std::make_shared<ExtI2cNode>(bus0));
}

I2cChip* i2c_chip(Board& board, int bus, uint16_t addr7) {
  auto chips = model_at<I2cBus>(board, "/dev/i2c-" + std::to_string(bus));
  return chips ? chips->find(addr7) : nullptr;
}

}  // namespace sim
