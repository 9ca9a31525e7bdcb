// Disk scan detection, the slot reader and the version date report.
#include <gtest/gtest.h>

#include "harness.h"
#include "items/storage/ata.h"
#include "items/storage/storage_ctl.h"
#include "sim/disk.h"
#include "sim/storage.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;

const char kRule[] = "+--------+--------+--------+------------------------+--------+\n";
const char kMapRule[] = "+---------------+---------------+---------------+---------------+\n";

// Widths count bytes of the build's character set, so rows are built with the item's formats.
std::string row(int n, bool present, const char* name, const char* model, int size) {
  char line[160];
  snprintf(line, sizeof line, "|%-8d|%-8s|%-8s|%-24s|%-8d|\n", n, present ? "存在" : "不存在", name, model, size);
  return line + std::string(kRule);
}

std::string cell(int n, const char* name, bool present) {
  char c[64];
  snprintf(c, sizeof c, "| %2d_%3s_%-6s ", n, name, present ? "存在" : "不存在");
  return c;
}

class DiskScan : public tavtest::BoardTest {
 protected:
  void set_bays(unsigned bays, unsigned esata) {
    sim::tavio(board())->hw_info.sata_attr = bays << 9 | esata << 18;
  }
};

TEST_F(DiskScan, EightBaysWithTwoDisksAndAnEmptyEsataPort) {
  set_bays(8, 1);
  Outcome r = run(tav::disk_scan, {});
  EXPECT_EQ(r.result, 1);  // the last read of the date chip
  const char* names[] = {"sda", "sdb", "sdc", "sdd", "sdf", "sdg", "sdh", "sdi"};
  // The model is shown as the disk stores it, two characters a word.
  const char* model = "AT VDH02002 BT";
  std::string want =
      "硬盘扫描检测功能开始\n硬盘扫描中...\n硬盘扫描中...\n硬盘扫描完毕\n硬盘扫描完毕\n" + std::string(kRule) +
      "| 盘位号 |  状态  |  节点  |           名称         |  大小  |\n" + kRule;
  for (int i = 0; i < 8; ++i) want += row(i + 1, i < 2, names[i], i < 2 ? (i == 0 ? model : "AT VDH04004 BT") : "", i < 2 ? 1863 : 0);
  want += row(9, false, "esda", " ", 0);
  want += "|版本日期|                  2025-11-7                        |\n" + std::string(kRule) + "\n";
  want += kMapRule;
  for (int i = 0; i < 8; ++i) {
    want += cell(i + 1, names[i], i < 2);
    if (i % 4 == 3) want += "|\n" + std::string(kMapRule);
  }
  char esata[64];
  snprintf(esata, sizeof esata, "| %2d_%4s_%-6s", 9, "esda", "不存在");
  want += esata + std::string("|               |               |               |\n") + kMapRule + "\n";
  EXPECT_EQ(r.out, want);
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(DiskScan, SixteenBaysUseTheirOwnTableAndAPresentEsataDisk) {
  set_bays(16, 1);
  board().add("/dev/esda", std::make_shared<sim::AtaDisk>("EXT", "E1", "F1"));
  Outcome r = run(tav::disk_scan, {});
  EXPECT_NE(r.out.find(row(2, false, "sdf", "", 0)), std::string::npos);
  EXPECT_NE(r.out.find(row(5, true, "sdb", "AT VDH04004 BT", 1863)), std::string::npos);
  EXPECT_NE(r.out.find(row(17, true, "esda", "XE T", 1863)), std::string::npos);
}

TEST_F(DiskScan, RefusalsAndFailures) {
  struct Case {
    const char* name;
    std::function<void(sim::Board&)> setup;
    int result;
    std::string tail;
  } cases[] = {
      {"no tavio", [](sim::Board& b) { b.remove(tav::kTavioPath); }, -22, "打开/dev/tavio设备失败\n"},
      {"hw info", [](sim::Board& b) { sim::fail_tavio_request(b, tav::TAVIO_GET_HARDWRE_INFO, EIO); }, -22,
       "执行TAVIO_GET_HARDWRE_INFO失败\n"},
      {"magic", [](sim::Board& b) { sim::set_bad_hw_magic(b); }, -22, "CPLD信息MAGIC校验失败\n"},
      {"bays", [](sim::Board& b) { sim::tavio(b)->hw_info.sata_attr = 5 << 9; }, 0,
       "硬盘个数: 5, 不支持\n硬盘扫描功能仅支持4、8、16盘位设备\n"},
      {"storage", [](sim::Board& b) { sim::tavio(b)->hw_info.sata_attr = 4 << 9; b.remove(tav::kStoragePath); }, -22,
       "打开/dev/tavstorage设备失败\n"},
  };
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    fresh->set_console("");
    c.setup(*fresh);
    sim::install(fresh.get());
    Outcome r = tavtest::run(*fresh, tav::disk_scan, {});
    sim::install(&board());
    EXPECT_EQ(r.result, c.result) << c.name;
    EXPECT_EQ(r.out, "硬盘扫描检测功能开始\n" + c.tail) << c.name;
    EXPECT_EQ(r.open_descriptors, 0u) << c.name;
  }
}

TEST_F(DiskScan, SlotReaderFallsBackForTheCapacity) {
  auto disk = std::static_pointer_cast<sim::AtaDisk>(board().device("/dev/sda"));
  char model[24];
  uint32_t gib = 99;
  ASSERT_EQ(tav::get_slot_info("sda", model, &gib), 0);
  EXPECT_EQ(gib, 1863u);
  board().fail({sim::Call::Ioctl, "/dev/sda", tav::BLKGETSIZE, 0, ENOTTY});
  disk->size_bytes = 4ull << 40;
  ASSERT_EQ(tav::get_slot_info("sda", model, &gib), 0);
  EXPECT_EQ(gib, 4096u);
  disk->answers_size = false;
  ASSERT_EQ(tav::get_slot_info("sda", model, &gib), 0);
  EXPECT_EQ(gib, 0u);
  EXPECT_EQ(tav::get_slot_info("sdz", model, &gib), -1);
  board().fail({sim::Call::Ioctl, "/dev/sda", tav::HDIO_GET_IDENTITY, 0, EIO});
  EXPECT_EQ(tav::get_slot_info("sda", model, &gib), -1);
  EXPECT_EQ(board().open_descriptors(), 0u);
}

TEST_F(DiskScan, VersionDateReadsThreeBytesFromTheChip) {
  struct Case {
    std::function<void(sim::Board&)> setup;
    int result;
    std::string out;
  } cases[] = {
      {[](sim::Board&) {}, 1,
       "|版本日期|                  2025-11-7                        |\n" + std::string(kRule)},
      {[](sim::Board& b) { sim::add_date_chip(b, 123, 123, 123); }, 1,
       "|版本日期|                  20123-123                        |\n" + std::string(kRule)},
      {[](sim::Board& b) { b.fail({sim::Call::Read, "/dev/i2c-0", 0, 2, EIO}); }, -5, "读取mm错误!\n"},
      {[](sim::Board& b) { b.fail({sim::Call::Ioctl, "/dev/i2c-0", 0x0706, 0, EBUSY}); }, -5, "设置device_addr错误!\n"},
      {[](sim::Board& b) { b.remove("/dev/i2c-0"); }, -ENOENT, "Open i2c dev error!\n"},
  };
  for (const auto& c : cases) {
    auto fresh = sim::make_default_board();
    c.setup(*fresh);
    sim::install(fresh.get());
    std::string out, err;
    int rc = 0;
    tavtest::run_capture([&] { rc = tav::version_date_report(); }, &out, &err);
    sim::install(&board());
    EXPECT_EQ(rc, c.result);
    EXPECT_EQ(out, c.out);
  }
}

TEST_F(DiskScan, ExceptionRecordByDiskLetter) {
  auto* io = sim::tavio(board());
  io->hdisk_exc[2].fill(0x5C);
  uint8_t record[128] = {};
  EXPECT_EQ(tav::get_hdisk_exception("/dev/sdc", record), 0);
  EXPECT_EQ(record[0], 0x5C);
  EXPECT_EQ(record[127], 0x5C);
  auto sent = board().log_of(sim::Call::Ioctl).back();
  EXPECT_EQ(sent.request, 0x00081018u);
  std::string out, err;
  tavtest::run_capture([&] { EXPECT_EQ(tav::get_hdisk_exception("/dev/sdi", record), -1); }, &out, &err);
  EXPECT_EQ(out, "bad device name: /dev/sdi\n");
  sim::fail_tavio_request(board(), 0x00081018, EIO);
  record[0] = 1;
  tavtest::run_capture([&] { EXPECT_EQ(tav::get_hdisk_exception("/dev/sda", record), 0); }, &out, &err);
  EXPECT_EQ(out, "get hard drive exceptions, return -1\n");
  EXPECT_EQ(record[0], 1);
  tavtest::run_capture([&] { EXPECT_EQ(tav::get_hdisk_exception(nullptr, record), -1); }, &out, &err);
  EXPECT_EQ(out, "device name is NULL\n");
  tavtest::run_capture([&] { EXPECT_EQ(tav::get_hdisk_exception("/dev/sda", nullptr), -1); }, &out, &err);
  EXPECT_EQ(out, "HDISK_EXC struct is NULL\n");
}

}  // namespace
