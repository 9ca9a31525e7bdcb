// PHY tool: read (or pretend to write) a PHY register, reset a PHY with its
// interface taken down around it, and ask the driver for the link state.
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "drivers/netif.h"
#include "items/items.h"
#include "sys/owners.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kPhyUsage[] = {
    "mdio:",
    "read operation: mdio reg_addr",
    "write operation: mdio reg_addr value",
    "For example:",
    "mdio eth0 1",
    "mdio eth0 0 0x12\n",
    "reset:",
    "For example, if want eth0 reset:",
    "reset eth0",
    "link:",
    "For example, test eth0 if link:",
    "link eth0",
};

void phy_usage() {
  for (const char* line : kPhyUsage) puts(line);
}

constexpr uint16_t kBmcrReset = 0x8000;
constexpr int kDown = 1;
constexpr int kUp = 0;

template <typename Req>
void set_name(Req& req, const char* name) {
  strncpy(req.name, name, kIfNameSize - 1);
}

sys::Fd open_socket(int domain) {
  sys::Fd sock(sys::socket(domain, SOCK_DGRAM, 0));
  if (!sock.ok()) printf("open socket failed, errno: %d\n", errno);
  return sock;
}

// Asks for the interface's PHY address into req, on a socket left in *sock.
// On failure the socket's or the request's result, with nothing left open.
int query_phy(const char* name, MiiIfreq& req, sys::Fd* sock) {
  *sock = open_socket(AF_UNIX);
  if (!sock->ok()) return sock->get();
  set_name(req, name);
  int ret = sys::ioctl(sock->get(), SIOC_GMIIPHY, &req);
  if (ret != 0) {
    printf("ioctl cmd SIOCGMIIPHY failed, errno: %d\n", errno);
    sock->close();
  }
  return ret;
}

int mdio(int argc, char** argv) {
  // The register is needed in both forms: without it there is nothing to read.
  if (argc < 3) {
    phy_usage();
    return -EINVAL;
  }
  MiiIfreq req = {};
  sys::Fd sock;
  int ret = query_phy(argv[1], req, &sock);
  if (ret != 0) return ret;
  req.mii.reg_num = static_cast<uint16_t>(strtoul(argv[2], nullptr, 0));
  // KEPT: the write form only ever reads: the value travels in val_in, unused.
  if (argc == 4) req.mii.val_in = static_cast<uint16_t>(strtoul(argv[3], nullptr, 0));
  ret = sys::ioctl(sock.get(), SIOC_GMIIREG, &req);
  if (ret != 0) {
    printf("ioctl cmd SIOCGMIIREG failed, errno: %d\n", errno);
  } else if (argc == 4) {
    printf("write phy addr: 0x%x  reg: 0x%x  value : 0x%x\n\n", req.mii.phy_id, req.mii.reg_num, req.mii.val_in);
  } else if (argc == 3) {
    printf("read phy addr: 0x%x  reg: 0x%x   value : 0x%x\n\n", req.mii.phy_id, req.mii.reg_num, req.mii.val_out);
  }
  return ret;
}

int set_interface(const char* name, int mode) {
  if (name == nullptr) return -EFAULT;
  sys::Fd sock = open_socket(AF_INET);
  if (!sock.ok()) return 0;
  if (strlen(name) >= kIfNameSize) {
    puts("name is too long");
    return 0;
  }
  IfFlagsReq req = {};
  set_name(req, name);
  int ret = sys::ioctl(sock.get(), SIOC_GIFFLAGS, &req);
  if (ret != 0) {
    printf("ioctl cmd SIOCGIFFLAGS, errno: %d\n", errno);
  } else {
    if (mode == kDown) {
      req.flags &= static_cast<int16_t>(~kIffUp);
    } else if ((req.flags & kIffUp) == 0) {
      req.flags |= kIffUp | kIffRunning;
    }
    if ((ret = sys::ioctl(sock.get(), SIOC_SIFFLAGS, &req)) != 0)
      printf("ioctl cmd SIOCSIFFLAGS failed, errno: %d\n", errno);
  }
  return ret;
}

int reset_phy(const char* name) {
  MiiIfreq req = {};
  sys::Fd sock;
  int ret = query_phy(name, req, &sock);
  if (ret != 0) return ret;
  req.mii.reg_num = 0;
  req.mii.val_in = kBmcrReset;
  if ((ret = sys::ioctl(sock.get(), SIOC_SMIIREG, &req)) != 0)
    printf("ioctl cmd SIOCSMIIREG failed, errno: %d\n", errno);
  else
    printf("write phy addr: 0x%x  reg: 0x%x  value : 0x%x\n\n", req.mii.phy_id, req.mii.reg_num, req.mii.val_in);
  return ret;
}

int reset(int argc, char** argv) {
  if (argc < 2 || argv[1] == nullptr) return -EINVAL;
  int ret = set_interface(argv[1], kDown);
  if (ret < 0) return ret;
  ret = reset_phy(argv[1]);
  set_interface(argv[1], kUp);
  return ret;
}

int link(int argc, char** argv) {
  sys::Fd sock = open_socket(AF_INET);
  if (!sock.ok()) return sock.get();
  if (argc < 2 || argv[1] == nullptr) return 0;
  EthtoolValue value = {ETHTOOL_GLINK_CMD, 0};
  EthtoolReq req = {};
  set_name(req, argv[1]);
  req.data = &value;
  if (sys::ioctl(sock.get(), SIOC_ETHTOOL, &req) == 0) {
    printf("phy on %s is link %s\n", argv[1], value.data != 0 ? "up" : "down");
  } else {
    // KEPT: a failed query reports the link up, under the wrong request's name.
    printf("ioctl cmd SIOCSMIIREG failed, errno: %d\n", errno);
    printf("phy on %s is link %s\n", argv[1], "up");
  }
  return 0;
}

struct PhyCommand {
  std::string_view name;
  int (*handler)(int, char**);
};

constexpr PhyCommand kPhyCommands[] = {{"mdio", mdio}, {"reset", reset}, {"link", link}};

}  // namespace

// item: phy
int phy_tool(int argc, char** argv) {
  if (argc <= 1 || argv == nullptr || strcmp(argv[1], "-h") == 0) {
    phy_usage();
    sys::exit(0);
  }
  for (const PhyCommand& c : kPhyCommands)
    if (c.name == argv[1]) return c.handler(argc - 1, argv + 1);
  phy_usage();
  return 0;
}

}  // namespace tav
