#include "mii.h"

#include <errno.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

#include "tools/mii.h"

namespace sim {

namespace {
// A freshly reset PHY: autonegotiation on, link up, an identifier.
constexpr MiiSocket::Registers kResetPhy = {0x1140, 0x796D, 0x0123, 0x4560, 0x01E1, 0xC5E1};

void log_frame(OpenFile& f, uint16_t phy, uint16_t reg, uint16_t value) {
  if (f.request == nullptr) return;
  f.request->bytes = {static_cast<uint8_t>(phy), static_cast<uint8_t>(reg), static_cast<uint8_t>(value >> 8),
                      static_cast<uint8_t>(value)};
}
}  // namespace

void MiiSocket::add_interface(const std::string& name, uint16_t phy_addr) {
  ifaces_[name].phy_addr = phy_addr;
  phy(name, phy_addr);
}

MiiSocket::Registers& MiiSocket::phy(const std::string& ifname, uint16_t addr) {
  auto& phys = ifaces_[ifname].phys;
  auto it = phys.find(addr);
  if (it == phys.end()) it = phys.emplace(addr, kResetPhy).first;
  return it->second;
}

int MiiSocket::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (request != tav::SIOC_GMIIPHY && request != tav::SIOC_GMIIREG && request != tav::SIOC_SMIIREG) return -ENOTTY;
  auto* req = static_cast<tav::MiiIfreq*>(arg);
  if (req == nullptr) return -EFAULT;
  std::lock_guard<std::mutex> lock(mu_);
  std::string name(req->name, strnlen(req->name, sizeof req->name));
  auto it = ifaces_.find(name);
  if (it == ifaces_.end()) return -ENODEV;
  tav::MiiData& mii = req->mii;
  if (request == tav::SIOC_GMIIPHY) {
    mii.phy_id = it->second.phy_addr;
    return 0;
  }
  // Clause 22: five bits of PHY address and five of register.
  const uint16_t addr = mii.phy_id & 0x1F, reg = mii.reg_num & 0x1F;
  auto phy_it = it->second.phys.find(addr);
  if (request == tav::SIOC_GMIIREG) {
    // Nobody drives the data line for an absent PHY: it reads all ones.
    mii.val_out = phy_it == it->second.phys.end() ? 0xFFFF : phy_it->second[reg];
    log_frame(f, addr, reg, mii.val_out);
    return 0;
  }
  log_frame(f, addr, reg, mii.val_in);
  if (phy_it != it->second.phys.end()) phy_it->second[reg] = mii.val_in;
  return 0;
}

void add_mii_devices(Board& board) {
  auto sock = std::make_shared<MiiSocket>();
  sock->add_interface("eth0", 1);
  board.add("socket:" + std::to_string(AF_INET), sock);
}

}  // namespace sim
