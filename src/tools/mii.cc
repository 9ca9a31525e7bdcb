// himii.r, himii.w: read and write an Ethernet PHY register.
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "drivers/netif.h"
#include "sys/owners.h"
#include "sys/sys.h"
#include "tools/number.h"
#include "tools/report.h"
#include "tools/tools.h"

namespace tav {

namespace {
constexpr const char* kReadUsage = "usage: %s ifname register . sample: %s eth0 1\n";
constexpr const char* kWriteUsage = "usage: %s ifname register regvalue . sample: %s eth0 0 0x7509\n";

// Unchecked: a word that is not a number leaves the value as it was.
uint64_t number_or(const char* text, uint64_t fallback) {
  uint64_t v = 0;
  return str_to_number(text, &v) == 0 ? v : fallback;
}

// One tool's argument count, usage and exit report sites.
struct MiiTool {
  int argc;
  const char* usage;
  ExitAt usage_at;
  ExitAt socket_at;
};
constexpr MiiTool kRead = {4, kReadUsage, ExitAt::MiiReadUsage, ExitAt::MiiReadSocket};
constexpr MiiTool kWrite = {5, kWriteUsage, ExitAt::MiiWriteUsage, ExitAt::MiiWriteSocket};

// The socket with the interface named, and the PHY address the driver
// reports; a closed owner when the name does not fit or the PHY is not found.
// A wrong argument count or a socket that cannot be made ends the process.
sys::Fd open_phy(int argc, char** argv, const MiiTool& tool, MiiIfreq* req) {
  if (argc != tool.argc) {
    printf(tool.usage, argv[0], argv[0]);
    exit_report("", tool.usage_at);
  }
  sys::Fd sock(sys::socket(AF_INET, SOCK_DGRAM, 0));
  if (!sock.ok()) {
    puts("creat socket failed");
    exit_report("", tool.socket_at);
  }
  const char* ifname = argv[1];
  size_t len = strlen(ifname);
  if (len == 0 || len >= sizeof req->name) return sys::Fd();
  memset(req, 0, sizeof *req);
  memcpy(req->name, ifname, len);
  if (sys::ioctl(sock.get(), SIOC_GMIIPHY, req) < 0) {
    puts("get phy address error");
    return sys::Fd();
  }
  return sock;
}
}  // namespace

int himii_r(int argc, char** argv) {
  MiiIfreq req;
  sys::Fd sock = open_phy(argc, argv, kRead, &req);
  if (!sock.ok()) return -1;
  uint64_t phy = number_or(argv[2], 0);
  uint64_t reg = number_or(argv[3], 0);
  req.mii.phy_id = static_cast<uint16_t>(phy);
  req.mii.reg_num = static_cast<uint16_t>(reg);
  printf("ifname %s phyaddr %lu reg %lu reading ...\n", argv[1], static_cast<unsigned long>(phy),
         static_cast<unsigned long>(reg));
  if (sys::ioctl(sock.get(), SIOC_GMIIREG, &req) != 0) {
    puts("ioctl SIOCGMIIREG failed");
    return -1;
  }
  printf("regvalue %#x\n", static_cast<unsigned>(req.mii.val_out));
  return 0;
}

int himii_w(int argc, char** argv) {
  MiiIfreq req;
  sys::Fd sock = open_phy(argc, argv, kWrite, &req);
  if (!sock.ok()) return -1;
  uint64_t reg = number_or(argv[3], 0);
  uint64_t value = number_or(argv[4], 0);
  // KEPT: the PHY written is the one the driver reports; the argument is ignored.
  uint64_t phy = req.mii.phy_id;
  req.mii.reg_num = static_cast<uint16_t>(reg);
  req.mii.val_in = static_cast<uint16_t>(value);
  printf("ifname %s phyaddr %lu reg %lu value %#lx writting ...\n", argv[1], static_cast<unsigned long>(phy),
         static_cast<unsigned long>(reg), static_cast<unsigned long>(value));
  if (sys::ioctl(sock.get(), SIOC_SMIIREG, &req) != 0) {
    // KEPT: a failed write is reported under the read request's name.
    puts("ioctl SIOCGMIIREG failed");
    return -1;
  }
  return 0;
}

}  // namespace tav
