// The front panel, key and RS485 items against the simulated panel and RS485
// plug: frames on the wire, the receive parser, the heartbeat thread on
// virtual time, and every failing request.
#include "sim/serial.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "harness.h"
#include "items/io/tavio.h"
#include "items/items.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;
using Bytes = std::vector<uint8_t>;

constexpr uint64_t kSec = 1000000000ull;

const Bytes kReady = {0xFF, 0x07, 0x30, 0x09, 0x00, 0x04, 0x43};
const Bytes kHeartbeat = {0xFF, 0x07, 0x30, 0x0B, 0x00, 0x00, 0x41};
const Bytes kLedO = {0xFF, 0x07, 0x30, 0x09, 0x00, 0x4F, 0x8E};
const Bytes kLedFour = kReady;

constexpr uint8_t kEsc = 11, kA = 13, kHash = 19, kUp = 20, kDown = 21, kEnter = 34;

const std::string kKeysHead = "面板输入ESC退出测试\n";

std::string repeat(const std::string& s, int n) {
  std::string r;
  for (int i = 0; i < n; ++i) r += s;
  return r;
}

Bytes key(uint8_t code) { return sim::panel_frame({0x20, code}); }

class Panel : public tavtest::BoardTest {
 protected:
  sim::PanelDevice& port() { return *sim::panel(board()); }
  // What the items wrote after the panel test's four frames.
  std::vector<Bytes> replies() {
    auto w = port().writes();
    return std::vector<Bytes>(w.begin() + std::min<size_t>(4, w.size()), w.end());
  }
};

struct KeyCase {
  const char* name;
  std::vector<Bytes> sends;  // each reaches the port in its own read
  std::string out;           // after the key test's banner
  std::vector<Bytes> writes;
  uint64_t seconds;  // virtual time the key test took
};

TEST_F(Panel, key_loop_parses_frames_and_answers_keys) {
  const std::string one = "select return 1 \n";
  std::vector<Bytes> walk;
  for (int i = 0; i < 8; ++i) walk.push_back(sim::panel_frame({0x30, 0x05, 0x00, static_cast<uint8_t>(1 << i)}));
  walk.push_back(kHeartbeat);
  for (int i = 0; i < 8; ++i) walk.push_back(sim::panel_frame({0x30, 0x05, static_cast<uint8_t>(1 << i), 0x00}));
  Bytes down = key(kDown);
  const KeyCase cases[] = {
      {"ESC ends at once", {key(kEsc)}, one, {}, 0},
      {"UP and A light O six times each",
       {key(kUp), key(kA), key(kEsc)},
       repeat(one, 3),
       std::vector<Bytes>(12, kLedO),
       0},
      {"# and DOWN", {key(kHash), key(kDown), key(kEsc)}, repeat(one, 3), {kLedFour, kLedFour}, 0},
      {"frame split over two reads",
       {Bytes(down.begin(), down.begin() + 3), Bytes(down.begin() + 3, down.end()), key(kEsc)},
       repeat(one, 3),
       {kLedFour},
       0},
      {"two frames in one read, the second ESC",
       {[&] {
         Bytes b = key(kDown), e = key(kEsc);
         b.insert(b.end(), e.begin(), e.end());
         return b;
       }()},
       one,
       {kLedFour},
       0},
      {"length 4 slides a byte; filler skipped",
       {{0xFF, 0x04, 0x00, 0x80, 0xFF, 0x05, 0x20, kUp, 0x44}, key(kEsc)},
       repeat(one, 2),
       std::vector<Bytes>(6, kLedO),
       0},
      // Refused only once fifteen bytes are in: until then it waits for more.
      {"length 15 waits for its bytes, then slides",
       {{0xFF, 0x0F, 0x00, 0xFF, 0x05, 0x20, 31, 0x43}, key(kDown), key(kEsc)},
       repeat(one, 3),
       {kLedFour},
       0},
      {"empty names do nothing, 38 is unknown",
       {key(32), key(33), key(38), {0x00, 0x00}, key(kEsc)},
       repeat(one, 3) + "unknow key\n" + repeat(one, 2),
       {},
       0},
      {"other message types",
       {sim::panel_frame({0x21, 0}), sim::panel_frame({0x22, 0}), sim::panel_frame({0x31, 0}), key(kEsc)},
       one + "control pannel is pressed\n" + one + "main control keyboard is pressed\n" + one +
           "other messages is received\n" + one,
       {},
       0},
      // The heartbeat, due 4 s in, goes out between the walk's frames.
      {"ENTER walks the LEDs", {key(kEnter), key(kEsc)}, repeat(one, 2), walk, 8},
      // The heartbeat's reply, 4 s in, is the only input before five quiet seconds.
      {"five quiet seconds end it", {}, one + "select return 0 \n", {kHeartbeat}, 9},
  };
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    sim::install(fresh.get());
    tavtest::run(*fresh, tav::panel_test, {});
    auto* port = sim::panel(*fresh);
    for (const auto& s : c.sends) port->send_after(0, s);
    uint64_t start = fresh->clock().now_ns();
    Outcome o = tavtest::run(*fresh, tav::keys_test, {});
    EXPECT_EQ(o.out, kKeysHead + c.out) << c.name;
    EXPECT_EQ(o.result, 0) << c.name;
    auto w = port->writes();
    EXPECT_EQ(std::vector<Bytes>(w.begin() + 4, w.end()), c.writes) << c.name;
    EXPECT_EQ((fresh->clock().now_ns() - start) / kSec, c.seconds) << c.name;
    sim::install(&board());
  }
}

// The heartbeat thread writes every ten virtual seconds while the key loop
// runs; Ctrl-C reports the replies counted and ends the process by the signal.
unsigned replies_reported(const Outcome& o) {
  size_t at = o.out.rfind("receive 0:");
  return at == std::string::npos ? ~0u : static_cast<unsigned>(std::stoul(o.out.substr(at + 10)));
}

TEST_F(Panel, heartbeat_every_ten_seconds_and_ctrl_c_reports_the_replies) {
  run(tav::panel_test, {});  // the thread started 6 s ago
  // The count lives as long as the process: take the one so far first.
  board().clock().signal_at(board().clock().now_ns(), SIGINT);
  Outcome before = run(tav::keys_test, {});
  ASSERT_TRUE(before.exited);
  for (int i = 0; i < 6; ++i) port().press(4 * kSec, 0);
  board().clock().signal_at(board().clock().now_ns() + 25 * kSec, SIGINT);
  Outcome o = run(tav::keys_test, {});
  EXPECT_TRUE(o.exited);
  EXPECT_EQ(o.status, 128 + SIGINT);
  EXPECT_EQ(o.out.substr(o.out.size() - 9), " replies\n");
  EXPECT_EQ(replies_reported(o), replies_reported(before) + 3) << o.out;
  EXPECT_EQ(replies(), std::vector<Bytes>(3, kHeartbeat));
}

class Rs485 : public tavtest::BoardTest {
 protected:
  sim::Rs485Port& plug() { return *sim::rs485_port(board()); }
  sim::TavioDevice& io() { return *sim::tavio(board()); }
};

const std::string kRsHead = "RS485测试开始\n";
const std::string kHalf = kRsHead + "开始RS485半双工测试, 观察小灯是否闪烁:\n";
const std::string kRsEnd = "RS485测试完毕\n";

void half_duplex_wiring(sim::Board& b) { sim::tavio(b)->hw_info.serial_attr = 0x200 | 0x2000; }

TEST_F(Rs485, half_duplex_sends_three_pairs_to_the_fixture) {
  half_duplex_wiring(board());
  Outcome o = run(tav::rs485_test, {});
  EXPECT_EQ(o.out, kHalf + kRsEnd);
  const uint8_t frames[] = {0xB5, 0x01, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBE, 0xB5, 0x01, 0x14, 0x00,
                            0x00, 0x00, 0x00, 0xCA, 0xB5, 0x01, 0x09, 0x00, 0x03, 0x00, 0x00, 0xC2,
                            0xB5, 0x01, 0x14, 0x00, 0x00, 0x00, 0x00, 0xCA, 0xB5, 0x01, 0x08, 0x00,
                            0x01, 0x00, 0x00, 0xBF, 0xB5, 0x01, 0x14, 0x00, 0x00, 0x00, 0x00, 0xCA};
  EXPECT_EQ(plug().sent(), Bytes(std::begin(frames), std::end(frames)));
  EXPECT_EQ(board().log_of(sim::Call::Fsync).size(), 6u);
  EXPECT_EQ(io().rs485_send, 0);
}

// The default wiring loops 26 characters through the port: a '#' for each
// echoed one, a line for each that could not be sent, and the count of errors
// on the closing line (32 bytes reported whatever was sent).
TEST_F(Rs485, full_duplex_loop_counts_what_was_not_sent_or_not_echoed) {
  const std::string head = kRsHead + "开始RS485全双工测试:\n";
  auto marks = [](int n) { return std::string(static_cast<size_t>(n), '#'); };
  struct Case {
    const char* what;
    std::function<void(sim::Board&)> setup;
    std::string body;
  } cases[] = {
      {"every character echoed", nullptr, marks(26) + "\n/dev/ttyS1发送接收32字节完成, 错误次数0"},
      {"the third write refused",
       [](sim::Board& b) {
         b.fail({sim::Call::Write, "/dev/ttyS1", 0, 3, EIO});
       },
       marks(2) + "RS485发送失败,0xffffffff,Input/output error\n" + marks(23) +
           "\n/dev/ttyS1发送接收32字节完成, 错误次数1"},
      {"every write refused",
       [](sim::Board& b) {
         b.fail({sim::Call::Write, "/dev/ttyS1", 0, 0, EAGAIN});
       },
       ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    board().clear_faults();
    if (c.setup) c.setup(board());
    Outcome o = run(tav::rs485_test, {});
    if (c.body.empty()) {
      std::string line = "RS485发送失败,0xffffffff," + std::string(strerror(EAGAIN)) + "\n";
      std::string all;
      for (int i = 0; i < 26; ++i) all += line;
      EXPECT_EQ(o.out, head + all + "\n/dev/ttyS1发送接收32字节完成, 错误次数26" + kRsEnd);
    } else {
      EXPECT_EQ(o.out, head + c.body + kRsEnd);
    }
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

}  // namespace
