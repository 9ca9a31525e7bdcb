// The board's MTD control device (/dev/tavmtd) and the standard MTD nodes the
// flash items use: their records.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kTavmtdPath = "/dev/tavmtd";
constexpr const char* kMtd0Path = "/dev/mtd0";

// The kind the tool asks for; what it means is the driver's business.
constexpr uint32_t kEraseStatKind = 2;

struct EraseStat {
  uint32_t kind;
  uint8_t reserved0[4];
  uint64_t max_erase;  // erase count of the most worn block
  uint32_t max_block;
  uint8_t reserved1[4];
  uint64_t total_erase;
};
static_assert(sizeof(EraseStat) == 32 && offsetof(EraseStat, max_erase) == 8 && offsetof(EraseStat, max_block) == 16 &&
                  offsetof(EraseStat, total_erase) == 24,
              "erase statistics");

struct ProtectRequest {
  uint32_t partition;
  uint32_t unlock;  // 1 unlock, 0 lock
};
static_assert(sizeof(ProtectRequest) == 8, "protection record");

struct MtdEccStats {
  uint32_t corrected;
  uint32_t failed;
  uint32_t badblocks;
  uint32_t bbtblocks;
};
static_assert(sizeof(MtdEccStats) == 16, "ecc statistics");

struct MtdInfoUser {
  uint8_t type;
  uint32_t flags;
  uint32_t size;
  uint32_t erasesize;
  uint32_t writesize;
  uint32_t oobsize;
  uint64_t padding;
};
static_assert(sizeof(MtdInfoUser) == 32 && offsetof(MtdInfoUser, flags) == 4 && offsetof(MtdInfoUser, oobsize) == 20,
              "mtd information");

constexpr size_t kNandIdSize = 8;
// The fitted part's ID; its revisions differ only in the OOB size.
constexpr uint8_t kMt29f2gId[] = {0x2C, 0xDA, 0x90, 0x95, 0x06};
constexpr uint32_t kNewPartOob = 128;
constexpr uint32_t kOldPartOob = 64;

}  // namespace tav
