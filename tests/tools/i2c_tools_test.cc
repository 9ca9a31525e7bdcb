// i2c_read, i2c_write, i2c_recv, i2c_send on the simulated buses: the bytes
// on the wire, the texts, and every argument and transfer failure.
#include <gtest/gtest.h>

#include "harness.h"
#include "sim/i2c.h"
#include "tools/i2c.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

const std::string kReadUsage =
    "usage: i2c_read <i2c_num> <dev_addr> <reg_addr> <reg_addr_end><reg_width> <data_width> <reg_step>. sample: \n"
    "\t\t0x1 0x56 0x0 0x10 2 2. \n"
    "\t\t0x1 0x56 0x0 0x10 2 2 2. \n"
    "\t\t0x1 0x56 0x0 0x10. default reg_width, data_width, reg_step is 1. \n";
const std::string kWriteUsage =
    "usage: i2c_write <i2c_num> <dev_addr> <reg_addr> <value> <reg_width> <data_width>. sample:\n"
    "\t\t 0x1 0x56 0x0 0x28 2 2. \n"
    "\t\t 0x1 0x56 0x0 0x28. default reg_width and data_width is 1. \n";
const std::string kDashes(84, '-');

class I2cTools : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    wide_ = sim::i2c_chip(board(), 1, 0x2b);
    narrow_ = sim::i2c_chip(board(), 1, 0x50);
    ASSERT_NE(wide_, nullptr);
    ASSERT_NE(narrow_, nullptr);
    auto& w = wide_->regs();
    w[0] = 0x12, w[1] = 0x34, w[2] = 0x56, w[3] = 0x78, w[4] = 0x9A, w[5] = 0xBC, w[6] = 0xDE;
    w[0x100] = 0x11, w[0x101] = 0x22;
    for (int i = 0; i < 0x100; ++i) narrow_->regs()[i] = static_cast<uint8_t>(0xFF - i);
  }
  // What each transfer of the run put on the wire.
  static std::vector<Bytes> wire(const Outcome& r) {
    std::vector<Bytes> out;
    for (const auto& q : r.requests)
      if ((q.call == sim::Call::Ioctl && q.request == tav::I2C_RDWR) || q.call == sim::Call::Write)
        out.push_back(q.bytes);
    return out;
  }
  sim::I2cChip* wide_ = nullptr;
  sim::I2cChip* narrow_ = nullptr;
};

struct WireCase {
  tavtest::Entry entry;
  std::vector<std::string> words;
  std::vector<Bytes> wire;
  std::string out;
};

TEST_F(I2cTools, EveryWidthPutsItsBytesOnTheWireAndPrintsTheValues) {
  const WireCase cases[] = {
      // An odd 8-bit address is shifted to 7 bits and printed even.
      {tav::i2c_read,
       {"i2c_read", "1", "0xA1", "0x3"},
       {{0xA0, 0x03, 0xA1, 0xFC}},
       "i2c_num:0x1, dev_addr:0xa0; reg_addr:0x3; reg_addr_end:0x3; reg_width: 1; data_width: 1. \n\n0x3: 0xfc\n"},
      // A data width of 2 walks two registers at a time.
      {tav::i2c_read,
       {"i2c_read", "1", "0x56", "0x0", "0x4", "2", "2"},
       {{0x56, 0x00, 0x00, 0x57, 0x12, 0x34},
        {0x56, 0x00, 0x02, 0x57, 0x56, 0x78},
        {0x56, 0x00, 0x04, 0x57, 0x9A, 0xBC}},
       "i2c_num:0x1, dev_addr:0x56; reg_addr:0x0; reg_addr_end:0x4; reg_width: 2; data_width: 2. \n\n"
       "0x0: 0x1234\n0x2: 0x5678\n0x4: 0x9abc\n"},
      {tav::i2c_read,
       {"i2c_read", "1", "0x56", "0x100", "0x101", "2", "1"},
       {{0x56, 0x01, 0x00, 0x57, 0x11}, {0x56, 0x01, 0x01, 0x57, 0x22}},
       "i2c_num:0x1, dev_addr:0x56; reg_addr:0x100; reg_addr_end:0x101; reg_width: 2; data_width: 1. \n\n"
       "0x100: 0x11\n0x101: 0x22\n"},
      {tav::i2c_read,
       {"i2c_read", "1", "0xA0", "0x10", "0x10", "1", "2"},
       {{0xA0, 0x10, 0xA1, 0xEF, 0xEE}},
       "i2c_num:0x1, dev_addr:0xa0; reg_addr:0x10; reg_addr_end:0x10; reg_width: 1; data_width: 2. \n\n0x10: 0xefee\n"},
      // An explicit step replaces the one the data width gave.
      {tav::i2c_read,
       {"i2c_read", "1", "0xA0", "0x0", "0x8", "1", "2", "4"},
       {{0xA0, 0x00, 0xA1, 0xFF, 0xFE}, {0xA0, 0x04, 0xA1, 0xFB, 0xFA}, {0xA0, 0x08, 0xA1, 0xF7, 0xF6}},
       "i2c_num:0x1, dev_addr:0xa0; reg_addr:0x0; reg_addr_end:0x8; reg_width: 1; data_width: 2. \n\n"
       "0x0: 0xfffe\n0x4: 0xfbfa\n0x8: 0xf7f6\n"},
      // A zero step is allowed only at register 0, which is read once.
      {tav::i2c_read,
       {"i2c_read", "1", "0xA0", "0", "0", "1", "1", "0"},
       {{0xA0, 0x00, 0xA1, 0xFF}},
       "i2c_num:0x1, dev_addr:0xa0; reg_addr:0x0; reg_addr_end:0x0; reg_width: 1; data_width: 1. \n\n0x0: 0xff\n"},
      {tav::i2c_write,
       {"i2c_write", "1", "0x56", "0x10", "0x1234", "2", "2"},
       {{0x56, 0x00, 0x10, 0x12, 0x34}},
       "i2c_num:0x1, dev_addr:0x56; reg_addr:0x10; data:0x1234; reg_width: 2; data_width: 2.\n"},
      {tav::i2c_write,
       {"i2c_write", "1", "0xA1", "0x7", "0xBEEF", "1", "2"},
       {{0xA0, 0x07, 0xBE, 0xEF}},
       "i2c_num:0x1, dev_addr:0xa0; reg_addr:0x7; data:0xbeef; reg_width: 1; data_width: 2.\n"},
      {tav::i2c_write,
       {"i2c_write", "1", "0xA0", "0x110", "0x1234"},
       {{0xA0, 0x10, 0x34}},
       "i2c_num:0x1, dev_addr:0xa0; reg_addr:0x110; data:0x1234; reg_width: 1; data_width: 1.\n"},
      {tav::i2c_recv,
       {"i2c_recv", "1", "0x2b", "2", "0x00", "0x04", "3"},
       {{0x56, 0x00, 0x04, 0x57, 0x9A, 0xBC, 0xDE}},
       "-------------i2c_num: 0x1\n"
       "i2c_num:0x1, dev_addr:0x2b; write_num:0x 2; write_value: 0x00-0x04-0x00-0x00-0x00-0x00-0x00-0x00\n"
       "read_num:0x 3 \n\nread_value[0] = 0x9a\nread_value[1] = 0xbc\nread_value[2] = 0xde\n"},
      {tav::i2c_send,
       {"i2c_send", "1", "0x150", "0x20", "0x1AA", "0xBB"},
       {{0xA0, 0x20, 0xAA, 0xBB}},
       "dev_addr:0x50, value:0x20-0xaa-0xbb-0x00-0x00-0x00-0x00-0x00\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words[0] + " " + c.words[2] + " " + c.words[3]);
    Outcome r = run(c.entry, c.words);
    EXPECT_EQ(wire(r), c.wire);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

struct TextCase {
  tavtest::Entry entry;
  std::vector<std::string> words;
  std::string out;
  int result;
};

TEST_F(I2cTools, ArgumentErrorsPrintTheirMessagesAndTouchNoBus) {
  const std::string recv_usage =
      "usage: i2c_recv <i2c_num> <device_addr> <write_num> <write_value1> "
      "<write_value2>...<read_num>\n" +
      kDashes +
      "\n"
      "\t\ti2c_recv 0x1 0x56 8 0x11 0x12 0x13 0x14 0x15 0x16 0x17 0x18 3\n";
  const std::string send_usage = "usage: i2c_send <i2c_num> <device_addr> <value1> <value2>...<value8>\n" + kDashes +
                                 "\n\t\ti2c_send 0x1 0x56 0x10 0x11. \n";
  const TextCase cases[] = {
      {tav::i2c_read, {"i2c_read", "1", "0x56"}, kReadUsage, -1},
      {tav::i2c_read, {"i2c_read", "1", "0x56", "0x0", "0x10", "1", "1", "1", "x"}, kReadUsage, -1},
      {tav::i2c_read, {"i2c_read", "1", "0x56", "0x10", "0xf"}, "reg_addr_end < reg_addr error!\n", -1},
      {tav::i2c_read, {"i2c_read", "1", "0x56", "0x0", "0x10", "3"}, "reg_width must be 1 or 2\n", -1},
      {tav::i2c_read, {"i2c_read", "1", "0x56", "0x0", "0x10", "1", "0"}, "data_width must be 1 or 2\n", -1},
      {tav::i2c_read,
       {"i2c_read", "1", "0x56", "0x1", "0x10", "2", "2"},
       "((reg_addr or reg_addr_end) % reg_step) != 0, error!\n",
       -1},
      {tav::i2c_read,
       {"i2c_read", "1", "0x56", "0x0", "0x5", "1", "1", "4"},
       "((reg_addr or reg_addr_end) % reg_step) != 0, error!\n",
       -1},
      {tav::i2c_read,
       {"i2c_read", "1", "0x56", "0x0", "0x5", "1", "1", "0"},
       "((reg_addr or reg_addr_end) % reg_step) != 0, error!\n",
       -1},
      {tav::i2c_write, {"i2c_write", "1", "0x56", "0x0"}, kWriteUsage, -1},
      {tav::i2c_write, {"i2c_write", "1", "0x56", "0x0", "zz"}, kReadUsage, -1},
      {tav::i2c_write, {"i2c_write", "1", "0x56", "0x0", "1", "0"}, "reg_width must be 1 or 2\n" + kReadUsage, -1},
      {tav::i2c_recv, {"i2c_recv", "1", "0x56", "0"}, recv_usage, -1},
      {tav::i2c_recv, {"i2c_recv", "x1", "0x56", "0", "0"}, "", 0},
      {tav::i2c_recv, {"i2c_recv", "15", "0x56", "0", "0"}, "-------------i2c_num: 0xf\n", -1},
      {tav::i2c_recv, {"i2c_recv", "1", "0x2b", "9", "0"}, "-------------i2c_num: 0x1\nwrite_num:9, too big\n", 0},
      {tav::i2c_recv, {"i2c_recv", "1", "0x2b", "2", "1", "z", "1"}, "-------------i2c_num: 0x1\n", 0},
      {tav::i2c_recv, {"i2c_recv", "1", "0x2b", "1", "1", "9"}, "-------------i2c_num: 0x1\nread_num:9, too big\n", 0},
      {tav::i2c_recv,
       {"i2c_recv", "1", "0x2b", "3", "1", "2"},
       "-------------i2c_num: 0x1\nwrite_num:3, but read_num is missing\n",
       -1},
      {tav::i2c_send, {"i2c_send", "1", "0x56"}, send_usage, -1},
      {tav::i2c_send, {"i2c_send", "1", "0x56", "1", "2", "3", "4", "5", "6", "7", "8", "9"}, send_usage, -1},
      {tav::i2c_send, {"i2c_send", "one", "0x56", "1"}, "", 0},
      {tav::i2c_send, {"i2c_send", "15", "0x56", "1"}, "", -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words.back());
    Outcome r = run(c.entry, c.words);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.result, c.result);
    EXPECT_TRUE(wire(r).empty());
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

TEST_F(I2cTools, BusFailuresAreReportedAndTheNodeClosed) {
  board().remove("/dev/i2c-0");
  const TextCase cases[] = {
      {tav::i2c_read,
       {"i2c_read", "0", "0xA0", "0"},
       "i2c_num:0x0, dev_addr:0xa0; reg_addr:0x0; reg_addr_end:0x0; reg_width: 1; data_width: 1. \n\n"
       "Open /dev/i2c-0 error!\n",
       -1},
      {tav::i2c_read,
       {"i2c_read", "1", "0x100", "0"},
       "i2c_num:0x1, dev_addr:0x100; reg_addr:0x0; reg_addr_end:0x0; reg_width: 1; data_width: 1. \n\n"
       "CMD_SET_I2C_SLAVE error!\n",
       -1},
      {tav::i2c_read,
       {"i2c_read", "1", "0x40", "0"},  // nobody answers at 0x20
       "i2c_num:0x1, dev_addr:0x40; reg_addr:0x0; reg_addr_end:0x0; reg_width: 1; data_width: 1. \n\n"
       "CMD_I2C_READ error!\n",
       -1},
      {tav::i2c_write,
       {"i2c_write", "1", "0x100", "0", "1"},
       "i2c_num:0x1, dev_addr:0x100; reg_addr:0x0; data:0x1; reg_width: 1; data_width: 1.\n"
       "set i2c device address error!\n",
       -1},
      {tav::i2c_write,
       {"i2c_write", "1", "0x40", "0", "1"},
       "i2c_num:0x1, dev_addr:0x40; reg_addr:0x0; data:0x1; reg_width: 1; data_width: 1.\ni2c write error!\n",
       -1},
      {tav::i2c_recv, {"i2c_recv", "0", "0x50", "0", "1"}, "-------------i2c_num: 0x0\nOpen i2c dev error!\n", -1},
      {tav::i2c_recv,
       {"i2c_recv", "1", "0x80", "0", "1"},
       "-------------i2c_num: 0x1\ni2c_num:0x1, dev_addr:0x80; write_num:0x 0; write_value: "
       "0x00-0x00-0x00-0x00-0x00-0x00-0x00-0x00\nread_num:0x 1 \n\nCMD_SET_DEV error!\n",
       -1},
      {tav::i2c_recv,
       {"i2c_recv", "1", "0x20", "0", "1"},
       "-------------i2c_num: 0x1\ni2c_num:0x1, dev_addr:0x20; write_num:0x 0; write_value: "
       "0x00-0x00-0x00-0x00-0x00-0x00-0x00-0x00\nread_num:0x 1 \n\nI2C RDWR err\n",
       -1},
      {tav::i2c_send, {"i2c_send", "0", "0x50", "1"}, "Open i2c dev error!\n", -1},
      {tav::i2c_send,
       {"i2c_send", "1", "0x20", "1"},
       "dev_addr:0x20, value:0x01-0x00-0x00-0x00-0x00-0x00-0x00-0x00\nI2C_WRITE error!\n",
       -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words[0] + " " + c.words[1] + " " + c.words[2]);
    Outcome r = run(c.entry, c.words);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.result, c.result);
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

TEST_F(I2cTools, ReadsAreCombinedTransfersToTheSevenBitAddress) {
  Outcome r = run(tav::i2c_read, {"i2c_read", "1", "0x56", "0x0", "0x2", "2", "2"});
  ASSERT_EQ(r.result, 0);
  std::vector<unsigned long> requests;
  for (const auto& q : r.requests)
    if (q.call == sim::Call::Ioctl) requests.push_back(q.request);
  EXPECT_EQ(requests, (std::vector<unsigned long>{0x0706, 0x0707, 0x0707}));
  EXPECT_EQ(r.requests.front().call, sim::Call::Open);
  EXPECT_EQ(r.requests.front().path, "/dev/i2c-1");
  EXPECT_EQ(r.requests.front().request & O_ACCMODE, static_cast<unsigned long>(O_RDWR));
  EXPECT_EQ(r.requests[1].bytes, Bytes{0x2b});
}

}  // namespace
