// Every item judged on what it really prints on the simulated board: a
// healthy run and a failing one, with the verdict, a line behind it and a
// measurement a station would read.
#include "station/judge.h"

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <signal.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "common/verdict_note.h"
#include "harness.h"
#include "items/items.h"
#include "items/storage/spi_switch.h"
#include "sim/disk.h"
#include "sim/mtd.h"
#include "sim/peripherals.h"
#include "sim/serial.h"
#include "sim/storage.h"
#include "sim/tavio.h"
#include "sys/sys.h"

namespace {

using tav::station::Verdict;

struct JudgeCase {
  const char* name;  // the scenario
  tavtest::Entry entry;
  std::vector<std::string> words;
  const char* input;
  std::function<void(sim::Board&)> setup;
  Verdict verdict;
  const char* failure;      // part of a failure line, or null for none
  const char* measurement;  // a measurement that must be there, or null
};

constexpr uint64_t kSecond = 1000000000;

// The second disk locked with the password the controller hands out for it.
void lock_sdb(sim::Board& b) {
  auto disk = std::static_pointer_cast<sim::AtaDisk>(b.device("/dev/sdb"));
  disk->set_security(7);
  disk->security_password = sim::StorageController::password_for(1, "WD-TAV0000002");
}

// The far end of the PCIe exchange, for a board thread: it answers the
// sender's fill of the area with its own, every 50 ms of virtual time, until
// its board goes.
void* far_end(void* board) {
  sim::PhysMem& mem = static_cast<sim::Board*>(board)->mem();
  constexpr uint64_t kArea = 0x8C000000;
  constexpr size_t kSize = 1280;
  for (;;) {
    std::vector<uint8_t> area(kSize);
    mem.read(kArea, area.data(), kSize);
    if (std::all_of(area.begin(), area.end(), [](uint8_t b) { return b == 0x5A; })) {
      std::fill(area.begin(), area.end(), 0xA5);
      mem.write(kArea, area.data(), kSize);
    }
    sys::usleep(50000);
  }
}

sim::Fault fail_open(const char* path) { return sim::Fault{sim::Call::Open, path, 0, 0, ENOENT}; }
sim::Fault fail_ioctl(const char* path, int nth) { return sim::Fault{sim::Call::Ioctl, path, 0, nth, EIO}; }

class StationJudge : public tavtest::BoardTest {
 protected:
  void check(const JudgeCase& c) {
    sim::Board& board = fresh_board();
    board.set_console(c.input);
    c.setup(board);
    tavtest::Outcome o = run(c.entry, c.words);
    std::vector<char*> argv;
    for (const std::string& w : c.words) argv.push_back(const_cast<char*>(w.c_str()));
    tav::station::RunFacts facts;
    facts.item = c.words[0];
    facts.argc = static_cast<int>(argv.size());
    facts.argv = argv.data();
    facts.result = o.result;
    facts.ended_process = o.exited;
    facts.out = o.out;
    tav::station::Findings f = tav::station::judge(facts);
    EXPECT_EQ(f.verdict, c.verdict) << c.name << "\n" << o.out;
    if (c.verdict == Verdict::kFail || c.verdict == Verdict::kError) {
      EXPECT_FALSE(f.failures.empty()) << c.name;
    }
    if (c.failure != nullptr) {
      bool found = false;
      for (const std::string& l : f.failures) found = found || l.find(c.failure) != std::string::npos;
      EXPECT_TRUE(found) << c.name << ": no failure line with " << c.failure << "\n" << o.out;
    }
    if (c.measurement != nullptr) {
      bool found = false;
      for (const auto& m : f.measurements) found = found || m.name == c.measurement;
      EXPECT_TRUE(found) << c.name << ": no measurement " << c.measurement;
    }
  }
};

TEST_F(StationJudge, io_items_healthy_and_failing) {
  const auto none = [](sim::Board&) {};
  // clang-format off
  const JudgeCase cases[] = {
      {"cpld", tav::cpld_report, {"cpld"}, "", none, Verdict::kInfo, nullptr, nullptr},
      {"cpld without tavio", tav::cpld_report, {"cpld"}, "", [](sim::Board& b) { b.fail(fail_open("/dev/tavio")); },
       Verdict::kError, "驱动接口打开失败!", nullptr},
      {"bootparam", tav::bootparam_report, {"bootparam"}, "", none, Verdict::kInfo, nullptr, nullptr},
      {"bootparam bad magic", tav::bootparam_report, {"bootparam"}, "", sim::set_bad_bootparam_magic,
       Verdict::kError, "bootparam错误!", nullptr},
      {"alarm", tav::alarm_test, {"alarm"}, "", none, Verdict::kPass, nullptr, "alarm_in_closed_cleared"},
      {"alarm board needed", tav::alarm_test, {"alarm", "-alarm_board_necessary"}, "", sim::remove_alarm_plug,
       Verdict::kFail, "没有报警小板接入!", nullptr},
      {"alarm bad magic prints success", tav::alarm_test, {"alarm"}, "", sim::set_bad_hw_magic, Verdict::kError,
       "获取到的CPLD魔数非法", nullptr},
      {"buzzer", tav::buzzer_test, {"buzzer"}, "", none, Verdict::kPass, nullptr, nullptr},
      {"buzzer refused", tav::buzzer_test, {"buzzer"}, "", [](sim::Board& b) { b.fail(fail_ioctl("/dev/tavio", 0)); },
       Verdict::kError, "设置TAVIO_BUZZER_BEEP失败!", nullptr},
      {"rtc", tav::rtc_test, {"rtc"}, "", none, Verdict::kPass, nullptr, "rtc_rate"},
      {"rtc standing still", tav::rtc_test, {"rtc"}, "", [](sim::Board& b) { sim::rtc(b)->set_rate(0); },
       Verdict::kFail, "not 4 to 8", "rtc_elapsed"},
      {"hdmi", tav::hdmi_detect, {"hdmi"}, "", none, Verdict::kPass, nullptr, "connected"},
      {"hdmi refused prints not connected", tav::hdmi_detect, {"hdmi"}, "",
       [](sim::Board& b) { b.fail(fail_ioctl("/dev/tavio", 0)); }, Verdict::kError, "failed, errno", nullptr},
      {"reset not pressed", tav::reset_detect, {"reset"}, "", none, Verdict::kFail, "reset key not pressed", "pressed"},
      {"joystick", tav::joystick_probe, {"joystick"}, "", none, Verdict::kPass, nullptr, "joystick_node"},
      {"joystick missing", tav::joystick_probe, {"joystick"}, "", sim::clear_hidraw, Verdict::kFail, "不存在", nullptr},
      {"gpio read", tav::gpio_tool, {"gpio", "3", "5"}, "", none, Verdict::kInfo, nullptr, "gpio_level"},
      {"gpio without tavio", tav::gpio_tool, {"gpio", "3", "5"}, "",
       [](sim::Board& b) { b.fail(fail_open("/dev/tavio")); }, Verdict::kError, "失败", nullptr},
      {"encrypto_test", tav::encrypto_test, {"encrypto_test", "abc"}, "", none, Verdict::kPass, nullptr, nullptr},
      {"encrypto_test too long", tav::encrypto_test, {"encrypto_test", std::string(64, 'x')}, "", none,
       Verdict::kError, "passwd too large", nullptr},
      {"uboot_env", tav::uboot_env_test, {"uboot_env"}, "", none, Verdict::kPass, nullptr, "env_lines"},
      {"uboot_env without env", tav::uboot_env_test, {"uboot_env"}, "",
       [](sim::Board& b) { b.fail(fail_open("/dev/env")); }, Verdict::kError, "文件打开失败!", nullptr},
      {"usb", tav::usb_test, {"usb"}, "", none, Verdict::kPass, nullptr, "usb_a_write_speed"},
      {"usb without statistics", tav::usb_test, {"usb"}, "",
       [](sim::Board& b) { b.fail(sim::Fault{sim::Call::Statvfs, "", 0, 0, EIO}); }, Verdict::kFail, "获取硬盘信息失败",
       nullptr},
      {"vga", tav::vga_detect, {"vga"}, "", none, Verdict::kPass, nullptr, "connected"},
      {"vga unplugged", tav::vga_detect, {"vga"}, "", [](sim::Board& b) { sim::tavio(b)->vga = 0; }, Verdict::kFail,
       "未接入", "connected"},
      {"panel", tav::panel_test, {"panel"}, "", none, Verdict::kPass, nullptr, nullptr},
      {"panel without port", tav::panel_test, {"panel"}, "", [](sim::Board& b) { b.fail(fail_open("/dev/ttyS2")); },
       Verdict::kError, "init failed", nullptr},
      {"rs485", tav::rs485_test, {"rs485"}, "", none, Verdict::kPass, nullptr, "rs485_errors"},
      {"rs485 bad cable", tav::rs485_test, {"rs485"}, "", [](sim::Board& b) { sim::rs485_port(b)->mask = 0x10; },
       Verdict::kFail, "错误次数", "rs485_errors"},
      {"workkey", tav::workkey_tool, {"workkey", "-e", "abcdefgh"}, "", none, Verdict::kPass, nullptr, nullptr},
      {"workkey refused", tav::workkey_tool, {"workkey", "-e", "abcdefgh"}, "",
       [](sim::Board& b) { b.fail(fail_ioctl("/dev/tavded", 0)); }, Verdict::kFail, "faild", nullptr},
  };
  // clang-format on
  for (const JudgeCase& c : cases) check(c);
}

TEST_F(StationJudge, storage_and_network_items_healthy_and_failing) {
  const auto none = [](sim::Board&) {};
  const auto eight_bays = [](sim::Board& b) { sim::tavio(b)->hw_info.sata_attr = 8 << 9 | 1 << 18; };
  // NAND threads share the first megabyte: one restoring its copy under
  // another's read-back is a real mismatch, unless every copy holds the
  // pattern already.
  const auto three_rounds = [](sim::Board& b) {
    tav::set_spi_switch_rounds(3);
    std::shared_ptr<sim::NandFlash> flash = sim::nand_flash(b);
    std::lock_guard<std::mutex> lock(flash->mu);
    std::fill(flash->parts[1].data.begin(), flash->parts[1].data.begin() + (1 << 20), 0x5A);
  };
  // clang-format off
  const JudgeCase cases[] = {
      {"harddisk_info_test", tav::harddisk_info_test, {"harddisk_info_test"}, "/dev/sda\n", none, Verdict::kPass,
       nullptr, "smart_9_raw"},
      {"harddisk_info_test no disk", tav::harddisk_info_test, {"harddisk_info_test"}, "/dev/sda\n",
       [](sim::Board& b) { b.fail(fail_open("/dev/sda")); }, Verdict::kError, "failed", nullptr},
      {"disk_perf", tav::disk_perf, {"disk_perf", "/dev/sdc", "B", "1", "1", "1M", "4"}, "", none, Verdict::kPass,
       nullptr, "write_speed"},
      {"disk_perf usage", tav::disk_perf, {"disk_perf", "/dev/sdc"}, "", none, Verdict::kError, "Please use", nullptr},
      {"sata_port", tav::sata_port, {"sata_port"}, "", none, Verdict::kInfo, nullptr, nullptr},
      {"emmc", tav::emmc_test, {"emmc"}, "", none, Verdict::kPass, nullptr, "read_speed"},
      {"emmc without node", tav::emmc_test, {"emmc"}, "", [](sim::Board& b) { b.fail(fail_open("/dev/mmcblk0")); },
       Verdict::kError, "failed!", nullptr},
      {"mtd_test ecc", tav::mtd_test, {"mtd_test", "ecc", "1"}, "", none, Verdict::kInfo, nullptr, "bad_blocks"},
      {"mtd_test erase refused", tav::mtd_test, {"mtd_test", "erase", "1"}, "",
       [](sim::Board& b) { b.fail(fail_ioctl("/dev/tavmtd", 0)); }, Verdict::kError, "failed", nullptr},
      {"nand_id", tav::nand_id_check, {"nand_id"}, "", none, Verdict::kPass, nullptr, "oob_size"},
      {"mmz", tav::mmz_test, {"mmz"}, "", none, Verdict::kPass, nullptr, "phys_addr"},
      {"mmz without zone", tav::mmz_test, {"mmz"}, "", [](sim::Board& b) { b.fail(fail_open("/dev/mmz_userdev")); },
       Verdict::kError, "failed", nullptr},
      {"phy link", tav::phy_tool, {"phy", "link", "eth0"}, "", none, Verdict::kPass, nullptr, "link_up"},
      {"phy link refused prints up", tav::phy_tool, {"phy", "link", "eth0"}, "",
       [](sim::Board& b) { b.fail(sim::Fault{sim::Call::Ioctl, "", SIOCETHTOOL, 0, EOPNOTSUPP}); }, Verdict::kError,
       "failed", nullptr},
      {"switch", tav::switch_tool, {"switch", "port_status"}, "", none, Verdict::kPass, nullptr, nullptr},
      {"switch refused", tav::switch_tool, {"switch", "port_status"}, "",
       [](sim::Board& b) { b.fail(fail_ioctl("/dev/tav_switch", 0)); }, Verdict::kError, "ioctl failed", nullptr},
      {"nas_kill", tav::nas_kill_test, {"nas_kill"}, "/mnt/x\n", none, Verdict::kPass, nullptr, nullptr},
      {"temperature", tav::temperature_tool, {"temperature"}, "", none, Verdict::kInfo, nullptr, "temperature"},
      {"fan", tav::fan_tool, {"fan", "40"}, "", none, Verdict::kPass, nullptr, "fan_duty"},
      {"fan out of range", tav::fan_tool, {"fan", "101"}, "", none, Verdict::kError, "Please input", nullptr},
      {"disk_scan", tav::disk_scan, {"disk_scan"}, "", eight_bays, Verdict::kInfo, nullptr, "disks_present"},
      {"disk_scan on a board without bays", tav::disk_scan, {"disk_scan"}, "", none, Verdict::kError, "不支持",
       nullptr},
      {"disk_power", tav::disk_power, {"disk_power"}, "1\n2\n", none, Verdict::kPass, nullptr, nullptr},
      {"disk_power refused", tav::disk_power, {"disk_power"}, "1\n2\n",
       [](sim::Board& b) { b.fail(fail_ioctl("/dev/tavhdpm", 0)); }, Verdict::kFail, "fail.", nullptr},
      {"disk_unlock", tav::disk_unlock, {"disk_unlock"}, "/dev/sdb\n", lock_sdb, Verdict::kPass, nullptr, nullptr},
      {"disk_unlock password refused", tav::disk_unlock, {"disk_unlock"}, "/dev/sdb\n",
       [](sim::Board& b) {
         lock_sdb(b);
         b.fail(fail_ioctl("/dev/tavstorage", 0));
       },
       Verdict::kFail, "get password fail", nullptr},
      {"hdbuffer", tav::hdbuffer, {"hdbuffer", "-i", "sda", "-c", "1", "-s", "64"}, "", none, Verdict::kPass, nullptr,
       "buffer_size"},
      {"hdbuffer without device", tav::hdbuffer, {"hdbuffer", "-c", "0"}, "",
       [](sim::Board& b) { b.remove("/dev/tavbuffctl"); }, Verdict::kError, "failed", nullptr},
      {"spi_switch", tav::spi_switch, {"spi_switch"}, "", three_rounds, Verdict::kPass, nullptr, "nand_rounds"},
      {"spi_switch threads refused", tav::spi_switch, {"spi_switch"}, "",
       [&](sim::Board& b) {
         three_rounds(b);
         b.fail({sim::Call::Thread, "create", 0, 5, EAGAIN});
       },
       Verdict::kError, "线程", nullptr},
  };
  // clang-format on
  for (const JudgeCase& c : cases) check(c);
  // Threads a refused start left running end with their board, before the
  // count they read goes back.
  fresh_board();
  tav::set_spi_switch_rounds(tav::kSpiSwitchRounds);
}

// Items that run until they are stopped (a Ctrl-C, played as a signal due at
// a virtual time) or until the board resets: ending the process is their
// success, coming back is a failure.
TEST_F(StationJudge, items_that_run_until_stopped_healthy_and_failing) {
  const auto stop_in = [](sim::Board& b, uint64_t seconds) {
    b.clock().signal_at(b.clock().now_ns() + seconds * kSecond, SIGINT);
  };
  // clang-format off
  const JudgeCase cases[] = {
      {"watchdog resets the board", tav::watchdog_test, {"watchdog"}, "", [](sim::Board&) {}, Verdict::kPass, nullptr,
       nullptr},
      {"watchdog without node", tav::watchdog_test, {"watchdog"}, "",
       [](sim::Board& b) { b.fail(fail_open("/dev/watchdog")); }, Verdict::kError, "失败", nullptr},
      {"ir with a key", tav::ir_test, {"ir"}, "",
       [&](sim::Board& b) {
         sim::ir(b)->press(b.clock().now_ns() + 2 * kSecond, tav::IrEvent{1, 2, 3});
         stop_in(b, 5);
       },
       Verdict::kPass, nullptr, "ir_events"},
      {"ir without a key", tav::ir_test, {"ir"}, "", [&](sim::Board& b) { stop_in(b, 5); }, Verdict::kFail,
       "no key event", "ir_events"},
      {"ir without receiver", tav::ir_test, {"ir"}, "", [](sim::Board& b) { b.fail(fail_open("/dev/tavir")); },
       Verdict::kError, "err!", nullptr},
      // The keys listen on the port the panel test opened in the same process.
      {"keys", tav::keys_test, {"keys"}, "",
       [&](sim::Board& b) {
         tavtest::run(b, tav::panel_test, {"panel"});
         sim::panel(b)->press(2 * kSecond, 0);
         stop_in(b, 5);
       },
       Verdict::kPass, nullptr, "panel_frames"},
      {"keys without the panel's port", tav::keys_test, {"keys"}, "", [](sim::Board&) {}, Verdict::kError,
       "select return -1", "panel_frames"},
      {"pse", tav::pse_test, {"pse"}, "", [&](sim::Board& b) { stop_in(b, 3); }, Verdict::kPass, nullptr,
       "pse_rounds"},
      {"pse refused", tav::pse_test, {"pse"}, "",
       [](sim::Board& b) { b.fail({sim::Call::Ioctl, "/dev/tavio", tav::TAVIO_GPIO_IN, 2, EIO}); }, Verdict::kError,
       "failed", "pse_rounds"},
      // The far end runs in a board thread on the same area; it ends with the board.
      {"pcietran with the far end answering", tav::pcietran_test, {"pcietran", "send", "8c000000"}, "",
       [&](sim::Board& b) {
         pthread_t t;
         ASSERT_EQ(b.thread_create(&t, far_end, &b), 0);
         stop_in(b, 11);
       },
       Verdict::kPass, nullptr, "pcie_exchanges"},
      {"pcietran lone end", tav::pcietran_test, {"pcietran", "send", "8c000000"}, "",
       [&](sim::Board& b) { stop_in(b, 11); }, Verdict::kFail, "test_count", "pcie_timeouts"},
      {"pcietran bad address", tav::pcietran_test, {"pcietran", "send", "zz"}, "", [](sim::Board&) {},
       Verdict::kError, "invalid", nullptr},
  };
  // clang-format on
  for (const JudgeCase& c : cases) check(c);
}

// Where the console keeps a success line after a failed check, what the item
// noted makes the verdict.
TEST_F(StationJudge, noted_failures_outrank_a_kept_success_line) {
  const struct {
    const char* name;
    tavtest::Entry entry;
    const char* item;
    sim::Fault fault;
    const char* console;
  } rows[] = {
      {"emmc flush", tav::emmc_test, "emmc", sim::Fault{sim::Call::Ioctl, "/dev/mmcblk0", 0, 1, EIO}, "Test EMMC OK"},
      {"usb mount", tav::usb_test, "usb", sim::Fault{sim::Call::Mount, "", 0, 0, EIO}, "USB[/dev/h_msa]测试成功."},
  };
  for (const auto& row : rows) {
    sim::Board& board = fresh_board();
    board.fail(row.fault);
    tav::station::RunFacts facts;
    tavtest::Outcome o;
    {
      tav::VerdictNotes notes;
      o = run(row.entry, {row.item});
      facts.notes = notes.lines();
    }
    EXPECT_NE(o.out.find(row.console), std::string::npos) << row.name << "\n" << o.out;
    facts.item = row.item;
    facts.out = o.out;
    facts.result = o.result;
    tav::station::Findings f = tav::station::judge(facts);
    EXPECT_EQ(f.verdict, Verdict::kFail) << row.name;
    EXPECT_FALSE(f.failures.empty()) << row.name;
  }
  // Nobody listening: a note goes nowhere.
  tav::note_failure("ignored");
  tav::VerdictNotes fresh;
  EXPECT_TRUE(fresh.lines().empty());
}

}  // namespace
