// The switch tool against the simulated switch driver: the records sent on
// both interfaces, byte for byte, and what is printed of the answers.
#include "drivers/switch.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"
#include "sim/switch.h"

namespace {

const std::string kUsage =
    "usage:\n[port_status]: get port status.\n[port_status2]: get port status.v2.\n"
    "[mac_lut xx:xx:xx:xx:xx:xx]: get port num from MAC.\n[mac_lut2 xx:xx:xx:xx:xx:xx]: get channle num from MAC.v2.\n"
    "[port_mode port_num speed duplex]: port mode set\n[port_mode2 channel speed duplex]: channel mode set.v2.\n"
    "[host]: get host port status\n[mirror -r]: read current port mirror config.\n"
    "[mirror -w]: config port mirror(from P0 to P16, ingress).\n"
    "[mac_security port_num xx:xx:xx:xx:xx:xx]: config port mac security.\n[set_vlan]: set vlan.\n\n"
    "[p_status]: get port status.V3.\n[m_lut xx:xx:xx:xx:xx:xx]: get channel num from MAC.V3.\n"
    "[p_mode channel speed duplex]: channel mode set.v3.\n[h_status]: get host port status.V3.\n"
    "[p_mirror -r/w]: read/write current port mirror config.V3.\n"
    "[m_sec channel xx:xx:xx:xx:xx:xx]: config channel mac security.\n[vlan]: set vlan.V3\n";

using Sparse = std::map<size_t, uint8_t>;  // the record's non-zero bytes

struct Case {
  std::vector<std::string> words;
  unsigned long request;
  size_t size;
  Sparse sent;
  std::string out;
};

// A command line and the text it prints.
struct WordsCase {
  std::vector<std::string> words;
  std::string text;
};

class Switch : public tavtest::BoardTest {
 protected:
  sim::SwitchDevice& sw() { return *sim::switch_driver(board()); }
  // One command: its output, and exactly one request with the record's bytes.
  void check(const Case& c) {
    SCOPED_TRACE(c.words[1] + (c.words.size() > 2 ? " " + c.words[2] : ""));
    tavtest::Outcome o = run(tav::switch_tool, c.words);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.open_descriptors, 0u);
    auto reqs = tavtest::requests_of(o, sim::Call::Ioctl, tav::kSwitchPath);
    ASSERT_EQ(reqs.size(), 1u);
    EXPECT_EQ(reqs[0]->request, c.request);
    std::vector<uint8_t> want(c.size, 0);
    for (const auto& kv : c.sent) want[kv.first] = kv.second;
    EXPECT_EQ(reqs[0]->bytes, want);
  }
};

TEST_F(Switch, every_legacy_command_records_and_reports) {
  const unsigned long legacy = tav::SWITCH_LEGACY_REQUEST;
  sw().secured[7] = {0xAA, 0xBB, 0xCC, 0xDD, 0x0E, 0x0F};
  const Case cases[] = {
      {{"switch", "port_status"}, legacy, 128, {{0, 30}}, "current_status: 0x1f\nstatus_changed: 1\n"},
      {{"switch", "port_status2"}, legacy, 128, {{0, 32}}, "current_status_v2: 0x1f\nstatus_changed: 1\n"},
      {{"switch", "mac_lut", "00:12:34:56:78:9a"},
       legacy,
       128,
       {{0, 29}, {5, 0x12}, {6, 0x34}, {7, 0x56}, {8, 0x78}, {9, 0x9A}},
       "MAC:  0:12:34:56:78:9a at port: 3\n"},
      {{"switch", "port_mode", "4", "100", "1"},
       legacy,
       128,
       {{0, 202}, {4, 4}, {6, 100}, {8, 1}},
       "[port_mode]set port 4, speed: 100, duplex: Full"},
      {{"switch", "port_mode2", "2", "1000", "0"},
       legacy,
       128,
       {{0, 206}, {4, 2}, {6, 0xE8}, {7, 0x03}},
       "[port_mode]set port.v2 2, speed: 1000, duplex: Half"},
      {{"switch", "host_status"}, legacy, 128, {{0, 205}}, "host port current_status2: 0x8c\n"},
      {{"switch", "mirror", "-w"},
       legacy,
       128,
       {{0, 200}, {4, 1}, {10, 1}, {12, 2}},
       "src_ports: 0x1, dst_ports: 0x10000, mirror_method: 0x2\n"},
      {{"switch", "mirror", "-r"},
       legacy,
       128,
       {{0, 200}, {13, 1}},
       "src_ports: 0x1, dst_ports: 0x10000, mirror_method: 0x2\n"},
      {{"switch", "mac_security", "5", "01:02:03:04:05:06"},
       legacy,
       128,
       {{0, 201}, {4, 15}, {12, 5}, {16, 1}, {20, 1}, {21, 2}, {22, 3}, {23, 4}, {24, 5}, {25, 6}},
       "set port 5 SA:  1: 2: 3: 4:52: 6 success!\n"},
      {{"switch", "mac_security", "7"},
       legacy,
       128,
       {{0, 201}, {12, 7}},
       "set port 7 SA: aa:bb:cc:dd:e2: f success!\n"},
      {{"switch", "set_vlan"}, legacy, 128, {{0, 203}}, "set vlan succeed\n"},
  };
  for (const Case& c : cases) check(c);
  EXPECT_EQ(sw().vlan_sets, 1);
  EXPECT_EQ(sw().modes.size(), 2u);
}

TEST_F(Switch, every_v3_command_records_and_reports) {
  const Case cases[] = {
      {{"switch", "p_status"}, tav::SWITCH_V3_PORT_STATUS, 12, {}, "[V3]current_status: 0x1f\n[V3]status_changed: 1\n"},
      {{"switch", "m_lut", "00:12:34:56:78:9a"},
       tav::SWITCH_V3_MAC_LUT,
       48,
       {{1, 0x12}, {2, 0x34}, {3, 0x56}, {4, 0x78}, {5, 0x9A}},
       "[V3]MAC:  0:12:34:56:78:9a at channel: 3\n"},
      {{"switch", "p_mode", "17", "10", "1"},
       tav::SWITCH_V3_PORT_MODE,
       28,
       {{0, 17}, {6, 10}, {8, 1}},
       "[V3]set channel 17, chipno:1, port:1, speed: 10, duplex: Full"},
      {{"switch", "h_status"}, tav::SWITCH_V3_HOST_STATUS, 28, {}, "[V3]host port current_status2: 0x8c\n"},
      {{"switch", "p_mirror", "-w"},
       tav::SWITCH_V3_MIRROR,
       28,
       {{0, 1}, {4, 32}, {16, 2}},
       "[V3]src_channel: 0x1, dst_channel: 0x20, mirror_method: 0x2\n"},
      {{"switch", "p_mirror", "-r"},
       tav::SWITCH_V3_MIRROR,
       28,
       {{17, 1}},
       "[V3]src_channel: 0x1, dst_channel: 0x20, mirror_method: 0x2\n"},
      {{"switch", "m_sec", "9", "a1:b2:c3:d4:e5:f6"},
       tav::SWITCH_V3_MAC_SECURITY,
       64,
       {{0, 9}, {8, 1}, {12, 15}, {20, 0xA1}, {21, 0xB2}, {22, 0xC3}, {23, 0xD4}, {24, 0xE5}, {25, 0xF6}},
       "[V3]set port 9 SA: a1:b2:c3:d4:e52:f6 success!\n"},
      {{"switch", "vlan"}, tav::SWITCH_V3_VLAN, 4, {}, "[V3]set vlan succeed\n"},
  };
  for (const Case& c : cases) check(c);
  EXPECT_EQ(sw().vlan_sets, 1);
  ASSERT_EQ(sw().modes.size(), 1u);
  EXPECT_EQ(sw().modes[0].port, 17u);
}

TEST_F(Switch, usage_ends_the_process) {
  for (std::vector<std::string> words : {std::vector<std::string>{"switch"}, {"switch", "-h"}}) {
    tavtest::Outcome o = run(tav::switch_tool, words);
    EXPECT_TRUE(o.exited);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, kUsage);
  }
}

}  // namespace

namespace {

// Stations read the handler and line of a failed request; every command's
// pair is pinned so an edit elsewhere in the tool cannot move one.
TEST_F(Switch, failed_request_names_its_handler_and_line) {
  const WordsCase cases[] = {
      {{"switch", "port_status"}, "do_port_status(74): ioctl failed, errno: 1\nrun port_status failed, errno: 1\n"},
      {{"switch", "port_status2"}, "do_port_status2(76): ioctl failed, errno: 1\nrun port_status2 failed, errno: 1\n"},
      {{"switch", "mac_lut", "00:12:34:56:78:9a"},
       "do_mac_lut(96): ioctl failed, errno: 1\nrun mac_lut failed, errno: 1\n"},
      {{"switch", "mac_lut2", "00:12:34:56:78:9a"},
       "do_mac_lut2(100): ioctl failed, errno: 1\nrun mac_lut2 failed, errno: 1\n"},
      {{"switch", "port_mode", "4", "100", "1"},
       "do_port_mode(122): ioctl failed, errno: 1\nrun port_mode failed, errno: 1\n"},
      {{"switch", "port_mode2", "2", "1000", "0"},
       "do_port_mode2(126): ioctl failed, errno: 1\nrun port_mode2 failed, errno: 1\n"},
      {{"switch", "host_status"}, "do_host_status(132): ioctl failed, errno: 1\nrun host_status failed, errno: 1\n"},
      {{"switch", "mirror", "-r"}, "do_mirror(158): ioctl failed, errno: 1\nrun mirror failed, errno: 1\n"},
      {{"switch", "mac_security", "5"},
       "do_mac_security(180): ioctl failed, errno: 1\nrun mac_security failed, errno: 1\n"},
      {{"switch", "set_vlan"}, "do_set_vlan(190): ioctl failed, errno: 1\nrun set_vlan failed, errno: 1\n"},
      {{"switch", "p_status"}, "do_port_status_v3(198): ioctl failed, errno: 1\nrun p_status failed, errno: 1\n"},
      {{"switch", "m_lut", "00:12:34:56:78:9a"},
       "do_mac_lut_v3(212): ioctl failed, errno: 1\nrun m_lut failed, errno: 1\n"},
      {{"switch", "p_mode", "17", "10", "1"},
       "do_port_mode_v3(228): ioctl failed, errno: 1\nrun p_mode failed, errno: 1\n"},
      {{"switch", "h_status"}, "do_host_status_v3(237): ioctl failed, errno: 1\nrun h_status failed, errno: 1\n"},
      {{"switch", "p_mirror", "-w"}, "do_mirror_v3(254): ioctl failed, errno: 1\nrun p_mirror failed, errno: 1\n"},
      {{"switch", "m_sec", "9"}, "do_mac_security_v3(273): ioctl failed, errno: 1\nrun m_sec failed, errno: 1\n"},
      {{"switch", "vlan"}, "do_set_vlan_v3(282): ioctl failed, errno: 1\nrun vlan failed, errno: 1\n"},
  };
  for (const WordsCase& c : cases) {
    SCOPED_TRACE(c.words[1]);
    sim::Board& b = fresh_board();
    b.fail({sim::Call::Ioctl, tav::kSwitchPath, 0, 0, EPERM});
    tavtest::Outcome o = run(tav::switch_tool, c.words);
    EXPECT_EQ(o.out, c.text);
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

}  // namespace

namespace {

// A command without its words shows its own usage, sends nothing and is
// reported failed.
TEST_F(Switch, missing_words_show_the_commands_usage) {
  const WordsCase cases[] = {
      {{"switch", "mac_lut"}, "[mac_lut xx:xx:xx:xx:xx:xx]: get port num from MAC.\n"},
      {{"switch", "mac_lut2", "a", "b"}, "[mac_lut2 xx:xx:xx:xx:xx:xx]: get port num from MAC.v2.\n"},
      {{"switch", "port_mode", "1", "2"}, "[port_mode port_num speed duplex]: port mode set\n"},
      {{"switch", "port_mode2", "1", "2", "3", "4"}, "[port_mode2 port_num speed duplex]: port mode set.v2.\n"},
      {{"switch", "mac_security"}, "[mac_security port_num xx:xx:xx:xx:xx:xx]: config port mac security.\n"},
      {{"switch", "m_lut"}, "[m_lut xx:xx:xx:xx:xx:xx]: [V3]get port num from MAC.\n"},
      {{"switch", "p_mode", "1"}, "[p_mode channel speed duplex]: [V3]port mode set\n"},
      {{"switch", "m_sec"}, "[m_sec channel xx:xx:xx:xx:xx:xx]: config channel mac security.\n"},
  };
  for (const WordsCase& c : cases) {
    SCOPED_TRACE(c.words[1]);
    tavtest::Outcome o = run(tav::switch_tool, c.words);
    EXPECT_TRUE(tavtest::starts_with(o.out, c.text + "run " + c.words[1] + " failed, errno: ")) << o.out;
    EXPECT_TRUE(tavtest::requests_of(o, sim::Call::Ioctl).empty());
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

}  // namespace
