#include "switch.h"

#include <errno.h>

#include <cstring>

#include "drivers/switch.h"

namespace sim {

using namespace tav;

namespace {
bool valid_speed(unsigned speed) { return speed == 10 || speed == 100 || speed == 1000; }
constexpr uint32_t kChannelsPerChip = 16;
}  // namespace

int SwitchDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  size_t size = request == SWITCH_LEGACY_REQUEST ? kSwitchLegacySize : ioc_size(request);
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
      return find_mac(r->mac, &r->port);
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
      mirror(r->read, &r->src_ports, &r->dst_ports, &r->mirror_method);
      return 0;
    }
    case SW_MAC_SECURITY: {
      auto* r = static_cast<SwMacSecurity*>(arg);
      secure(r->port, r->write, r->mac);
      return 0;
    }
    case SW_SET_VLAN:
      ++vlan_sets;
      return 0;
    default:
      return -EINVAL;
  }
}

int SwitchDevice::find_mac(const uint8_t* mac, uint32_t* port) const {
  Mac m;
  memcpy(m.data(), mac, 6);
  auto it = address_table.find(m);
  if (it == address_table.end()) return -ENOENT;
  *port = it->second;
  return 0;
}

void SwitchDevice::mirror(bool read, uint32_t* src, uint32_t* dst, uint8_t* method) {
  if (read) {
    *src = mirror_src;
    *dst = mirror_dst;
    *method = mirror_method;
  } else {
    mirror_src = *src;
    mirror_dst = *dst;
    mirror_method = *method;
  }
}

void SwitchDevice::secure(uint32_t port, bool write, uint8_t* mac) {
  if (write) {
    memcpy(secured[port].data(), mac, 6);
    return;
  }
  auto it = secured.find(port);
  if (it != secured.end()) memcpy(mac, it->second.data(), 6);
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
      return find_mac(r->mac, &r->channel);
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
      mirror(r->read, &r->src_channel, &r->dst_channel, &r->mirror_method);
      return 0;
    }
    case SWITCH_V3_MAC_SECURITY: {
      auto* r = static_cast<SwV3MacSecurity*>(arg);
      secure(r->channel, r->write, r->mac);
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

void add_switch(Board& board) { board.add(kSwitchPath, std::make_shared<SwitchDevice>()); }

SwitchDevice* switch_driver(Board& board) { return dynamic_cast<SwitchDevice*>(board.device(kSwitchPath).get()); }

}  // namespace sim
