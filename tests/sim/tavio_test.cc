// The simulated /dev/tavio answers the requests no item of its own exercises
// yet as the driver contract says, so the items that arrive later can rely
// on it.
#include <gtest/gtest.h>

#include <cstring>

#include "harness.h"
#include "items/io/tavio.h"
#include "sim/tavio.h"
#include "sys/sys.h"

namespace {

class TavioModel : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    fd_ = sys::open(tav::kTavioPath, O_RDWR);
    ASSERT_GE(fd_, 0);
  }
  void TearDown() override {
    sys::close(fd_);
    BoardTest::TearDown();
  }
  sim::TavioDevice& dev() { return *sim::tavio(board()); }
  int fd_ = -1;
};

TEST_F(TavioModel, GpioLinesKeepTheLevelLastDriven) {
  uint16_t w = tav::gpio_word(5, 3, 1);
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_GPIO_OUT, &w), 0);
  w = tav::gpio_word(5, 4, 1);
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_GPIO_SET_HIGH, &w), 0);
  w = tav::gpio_word(5, 4, 0);
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_GPIO_SET_LOW, &w), 0);
  struct {
    unsigned group, bit, level;
  } lines[] = {{5, 3, 1}, {5, 4, 0}, {6, 3, 0}};
  for (const auto& l : lines) {
    uint16_t q = tav::gpio_word(l.group, l.bit, 0);
    ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_GPIO_IN, &q), 0);
    EXPECT_EQ(tav::gpio_level(q), l.level) << l.group << "_" << l.bit;
    EXPECT_EQ(tav::gpio_group(q), l.group);
  }
  // Out-of-range numbers are cut to their fields when the word is built.
  EXPECT_EQ(tav::gpio_word(4096 + 7, 9, 1), tav::gpio_word(7, 1, 1));
}

TEST_F(TavioModel, DetectorsEnablesAndExceptionRecords) {
  dev().hdmi = 0;
  dev().rs485_board = false;
  int32_t v = 0;
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_HDMI_DETECT, &v), 0);
  EXPECT_EQ(v, 0);
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_VGA_DETECT, &v), 0);
  EXPECT_EQ(v, 1);
  dev().reset_key = 1;
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_RESET_DETECT, &v), 0);
  EXPECT_EQ(v, 1);
  uint8_t b = 0;
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_RS485_DETECT, &b), 0);
  EXPECT_NE(b, 0);
  int32_t on = 1;
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_ENABLE_485_SEND, &on), 0);
  EXPECT_EQ(dev().rs485_send, 1);
  EXPECT_EQ(dev().rs485_receive, 0);

  // The record lands over the upper half of the index word.
  memset(dev().hdisk_exc[2].data(), 0xA5, tav::kHdiskExcRecordSize);
  tav::HdiskExcBuffer buf = {};
  int64_t index = 2;
  memcpy(buf.bytes, &index, 8);
  ASSERT_EQ(sys::ioctl(fd_, tav::TAVIO_GET_HDISK_EXC, &buf), 0);
  EXPECT_EQ(buf.bytes[3], 0);
  EXPECT_EQ(buf.bytes[4], 0xA5);
  EXPECT_EQ(buf.bytes[131], 0xA5);
  index = 8;
  memcpy(buf.bytes, &index, 8);
  EXPECT_EQ(sys::ioctl(fd_, tav::TAVIO_GET_HDISK_EXC, &buf), -1);
  tav::ExtSlotInfo slot = {3, 0};
  EXPECT_EQ(sys::ioctl(fd_, tav::TAVIO_EXT_SLOT_INFO, &slot), -1);
  EXPECT_EQ(sys::ioctl(fd_, 0xC0044899, &v), -1);
  EXPECT_EQ(errno, ENOTTY);
}

}  // namespace
