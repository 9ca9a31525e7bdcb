// Switch tool: port status, address-table lookup, port modes, host port,
// a fixed mirroring setup, MAC security and VLAN, over the switch driver's
// older interface and its third-generation one.
#include "drivers/switch.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "items/items.h"
#include "sys/owners.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kSwitchUsage[] = {
    "usage:",
    "[port_status]: get port status.",
    "[port_status2]: get port status.v2.",
    "[mac_lut xx:xx:xx:xx:xx:xx]: get port num from MAC.",
    "[mac_lut2 xx:xx:xx:xx:xx:xx]: get channle num from MAC.v2.",
    "[port_mode port_num speed duplex]: port mode set",
    "[port_mode2 channel speed duplex]: channel mode set.v2.",
    "[host]: get host port status",
    "[mirror -r]: read current port mirror config.",
    "[mirror -w]: config port mirror(from P0 to P16, ingress).",
    "[mac_security port_num xx:xx:xx:xx:xx:xx]: config port mac security.",
    "[set_vlan]: set vlan.\n",
    "[p_status]: get port status.V3.",
    "[m_lut xx:xx:xx:xx:xx:xx]: get channel num from MAC.V3.",
    "[p_mode channel speed duplex]: channel mode set.v3.",
    "[h_status]: get host port status.V3.",
    "[p_mirror -r/w]: read/write current port mirror config.V3.",
    "[m_sec channel xx:xx:xx:xx:xx:xx]: config channel mac security.",
    "[vlan]: set vlan.V3",
};

void switch_usage() {
  for (const char* line : kSwitchUsage) puts(line);
}

// The handler name and line a failed request is reported with. Stations
// match on them, so they are data, fixed in the command table below.
struct FailSite {
  const char* handler;
  int line;
};

template <typename Record>
int request(int fd, unsigned long number, Record& record, const FailSite& site) {
  int ret = sys::ioctl(fd, number, &record);
  if (ret < 0) printf("%s(%d): ioctl failed, errno: %d\n", site.handler, site.line, errno);
  return ret;
}

// A text that does not give six fields leaves the address all zero.
void parse_mac(const char* text, uint8_t (&mac)[6]) {
  unsigned v[6];
  if (sscanf(text, "%2x:%2x:%2x:%2x:%2x:%2x", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]) != 6) return;
  for (int i = 0; i < 6; ++i) mac[i] = static_cast<uint8_t>(v[i]);
}

long number(const char* text) { return strtol(text, nullptr, 10); }
const char* duplex_name(long duplex) { return duplex != 0 ? "Full" : "Half"; }

int port_status(int fd, uint32_t cmd, const char* label, const FailSite& site) {
  SwPortStatus r = {};
  r.cmd = cmd;
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  printf("%s: 0x%x\n", label, r.current_status);
  printf("status_changed: %d\n", r.status_changed);
  return ret;
}

int do_port_status(int fd, int, char**, const FailSite& site) {
  return port_status(fd, SW_PORT_STATUS, "current_status", site);
}
int do_port_status2(int fd, int, char**, const FailSite& site) {
  return port_status(fd, SW_PORT_STATUS2, "current_status_v2", site);
}

int mac_lut(int fd, char** argv, uint32_t cmd, const FailSite& site) {
  SwMacLut r = {};
  r.cmd = cmd;
  parse_mac(argv[1], r.mac);
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  printf("MAC: %2x:%2x:%2x:%2x:%2x:%2x at port: %d\n", r.mac[0], r.mac[1], r.mac[2], r.mac[3], r.mac[4], r.mac[5],
         static_cast<int>(r.port));
  return ret;
}

int do_mac_lut(int fd, int, char** argv, const FailSite& site) { return mac_lut(fd, argv, SW_MAC_LUT, site); }
int do_mac_lut2(int fd, int, char** argv, const FailSite& site) { return mac_lut(fd, argv, SW_MAC_LUT2, site); }

int port_mode(int fd, char** argv, uint32_t cmd, const char* done, const FailSite& site) {
  SwPortMode r = {};
  r.cmd = cmd;
  r.port = static_cast<uint16_t>(number(argv[1]));
  r.speed = static_cast<uint16_t>(number(argv[2]));
  r.duplex = static_cast<uint16_t>(number(argv[3]));
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  printf(done, static_cast<int>(number(argv[1])), static_cast<int>(number(argv[2])), duplex_name(number(argv[3])));
  return ret;
}

int do_port_mode(int fd, int, char** argv, const FailSite& site) {
  return port_mode(fd, argv, SW_PORT_MODE, "[port_mode]set port %d, speed: %d, duplex: %s", site);
}
int do_port_mode2(int fd, int, char** argv, const FailSite& site) {
  return port_mode(fd, argv, SW_PORT_MODE2, "[port_mode]set port.v2 %d, speed: %d, duplex: %s", site);
}

int do_host_status(int fd, int, char**, const FailSite& site) {
  SwHostStatus r = {};
  r.cmd = SW_HOST_STATUS;
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  printf("host port current_status2: 0x%x\n", r.current_status2);
  return ret;
}

// 1 read, 0 write, -1 neither (the command then does nothing).
int mirror_option(int argc, char** argv) {
  if (argc < 2 || argv[1] == nullptr) return -1;
  if (strcmp(argv[1], "-r") == 0) return 1;
  if (strcmp(argv[1], "-w") == 0) return 0;
  return -1;
}

int do_mirror(int fd, int argc, char** argv, const FailSite& site) {
  int read = mirror_option(argc, argv);
  if (read < 0) return 0;
  SwMirror r = {};
  r.cmd = SW_MIRROR;
  if (read) {
    r.read = 1;
  } else {  // port 0's ingress to port 16
    r.src_ports = 0x1;
    r.dst_ports = 0x10000;
    r.mirror_method = 2;
  }
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  printf("src_ports: %#x, dst_ports: %#x, mirror_method: %#x\n", r.src_ports, r.dst_ports, r.mirror_method);
  return ret;
}

constexpr const char* kMacSecurityFormat = "set port %d SA: %2x:%2x:%2x:%2x:%x2:%2x success!\n";

int do_mac_security(int fd, int argc, char** argv, const FailSite& site) {
  SwMacSecurity r = {};
  r.cmd = SW_MAC_SECURITY;
  r.port = static_cast<uint32_t>(number(argv[1]));
  if (argc > 2) {
    r.write = 1;
    r.form = kMacSecurityWriteForm;
    parse_mac(argv[2], r.mac);
  }
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  // KEPT: "%x2" prints the byte and a literal 2.
  printf(kMacSecurityFormat, static_cast<int>(r.port), r.mac[0], r.mac[1], r.mac[2], r.mac[3], r.mac[4], r.mac[5]);
  return ret;
}

int do_set_vlan(int fd, int, char**, const FailSite& site) {
  SwCommand r = {};
  r.cmd = SW_SET_VLAN;
  int ret = request(fd, SWITCH_LEGACY_REQUEST, r, site);
  if (ret < 0) return ret;
  puts("set vlan succeed");
  return ret;
}

int do_port_status_v3(int fd, int, char**, const FailSite& site) {
  SwV3PortStatus r = {};
  int ret = request(fd, SWITCH_V3_PORT_STATUS, r, site);
  if (ret < 0) return ret;
  printf("[V3]current_status: 0x%x\n", r.current_status);
  printf("[V3]status_changed: %d\n", r.status_changed);
  return ret;
}

int do_mac_lut_v3(int fd, int, char** argv, const FailSite& site) {
  SwV3MacLut r = {};
  parse_mac(argv[1], r.mac);
  int ret = request(fd, SWITCH_V3_MAC_LUT, r, site);
  if (ret < 0) return ret;
  printf("[V3]MAC: %2x:%2x:%2x:%2x:%2x:%2x at channel: %d\n", r.mac[0], r.mac[1], r.mac[2], r.mac[3], r.mac[4],
         r.mac[5], static_cast<int>(r.channel));
  return ret;
}

int do_port_mode_v3(int fd, int, char** argv, const FailSite& site) {
  SwV3PortMode r = {};
  r.channel = static_cast<uint32_t>(number(argv[1]));
  r.speed = static_cast<uint16_t>(number(argv[2]));
  r.duplex = static_cast<uint8_t>(number(argv[3]));
  int ret = request(fd, SWITCH_V3_PORT_MODE, r, site);
  if (ret < 0) return ret;
  printf("[V3]set channel %d, chipno:%d, port:%d, speed: %d, duplex: %s", static_cast<int>(number(argv[1])), r.chip,
         r.port, static_cast<int>(number(argv[2])), duplex_name(number(argv[3])));
  return ret;
}

int do_host_status_v3(int fd, int, char**, const FailSite& site) {
  SwV3HostStatus r = {};
  int ret = request(fd, SWITCH_V3_HOST_STATUS, r, site);
  if (ret < 0) return ret;
  printf("[V3]host port current_status2: 0x%x\n", r.current_status2);
  return ret;
}

int do_mirror_v3(int fd, int argc, char** argv, const FailSite& site) {
  int read = mirror_option(argc, argv);
  if (read < 0) return 0;
  SwV3Mirror r = {};
  if (read) {
    r.read = 1;
  } else {
    r.src_channel = 1;
    r.dst_channel = 32;
    r.mirror_method = 2;
  }
  int ret = request(fd, SWITCH_V3_MIRROR, r, site);
  if (ret < 0) return ret;
  printf("[V3]src_channel: %#x, dst_channel: %#x, mirror_method: %#x\n", r.src_channel, r.dst_channel, r.mirror_method);
  return ret;
}

int do_mac_security_v3(int fd, int argc, char** argv, const FailSite& site) {
  SwV3MacSecurity r = {};
  r.channel = static_cast<uint32_t>(number(argv[1]));
  if (argc > 2) {
    r.write = 1;
    r.form = kMacSecurityWriteForm;
    parse_mac(argv[2], r.mac);
  }
  int ret = request(fd, SWITCH_V3_MAC_SECURITY, r, site);
  if (ret < 0) return ret;
  printf("[V3]set port %d SA: %2x:%2x:%2x:%2x:%x2:%2x success!\n", static_cast<int>(r.channel), r.mac[0], r.mac[1],
         r.mac[2], r.mac[3], r.mac[4], r.mac[5]);
  return ret;
}

int do_set_vlan_v3(int fd, int, char**, const FailSite& site) {
  SwV3Vlan r = {};
  int ret = request(fd, SWITCH_V3_VLAN, r, site);
  if (ret < 0) return ret;
  puts("[V3]set vlan succeed");
  return ret;
}

// The words a command needs after its name (its own name included), and
// the usage shown when they are not there.
struct Words {
  int count;
  bool at_least;  // more are allowed
  const char* usage;
};
constexpr Words kAny = {0, true, nullptr};
// What these commands print when their words are missing, unlike their lines
// in the usage list.
constexpr const char* kMacLut2Words = "[mac_lut2 xx:xx:xx:xx:xx:xx]: get port num from MAC.v2.";
constexpr const char* kPortMode2Words = "[port_mode2 port_num speed duplex]: port mode set.v2.";
constexpr const char* kMLutWords = "[m_lut xx:xx:xx:xx:xx:xx]: [V3]get port num from MAC.";
constexpr const char* kPModeWords = "[p_mode channel speed duplex]: [V3]port mode set";

struct SwitchCommandRow {
  std::string_view name;
  int (*handler)(int fd, int argc, char** argv, const FailSite& site);
  Words words;
  FailSite site;
};

constexpr SwitchCommandRow kSwitchCommands[] = {
    {"port_status", do_port_status, kAny, {"do_port_status", 74}},
    {"port_status2", do_port_status2, kAny, {"do_port_status2", 76}},
    {"mac_lut", do_mac_lut, {2, false, kSwitchUsage[3]}, {"do_mac_lut", 96}},
    {"mac_lut2", do_mac_lut2, {2, false, kMacLut2Words}, {"do_mac_lut2", 100}},
    {"port_mode", do_port_mode, {4, false, kSwitchUsage[5]}, {"do_port_mode", 122}},
    {"port_mode2", do_port_mode2, {4, false, kPortMode2Words}, {"do_port_mode2", 126}},
    {"host_status", do_host_status, kAny, {"do_host_status", 132}},
    {"mirror", do_mirror, kAny, {"do_mirror", 158}},
    // Without the port there is nothing to address.
    {"mac_security", do_mac_security, {2, true, kSwitchUsage[10]}, {"do_mac_security", 180}},
    {"set_vlan", do_set_vlan, kAny, {"do_set_vlan", 190}},
    {"p_status", do_port_status_v3, kAny, {"do_port_status_v3", 198}},
    {"m_lut", do_mac_lut_v3, {2, false, kMLutWords}, {"do_mac_lut_v3", 212}},
    {"p_mode", do_port_mode_v3, {4, false, kPModeWords}, {"do_port_mode_v3", 228}},
    {"h_status", do_host_status_v3, kAny, {"do_host_status_v3", 237}},
    {"p_mirror", do_mirror_v3, kAny, {"do_mirror_v3", 254}},
    {"m_sec", do_mac_security_v3, {2, true, kSwitchUsage[17]}, {"do_mac_security_v3", 273}},
    {"vlan", do_set_vlan_v3, kAny, {"do_set_vlan_v3", 282}},
};

// The command's words are there, or its usage has been shown.
bool has_words(const Words& words, int argc) {
  if (words.at_least ? argc >= words.count : argc == words.count) return true;
  puts(words.usage);
  return false;
}

// A command that lacks its words fails as a refused request would.
int run_command(const SwitchCommandRow& row, int fd, int argc, char** argv) {
  if (!has_words(row.words, argc)) return -1;
  return row.handler(fd, argc, argv, row.site);
}

}  // namespace

// item: switch
int switch_tool(int argc, char** argv) {
  if (argc <= 1 || argv == nullptr || strcmp(argv[1], "-h") == 0) {
    switch_usage();
    sys::exit(0);
  }
  sys::Fd fd(sys::open(kSwitchPath, O_RDWR));
  if (!fd.ok()) {
    printf("open file %s failed, errno: %d\n", kSwitchPath, errno);
    return 0;
  }
  const SwitchCommandRow* row = nullptr;
  for (const SwitchCommandRow& r : kSwitchCommands)
    if (r.name == argv[1]) row = &r;
  if (row == nullptr) {
    switch_usage();
  } else if (run_command(*row, fd.get(), argc - 1, argv + 1) < 0) {
    printf("run %s failed, errno: %d\n", argv[1], errno);
  }
  if (fd.close() != 0) printf("close file %s failed, errno:%d!\n", kSwitchPath, errno);
  return 0;
}

}  // namespace tav
