// i2c_read, i2c_write, i2c_recv, i2c_send on the simulated buses: the bytes
// on the wire, the texts, and every argument and transfer failure.
#include <gtest/gtest.h>

#include "drivers/i2c.h"
#include "harness.h"
#include "sim/i2c.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

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

TEST_F(I2cTools, every_width_puts_its_bytes_on_the_wire_and_prints_the_values) {
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

}  // namespace
