// himii.r, himii.w: read and write an Ethernet PHY register.
#include "tools/mii.h"

#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "sys/sys.h"
#include "tools/number.h"
#include "tools/report.h"
#include "tools/tools.h"

namespace tav {

namespace {
constexpr const char* kSource = "tools/mii.cc";
constexpr const char* kReadUsage = "usage: %s ifname register . sample: %s eth0 1\n";
constexpr const char* kWriteUsage = "usage: %s ifname register regvalue . sample: %s eth0 0 0x7509\n";

// Unchecked: a word that is not a number leaves the value as it was.
uint64_t number_or(const char* text, uint64_t fallback) {
  uint64_t v = 0;
  return str_to_number(text, &v) == 0 ? v : fallback;
}

// The socket with the interface named, and the PHY address the driver
// reports; -1 (socket closed) when the name does not fit or the PHY is not
// found. A socket that cannot be made ends the process.
int open_phy(const char* ifname, MiiIfreq* req, int exit_line) {
  int sock = sys::socket(AF_INET, SOCK_DGRAM, 0);
  if (sock < 0) {
    puts("creat socket failed");
    exit_report("", kSource, exit_line);
  }
  size_t len = strlen(ifname);
  if (len == 0 || len >= sizeof req->name) {
    sys::close(sock);
    return -1;
  }
  memset(req, 0, sizeof *req);
  memcpy(req->name, ifname, len);
  if (sys::ioctl(sock, SIOC_GMIIPHY, req) < 0) {
    puts("get phy address error");
    sys::close(sock);
    return -1;
  }
  return sock;
}
}  // namespace

int himii_r(int argc, char** argv) {
  if (argc != 4) {
    printf(kReadUsage, argv[0], argv[0]);
    exit_report("", kSource, 39);
  }
  uint64_t phy = number_or(argv[2], 0);
  uint64_t reg = number_or(argv[3], 0);
  MiiIfreq req;
  int sock = open_phy(argv[1], &req, 48);
  if (sock < 0) return -1;
  req.mii.phy_id = static_cast<uint16_t>(phy);
  req.mii.reg_num = static_cast<uint16_t>(reg);
  printf("ifname %s phyaddr %lu reg %lu reading ...\n", argv[1], static_cast<unsigned long>(phy),
         static_cast<unsigned long>(reg));
  int result = 0;
  if (sys::ioctl(sock, SIOC_GMIIREG, &req) == 0) {
    printf("regvalue %#x\n", static_cast<unsigned>(req.mii.val_out));
  } else {
    puts("ioctl SIOCGMIIREG failed");
    result = -1;
  }
  sys::close(sock);
  return result;
}

int himii_w(int argc, char** argv) {
  if (argc != 5) {
    printf(kWriteUsage, argv[0], argv[0]);
    exit_report("", kSource, 94);
  }
  uint64_t reg = number_or(argv[3], 0);
  uint64_t value = number_or(argv[4], 0);
  MiiIfreq req;
  int sock = open_phy(argv[1], &req, 102);
  if (sock < 0) return -1;
  // The PHY written is the one the driver reports; the argument is ignored.
  uint64_t phy = req.mii.phy_id;
  req.mii.reg_num = static_cast<uint16_t>(reg);
  req.mii.val_in = static_cast<uint16_t>(value);
  printf("ifname %s phyaddr %lu reg %lu value %#lx writting ...\n", argv[1], static_cast<unsigned long>(phy),
         static_cast<unsigned long>(reg), static_cast<unsigned long>(value));
  int result = 0;
  if (sys::ioctl(sock, SIOC_SMIIREG, &req) != 0) {
    // The read request's name here too; kept as it is.
    puts("ioctl SIOCGMIIREG failed");
    result = -1;
  }
  sys::close(sock);
  return result;
}

}  // namespace tav
