#include "spi.h"

#include <errno.h>

#include <cstring>
#include <vector>

namespace sim {

namespace {
constexpr uint32_t kMaxFrame = 4096;

uint32_t get_field(const uint8_t* p, int width, int order) {
  if (width == 1) return p[0];
  return order == 0 ? (p[0] << 8 | p[1]) : (p[1] << 8 | p[0]);
}

void put_field(uint8_t* p, uint32_t v, int width, int order) {
  if (width == 1) {
    p[0] = static_cast<uint8_t>(v);
    return;
  }
  p[order == 0 ? 0 : 1] = static_cast<uint8_t>(v >> 8);
  p[order == 0 ? 1 : 0] = static_cast<uint8_t>(v);
}
}  // namespace

int SpiDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  std::lock_guard<std::mutex> lock(mu_);
  if (request == tav::SPI_IOC_WR_MODE) {
    mode_ = *static_cast<uint8_t*>(arg);
    f.log_sent(&mode_, 1);
    return 0;
  }
  if (request == tav::SPI_IOC_MESSAGE_1) return transfer(f, static_cast<tav::SpiIocTransfer*>(arg));
  return -ENOTTY;
}

int SpiDevice::transfer(OpenFile& f, tav::SpiIocTransfer* t) {
  if (t->len == 0 || t->len > kMaxFrame || t->tx_buf == 0) return -EINVAL;
  last_ = *t;
  // Full duplex: everything is sent before the answer lands, which may be in
  // the very buffer that was sent.
  std::vector<uint8_t> tx(t->len);
  memcpy(tx.data(), reinterpret_cast<const void*>(static_cast<uintptr_t>(t->tx_buf)), t->len);
  f.log_sent(tx.data(), tx.size());
  std::vector<uint8_t> rx(t->len, 0);
  const SpiFormat& s = format_;
  if (t->len == static_cast<uint32_t>(s.dev_width + s.reg_width + s.data_width)) {
    uint32_t dev = get_field(tx.data(), s.dev_width, 1);
    const uint32_t mark = s.dev_width == 2 ? 0x8000 : 0x80;
    uint32_t reg = get_field(tx.data() + s.dev_width, s.reg_width, s.reg_order);
    uint8_t* data = rx.data() + s.dev_width + s.reg_width;
    if ((dev & ~mark) == dev_addr_) {
      if (dev & mark)
        put_field(data, regs_.count(reg) ? regs_[reg] : 0, s.data_width, s.data_order);
      else
        regs_[reg] =
            static_cast<uint16_t>(get_field(tx.data() + s.dev_width + s.reg_width, s.data_width, s.data_order));
    }
  }
  if (t->rx_buf != 0) memcpy(reinterpret_cast<void*>(static_cast<uintptr_t>(t->rx_buf)), rx.data(), t->len);
  return static_cast<int>(t->len);
}

void add_spi_devices(Board& board) {
  auto dev = std::make_shared<SpiDevice>(0x2, SpiFormat{});
  for (uint32_t r = 0; r < 0x20; ++r) dev->regs()[r] = static_cast<uint16_t>(0xA0 + r);
  board.add("/dev/spidev0.0", dev);
}

}  // namespace sim
