// ssp_read and ssp_write against simulated spidev register devices: the
// frames on the bus for every width and order, the settings, and failures.
#include <gtest/gtest.h>

#include "drivers/spi.h"
#include "harness.h"
#include "sim/spi.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

class SspTools : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    spi_ = std::dynamic_pointer_cast<sim::SpiDevice>(board().device("/dev/spidev0.0"));
    ASSERT_NE(spi_, nullptr);
  }
  // A device at /dev/spidev1.<csn> speaking the given frame format.
  std::shared_ptr<sim::SpiDevice> attach(int csn, uint32_t dev, sim::SpiFormat f) {
    auto d = std::make_shared<sim::SpiDevice>(dev, f);
    board().add("/dev/spidev1." + std::to_string(csn), d);
    return d;
  }
  static std::vector<Bytes> frames(const Outcome& r) {
    std::vector<Bytes> out;
    for (const auto& q : r.requests)
      if (q.call == sim::Call::Ioctl && q.request == tav::SPI_IOC_MESSAGE_1) out.push_back(q.bytes);
    return out;
  }
  std::shared_ptr<sim::SpiDevice> spi_;
};

TEST_F(SspTools, write_frames_for_every_width_and_order) {
  Outcome r = run(tav::ssp_write, {"ssp_write", "0", "0", "0x2", "0x10", "0x1234", "1", "2", "2", "0", "0"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out,
            "spi_num:0, csn:0\ndev_addr:0x0002, reg_addr:0x0010, data:0x1234, dev_width:1, reg_width:2, "
            "data_width:2, reg_order: 0, data_order: 0\n\n[END]\n");
  struct Case {
    std::vector<std::string> args;  // after spi_num and csn
    Bytes frame;
  } cases[] = {
      {{"0x2", "0x10", "0x1234", "1", "2", "2", "0", "0"}, {0x02, 0x00, 0x10, 0x12, 0x34}},
      {{"0x2", "0x10", "0x1234", "1", "2", "2", "1", "1"}, {0x02, 0x10, 0x00, 0x34, 0x12}},
      {{"0x102", "0x310", "0x65"}, {0x02, 0x10, 0x65}},  // fields cut to their width
      {{"0x1234", "0x5", "0xABCD", "2", "1", "2", "1", "0"}, {0x34, 0x12, 0x05, 0xAB, 0xCD}},
      {{"0x2", "0x1234", "0x56", "2", "2", "1", "0", "1", "0x99"}, {0x02, 0x00, 0x12, 0x34, 0x56}},
  };
  for (const auto& c : cases) {
    std::vector<std::string> words = {"ssp_write", "0", "0"};
    words.insert(words.end(), c.args.begin(), c.args.end());
    r = run(tav::ssp_write, words);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(frames(r), std::vector<Bytes>{c.frame});
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

}  // namespace
