#include "ded.h"

#include <errno.h>

#include <cstring>

#include "drivers/ded.h"

namespace sim {

namespace {
constexpr uint8_t kKey[8] = {0x5C, 0x13, 0xA7, 0x42, 0xE9, 0x08, 0x71, 0xBD};
constexpr uint8_t kShift = 0x3D;
}  // namespace

std::vector<uint8_t> DedDevice::encrypt(std::vector<uint8_t> data) {
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>((data[i] + kShift) ^ kKey[i % 8]);
  return data;
}

std::vector<uint8_t> DedDevice::decrypt(std::vector<uint8_t> data) {
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>((data[i] ^ kKey[i % 8]) - kShift);
  return data;
}

int DedDevice::ioctl(OpenFile&, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  switch (request) {
    case tav::TAVDED_ENCRYPT:
    case tav::TAVDED_DECRYPT: {
      auto* r = static_cast<tav::DedCrypt*>(arg);
      if (r->length % 8 != 0 || r->length > tav::kWorkkeyMax) return -EINVAL;
      std::vector<uint8_t> data(r->data, r->data + r->length);
      sent.push_back(data);
      data = request == tav::TAVDED_ENCRYPT ? encrypt(data) : decrypt(data);
      if (!data.empty()) memcpy(r->data, data.data(), data.size());
      return 0;
    }
    case tav::TAVDED_READ_WORKKEY: {
      auto* k = static_cast<tav::DedStoredKey*>(arg);
      k->length = static_cast<uint32_t>(stored.size());
      if (!stored.empty()) memcpy(k->data, stored.data(), stored.size());
      return 0;
    }
    case tav::TAVDED_WRITE_WORKKEY: {
      const auto* k = static_cast<const tav::DedStoredKey*>(arg);
      if (k->length > tav::kWorkkeyMax) return -EINVAL;
      stored.assign(k->data, k->data + k->length);
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

void add_ded(Board& board) { board.add(tav::kDedPath, std::make_shared<DedDevice>()); }

DedDevice* ded(Board& board) { return dynamic_cast<DedDevice*>(board.device(tav::kDedPath).get()); }

}  // namespace sim
