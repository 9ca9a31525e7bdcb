// hier and hiew through the vendor I2C node on the simulated board.
#include <fcntl.h>
#include <gtest/gtest.h>

#include "drivers/i2c.h"
#include "harness.h"
#include "sim/i2c.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

class ExtI2cTools : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    chip_ = sim::i2c_chip(board(), 0, 0x50);
    ASSERT_NE(chip_, nullptr);
    for (int i = 0; i < 0x100; ++i) chip_->regs()[i] = static_cast<uint8_t>(i);
  }
  static std::vector<Bytes> wire(const Outcome& r) {
    std::vector<Bytes> out;
    for (const auto& q : r.requests)
      if (q.call == sim::Call::Ioctl) out.push_back(q.bytes);
    return out;
  }
  sim::I2cChip* chip_ = nullptr;
};

TEST_F(ExtI2cTools, hier_reads_one_register_per_request_and_dumps_them) {
  Outcome r = run(tav::hier, {"hier", "0", "0xA0", "0x41", "3"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out,
            "====I2C read:<0xa0> <0x41> <0x3>====\r\n"
            "00000:  41 42 43                                         |ABC             |\n");
  EXPECT_EQ(wire(r),
            (std::vector<Bytes>{{0xA0, 0x41, 0xA1, 0x41}, {0xA0, 0x42, 0xA1, 0x42}, {0xA0, 0x43, 0xA1, 0x43}}));
  for (const auto& q : r.requests) {
    if (q.call == sim::Call::Ioctl) {
      EXPECT_EQ(q.request, tav::EXT_I2C_READ);
    }
    if (q.call == sim::Call::Open) {
      EXPECT_EQ(q.request & O_ACCMODE, static_cast<unsigned long>(O_RDONLY));
    }
  }
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(ExtI2cTools, hiew_writes_the_low_byte_and_shows_the_whole_value) {
  Outcome r = run(tav::hiew, {"hiew", "7", "0xA0", "0x10", "0x1FF"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "====I2C write:<0xa0> <0x10> <0x1ff>====\n");
  EXPECT_EQ(wire(r), (std::vector<Bytes>{{0xA0, 0x10, 0xFF}}));
  EXPECT_EQ(r.requests[1].request, tav::EXT_I2C_WRITE);
  EXPECT_EQ(chip_->regs()[0x10], 0xFF);
  EXPECT_EQ(r.open_descriptors, 0u);
}

}  // namespace
