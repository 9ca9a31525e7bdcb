// The MTD tool and the NAND ID check.
#include "drivers/mtd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "harness.h"
#include "items/items.h"
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
  sim::NandFlash& flash() { return *sim::nand_flash(board()); }
  // Bytes the tool sent with request on the control device.
  static std::vector<uint8_t> sent(const Outcome& o, unsigned long request) {
    for (const auto& q : o.requests)
      if (q.call == sim::Call::Ioctl && q.request == request) return q.bytes;
    return {};
  }
};

TEST_F(Mtd, reports_of_the_healthy_board) {
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

TEST_F(Mtd, protection_words) {
  struct Case {
    const char* word;
    bool locked;
    bool usage;
  } cases[] = {
      {"unlock", false, false}, {"un", false, false}, {"", false, false},       {"lock", true, false},
      {"lo", true, false},      {"off", true, true},  {"unlocked", true, true},
  };
  for (const auto& c : cases) {
    flash().parts[3].locked = !c.locked;
    Outcome o = run(tav::mtd_test, {"mtd_test", "setpro", "3", c.word});
    std::string want = std::string(c.word) + " MTD3 successful\n";
    EXPECT_EQ(o.out, c.usage ? kUsage + want : want) << c.word;
    EXPECT_EQ(flash().parts[3].locked, c.locked) << c.word;
    EXPECT_EQ(sent(o, tav::TAVMTD_SET_PROTECT), (std::vector<uint8_t>{3, 0, 0, 0, !c.locked, 0, 0, 0})) << c.word;
  }
  // A locked partition refuses an erase and counts it.
  Outcome o = run(tav::mtd_test, {"mtd_test", "erase", "3"});
  EXPECT_EQ(o.out, "ioctl TAVMTD_NAND_ERASE failed, errno:1!\n" + kUsage);
  EXPECT_EQ(run(tav::mtd_test, {"mtd_test", "intercept", "3"}).out, "mtd3 intercept count is 1\n");
}

TEST_F(Mtd, bad_words_and_missing_numbers_print_the_usage) {
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
  EXPECT_TRUE(flash().parts[3].locked == false);
  for (int argc : {0, 1}) {
    Outcome o = argc == 0 ? run(tav::mtd_test, {}) : run(tav::mtd_test, {"mtd_test"});
    EXPECT_EQ(o.out, kUsage);
    EXPECT_EQ(o.result, -1);
    EXPECT_TRUE(o.requests.empty());
  }
}

TEST_F(Mtd, nand_id_tells_the_revision_by_oob) {
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
  flash().id = {0x2C, 0xDA, 0x90, 0x95, 0x06, 0x04, 0, 0};
  EXPECT_EQ(run(tav::nand_id_check, {}).out, "NAND_ID:2c da 90 95 6 4 0 0 \nThe flash is not MT29F2G08ABAEA flash\n");
  sim::set_nand_part(board(), sim::NandPart::NewRevision);
  flash().oob_size = 224;
  EXPECT_EQ(run(tav::nand_id_check, {}).out, id + "NAND_info:\n oob: 224B \n");
  // Eight bytes without a zero end are read no further than the driver filled.
  flash().id = {0x2C, 0xDA, 0x90, 0x95, 0x06, 0x01, 0x02, 0x03};
  EXPECT_EQ(run(tav::nand_id_check, {}).out, "NAND_ID:2c da 90 95 6 1 2 3 \nThe flash is not MT29F2G08ABAEA flash\n");
}

}  // namespace
