// The controller scan, the SATA port report and the disk power cycling test.
#include <gtest/gtest.h>

#include "harness.h"
#include "items/storage/storage_ctl.h"
#include "sim/storage.h"

namespace {

using tavtest::Outcome;

class Ports : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    // The default board's controller, reached through its device.
    ctl_ = sim::add_storage(board());
  }
  std::shared_ptr<sim::StorageController> ctl_;
};

const char kPortReport[] =
    "\033[0;32mSTOR_CMD_SCAN_DONE test OK.\033[m\n"
    "\033[0;32mSTOR_CMD_ERR_REQ test OK.\033[m\n"
    "@start==============SATA PORT 0 ERROR REQUEST================start@\n"
    "err type:              3\n"
    "err count:             12\n"
    "cmd type:              37\n"
    "sector:                8589934593\n"
    "@end================SATA PORT 0 ERROR REQUEST================end@\n"
    "\033[0;32mSTOR_CMD_ERR_REQ test OK.\033[m\n"
    "@start==============SATA PORT 0 RESET COUNT================start@\n"
    "reset count:           2\n"
    "last reset time:       1767225000\n"
    "@end================SATA PORT 0 RESET COUNT================end@\n"
    "@start==============SATA PORT 5 STATUS================start@\n"
    "lbaOverflow:           4\n"
    "keyAreaErr:            3\n"
    "BSYCount:              6\n"
    "NoReady:               5\n"
    "DRQSetErr:             7\n"
    "writeErr:              2\n"
    "readErr:               1\n"
    "retryCmdCount:         9\n"
    "abortCmdCount:         10\n"
    "CmdAborted:            11\n"
    "CmdOverUnknown:        12\n"
    "CmdOverErr:            13\n"
    "hdStatus:              5\n"
    "hdStatus:              ABNORMAL  IDLE  0x5\n"
    "BadSCSICmdParam:       14\n"
    "UAReset:               15\n"
    "UAParamChanged:        16\n"
    "QueueFull:             17\n"
    "OverRun:               18\n"
    "UnderRun:              19\n"
    "ParityErr:             20\n"
    "BadSCSICmdResult:      21\n"
    "RecoverableErr:        23\n"
    "DeviceFault:           24\n"
    "SerrInt:               25\n"
    "LinkCtlRxErr:          26\n"
    "LinkCtlTxErr:          27\n"
    "accessTime:            1767225000\n\n"
    "                SError Content\n"
    "RecovData:             100\n"
    "RecovComm:             101\n"
    "UnrecovData:           102\n"
    "Persist:               103\n"
    "Proto:                 104\n"
    "HostInt:               105\n"
    "PHYRdyChg:             106\n"
    "PHYInt:                107\n"
    "CommWake:              108\n"
    "SERR_10B_8B:           109\n"
    "Dispar:                110\n"
    "BadCRC:                111\n"
    "Handshk:               112\n"
    "LinkSeq:               113\n"
    "TrStaTrns:             114\n"
    "UnrecFIS:              115\n"
    "DevExch:               116\n\n"
    "            ATA completion errors\n"
    "HostBusError:          200\n"
    "ATABusError:           201\n"
    "TimeOutError:          202\n"
    "HSMviolation:          203\n"
    "SystemError:           204\n"
    "MediaError:            205\n"
    "InvalidArgument:       206\n"
    "DeviceError:           207\n"
    "UnknownError:          208\n"
    "@end================SATA PORT 5 STATUS================end@\n"
    "硬盘信息输出完毕,请对照/proc/tavata/sataport0!!!\n";

TEST_F(Ports, PortReportPrintsEveryRecord) {
  ctl_->scan_polls = 0;
  ctl_->err_request = {3, 12, 37, {}, 8589934593LL, {}};
  ctl_->reset_count.count = 2;
  ctl_->reset_count.last_reset_time = 1767225000;
  auto& s = ctl_->ports[0].status;
  int32_t* words = reinterpret_cast<int32_t*>(&s);
  for (int i = 0; i < 27; ++i) words[i] = i + 1;  // readErr = 1 ... LinkCtlTxErr = 27
  s.hdStatus = 5;
  for (int i = 0; i < 17; ++i) s.serror[i] = 100 + i;
  for (int i = 0; i < 9; ++i) s.completion[i] = 200 + i;
  s.accessTime = 1767225000;
  Outcome r = run(tav::sata_port, {"sata_port"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, kPortReport);
  // Port 0 is read, whatever the title says.
  auto gets = board().log_of(sim::Call::Ioctl);
  EXPECT_EQ(gets.back().request, tav::STOR_CMD_GET);
  EXPECT_EQ(gets.back().bytes, (std::vector<uint8_t>{0, 0, 0, 0}));
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(Ports, PortReportFailures) {
  ctl_->scan_request_fails = true;
  board().fail({sim::Call::Ioctl, tav::kStoragePath, tav::STOR_CMD_ERR_REQ, 0, EIO});
  board().fail({sim::Call::Ioctl, tav::kStoragePath, tav::STOR_CMD_RESET_COUNT, 0, EIO});
  board().fail({sim::Call::Ioctl, tav::kStoragePath, tav::STOR_CMD_GET, 0, EIO});
  Outcome r = run(tav::sata_port, {"sata_port"});
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.out,
            "\033[0;32mSTOR_CMD_SCAN_DONE test faild:-1.\033[m\n"
            "\033[0;32mSTOR_CMD_ERR_REQ test faild:-1.\033[m\n"
            "\033[0;32mSTOR_CMD_ERR_REQ test faild:-1.\033[m\n"
            "STOR_CMD_GET faild!\n");
  EXPECT_EQ(r.open_descriptors, 0u);
  board().remove(tav::kStoragePath);
  r = run(tav::sata_port, {"sata_port"});
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.out, "Open /dev/tavstorage failed!\n");
}

TEST_F(Ports, ScanWaitsForTheControllerAndMarksHealthyPorts) {
  ctl_->scan_polls = 3;
  ctl_->ports[2].disk = true;
  ctl_->ports[2].status.hdStatus = 1;  // abnormal but present
  tav::DiskEntry table[tav::kPorts] = {};
  for (int p : {0, 1, 2, 3}) table[p].selected = 1;
  table[5].present = 1;  // stale marks are cleared
  int fd = sys::open(tav::kStoragePath, O_RDWR);
  std::string out, err;
  uint64_t before = board().clock().now_ns();
  tavtest::run_capture([&] { EXPECT_EQ(tav::storage_scan(fd, table), 0); }, &out, &err);
  sys::close(fd);
  EXPECT_EQ(out, "硬盘扫描中...\n硬盘扫描中...\n硬盘扫描中...\n硬盘扫描完毕\n");
  EXPECT_EQ(board().clock().now_ns() - before, 3000000000ull);
  const int want[] = {1, 1, 1, 0, 0, 0};
  for (int p = 0; p < 6; ++p) EXPECT_EQ(table[p].present, want[p]) << p;
}

TEST_F(Ports, SsdIndexComesFromTheProcList) {
  struct Case {
    std::string text;
    int index;
  } cases[] = {{"name : iva\nindex : 4\n", 4}, {"index:0\n", -1}, {"nothing here\n", -1}, {"", -1},
               {"x\nindex = 3 : 7\n", 7}};
  for (const auto& c : cases) {
    board().add("/proc/zmrp/tavata/iva", std::make_shared<sim::TextFile>(c.text));
    EXPECT_EQ(tav::get_ssd_index(), c.index) << c.text;
  }
  board().remove("/proc/zmrp/tavata/iva");
  std::string out, err;
  tavtest::run_capture([] { EXPECT_EQ(tav::get_ssd_index(), -1); }, &out, &err);
  EXPECT_EQ(out, "open /proc/zmrp/tavata/iva error(2)\n");
}

const char kStart[] = "\n硬盘上下电测试开始\n请输入测试硬盘号，99表示测试所有存在的硬盘\n请输入测试次数\n";

std::string cycle_scan_lines(int polls) {
  std::string s;
  for (int i = 0; i < polls; ++i) s += "硬盘扫描中...\n";
  return s + "硬盘扫描完毕\n";
}

TEST_F(Ports, PowerCycleOfADiskThatComesBack) {
  ctl_->scan_polls = 0;
  board().set_console("1\n2\n");
  Outcome r = run(tav::disk_power, {"disk_power"});
  EXPECT_EQ(r.result, 0);
  std::string cycle = cycle_scan_lines(0) + cycle_scan_lines(0);
  EXPECT_EQ(r.out, std::string(kStart) + "硬盘    1 将会被测试    2 次\n" + cycle + "测试:        1 次, 错误:        0 次\n" +
                       cycle + "测试:        2 次, 错误:        0 次\n" + "\033[0;32mdisk updown test OK.\033[m\n");
  auto power = board().log();
  int downs = 0, ups = 0;
  for (auto& q : power)
    if (q.call == sim::Call::Ioctl && q.path == tav::kHdpmPath) {
      (q.request == tav::HD_POWER_DOWN ? downs : ups)++;
      EXPECT_EQ(q.bytes, (std::vector<uint8_t>{1, 0, 0, 0}));
    }
  EXPECT_EQ(downs, 2);
  EXPECT_EQ(ups, 2);
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(Ports, PowerCycleFailures) {
  struct Case {
    const char* name;
    std::function<void(sim::StorageController&)> setup;
    std::string console;
    std::string middle;
  } cases[] = {
      {"stays present", [](sim::StorageController& c) { c.ports[1].stays = true; }, "1 1",
       "硬盘    1 将会被测试    1 次\n" + cycle_scan_lines(0) + cycle_scan_lines(0) + cycle_scan_lines(0) +
           cycle_scan_lines(0) + cycle_scan_lines(0) + "错误，对硬盘    1 断电, 但是依然存在\n测试:        1 次, 错误:        1 次\n"},
      {"never returns", [](sim::StorageController& c) { c.ports[1].never_returns = true; }, "1 1",
       "硬盘    1 将会被测试    1 次\n" + cycle_scan_lines(0) + cycle_scan_lines(0) + cycle_scan_lines(0) +
           cycle_scan_lines(0) + cycle_scan_lines(0) + cycle_scan_lines(0) +
           "错误，对硬盘    1 上电, 但是硬盘不存在\n测试:        1 次, 错误:        1 次\n"},
      {"ssd may stay", [](sim::StorageController& c) { c.ports[4].disk = true; c.ports[4].stays = true; }, "4 1",
       "硬盘    4 将会被测试    1 次\n" + cycle_scan_lines(0) + cycle_scan_lines(0) +
           "测试:        1 次, 错误:        0 次\n\033[0;32mdisk updown test OK.\033[m\n"},
      {"disk 20", [](sim::StorageController&) {}, "20 3", "硬盘    0 不支持\n"},
      {"all disks", [](sim::StorageController&) {}, "99 1",
       cycle_scan_lines(0) + cycle_scan_lines(0) + cycle_scan_lines(0) +
           "测试:        1 次, 错误:        0 次\n\033[0;32mdisk updown test OK.\033[m\n"},
      {"count 0", [](sim::StorageController&) {}, "0 0",
       "硬盘    0 将会被测试    0 次\n\033[0;32mdisk updown test OK.\033[m\n"},
  };
  for (const auto& c : cases) {
    auto fresh = sim::add_storage(board());
    fresh->scan_polls = 0;
    c.setup(*fresh);
    board().set_console(c.console);
    Outcome r = run(tav::disk_power, {"disk_power"});
    EXPECT_EQ(r.result, 0) << c.name;
    std::string start = kStart;
    if (std::string(c.name) == "disk 20")
      start = "\n硬盘上下电测试开始\n请输入测试硬盘号，99表示测试所有存在的硬盘\n测试硬盘号   20 不支持\n请输入测试次数\n";
    EXPECT_EQ(r.out, start + c.middle) << c.name;
  }
}

TEST_F(Ports, PowerTestAnswersAndDevices) {
  board().set_console("x");
  EXPECT_EQ(run(tav::disk_power, {"disk_power"}).result, -22);
  board().set_console("1\n");
  EXPECT_EQ(run(tav::disk_power, {"disk_power"}).result, -22);
  board().remove(tav::kHdpmPath);
  board().set_console("1 1");
  Outcome r = run(tav::disk_power, {"disk_power"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, std::string(kStart) + "打开/dev/tavhdpm设备失败\n");
  EXPECT_EQ(r.open_descriptors, 0u);
  board().fail({sim::Call::Ioctl, tav::kHdpmPath, 0, 0, EIO});
  board().add(tav::kHdpmPath, std::make_shared<sim::PowerDevice>(ctl_));
  ctl_->scan_polls = 0;
  board().set_console("1 1");
  r = run(tav::disk_power, {"disk_power"});
  EXPECT_EQ(r.out, std::string(kStart) + "硬盘    1 将会被测试    1 次\nioctl HD_POWER_DOWN fail.\n测试:        1 次, 错误:        1 次\n");
}

}  // namespace
