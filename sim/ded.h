// /dev/tavded: the data-encryption driver. Its transform is the board's own
// (the program never sees a key); it keeps one stored work key.
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "board.h"

namespace sim {

class DedDevice final : public Device {
 public:
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

  // The driver's transform, for tests to build expected data.
  static std::vector<uint8_t> encrypt(std::vector<uint8_t> data);
  static std::vector<uint8_t> decrypt(std::vector<uint8_t> data);

  std::vector<uint8_t> stored;             // the stored work key
  std::vector<std::vector<uint8_t>> sent;  // data of every crypt request, as sent
};

void add_ded(Board& board);
DedDevice* ded(Board& board);

}  // namespace sim
