// ssp_read and ssp_write against simulated spidev register devices: the
// frames on the bus for every width and order, the settings, and failures.
#include <gtest/gtest.h>

#include "harness.h"
#include "sim/spi.h"
#include "tools/ssp.h"
#include "tools/tools.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tavtest::Outcome;

const std::string kReadUsage =
    "Usage: ssp_read <spi_num> <csn> <dev_addr> <reg_addr> [num_reg] [dev_width] [reg_width] [data_width] "
    "[reg_order] [data_order] .\n"
    "\tnum_reg and dev_width and reg_width and data_width and reg_order and data_order can be omitted, the default "
    "is 0x1.\n"
    "eg:\n"
    "\tssp_read 0x0 0x0 0x2 0x0 0x10 0x1 0x1 0x1 0x1 0x1.\n"
    "\tssp_read 0x0 0x0 0x2 0x0. default num_reg and dev_width and reg_width and data_width and reg_order and "
    "data_order is 0x1.\n";
const std::string kWriteUsage =
    "Usage: ssp_write <spi_num> <csn> <dev_addr> <reg_addr> <data> [dev_width] [reg_width] [data_width] "
    "[reg_order] [data_order].\n"
    "\tdev_width and reg_width and data_width and reg_order and data_order can be omitted, the default is 0x1.\n"
    "eg:\n"
    "\tssp_write 0x0 0x0 0x2 0x0 0x65 0x1 0x1 0x1 0x1 0x1.\n"
    "\tssp_write 0x0 0x0 0x2 0x0 0x65. default dev_width and reg_width and data_width and reg_order and "
    "data_orderis 0x1.\n";

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

TEST_F(SspTools, WriteFramesForEveryWidthAndOrder) {
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

TEST_F(SspTools, EveryRunSetsModeThreeLsbFirstAndSendsOneTransfer) {
  Outcome r = run(tav::ssp_write, {"ssp_write", "0", "0", "2", "3", "4"});
  ASSERT_EQ(r.result, 0);
  EXPECT_EQ(r.requests[0].path, "/dev/spidev0.0");
  EXPECT_EQ(r.requests[0].request & O_ACCMODE, static_cast<unsigned long>(O_RDONLY));
  EXPECT_EQ(r.requests[1].request, 0x40016B01u);
  EXPECT_EQ(r.requests[1].bytes, Bytes{0x0B});
  EXPECT_EQ(r.requests[2].request, 0x40206B00u);
  const tav::SpiIocTransfer& t = spi_->last_transfer();
  EXPECT_EQ(t.len, 3u);
  EXPECT_EQ(t.speed_hz, 2000000u);
  EXPECT_EQ(t.bits_per_word, 8);
  EXPECT_EQ(t.cs_change, 1);
  EXPECT_EQ(t.delay_usecs, 0);
  EXPECT_EQ(t.tx_buf, t.rx_buf);
  EXPECT_EQ(spi_->regs()[3], 4);  // the device took the write
}

TEST_F(SspTools, ReadMarksTheDeviceAndTakesTheDataByItsOrder) {
  Outcome r = run(tav::ssp_read, {"ssp_read", "0", "0", "0x2", "0x0"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(frames(r), (std::vector<Bytes>{{0x82, 0x00, 0x00}}));
  EXPECT_EQ(r.out,
            "spi_num:0, csn:0\ndev_addr:0x0002, reg_addr:0x0000, num_reg:1, dev_width:1, reg_width:1, data_width:1, "
            "reg_order: 1, data_order: 1\n====reg_addr:0x0000====\n0x0000:  0x00a0 \n[END]\n");

  struct Case {
    sim::SpiFormat format;
    std::vector<std::string> widths;
    Bytes frame;
  } cases[] = {
      {{2, 2, 2, 0, 1}, {"2", "2", "2", "0", "1"}, {0x34, 0x92, 0x01, 0x23, 0x00, 0x00}},
      {{2, 2, 2, 1, 0}, {"2", "2", "2", "1", "0"}, {0x34, 0x92, 0x23, 0x01, 0x00, 0x00}},
      {{1, 2, 2, 0, 0}, {"1", "2", "2", "0", "0"}, {0xB4, 0x01, 0x23, 0x00, 0x00}},
      {{2, 1, 2, 1, 1}, {"2", "1", "2"}, {0x34, 0x92, 0x23, 0x00, 0x00}},
  };
  int csn = 0;
  for (const auto& c : cases) {
    // A one-byte device field carries only the low byte of the address.
    auto dev = attach(csn, c.format.dev_width == 2 ? 0x1234 : 0x34, c.format);
    dev->regs()[c.format.reg_width == 2 ? 0x123 : 0x23] = 0xBEEF;
    std::vector<std::string> words = {"ssp_read", "1", std::to_string(csn++), "0x1234", "0x123", "1"};
    words.insert(words.end(), c.widths.begin(), c.widths.end());
    r = run(tav::ssp_read, words);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(frames(r), std::vector<Bytes>{c.frame});
    EXPECT_NE(r.out.find("====\n0x0000:  0xbeef \n[END]\n"), std::string::npos) << r.out;
  }
}

TEST_F(SspTools, ReadRowsAreHeadedByTheIndexWithinTheRun) {
  Outcome r = run(tav::ssp_read, {"ssp_read", "0", "0", "2", "0x8", "0x12"});
  std::string want =
      "spi_num:0, csn:0\ndev_addr:0x0002, reg_addr:0x0008, num_reg:18, dev_width:1, reg_width:1, "
      "data_width:1, reg_order: 1, data_order: 1\n====reg_addr:0x0008====\n0x0000:  ";
  for (int i = 0; i < 18; ++i) {
    if (i == 16) want += "\n0x0010:  ";
    char v[16];
    snprintf(v, sizeof v, "0x%04x ", 0xA8 + i);
    want += v;
  }
  EXPECT_EQ(r.out, want + "\n[END]\n");
  EXPECT_EQ(frames(r).size(), 18u);
  EXPECT_EQ(frames(r).back(), (Bytes{0x82, 0x19, 0x00}));

  // No registers, or a count that wraps the address: nothing is sent.
  for (const char* count : {"0", "0xFFFFFFFF"}) {
    r = run(tav::ssp_read, {"ssp_read", "0", "0", "2", "0x8", count});
    EXPECT_EQ(r.result, 0);
    EXPECT_TRUE(frames(r).empty());
    EXPECT_EQ(r.out.substr(r.out.find("====reg")), "====reg_addr:0x0008====\n[END]\n");
  }
}

TEST_F(SspTools, ArgumentErrors) {
  struct Case {
    tavtest::Entry entry;
    std::vector<std::string> words;
    std::string out;
  } cases[] = {
      {tav::ssp_read, {"ssp_read", "0", "0", "2"}, kReadUsage},
      {tav::ssp_write, {"ssp_write", "0", "0", "2", "0"}, kWriteUsage},
      {tav::ssp_read, {"ssp_read", "0", "0", "2", "0", "1", "1", "1", "1", "1", "1", "x"}, kReadUsage},
      {tav::ssp_write, {"ssp_write", "0", "0", "2", "0", "1k"}, kWriteUsage},
      {tav::ssp_read, {"ssp_read", "0", "0", "2", "0", "1", "3"}, "dev_width must be 1 or 2\n" + kReadUsage},
      {tav::ssp_write,
       {"ssp_write", "0", "0", "2", "0", "1", "1", "1", "4"},
       "data_width must be 1 or 2\n" + kWriteUsage},
      // The read tool shows the write usage for the order checks.
      {tav::ssp_read,
       {"ssp_read", "0", "0", "2", "0", "1", "1", "1", "1", "2"},
       "reg_order must be 1 or 0\n" + kWriteUsage},
      {tav::ssp_read,
       {"ssp_read", "0", "0", "2", "0", "1", "1", "1", "1", "0", "2"},
       "data_order must be 1 or 0\n" + kWriteUsage},
      {tav::ssp_write,
       {"ssp_write", "0", "0", "2", "0", "1", "1", "1", "1", "0", "7"},
       "data_order must be 1 or 0\n" + kWriteUsage},
  };
  for (const auto& c : cases) {
    Outcome r = run(c.entry, c.words);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out, c.out);
    EXPECT_TRUE(r.requests.empty());
  }
}

TEST_F(SspTools, DeviceFailuresCloseAndReturnFailure) {
  const std::string summary =
      "spi_num:0, csn:0\ndev_addr:0x0002, reg_addr:0x0000, data:0x0001, dev_width:1, reg_width:1, data_width:1, "
      "reg_order: 1, data_order: 1\n";
  struct Case {
    unsigned long failing;
    std::string out;
  } cases[] = {
      {tav::SPI_IOC_WR_MODE, summary + "set spi mode fail!\n"},
      {tav::SPI_IOC_MESSAGE_1, summary + "SPI_IOC_MESSAGE error \n"},
  };
  for (const auto& c : cases) {
    board().fail({sim::Call::Ioctl, "", c.failing, 0, EIO});
    Outcome r = run(tav::ssp_write, {"ssp_write", "0", "0", "2", "0", "1"});
    board().clear_faults();
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.open_descriptors, 0u);
  }
  board().fail({sim::Call::Ioctl, "", tav::SPI_IOC_MESSAGE_1, 2, EIO});
  Outcome r = run(tav::ssp_read, {"ssp_read", "0", "0", "2", "0", "3"});
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.out.substr(r.out.find("====reg")), "====reg_addr:0x0000====\n0x0000:  0x00a0 SPI_IOC_MESSAGE error \n");
  EXPECT_EQ(r.open_descriptors, 0u);

  r = run(tav::ssp_read, {"ssp_read", "3", "1", "2", "0"});
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.out.substr(r.out.find("order: 1\n") + 9), "Open /dev/spidev3.1 error!\n");
}

}  // namespace
