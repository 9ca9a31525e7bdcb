#include "switch.h"

#include <errno.h>

#include <cstring>

#include "items/net/switch.h"

namespace sim {

using namespace tav;

namespace {
bool valid_speed(unsigned speed) { return speed == 10 || speed == 100 || speed == 1000; }
constexpr uint32_t kChannelsPerChip = 16;
}  // namespace

int SwitchDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  size_t size = request == SWITCH_LEGACY_REQUEST ? kSwitchLegacySize : switch_v3_size(request);
  f.log_sent(arg, size);
  std::lock_guard<std::mutex> lock(mu_);
  return request == SWITCH_LEGACY_REQUEST ? legacy(arg) : v3(request, arg);
}

int SwitchDevice::legacy(void* arg) {
  uint32_t cmd;
  memcpy(&cmd, arg, sizeof cmd);
  switch (cmd) {
    case SW_PORT_STATUS:
    case SW_PORT_STATUS2: {
      auto* r = static_cast<SwPortStatus*>(arg);
      r->status_changed = static_cast<uint16_t>(status_changed);
      r->current_status = static_cast<uint16_t>(current_status);
      return 0;
    }
    case SW_MAC_LUT:
    case SW_MAC_LUT2: {
      auto* r = static_cast<SwMacLut*>(arg);
      Mac mac;
      memcpy(mac.data(), r->mac, 6);
      auto it = address_table.find(mac);
      if (it == address_table.end()) return -ENOENT;
      r->port = it->second;
      return 0;
    }
    case SW_PORT_MODE:
    case SW_PORT_MODE2: {
      const auto* r = static_cast<const SwPortMode*>(arg);
      if (!valid_speed(r->speed)) return -EINVAL;
      modes.push_back({r->port, r->speed, r->duplex != 0});
      return 0;
    }
    case SW_HOST_STATUS:
      static_cast<SwHostStatus*>(arg)->current_status2 = static_cast<uint16_t>(host_status);
      return 0;
    case SW_MIRROR: {
      auto* r = static_cast<SwMirror*>(arg);
      if (r->read) {
        r->src_ports = mirror_src;
        r->dst_ports = mirror_dst;
        r->mirror_method = mirror_method;
      } else {
        mirror_src = r->src_ports;
        mirror_dst = r->dst_ports;
        mirror_method = r->mirror_method;
      }
      return 0;
    }
    case SW_MAC_SECURITY: {
      auto* r = static_cast<SwMacSecurity*>(arg);
      if (r->write) {
        memcpy(secured[r->port].data(), r->mac, 6);
      } else {
        auto it = secured.find(r->port);
        if (it != secured.end()) memcpy(r->mac, it->second.data(), 6);
      }
      return 0;
    }
    case SW_SET_VLAN:
      ++vlan_sets;
      return 0;
    default:
      return -EINVAL;
  }
}

int SwitchDevice::v3(unsigned long request, void* arg) {
  switch (request) {
    case SWITCH_V3_PORT_STATUS: {
      auto* r = static_cast<SwV3PortStatus*>(arg);
      r->status_changed = static_cast<uint8_t>(status_changed);
      r->current_status = current_status;
      return 0;
    }
    case SWITCH_V3_MAC_LUT: {
      auto* r = static_cast<SwV3MacLut*>(arg);
      Mac mac;
      memcpy(mac.data(), r->mac, 6);
      auto it = address_table.find(mac);
      if (it == address_table.end()) return -ENOENT;
      r->channel = it->second;
      return 0;
    }
    case SWITCH_V3_PORT_MODE: {
      auto* r = static_cast<SwV3PortMode*>(arg);
      if (!valid_speed(r->speed)) return -EINVAL;
      r->chip = static_cast<uint8_t>(r->channel / kChannelsPerChip);
      r->port = static_cast<uint8_t>(r->channel % kChannelsPerChip);
      modes.push_back({r->channel, r->speed, r->duplex != 0});
      return 0;
    }
    case SWITCH_V3_VLAN:
      ++vlan_sets;
      return 0;
    case SWITCH_V3_HOST_STATUS:
      static_cast<SwV3HostStatus*>(arg)->current_status2 = host_status;
      return 0;
    case SWITCH_V3_MIRROR: {
      auto* r = static_cast<SwV3Mirror*>(arg);
      if (r->read) {
        r->src_channel = mirror_src;
        r->dst_channel = mirror_dst;
        r->mirror_method = mirror_method;
      } else {
        mirror_src = r->src_channel;
        mirror_dst = r->dst_channel;
        mirror_method = r->mirror_method;
      }
      return 0;
    }
    case SWITCH_V3_MAC_SECURITY: {
      auto* r = static_cast<SwV3MacSecurity*>(arg);
      if (r->write) {
        memcpy(secured[r->channel].data(), r->mac, 6);
      } else {
        auto it = secured.find(r->channel);
        if (it != secured.end()) memcpy(r->mac, it->second.data(), 6);
      }
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

void add_switch(Board& board) { board.add(kSwitchPath, std::make_shared<SwitchDevice>()); }

SwitchDevice* switch_driver(Board& board) { return dynamic_cast<SwitchDevice*>(board.device(kSwitchPath).get()); }

}  // namespace sim
