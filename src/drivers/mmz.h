// The media memory zone user device (/dev/mmz_userdev) and the board's
// physical-memory device (/dev/tav_memdev): records.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kMmzPath = "/dev/mmz_userdev";
constexpr const char* kMemdevPath = "/dev/tav_memdev";

constexpr uint32_t kMmbFlagShared = 0x001;

struct MmbInfo {
  uint64_t phys_addr;
  uint64_t align;
  uint64_t size;
  uint32_t order;
  uint8_t pad0[4];
  uint64_t vir_addr;
  uint32_t attr;  // prot in bits 0-7, flags in 8-19, map_cached in bit 29
  uint8_t pad1[4];
  char mmb_name[17];
  char mmz_name[32];
  uint8_t pad2[7];
  uint64_t gfp;
  uint8_t reserved[32];
};
static_assert(sizeof(MmbInfo) == 144 && offsetof(MmbInfo, order) == 24 && offsetof(MmbInfo, vir_addr) == 32 &&
                  offsetof(MmbInfo, attr) == 40 && offsetof(MmbInfo, mmb_name) == 48 &&
                  offsetof(MmbInfo, mmz_name) == 65 && offsetof(MmbInfo, gfp) == 104,
              "mmb record");

// Virtual address first here, unlike the MMZ records.
struct MemdevFlush {
  uint64_t vir_addr;
  uint64_t phys_addr;
  uint64_t size;
};
static_assert(sizeof(MemdevFlush) == 24 && offsetof(MemdevFlush, phys_addr) == 8, "memdev flush record");

}  // namespace tav
