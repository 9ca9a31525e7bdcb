// The standby test and the IDENTIFY and SMART report.
#include "items/storage/smart.h"

#include <gtest/gtest.h>

#include "harness.h"
#include "items/items.h"
#include "items/storage/ata.h"
#include "sim/disk.h"
#include "sim/storage.h"

namespace {

using tavtest::Outcome;

class Smart : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    ctl_ = sim::add_storage(board());
    ctl_->scan_polls = 0;
    disk_ = std::static_pointer_cast<sim::AtaDisk>(board().device("/dev/sda"));
  }
  std::shared_ptr<sim::StorageController> ctl_;
  std::shared_ptr<sim::AtaDisk> disk_;
};

TEST_F(Smart, info_report_prints_identify_and_the_attribute_table) {
  const sim::SmartAttribute attrs[] = {
      {1, 0x000F, 101, 100, 0x0000123456789AULL, 100},  // above the threshold
      {5, 0x0033, 100, 100, 0, 100},                    // equal: ILL
      {0xBE, 0x0022, 70, 60, 30, 0},                    // not in the table
      {9, 0x0032, 0, 0, 0, 0},                          // value 0, threshold 0: ILL
  };
  disk_->set_attributes(attrs, 4);
  disk_->smart_values[362] = 0x82;
  disk_->smart_values[364] = 0x10;
  disk_->smart_values[365] = 0x02;
  disk_->smart_values[372] = 2;
  disk_->smart_values[373] = 0xFF;
  disk_->seal();
  board().set_console("/dev/sda\n");
  Outcome r = run(tav::harddisk_info_test, {});
  EXPECT_EQ(r.result, 0);
  const std::string want_tail =
      "**************************IDENTIFY_INFO************************\n"
      "SerialNumber(SN)     WD-TAV0000001       \n"
      "ModelNumber:                     TAV HD2000 2TB                          \n"
      "FirmWare(FW):                    01.01A01\n"
      "cache                            8192\n"
      "bytesSec                         0\n"
      "heads                            16\n"
      "cylinders                        16383\n"
      "sectors                          63\n"
      "***************************SMART_INFO**************************\n"
      "SMART rev                            0x10\n"
      "offline_data_collection_status       0x82\n"
      "self_test_exec_status                0x0\n"
      "total_time_to_complete_off_line      528 seconds\n"
      "offline_data_collection_capability   0x0\n"
      "smart_capability                     0x0\n"
      "errorlog_capability                  0x0\n"
      "short_test_completion_time           2 minutes\n"
      "extend_test_completion_time          255 minutes\n"
      "conveyance_test_completion_time      0x0\n\n" +
      std::string(106, '*') +
      "\n"
      "ID  Attribute name                          Flags   Threshold       Value   Worst   Raw Value       Status  \n\n"
      "1   Raw Read Error Rate                     f       100             101     100     78187493530     OK    \n"
      "5   Reallocated Sector Count                33      100             100     100     0               ILL   \n"
      "be  Unknown attribute                       22      0               70      60      30              OK    \n"
      "9   Power-on Hours Count                    32      0               0       0       0               ILL   \n";
  const std::string head = "请输入块设备名称:硬盘开始进入休眠状态...\n请确认硬盘状态是否处于IDLE...\n";
  ASSERT_GT(r.out.size(), head.size() + want_tail.size());
  EXPECT_EQ(r.out.substr(0, head.size()), head);
  EXPECT_EQ(r.out.substr(r.out.size() - want_tail.size()), want_tail);
  EXPECT_EQ(r.open_descriptors, 0u);
}

// The port report: each record between its banners, each refused request
// named (the reset count's refusal as ERR_REQ, as stations have always read
// it), and the status table ending the report unless its request fails.
TEST_F(Smart, port_report_prints_each_record_or_its_refusal) {
  ctl_->err_request = {1, 2, 3, {}, 0x123456789LL, {}};
  ctl_->reset_count.count = 7;
  ctl_->reset_count.last_reset_time = 1700000000;
  ctl_->ports[0].disk = true;
  ctl_->ports[0].status.writeErr = 3;
  ctl_->ports[0].status.hdStatus = 0x4;
  ctl_->ports[0].status.accessTime = 99;
  ctl_->ports[0].status.completion[8] = 2;
  auto okay = [&](const char* what) { return "\033[0;32mSTOR_CMD_" + std::string(what) + " test OK.\033[m\n"; };
  const std::string scan = okay("SCAN_DONE");
  const std::string err_block = okay("ERR_REQ") +
                                "@start==============SATA PORT 0 ERROR REQUEST================start@\n"
                                "err type:              1\nerr count:             2\ncmd type:              3\n"
                                "sector:                4886718345\n"
                                "@end================SATA PORT 0 ERROR REQUEST================end@\n";
  const std::string reset_block = okay("ERR_REQ") +
                                  "@start==============SATA PORT 0 RESET COUNT================start@\n"
                                  "reset count:           7\nlast reset time:       1700000000\n"
                                  "@end================SATA PORT 0 RESET COUNT================end@\n";
  const std::string refused = "\033[0;32mSTOR_CMD_ERR_REQ test faild:-1.\033[m\n";
  const std::string status_head = "@start==============SATA PORT 5 STATUS================start@\n";
  const std::string tail =
      "UnknownError:          2\n@end================SATA PORT 5 STATUS================end@\n"
      "硬盘信息输出完毕,请对照/proc/tavata/sataport0!!!\n";
  struct Case {
    unsigned long failing;  // 0: none
    std::string head;       // the output up to the status table
    bool table;
  } cases[] = {
      {0, scan + err_block + reset_block, true},
      {tav::STOR_CMD_SCAN_DONE, "\033[0;32mSTOR_CMD_SCAN_DONE test faild:-1.\033[m\n" + err_block + reset_block, true},
      {tav::STOR_CMD_ERR_REQ, scan + refused + reset_block, true},
      {tav::STOR_CMD_RESET_COUNT, scan + err_block + refused, true},
      {tav::STOR_CMD_GET, scan + err_block + reset_block + "STOR_CMD_GET faild!\n", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.failing);
    board().clear_faults();
    if (c.failing != 0) board().fail({sim::Call::Ioctl, tav::kStoragePath, c.failing, 0, EIO});
    Outcome r = run(tav::sata_port, {"sata_port"});
    EXPECT_EQ(r.result, c.table ? 0 : -1);
    EXPECT_EQ(r.out.substr(0, c.head.size()), c.head);
    if (c.table) {
      std::string table = r.out.substr(c.head.size());
      EXPECT_EQ(table.rfind(status_head, 0), 0u);
      EXPECT_NE(table.find("writeErr:              3\n"), std::string::npos);
      EXPECT_NE(table.find("hdStatus:              NORMAL  IDLE  0x4\n"), std::string::npos);
      EXPECT_NE(table.find("accessTime:            99\n\n"), std::string::npos);
      EXPECT_EQ(table.substr(table.size() - tail.size()), tail);
    } else {
      EXPECT_EQ(r.out, c.head);
    }
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

}  // namespace
