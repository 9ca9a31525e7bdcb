// Interface requests on sockets: flags and the ethtool link query, beside
// the MII requests of the PHY tools.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tools/mii.h"

namespace tav {

// Underscored: the system headers define the plain names as macros.
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
