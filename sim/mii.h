// PHYs behind network interfaces, reached through the MII socket ioctls on
// an AF_INET socket. The request log records each management frame as
// PHY address, register, then the 16-bit value high byte first.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

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

 private:
  struct Interface {
    uint16_t phy_addr;
    std::map<uint16_t, Registers> phys;
  };
  std::mutex mu_;
  std::map<std::string, Interface> ifaces_;
};

// socket:<AF_INET>: eth0 with its PHY at address 1.
void add_mii_devices(Board& board);

}  // namespace sim
