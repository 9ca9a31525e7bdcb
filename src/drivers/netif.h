// Interface requests on sockets: MII register access, interface flags and
// the ethtool link query.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

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
