// Interface requests on sockets: MII register access, interface flags and
// the ethtool link query. The request names carry an underscore because the
// system headers define the plain names as macros.
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

constexpr unsigned long SIOC_GIFFLAGS = 0x8913;
constexpr unsigned long SIOC_SIFFLAGS = 0x8914;
constexpr unsigned long SIOC_ETHTOOL = 0x8946;
constexpr uint32_t ETHTOOL_GLINK_CMD = 0x0000000A;

constexpr int16_t kIffUp = 0x1;
constexpr int16_t kIffRunning = 0x40;

constexpr size_t kIfNameSize = 16;

struct IfFlagsReq {
  char name[kIfNameSize];
  int16_t flags;
  uint8_t rest_of_union[22];
};
static_assert(sizeof(IfFlagsReq) == 40 && offsetof(IfFlagsReq, flags) == 16);

struct EthtoolValue {
  uint32_t cmd;
  uint32_t data;
};

struct EthtoolReq {
  char name[kIfNameSize];
  EthtoolValue* data;
  uint8_t rest_of_union[24 - sizeof(void*)];
};
static_assert(sizeof(EthtoolReq) == 40 && offsetof(EthtoolReq, data) == 16);

}  // namespace tav
