// The media memory zone allocator (/dev/mmz_userdev) and the board's memory
// device (/dev/tav_memdev), both over the board's physical memory.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "board.h"
#include "drivers/mmz.h"

namespace sim {

class MmzZone {
 public:
  static constexpr uint64_t kBase = 0xA0000000;
  static constexpr uint64_t kSize = 64 << 20;

  explicit MmzZone(PhysMem& mem) : mem(mem) {}
  ~MmzZone();

  struct Block {
    uint64_t size = 0;
    uint32_t attr = 0;
    void* mapping = nullptr;  // in the caller, while mapped
  };

  PhysMem& mem;
  std::mutex mu;
  std::map<uint64_t, Block> blocks;  // by physical address
  uint64_t next = kBase;
  bool zero_phys = false;  // allocations answer physical address 0
  int cache_flushes = 0;
  std::vector<tav::MemdevFlush> memdev_flushes;
};

std::shared_ptr<MmzZone> mmz_zone(Board& board);
void add_mmz(Board& board);

}  // namespace sim
