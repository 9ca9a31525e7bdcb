#include "mii.h"

#include <errno.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

#include "drivers/netif.h"

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

void MiiSocket::set_support(const std::string& ifname, bool ethtool, bool mii) {
  std::lock_guard<std::mutex> lock(mu_);
  ifaces_.at(ifname).ethtool = ethtool;
  ifaces_.at(ifname).mii = mii;
}

std::vector<int16_t> MiiSocket::flag_sets(const std::string& ifname) {
  std::lock_guard<std::mutex> lock(mu_);
  return ifaces_.at(ifname).flag_sets;
}

int MiiSocket::interface_ioctl(Interface& i, unsigned long request, void* arg) {
  if (request == tav::SIOC_GIFFLAGS) {
    static_cast<tav::IfFlagsReq*>(arg)->flags = i.flags;
    return 0;
  }
  if (request == tav::SIOC_SIFFLAGS) {
    i.flags = static_cast<tav::IfFlagsReq*>(arg)->flags;
    i.flag_sets.push_back(i.flags);
    return 0;
  }
  if (!i.ethtool) return -EOPNOTSUPP;
  tav::EthtoolValue* v = static_cast<tav::EthtoolReq*>(arg)->data;
  if (v == nullptr) return -EFAULT;
  if (v->cmd != tav::ETHTOOL_GLINK_CMD) return -EOPNOTSUPP;
  // The carrier is seen only while the interface is up.
  v->data = (i.flags & tav::kIffUp) ? 1 : 0;
  return 0;
}

int MiiSocket::ioctl(OpenFile& f, unsigned long request, void* arg) {
  bool mii_request = request == tav::SIOC_GMIIPHY || request == tav::SIOC_GMIIREG || request == tav::SIOC_SMIIREG;
  bool if_request = request == tav::SIOC_GIFFLAGS || request == tav::SIOC_SIFFLAGS || request == tav::SIOC_ETHTOOL;
  if (!mii_request && !if_request) return -ENOTTY;
  if (arg == nullptr) return -EFAULT;
  // Every request starts with the interface name.
  const char* ifname = static_cast<const char*>(arg);
  std::lock_guard<std::mutex> lock(mu_);
  std::string name(ifname, strnlen(ifname, tav::kIfNameSize));
  auto it = ifaces_.find(name);
  if (it == ifaces_.end()) return -ENODEV;
  if (if_request) return interface_ioctl(it->second, request, arg);
  if (!it->second.mii) return -EOPNOTSUPP;
  auto* req = static_cast<tav::MiiIfreq*>(arg);
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
  if (phy_it == it->second.phys.end()) return 0;
  // The control register's reset bit clears itself and every register.
  if (reg == 0 && (mii.val_in & 0x8000))
    phy_it->second = kResetPhy;
  else
    phy_it->second[reg] = mii.val_in;
  return 0;
}

void add_mii_devices(Board& board) {
  auto sock = std::make_shared<MiiSocket>();
  sock->add_interface("eth0", 1);
  board.add("socket:" + std::to_string(AF_INET), sock);
  board.add("socket:" + std::to_string(AF_UNIX), sock);
}

}  // namespace sim
