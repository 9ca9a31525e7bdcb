// The Ethernet switch driver (/dev/tav_switch): the older interface, where
// every request is number 0 and a command code leads a 128-byte record, and
// the third-generation one with a request number per operation.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/ioc.h"
#include "drivers/requests.h"

namespace tav {

constexpr const char* kSwitchPath = "/dev/tav_switch";

constexpr size_t kSwitchLegacySize = 128;

enum SwitchCommand : uint32_t {
  SW_MAC_LUT = 29,
  SW_PORT_STATUS = 30,
  SW_MAC_LUT2 = 31,
  SW_PORT_STATUS2 = 32,
  SW_MIRROR = 200,
  SW_MAC_SECURITY = 201,
  SW_PORT_MODE = 202,
  SW_SET_VLAN = 203,
  SW_HOST_STATUS = 205,
  SW_PORT_MODE2 = 206,
};

constexpr uint32_t kMacSecurityWriteForm = 15;

struct SwPortStatus {
  uint32_t cmd;
  uint16_t status_changed;
  uint16_t current_status;
  uint8_t unused[120];
};
struct SwMacLut {
  uint32_t cmd;
  uint8_t mac[6];
  uint8_t reserved[6];
  uint32_t port;
  uint8_t unused[108];
};
struct SwPortMode {
  uint32_t cmd;
  uint16_t port;
  uint16_t speed;
  uint16_t duplex;  // nonzero: full
  uint8_t unused[118];
};
struct SwHostStatus {
  uint32_t cmd;
  uint16_t reserved;
  uint16_t current_status2;
  uint8_t unused[120];
};
struct SwMirror {
  uint32_t cmd;
  uint32_t src_ports;
  uint32_t dst_ports;
  uint8_t mirror_method;
  uint8_t read;
  uint8_t unused[114];
};
struct SwMacSecurity {
  uint32_t cmd;
  uint32_t form;  // 15 in the write form
  uint32_t zero;
  uint32_t port;
  uint32_t write;
  uint8_t mac[6];
  uint8_t unused[102];
};
struct SwCommand {
  uint32_t cmd;
  uint8_t unused[124];
};
static_assert(sizeof(SwPortStatus) == 128 && offsetof(SwPortStatus, current_status) == 6);
static_assert(sizeof(SwMacLut) == 128 && offsetof(SwMacLut, mac) == 4 && offsetof(SwMacLut, port) == 16);
static_assert(sizeof(SwPortMode) == 128 && offsetof(SwPortMode, speed) == 6 && offsetof(SwPortMode, duplex) == 8);
static_assert(sizeof(SwHostStatus) == 128 && offsetof(SwHostStatus, current_status2) == 6);
static_assert(sizeof(SwMirror) == 128 && offsetof(SwMirror, mirror_method) == 12 && offsetof(SwMirror, read) == 13);
static_assert(sizeof(SwMacSecurity) == 128 && offsetof(SwMacSecurity, port) == 12 &&
              offsetof(SwMacSecurity, write) == 16 && offsetof(SwMacSecurity, mac) == 20);
static_assert(sizeof(SwCommand) == 128);

struct SwV3PortStatus {
  uint8_t status_changed;
  uint8_t reserved[3];
  uint32_t current_status;
  uint32_t unused;
};
struct SwV3MacLut {
  uint8_t mac[6];
  uint8_t reserved[22];
  uint32_t channel;
  uint8_t unused[16];
};
struct SwV3PortMode {
  uint32_t channel;
  uint8_t chip;
  uint8_t port;
  uint16_t speed;
  uint8_t duplex;  // nonzero: full
  uint8_t unused[19];
};
struct SwV3Vlan {
  uint32_t zero;
};
struct SwV3HostStatus {
  uint32_t reserved;
  uint32_t current_status2;
  uint8_t unused[20];
};
struct SwV3Mirror {
  uint32_t src_channel;
  uint32_t dst_channel;
  uint8_t reserved[8];
  uint8_t mirror_method;
  uint8_t read;
  uint8_t unused[10];
};
struct SwV3MacSecurity {
  uint32_t channel;
  uint32_t reserved;
  uint32_t write;
  uint32_t form;  // 15 in the write form
  uint8_t reserved2[4];
  uint8_t mac[6];
  uint8_t unused[38];
};
static_assert(sizeof(SwV3PortStatus) == ioc_size(SWITCH_V3_PORT_STATUS) &&
              offsetof(SwV3PortStatus, current_status) == 4);
static_assert(sizeof(SwV3MacLut) == ioc_size(SWITCH_V3_MAC_LUT) && offsetof(SwV3MacLut, channel) == 28);
static_assert(sizeof(SwV3PortMode) == ioc_size(SWITCH_V3_PORT_MODE) && offsetof(SwV3PortMode, speed) == 6 &&
              offsetof(SwV3PortMode, duplex) == 8);
static_assert(sizeof(SwV3Vlan) == ioc_size(SWITCH_V3_VLAN));
static_assert(sizeof(SwV3HostStatus) == ioc_size(SWITCH_V3_HOST_STATUS) &&
              offsetof(SwV3HostStatus, current_status2) == 4);
static_assert(sizeof(SwV3Mirror) == ioc_size(SWITCH_V3_MIRROR) && offsetof(SwV3Mirror, mirror_method) == 16 &&
              offsetof(SwV3Mirror, read) == 17);
static_assert(sizeof(SwV3MacSecurity) == ioc_size(SWITCH_V3_MAC_SECURITY) && offsetof(SwV3MacSecurity, write) == 8 &&
              offsetof(SwV3MacSecurity, form) == 12 && offsetof(SwV3MacSecurity, mac) == 20);

}  // namespace tav
