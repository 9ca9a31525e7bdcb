// The MTD tool and the NAND ID check.
#include "items/storage/mtd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "harness.h"
#include "items/storage/flash_items.h"
#include "sim/mtd.h"

namespace {

using tavtest::Outcome;

const std::string kUsage =
    "\nusage:./mtd_test [cmd]\n"
    "./mtd_test setpro [mtd_num] [unlock/lock] ------ \"unlock/lock mtdN\"\n"
    "./mtd_test erasestat                      ------ \"get block erase info\"\n"
    "./mtd_test erase [mtd_num]                ------ \"erase flash partition\"\n"
    "./mtd_test bootpart                       ------ \"get bootpart info\"\n"
    "./mtd_test intercept [mtd_num]            ------ \"get mtd intercept in protection\"\n"
    "./mtd_test ecc [mtd_num]                  ------ \"get flash ecc info\"\n";

class Mtd : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    flash_ = sim::nand_flash(board());
  }
  // Bytes the tool sent with request on the control device.
  static std::vector<uint8_t> sent(const Outcome& o, unsigned long request) {
    for (const auto& q : o.requests)
      if (q.call == sim::Call::Ioctl && q.request == request) return q.bytes;
    return {};
  }
  std::shared_ptr<sim::NandFlash> flash_;
};

TEST_F(Mtd, ReportsOfTheHealthyBoard) {
  struct Case {
    std::vector<std::string> words;
    std::string out;
  } cases[] = {
      {{"mtd_test", "bootpart"}, "bootpart is 1\n"},
      {{"mtd_test", "erasestat"}, "most wore out block is 45, erase 41, total: 65\n"},
      {{"mtd_test", "intercept", "0"}, "mtd0 intercept count is 2\n"},
      {{"mtd_test", "intercept", "2"}, "mtd2 intercept count is 0\n"},
      {{"mtd_test", "ecc", "3"}, "bitflips       : 12\nECC failures   : 1\nBad blocks     : 1\nBBT blocks     : 4\n"},
      {{"mtd_test", "ecc", "1"}, "bitflips       : 0\nECC failures   : 0\nBad blocks     : 0\nBBT blocks     : 0\n"},
  };
  for (const auto& c : cases) {
    Outcome o = run(tav::mtd_test, c.words);
    EXPECT_EQ(o.out, c.out) << c.words[1];
    EXPECT_EQ(o.result, 0) << c.words[1];
    EXPECT_EQ(o.open_descriptors, 0u) << c.words[1];
  }
  Outcome o = run(tav::mtd_test, {"mtd_test", "erasestat"});
  std::vector<uint8_t> want(32, 0);
  want[0] = 2;
  EXPECT_EQ(sent(o, tav::TAVMTD_ERASE_STAT), want);
}

TEST_F(Mtd, EraseFillsThePartitionAndCountsWear) {
  std::fill(flash_->parts[2].data.begin(), flash_->parts[2].data.end(), 0x12);
  Outcome o = run(tav::mtd_test, {"mtd_test", "erase", "2"});
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.result, 0);
  EXPECT_EQ(sent(o, tav::TAVMTD_NAND_ERASE), (std::vector<uint8_t>{2, 0, 0, 0}));
  EXPECT_EQ(std::count(flash_->parts[2].data.begin(), flash_->parts[2].data.end(), 0xFF),
            static_cast<long>(flash_->parts[2].data.size()));
  EXPECT_EQ(run(tav::mtd_test, {"mtd_test", "erasestat"}).out, "most wore out block is 45, erase 42, total: 81\n");
}

TEST_F(Mtd, ProtectionWords) {
  struct Case {
    const char* word;
    bool locked;
    bool usage;
  } cases[] = {
      {"unlock", false, false}, {"un", false, false}, {"", false, false},       {"lock", true, false},
      {"lo", true, false},      {"off", true, true},  {"unlocked", true, true},
  };
  for (const auto& c : cases) {
    flash_->parts[3].locked = !c.locked;
    Outcome o = run(tav::mtd_test, {"mtd_test", "setpro", "3", c.word});
    std::string want = std::string(c.word) + " MTD3 successful\n";
    EXPECT_EQ(o.out, c.usage ? kUsage + want : want) << c.word;
    EXPECT_EQ(flash_->parts[3].locked, c.locked) << c.word;
    EXPECT_EQ(sent(o, tav::TAVMTD_SET_PROTECT), (std::vector<uint8_t>{3, 0, 0, 0, !c.locked, 0, 0, 0})) << c.word;
  }
  // A locked partition refuses an erase and counts it.
  Outcome o = run(tav::mtd_test, {"mtd_test", "erase", "3"});
  EXPECT_EQ(o.out, "ioctl TAVMTD_NAND_ERASE failed, errno:1!\n" + kUsage);
  EXPECT_EQ(run(tav::mtd_test, {"mtd_test", "intercept", "3"}).out, "mtd3 intercept count is 1\n");
}

TEST_F(Mtd, BadWordsAndMissingNumbersPrintTheUsage) {
  const std::vector<std::vector<std::string>> cases = {
      {"mtd_test", "erasestats"}, {"mtd_test", "boot"},        {"mtd_test", "ECC", "1"},
      {"mtd_test", ""},           {"mtd_test", "intercept"},   {"mtd_test", "erase"},
      {"mtd_test", "ecc"},        {"mtd_test", "setpro", "3"}, {"mtd_test", "setpro"},
  };
  for (const auto& words : cases) {
    Outcome o = run(tav::mtd_test, words);
    EXPECT_EQ(o.out, kUsage) << words[1];
    EXPECT_EQ(o.result, 0) << words[1];
    EXPECT_EQ(o.open_descriptors, 0u) << words[1];
  }
  EXPECT_TRUE(flash_->parts[3].locked == false);
  for (int argc : {0, 1}) {
    Outcome o = argc == 0 ? run(tav::mtd_test, {}) : run(tav::mtd_test, {"mtd_test"});
    EXPECT_EQ(o.out, kUsage);
    EXPECT_EQ(o.result, -1);
    EXPECT_TRUE(o.requests.empty());
  }
}

TEST_F(Mtd, FailuresAreReportedWithErrno) {
  struct Case {
    std::vector<std::string> words;
    sim::Fault fault;
    std::string out;
    int result;
  } cases[] = {
      {{"mtd_test", "bootpart"},
       {sim::Call::Ioctl, tav::kTavmtdPath, tav::TAVMTD_GET_BOOT_PART, 0, EIO},
       "ioctl TAVMTD_GET_BOOT_PART failed, errno:5!\n" + kUsage,
       0},
      {{"mtd_test", "erasestat"},
       {sim::Call::Ioctl, tav::kTavmtdPath, tav::TAVMTD_ERASE_STAT, 0, EINVAL},
       "ioctl TAVMTD_ERASE_STAT failed, errno:22!\n" + kUsage,
       0},
      {{"mtd_test", "setpro", "1", "lock"},
       {sim::Call::Ioctl, tav::kTavmtdPath, tav::TAVMTD_SET_PROTECT, 0, EBUSY},
       "ioctl TAVMTD_SET_PROTECT failed, errno:16!\n" + kUsage,
       0},
      {{"mtd_test", "intercept", "9"}, {}, "ioctl TAVMTD_GET_INTERCEPT failed, errno:22!\n" + kUsage, 0},
      {{"mtd_test", "ecc", "7"}, {}, "open /dev/mtd7 failed, errno:2!\n" + kUsage, 0},
      {{"mtd_test", "ecc", "2"},
       {sim::Call::Ioctl, "/dev/mtd2", tav::ECCGETSTATS, 0, EIO},
       "ioctl ECCGETSTATS failed, errno:5!\n" + kUsage,
       0},
      {{"mtd_test", "bootpart"},
       {sim::Call::Open, tav::kTavmtdPath, 0, 0, ENOENT},
       "打开文件/dev/tavmtd失败, errno:2!\n",
       -1},
      {{"mtd_test", "bootpart"},
       {sim::Call::Close, tav::kTavmtdPath, 0, 0, EIO},
       "bootpart is 1\nclose file /dev/tavmtd failed, errno:5!\n",
       0},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    if (c.fault.call != sim::Call::Any) board().fail(c.fault);
    Outcome o = run(tav::mtd_test, c.words);
    EXPECT_EQ(o.out, c.out) << c.words[1];
    EXPECT_EQ(o.result, c.result) << c.words[1];
  }
}

TEST_F(Mtd, NandIdTellsTheRevisionByOob) {
  const std::string id = "NAND_ID:2c da 90 95 6 0 0 0 \n";
  struct Case {
    sim::NandPart part;
    std::string out;
  } cases[] = {
      {sim::NandPart::NewRevision, id + "NAND_info:\n oob: 128B \nMT29F2G08ABAEA new flash\n"},
      {sim::NandPart::OldRevision, id + "NAND_info:\n oob: 64B \nMT29F2G08ABAEA old flash\n"},
      {sim::NandPart::TrailingBytes,
       "NAND_ID:2c da 90 95 6 0 13 7f \nNAND_info:\n oob: 128B \nMT29F2G08ABAEA new flash\n"},
      {sim::NandPart::Foreign, "NAND_ID:ef aa 21 0 0 0 0 0 \nThe flash is not MT29F2G08ABAEA flash\n"},
  };
  for (const auto& c : cases) {
    sim::set_nand_part(board(), c.part);
    Outcome o = run(tav::nand_id_check, {});
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.open_descriptors, 0u);
  }
  // A sixth byte that is not zero makes another part; so does any other OOB.
  flash_->id = {0x2C, 0xDA, 0x90, 0x95, 0x06, 0x04, 0, 0};
  EXPECT_EQ(run(tav::nand_id_check, {}).out, "NAND_ID:2c da 90 95 6 4 0 0 \nThe flash is not MT29F2G08ABAEA flash\n");
  sim::set_nand_part(board(), sim::NandPart::NewRevision);
  flash_->oob_size = 224;
  EXPECT_EQ(run(tav::nand_id_check, {}).out, id + "NAND_info:\n oob: 224B \n");
  // Eight bytes without a zero end are read no further than the driver filled.
  flash_->id = {0x2C, 0xDA, 0x90, 0x95, 0x06, 0x01, 0x02, 0x03};
  EXPECT_EQ(run(tav::nand_id_check, {}).out, "NAND_ID:2c da 90 95 6 1 2 3 \nThe flash is not MT29F2G08ABAEA flash\n");
}

TEST_F(Mtd, NandIdFailures) {
  struct Case {
    sim::Fault fault;
    std::string out;
  } cases[] = {
      {{sim::Call::Open, tav::kTavmtdPath, 0, 0, ENOENT}, "[APP]open /dev/tavmtd fail \n[APP]get nand id fail \n"},
      {{sim::Call::Ioctl, tav::kTavmtdPath, tav::TAVMTD_GET_NAND_ID, 0, EIO},
       "[APP]ioctrl /dev/tavmtd fail \n[APP]get nand id fail \n"},
      {{sim::Call::Open, tav::kMtd0Path, 0, 0, ENOENT},
       "NAND_ID:2c da 90 95 6 0 0 0 \n[APP]open /dev/mtd0 fail \n[APP]get nand mtd_user fail \n"},
      {{sim::Call::Ioctl, tav::kMtd0Path, tav::MEMGETINFO, 0, EIO},
       "NAND_ID:2c da 90 95 6 0 0 0 \n[APP]ioctrl /dev/mtd0 fail \n[APP]get nand mtd_user fail \n"},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    board().fail(c.fault);
    Outcome o = run(tav::nand_id_check, {});
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.open_descriptors, 0u);
  }
}

// The later switch test writes and reads the block device's first MiB from
// many threads; each sees its own data back between its own write and read
// only if the model keeps transfers whole.
TEST_F(Mtd, BlockDeviceTransfersAreWholeUnderThreads) {
  constexpr size_t kMiB = 1 << 20;
  std::vector<std::thread> threads;
  std::atomic<int> bad{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      std::vector<uint8_t> buf(kMiB), back(kMiB);
      for (int i = 0; i < 4; ++i) {
        std::fill(buf.begin(), buf.end(), static_cast<uint8_t>(t * 16 + i));
        int fd = sys::open("/dev/mtdblock1", O_RDWR | O_NONBLOCK | O_DSYNC);
        if (fd < 0 || sys::write(fd, buf.data(), kMiB) != static_cast<ssize_t>(kMiB) ||
            sys::ioctl(fd, 0x1261, nullptr) != 0 || sys::lseek(fd, 0, SEEK_SET) != 0 ||
            sys::read(fd, back.data(), kMiB) != static_cast<ssize_t>(kMiB))
          ++bad;
        // Another thread may have written in between, but never half of it.
        if (std::count(back.begin(), back.end(), back[0]) != static_cast<long>(kMiB)) ++bad;
        sys::close(fd);
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad.load(), 0);
}

}  // namespace
