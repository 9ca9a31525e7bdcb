// Network interfaces with their PHYs, reached through socket ioctls (the
// same model answers on AF_INET and AF_UNIX sockets, as the kernel does):
// MII register access, interface flags and the ethtool link query. The
// request log records each management frame as PHY address, register, then
// the 16-bit value high byte first.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "board.h"

namespace sim {

class MiiSocket final : public Device {
 public:
  using Registers = std::array<uint16_t, 32>;
  // An interface whose driver reports the PHY at phy_addr.
  void add_interface(const std::string& name, uint16_t phy_addr);
  // Registers of the PHY at addr on the interface's bus (made on first use).
  Registers& phy(const std::string& ifname, uint16_t addr);
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

  // A driver without ethtool (or MII) support answers EOPNOTSUPP; the
  // interface must exist.
  void set_support(const std::string& ifname, bool ethtool, bool mii);
  std::vector<int16_t> flag_sets(const std::string& ifname);  // every SIOCSIFFLAGS

 private:
  struct Interface {
    uint16_t phy_addr;
    std::map<uint16_t, Registers> phys;
    int16_t flags = 0x1043;  // up, broadcast, running, multicast
    std::vector<int16_t> flag_sets;
    bool ethtool = true;
    bool mii = true;
  };
  int interface_ioctl(Interface& i, unsigned long request, void* arg);
  std::mutex mu_;
  std::map<std::string, Interface> ifaces_;
};

// socket:<AF_INET> and socket:<AF_UNIX>: eth0 with its PHY at address 1.
void add_mii_devices(Board& board);

}  // namespace sim
