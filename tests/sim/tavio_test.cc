// The simulated /dev/tavio keeps the GPIO levels last driven, and the GPIO
// request word is built with its fields cut to size.
#include <gtest/gtest.h>

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

}  // namespace
