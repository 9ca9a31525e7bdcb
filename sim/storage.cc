#include "storage.h"

#include <errno.h>

#include <cstring>

#include "i2c.h"

namespace sim {

bool StorageController::present(int port) {
  const Port& p = ports[port];
  if (!p.disk) return false;
  if (p.stays) return true;
  if (!p.powered || p.never_returns) return false;
  return clock_.now_ns() >= p.back_at_ns;
}

std::array<uint8_t, 32> StorageController::password_for(uint32_t index, const std::string& serial) {
  std::array<uint8_t, 32> pw{};
  for (size_t i = 0; i < pw.size(); ++i)
    pw[i] = static_cast<uint8_t>((serial.empty() ? 0 : serial[i % serial.size()]) ^ (0x5A + i) ^ index);
  return pw;
}

int StorageDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(model_->mu);
  switch (request) {
    case tav::STOR_CMD_SCAN_DONE: {
      if (model_->scan_request_fails) return -EIO;
      int32_t done = model_->scan_polls > 0 ? 0 : 1;
      if (model_->scan_polls > 0) --model_->scan_polls;
      memcpy(arg, &done, sizeof done);
      return 0;
    }
    case tav::STOR_CMD_GET: {
      tav::PortStatus s;
      memcpy(&s, arg, sizeof s);
      int port = s.readErr;
      f.log_sent(&port, 4);
      if (port < 0 || port >= tav::kPorts) return -EINVAL;
      s = model_->ports[port].status;
      if (!model_->present(port)) s.hdStatus |= tav::kHdNoDiskBit;
      memcpy(arg, &s, sizeof s);
      return 0;
    }
    case tav::STOR_CMD_ERR_REQ:
      memcpy(arg, &model_->err_request, sizeof model_->err_request);
      return 0;
    case tav::STOR_CMD_RESET_COUNT:
      memcpy(arg, &model_->reset_count, sizeof model_->reset_count);
      return 0;
    case tav::STOR_CMD_GET_PASSWORD: {
      tav::PasswordRequest r;
      memcpy(&r, arg, sizeof r);
      f.log_sent(arg, 24);
      if (r.disk_index >= tav::kPorts || r.serial_length > sizeof r.serial) return -EINVAL;
      auto pw = StorageController::password_for(r.disk_index, std::string(r.serial, r.serial_length));
      memcpy(r.password, pw.data(), pw.size());
      memcpy(arg, &r, sizeof r);
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

int PowerDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  uint32_t port;
  memcpy(&port, arg, sizeof port);
  f.log_sent(&port, 4);
  std::lock_guard<std::mutex> lock(model_->mu);
  if (port >= tav::kPorts) return -EINVAL;
  auto& p = model_->ports[port];
  if (request == tav::HD_POWER_DOWN) {
    p.powered = false;
    return 0;
  }
  if (request == tav::HD_POWER_UP) {
    if (!p.powered) p.back_at_ns = model_->clock_.now_ns() + model_->spin_up_ns;
    p.powered = true;
    return 0;
  }
  return -ENOTTY;
}

int BufferDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  tav::BufferRecord r;
  memcpy(&r, arg, sizeof r);
  f.log_sent(arg, sizeof r);
  std::string name(r.name, strnlen(r.name, sizeof r.name));
  std::lock_guard<std::mutex> lock(model_->mu);
  switch (request) {
    case tav::HDBUFF_GET: {
      auto it = model_->buffers.find(name);
      if (it == model_->buffers.end()) return -ENODEV;
      // The size comes back in the record's first word.
      memcpy(arg, &it->second, sizeof it->second);
      return 0;
    }
    case tav::HDBUFF_SET:
      model_->buffers[name] = r.size_mb;
      return 0;
    case tav::HDBUFF_CLEAR:
      if (model_->buffers.erase(name) == 0) return -ENODEV;
      return 0;
    default:
      return -ENOTTY;
  }
}

ssize_t TextFile::read(OpenFile& f, void* buf, size_t n) {
  if (f.pos >= static_cast<off_t>(text_.size())) return 0;
  size_t k = std::min(n, text_.size() - static_cast<size_t>(f.pos));
  memcpy(buf, text_.data() + f.pos, k);
  f.pos += static_cast<off_t>(k);
  return static_cast<ssize_t>(k);
}

void add_date_chip(Board& board, uint8_t yy, uint8_t mm, uint8_t dd) {
  auto bus = model_at<I2cBus>(board, "/dev/i2c-0");
  if (bus == nullptr) return;
  auto chip = std::make_shared<I2cChip>(1);
  chip->regs()[0] = yy;
  chip->regs()[1] = mm;
  chip->regs()[2] = dd;
  std::lock_guard<std::mutex> lock(bus->mu);
  bus->at[0x6c] = chip;
}

std::shared_ptr<StorageController> add_storage(Board& board) {
  auto c = std::make_shared<StorageController>(board.clock());
  c->ports[0].disk = true;
  c->ports[1].disk = true;
  c->ports[0].status.accessTime = 1767225000;
  board.add(tav::kStoragePath, std::make_shared<StorageDevice>(c));
  board.add(tav::kHdpmPath, std::make_shared<PowerDevice>(c));
  board.add(tav::kBuffctlPath, std::make_shared<BufferDevice>(c));
  board.add("/proc/zmrp/tavata/iva", std::make_shared<TextFile>("name : iva\nindex : 4\n"));
  return c;
}

}  // namespace sim
