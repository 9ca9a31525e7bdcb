// The front panel, key and RS485 items against the simulated panel and RS485
// plug: frames on the wire, the receive parser, the heartbeat thread on
// virtual time, and every failing request.
#include "sim/serial.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <functional>
#include <string>
#include <vector>

#include "harness.h"
#include "items/io/io_items.h"
#include "items/io/tavio.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;
using Bytes = std::vector<uint8_t>;

constexpr uint64_t kSec = 1000000000ull;

const Bytes kReady = {0xFF, 0x07, 0x30, 0x09, 0x00, 0x04, 0x43};
const Bytes kReboot = {0xFF, 0x07, 0x30, 0x01, 0x01, 0x0A, 0x42};
const Bytes kHeartbeat = {0xFF, 0x07, 0x30, 0x0B, 0x00, 0x00, 0x41};
const Bytes kLedO = {0xFF, 0x07, 0x30, 0x09, 0x00, 0x4F, 0x8E};
const Bytes kLedFour = kReady;

constexpr uint8_t kEsc = 11, kA = 13, kHash = 19, kUp = 20, kDown = 21, kEnter = 34;

const std::string kPanelOk =
    "面板测试开始\n发送ready信号\n已创建心跳守护进程!\n\nsend reboot command 1\n\nsend reboot command 2\n"
    "\nsend reboot command 3\n面板测试完毕\n";
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

TEST_F(Panel, SetsUpThePortAndSendsReadyThenThreeReboots) {
  uint64_t start = board().clock().now_ns();
  Outcome o = run(tav::panel_test, {});
  EXPECT_EQ(o.out, kPanelOk);
  EXPECT_EQ(o.result, 0);
  EXPECT_EQ(port().writes(), (std::vector<Bytes>{kReady, kReboot, kReboot, kReboot}));
  EXPECT_EQ(board().clock().now_ns() - start, 6 * kSec);
  // Built from zero: only 9600 8N1 with the receiver on and no modem lines.
  struct termios t = port().attrs();
  EXPECT_EQ(cfgetispeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(t.c_cflag & ~static_cast<tcflag_t>(CBAUD), static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(t.c_iflag | t.c_oflag | t.c_lflag, 0u);
  EXPECT_EQ(t.c_cc[VMIN] | t.c_cc[VTIME], 0);
  auto opens = board().log_of(sim::Call::Open);
  ASSERT_EQ(opens.size(), 2u);
  EXPECT_EQ(opens[1].path, "/dev/ttyS2");
  EXPECT_EQ(opens[1].request, static_cast<unsigned long>(O_RDWR | O_NOCTTY | O_NONBLOCK));
  // The port stays open for the key test and the heartbeat.
  EXPECT_EQ(o.open_descriptors, 1u);
}

TEST_F(Panel, PortFollowsTheBoardVariant) {
  struct Case {
    unsigned variant;
    const char* port;
  } cases[] = {
      {0x04, "/dev/ttyS3"}, {0x10, "/dev/ttyS3"}, {0x50, "/dev/ttyS4"}, {0x30, "/dev/ttyS2"}, {0x00, "/dev/ttyS2"}};
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    sim::install(fresh.get());
    sim::set_board_variant(*fresh, c.variant);
    fresh->add(c.port, std::make_shared<sim::PanelDevice>(fresh->clock()));
    Outcome o = tavtest::run(*fresh, tav::panel_test, {});
    EXPECT_EQ(o.out, kPanelOk) << c.variant;
    EXPECT_EQ(fresh->log_of(sim::Call::Open).at(1).path, c.port) << c.variant;
    EXPECT_EQ(sim::panel(*fresh, c.port)->writes().size(), 4u) << c.variant;
    sim::install(&board());
  }
}

TEST_F(Panel, FailuresEndWithTheirMessage) {
  const std::string head = "面板测试开始\n";
  const std::string end = "面板测试完毕\n";
  struct Case {
    const char* name;
    std::function<void(sim::Board&)> setup;
    std::string out;
    int result;
  } cases[] = {
      {"no IO device", [](sim::Board& b) { b.remove("/dev/tavio"); }, head + "驱动接口打开失败!\n", -1},
      {"record request fails", [](sim::Board& b) { sim::fail_tavio_request(b, tav::TAVIO_GET_HARDWRE_INFO, EIO); },
       head + "获取CPLD失败!\n" + end, -22},
      {"bad magic", sim::set_bad_hw_magic, head + "CPLD错误!\n" + end, -22},
      {"no port", [](sim::Board& b) { b.remove("/dev/ttyS2"); },
       head + "open /dev/ttyS2 failed\npannel init failed !\n" + end, -22},
      {"attributes refused",
       [](sim::Board& b) {
         b.fail({sim::Call::Tcsetattr, "", 0, 0, EIO});
       },
       head + "tcsetattr failed\npannel init failed !\n" + end, -22},
      {"no thread",
       [](sim::Board& b) {
         b.fail({sim::Call::Thread, "", 0, 0, EAGAIN});
       },
       head + "发送ready信号\ncan not creat HB thread\n创建面板心跳守护进程失败 !\n" + end, -22},
  };
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    sim::install(fresh.get());
    c.setup(*fresh);
    Outcome o = tavtest::run(*fresh, tav::panel_test, {});
    EXPECT_EQ(o.out, c.out) << c.name;
    EXPECT_EQ(o.result, c.result) << c.name;
    EXPECT_LE(o.open_descriptors, 1u) << c.name;  // at most the port itself
    sim::install(&board());
  }
}

struct KeyCase {
  const char* name;
  std::vector<Bytes> sends;  // each reaches the port in its own read
  std::string out;           // after the key test's banner
  std::vector<Bytes> writes;
  uint64_t seconds;  // virtual time the key test took
};

TEST_F(Panel, KeyLoopParsesFramesAndAnswersKeys) {
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

TEST_F(Panel, KeyLoopSurvivesAFailedReadAndEndsOnAFailedWait) {
  run(tav::panel_test, {});
  port().press(0, kEsc);
  board().fail({sim::Call::Read, "/dev/ttyS2", 0, 1, EIO});
  Outcome o = run(tav::keys_test, {});
  EXPECT_EQ(o.out, kKeysHead + "select return 1 \nread front board failed\nselect return 1 \n");
  EXPECT_EQ(o.result, 0);
  board().fail({sim::Call::Select, "", 0, 0, EIO});
  o = run(tav::keys_test, {});
  EXPECT_EQ(o.out, kKeysHead + "select return -1 \n");
  EXPECT_EQ(o.result, -1);
}

// The heartbeat thread writes every ten virtual seconds while the key loop
// runs; Ctrl-C reports the replies counted and ends the process by the signal.
unsigned replies_reported(const Outcome& o) {
  size_t at = o.out.rfind("receive 0:");
  return at == std::string::npos ? ~0u : static_cast<unsigned>(std::stoul(o.out.substr(at + 10)));
}

TEST_F(Panel, HeartbeatEveryTenSecondsAndCtrlCReportsTheReplies) {
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
const std::string kFull = kRsHead + "开始RS485全双工测试:\n";
const std::string kHalf = kRsHead + "开始RS485半双工测试, 观察小灯是否闪烁:\n";
const std::string kRsEnd = "RS485测试完毕\n";

std::string full_end(const std::string& path, int errors) {
  return "\n" + path + "发送接收32字节完成, 错误次数" + std::to_string(errors) + kRsEnd;
}

void half_duplex_wiring(sim::Board& b) { sim::tavio(b)->hw_info.serial_attr = 0x200 | 0x2000; }

struct RsCase {
  const char* name;
  std::function<void(sim::Board&)> setup;
  std::string out;
  uint64_t min_seconds;
};

void run_cases(sim::Board& home, const std::vector<RsCase>& cases) {
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    sim::install(fresh.get());
    c.setup(*fresh);
    uint64_t start = fresh->clock().now_ns();
    Outcome o = tavtest::run(*fresh, tav::rs485_test, {});
    EXPECT_EQ(o.out, c.out) << c.name;
    EXPECT_EQ(o.result, c.out == kRsHead + "驱动接口打开失败!\n" ? -1 : 0) << c.name;
    EXPECT_GE((fresh->clock().now_ns() - start) / kSec, c.min_seconds) << c.name;
    EXPECT_EQ(o.open_descriptors, 0u) << c.name;
    sim::install(&home);
  }
}

TEST_F(Rs485, FullDuplexSendsTwentySixCharactersAndWaitsForEachEcho) {
  Outcome o = run(tav::rs485_test, {});
  EXPECT_EQ(o.out, kFull + std::string(26, '#') + full_end("/dev/ttyS1", 0));
  auto sent = plug().sent();
  EXPECT_EQ(std::string(sent.begin(), sent.end()), "abcdefghijklmnopqrstuvwxya");
  EXPECT_EQ(io().rs485_send, 0);
  EXPECT_EQ(io().rs485_receive, 0);
  struct termios t = plug().attrs();
  EXPECT_EQ(cfgetispeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(t.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
  EXPECT_EQ(t.c_cflag & (CSTOPB | PARENB), 0u);
  EXPECT_EQ(t.c_lflag & (ICANON | ECHO | ISIG), 0u);
  EXPECT_EQ(t.c_oflag & OPOST, 0u);
  EXPECT_EQ(t.c_cc[VTIME], 50);
  EXPECT_EQ(t.c_cc[VMIN], 0);
}

TEST_F(Rs485, FullDuplexCountsEveryLostLateOrWrongCharacter) {
  std::string wrong;
  for (int i = 0; i < 26; ++i) {
    char c = static_cast<char>(i == 25 ? 'a' : 'a' + i);
    wrong += "/dev/ttyS1接收数据错误,send=" + std::string(1, c) + "(" + std::to_string(c) +
             "), recv=" + std::string(1, static_cast<char>(c ^ 0x20)) + "(" + std::to_string(c ^ 0x20) + ")\n#";
  }
  run_cases(
      board(),
      {
          {"no plug: 26 timeouts, half a second each", [](sim::Board& b) { sim::rs485_port(b)->plugged = false; },
           kFull + repeat("timeout\n", 26) + full_end("/dev/ttyS1", 26), 13},
          {"bad cable", [](sim::Board& b) { sim::rs485_port(b)->mask = 0x20; },
           kFull + wrong + full_end("/dev/ttyS1", 26), 0},
          {"full-duplex variant on ttyS3",
           [](sim::Board& b) {
             sim::set_board_variant(b, tav::kVariantFullDuplex485);
             b.add("/dev/ttyS3", std::make_shared<sim::Rs485Port>());
           },
           kFull + std::string(26, '#') + full_end("/dev/ttyS3", 0), 0},
          {"port missing", [](sim::Board& b) { b.remove("/dev/ttyS1"); }, kFull + "/dev/ttyS1设备不存在\n" + kRsEnd, 0},
          {"writes fail",
           [](sim::Board& b) {
             b.fail({sim::Call::Write, "/dev/ttyS1", 0, 0, EIO});
           },
           kFull + repeat("RS485发送失败,0xffffffff,Input/output error\n", 26) + full_end("/dev/ttyS1", 26), 0},
          {"reads fail",
           [](sim::Board& b) {
             b.fail({sim::Call::Read, "/dev/ttyS1", 0, 0, EIO});
           },
           kFull + repeat("RS485接收失败,Input/output error\n#", 26) + full_end("/dev/ttyS1", 26), 0},
          {"driver switch refused", [](sim::Board& b) { sim::fail_tavio_request(b, tav::TAVIO_ENABLE_485_SEND, EIO); },
           kFull + "enable485Send ret:-1 errno:5\n" + std::string(26, '#') + "\nenable485Send ret:-1 errno:5\n" +
               full_end("/dev/ttyS1", 0).substr(1),
           0},
          {"wait fails",
           [](sim::Board& b) {
             b.fail({sim::Call::Select, "", 0, 0, EIO});
           },
           kFull + "select RS485[Input/output error]\n\n" + full_end("/dev/ttyS1", 0), 0},
      });
}

TEST_F(Rs485, HalfDuplexSendsThreePairsToTheFixture) {
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

TEST_F(Rs485, EarlyEndsAndHalfDuplexFailures) {
  auto half = [](std::function<void(sim::Board&)> more) {
    return [more](sim::Board& b) {
      half_duplex_wiring(b);
      more(b);
    };
  };
  run_cases(
      board(),
      {
          {"no IO device", [](sim::Board& b) { b.remove("/dev/tavio"); }, kRsHead + "驱动接口打开失败!\n", 0},
          {"record request fails", [](sim::Board& b) { sim::fail_tavio_request(b, tav::TAVIO_GET_HARDWRE_INFO, EIO); },
           kRsHead + "获取CPLD失败!\n", 0},
          {"bad magic", sim::set_bad_hw_magic, kRsHead + "CPLD错误!\n", 0},
          {"no RS485 on the board", [](sim::Board& b) { sim::tavio(b)->hw_info.serial_attr = 0x2000; },
           kRsHead + "CPLD中没有485接口\n", 0},
          {"detect fails", half([](sim::Board& b) { sim::fail_tavio_request(b, tav::TAVIO_RS485_DETECT, EIO); }),
           kRsHead + "获取TAVIO_RS485_DETECT失败!\n", 0},
          {"fixture board missing", half([](sim::Board& b) { sim::tavio(b)->rs485_board = false; }),
           kRsHead + "RS485小板没有接入!\n", 0},
          {"port missing", half([](sim::Board& b) { b.remove("/dev/ttyS1"); }),
           kHalf + "设备 /dev/ttyS1 不存在\n" + kRsEnd, 0},
          {"attributes unreadable", half([](sim::Board& b) {
             b.fail({sim::Call::Tcgetattr, "", 0, 0, EIO});
           }),
           kHalf + "tcgetattr Input/output error\nset_speed error!\ntcgetattr Input/output error\nset_parity error!\n" +
               kRsEnd,
           0},
          {"writes fail: a failed first frame skips its pair", half([](sim::Board& b) {
             b.fail({sim::Call::Write, "/dev/ttyS1", 0, 0, EIO});
           }),
           kHalf + repeat("write error: Input/output error\n", 3) + kRsEnd, 0},
          {"interrupted write", half([](sim::Board& b) {
             b.fail({sim::Call::Write, "/dev/ttyS1", 0, 2, EINTR});
           }),
           kHalf + "errno = EINTR, error = Interrupted system call\n" + kRsEnd, 0},
      });
}

}  // namespace
