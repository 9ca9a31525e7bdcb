// Disk scan detection, the slot reader and the version date report.
#include <gtest/gtest.h>

#include "harness.h"
#include "items/items.h"
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
  void set_bays(unsigned bays, unsigned esata) { sim::tavio(board())->hw_info.sata_attr = bays << 9 | esata << 18; }
};

TEST_F(DiskScan, eight_bays_with_two_disks_and_an_empty_esata_port) {
  set_bays(8, 1);
  Outcome r = run(tav::disk_scan, {});
  EXPECT_EQ(r.result, 1);  // the last read of the date chip
  const char* names[] = {"sda", "sdb", "sdc", "sdd", "sdf", "sdg", "sdh", "sdi"};
  // The model is shown as the disk stores it, two characters a word.
  const char* model = "AT VDH02002 BT";
  std::string want = "硬盘扫描检测功能开始\n硬盘扫描中...\n硬盘扫描中...\n硬盘扫描完毕\n硬盘扫描完毕\n" +
                     std::string(kRule) + "| 盘位号 |  状态  |  节点  |           名称         |  大小  |\n" + kRule;
  for (int i = 0; i < 8; ++i)
    want += row(i + 1, i < 2, names[i], i < 2 ? (i == 0 ? model : "AT VDH04004 BT") : "", i < 2 ? 1863 : 0);
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

// Sixteen bays: slot n is not port n - 1 but a column of four ports apart.
TEST_F(DiskScan, sixteen_bays_follow_the_front_panel_order) {
  set_bays(16, 0);
  Outcome r = run(tav::disk_scan, {});
  const char* names[] = {"sda", "sdf", "sdk", "sdp", "sdb", "sdg", "sdl", "sdq",
                         "sdc", "sdh", "sdm", "sdr", "sdd", "sdi", "sdn", "sds"};
  std::string rows, map = kMapRule;
  for (int i = 0; i < 16; ++i) {
    bool present = i == 0 || i == 4;  // the disks on ports 0 and 1
    rows += row(i + 1, present, names[i], present ? (i == 0 ? "AT VDH02002 BT" : "AT VDH04004 BT") : "",
                present ? 1863 : 0);
    map += cell(i + 1, names[i], present);
    if (i % 4 == 3) map += "|\n" + std::string(kMapRule);
  }
  EXPECT_NE(r.out.find(rows), std::string::npos) << r.out;
  EXPECT_NE(r.out.find(map), std::string::npos) << r.out;
  EXPECT_EQ(r.open_descriptors, 0u);
}

}  // namespace
