// The alarm I/O and buzzer items against the simulated /dev/tavio: verdicts
// for healthy, missing and faulty hardware, and what went on the wire.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;

// Values an ioctl of this request sent, in order, read as 64-bit words.
std::vector<uint64_t> sent(const Outcome& o, unsigned long request) {
  std::vector<uint64_t> v;
  for (const auto& r : o.requests) {
    // A failed call never reached the driver and carries no bytes.
    if (r.call != sim::Call::Ioctl || r.request != request || r.bytes.empty()) continue;
    uint64_t x = 0;
    memcpy(&x, r.bytes.data(), std::min<size_t>(r.bytes.size(), 8));
    v.push_back(x);
  }
  return v;
}

const std::string kHealthy =
    "报警输入:16个, 报警输出:4个\n"
    "常开模式报警测试:\n"
    "data_alarm_out: 0xf\n"
    "data_alarm_in: 0xffff\n"
    "data_alarm_out: 0x0\n"
    "data_alarm_in: 0x0\n"
    "常开模式，报警I/O口测试完毕\n"
    "常闭模式报警测试:\n"
    "data_alarm_out: 0xf\n"
    "data_alarm_in: 0x0\n"
    "data_alarm_out: 0x0\n"
    "data_alarm_in: 0xffff\n"
    "常闭模式，报警I/O口测试完毕\n"
    "报警测试成功!\n";

class Alarm : public tavtest::BoardTest {
 protected:
  sim::TavioDevice& dev() { return *sim::tavio(board()); }
};

TEST_F(Alarm, healthy_board_passes_both_polarities) {
  uint64_t t0 = board().clock().now_ns();
  Outcome r = run(tav::alarm_test, {"alarm"});
  EXPECT_EQ(r.out, kHealthy);
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.open_descriptors, 0u);
  EXPECT_EQ(sent(r, tav::TAVIO_IOP_SET_MODE), (std::vector<uint64_t>{0, 0xffff}));
  EXPECT_EQ(sent(r, tav::TAVIO_ALARM_OUT), (std::vector<uint64_t>{0xf, 0, 0xf, 0}));
  EXPECT_EQ(sent(r, tav::TAVIO_ALARM_DETECT), (std::vector<uint64_t>{1}));
  // Each of the four readings waits a second for the inputs to settle.
  EXPECT_EQ(board().clock().now_ns() - t0, 4000000000ull);
  // From the menu: no arguments.
  EXPECT_EQ(run(tav::alarm_test, {}).out, kHealthy);
}

TEST_F(Alarm, verdicts) {
  using Setup = std::function<void(sim::Board&)>;
  auto fail = [](unsigned long req, int err) { return [=](sim::Board& b) { sim::fail_tavio_request(b, req, err); }; };
  auto counts = [](unsigned in, unsigned out) { return [=](sim::Board& b) { sim::set_alarm_counts(b, in, out); }; };
  const std::string fail_open =
      "报警输入:16个, 报警输出:4个\n没有报警小板接入!\n常开模式报警测试:\ndata_alarm_out: 0xf\n"
      "data_alarm_in: 0x0\ndata_alarm_in: 0x0, check_mask: 0xffff, fail.\n报警测试失败!\n";
  struct Case {
    const char* what;
    Setup setup;
    std::vector<std::string> words;
    std::string out;
    int result;
  } cases[] = {
      {"no device", [](sim::Board& b) { b.remove(tav::kTavioPath); }, {"alarm"}, "设备 /dev/tavio 不存在.\n", -6},
      {"no plug: reported, then the loop-back fails", sim::remove_alarm_plug, {"alarm"}, fail_open, 0},
      {"no plug when the board is necessary",
       sim::remove_alarm_plug,
       {"alarm", "x-alarm_board_necessary"},
       "报警输入:16个, 报警输出:4个\n没有报警小板接入!\n报警测试失败!\n",
       0},
      {"alarm board present, plug missing",
       [](sim::Board& b) { sim::tavio(b)->loopback_plug = false; },
       {"alarm"},
       "报警输入:16个, 报警输出:4个\n常开模式报警测试:\ndata_alarm_out: 0xf\ndata_alarm_in: 0x0\n"
       "data_alarm_in: 0x0, check_mask: 0xffff, fail.\n报警测试失败!\n",
       0},
      {"bad magic passes", sim::set_bad_hw_magic, {"alarm"}, "获取到的CPLD魔数非法\n报警测试成功!\n", 0},
      {"polarity request fails",
       fail(tav::TAVIO_IOP_SET_MODE, EIO),
       {"alarm"},
       "报警输入:16个, 报警输出:4个\n常开模式报警测试:\nioctl cmd TAVIO_IOP_SET_MODE error, errno:5\n报警测试失败!\n",
       0},
      {"input request fails",
       fail(tav::TAVIO_ALARM_IN, EBUSY),
       {"alarm"},
       "报警输入:16个, 报警输出:4个\n常开模式报警测试:\ndata_alarm_out: 0xf\n"
       "ioctl cmd TAVIO_ALARM_IN error, errno:16\n报警测试失败!\n",
       0},
      {"no inputs: the closed pass runs as normally open",
       counts(0, 2),
       {"alarm"},
       "报警输入:0个, 报警输出:2个\n"
       "常开模式报警测试:\ndata_alarm_out: 0x3\ndata_alarm_in: 0x0\ndata_alarm_out: 0x3\ndata_alarm_in: 0x0\n"
       "常开模式，报警I/O口测试完毕\n"
       "常开模式报警测试:\ndata_alarm_out: 0x3\ndata_alarm_in: 0x0\ndata_alarm_out: 0x3\ndata_alarm_in: 0x0\n"
       "常开模式，报警I/O口测试完毕\n报警测试成功!\n",
       0},
  };
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    sim::install(fresh.get());
    c.setup(*fresh);
    Outcome o = tavtest::run(*fresh, tav::alarm_test, c.words);
    EXPECT_EQ(o.out, c.out) << c.what;
    EXPECT_EQ(o.result, c.result) << c.what;
    EXPECT_EQ(o.open_descriptors, 0u) << c.what;
    sim::install(&board());
  }
}

// The operator's answers drive the outputs; a look-ahead byte left by a hex
// answer is the next menu choice, and end of input ends the test passed.
TEST_F(Alarm, manual_mode_follows_the_answers) {
  const std::string head = "报警输入:16个, 报警输出:4个\n常开模式报警测试:\n";
  const std::string menu = "请选择输入输出模式，1:报警输入，2:报警输出，q:退出测试\n";
  const std::string ask = "请输入报警输出值: 0x";
  struct Case {
    const char* what;
    std::string console;
    std::string out;
    std::vector<uint64_t> outputs;
    uint64_t driven = 0;  // outputs already on when the test starts
  } cases[] = {
      {"end of input at once", "", head + menu + "报警测试成功!\n", {}},
      {"quit", "q\n1\n", head + menu + "报警测试成功!\n", {}},
      {"inputs read, then an output driven",
       "1\n2\n0xA5\n1\n",
       head + menu + "data_alarm_in: 0x5555\n" + menu + ask + "data_alarm_out = 0xa5\n" + menu + "报警测试成功!\n",
       {0xa5},
       0x5},
      {"the rest of the choice line is skipped",
       "2junk\n7\n",
       head + menu + ask + "data_alarm_out = 0x7\n" + menu + "报警测试成功!\n",
       {7}},
      {"the line end after a value is the next choice",
       "2\n1\n1\n",
       head + menu + ask + "data_alarm_out = 0x1\n" + menu + "报警测试成功!\n",
       {1}},
      {"a word that is no number", "2\nzz\n", head + menu + ask + menu + "报警测试成功!\n", {}},
      {"end of input while asking for a value", "2\n", head + menu + ask + menu + "报警测试成功!\n", {}},
  };
  for (const auto& c : cases) {
    sim::Board& b = fresh_board();
    b.set_console(c.console);
    sim::tavio(b)->alarm_out = c.driven;
    Outcome o = tavtest::run(b, tav::alarm_test, {"alarm", "-manual"});
    EXPECT_EQ(o.out, c.out) << c.what;
    EXPECT_EQ(o.result, 0) << c.what;
    EXPECT_EQ(o.open_descriptors, 0u) << c.what;
    EXPECT_EQ(sent(o, tav::TAVIO_ALARM_OUT), c.outputs) << c.what;
  }
  sim::fail_tavio_request(fresh_board(), tav::TAVIO_ALARM_IN, EIO);
  board().set_console("1\n");
  Outcome o = run(tav::alarm_test, {"alarm", "-manual"});
  EXPECT_EQ(o.out, head + menu + "ioctl cmd TAVIO_ALARM_IN error, errno:5\n报警测试失败!\n");
  EXPECT_EQ(o.open_descriptors, 0u);
}

using Buzzer = Alarm;

TEST_F(Buzzer, three_beeps_on_freshly_opened_devices) {
  uint64_t t0 = board().clock().now_ns();
  Outcome o = run(tav::buzzer_test, {});
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.result, -1);  // whatever happened
  EXPECT_EQ(dev().beeps, (std::vector<uint8_t>{1, 0, 1, 0, 1, 0}));
  EXPECT_EQ(board().clock().now_ns() - t0, 1200000000ull);
  size_t opens = 0;
  for (const auto& r : o.requests) opens += r.call == sim::Call::Open && r.path == tav::kTavioPath;
  EXPECT_EQ(opens, 6u);
  EXPECT_EQ(o.open_descriptors, 0u);
}

}  // namespace
