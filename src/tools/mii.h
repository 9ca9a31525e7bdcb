// MII register access through socket ioctls. The request names carry an
// underscore because the system headers define the plain names as macros.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

constexpr unsigned long SIOC_GMIIPHY = 0x8947;
constexpr unsigned long SIOC_GMIIREG = 0x8948;
constexpr unsigned long SIOC_SMIIREG = 0x8949;

struct MiiData {
  uint16_t phy_id;
  uint16_t reg_num;
  uint16_t val_in;
  uint16_t val_out;
};

// The kernel's interface request with the MII data at the start of its union.
struct MiiIfreq {
  char name[16];
  MiiData mii;
  uint8_t rest_of_union[16];
};
static_assert(sizeof(MiiData) == 8 && offsetof(MiiData, reg_num) == 2 && offsetof(MiiData, val_in) == 4 &&
              offsetof(MiiData, val_out) == 6);
static_assert(sizeof(MiiIfreq) == 40 && offsetof(MiiIfreq, mii) == 16);

}  // namespace tav
