// /dev/tav_switch: the Ethernet switch driver behind both of its
// interfaces, with an address table, port states and the setups asked for.
// Each request's record, as sent, goes into the request log.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "board.h"

namespace sim {

class SwitchDevice final : public Device {
 public:
  using Mac = std::array<uint8_t, 6>;
  struct PortMode {
    uint32_t port;  // channel on the V3 interface
    uint16_t speed;
    bool full_duplex;
  };
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

  // Driver state, read and preset by tests.
  uint32_t current_status = 0x0000001F;  // link bits of ports 0-4
  uint32_t status_changed = 1;
  uint32_t host_status = 0x8C;
  std::map<Mac, uint32_t> address_table = {{Mac{0x00, 0x12, 0x34, 0x56, 0x78, 0x9A}, 3}};
  uint32_t mirror_src = 0, mirror_dst = 0;
  uint8_t mirror_method = 0;
  std::map<uint32_t, Mac> secured;  // port (or channel) -> source address
  std::vector<PortMode> modes;
  int vlan_sets = 0;

 private:
  int legacy(void* arg);
  int v3(unsigned long request, void* arg);
  // Both interfaces drive the same state; only their records differ.
  int find_mac(const uint8_t* mac, uint32_t* port) const;
  void mirror(bool read, uint32_t* src, uint32_t* dst, uint8_t* method);
  void secure(uint32_t port, bool write, uint8_t* mac);
  std::mutex mu_;
};

void add_switch(Board& board);
SwitchDevice* switch_driver(Board& board);

}  // namespace sim
