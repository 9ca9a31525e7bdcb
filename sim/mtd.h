// The NAND flash behind the MTD control device (/dev/tavmtd), the MTD
// character devices (/dev/mtd0..) and the MTD block device (/dev/mtdblock1),
// sharing one flash state.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "board.h"
#include "drivers/mtd.h"

namespace sim {

class NandFlash {
 public:
  static constexpr uint32_t kEraseSize = 128 << 10;
  static constexpr uint32_t kWriteSize = 2048;

  struct Partition {
    std::vector<uint8_t> data;           // erased bytes read 0xFF
    std::vector<uint64_t> erase_counts;  // per erase block
    std::set<uint32_t> bad_blocks;       // by block number within the partition
    bool locked = false;                 // write protection: writes and erases refused
    uint32_t intercepts = 0;             // writes and erases refused while locked
    uint32_t corrected = 0;              // bit flips ECC corrected
    uint32_t failed = 0;                 // reads ECC could not correct
    uint32_t bbt_blocks = 0;
  };

  // Partitions of the given sizes (multiples of the erase size), erased.
  explicit NandFlash(const std::vector<uint32_t>& sizes);

  std::mutex mu;
  std::vector<Partition> parts;
  uint32_t boot_part = 1;
  uint32_t oob_size = tav::kNewPartOob;
  std::array<uint8_t, tav::kNandIdSize> id{};

  // Callers hold mu. -errno on failure.
  int erase(uint32_t part);
  // Writes refused on a locked partition count as intercepts.
  ssize_t write(uint32_t part, uint64_t off, const void* buf, size_t n, bool program);
  ssize_t read(uint32_t part, uint64_t off, void* buf, size_t n);
};

// The revisions of the fitted part, and a foreign one.
enum class NandPart {
  NewRevision,    // OOB 128
  OldRevision,    // OOB 64
  Foreign,        // another maker's ID
  TrailingBytes,  // the expected ID, then a zero byte, then other bytes
};

// The flash of board's MTD devices (null when /dev/tavmtd was removed).
std::shared_ptr<NandFlash> nand_flash(Board& board);
void add_mtd(Board& board);
void set_nand_part(Board& board, NandPart part);

}  // namespace sim
