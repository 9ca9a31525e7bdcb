// Every seam call a tool makes is failed in turn, each run on a fresh board
// as a new process would find it: the tool must not crash or hang, must end
// its output properly, must close what it opened, and must say what went
// wrong (or, where the failure does not matter to it, do the clean run's
// work exactly).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "common/process_state.h"
#include "factory/factory.h"
#include "harness.h"
#include "items/items.h"
#include "tools/front.h"
#include "tools/tools.h"

namespace {

using tavtest::ends_with;
using tavtest::Outcome;

constexpr uint64_t kSec = 1000000000ull;

void remove_links() {
  for (const auto* row = tav::kBoardTools; row->name != nullptr; ++row) ::unlink(row->name);
}

struct Scenario {
  const char* name;
  std::vector<std::string> words;
  tavtest::Entry entry = tav::tav_tool_main;
  std::string console = "";
  std::function<void()> setup = nullptr;  // before every run
  uint64_t sigint_after = 0;              // 0: the tool returns by itself
  size_t descriptors_left = 0;            // the memory registry's /dev/mem stays
  bool silent = false;                    // driver failures pass unreported by design
  const char* file = nullptr;             // written by the tool: whole, or its failure said
  bool item = false;                      // a factory item: judged by its verdict alone
};

const Scenario kScenarios[] = {
    {"himc", {"himc", "0x80040000", "100", "1"}, tav::tav_tool_main, "", nullptr, 0, 1},
    {"himd", {"himd", "0x80040ff0", "0x40"}, tav::tav_tool_main, "", nullptr, 0, 1},
    {"himd_l", {"himd.l", "0x80040000", "0x40"}, tav::tav_tool_main, "", nullptr, 0, 1},
    {"himdb", {"himdb", "0x80040000", "0x2000", "dump.bin"}, tav::tav_tool_main, "", nullptr, 0, 1},
    {"himm_set", {"himm", "0x80040000", "0x1"}, tav::tav_tool_main, "", nullptr, 0, 1},
    {"himm_ask", {"himm", "0x80040000"}, tav::tav_tool_main, "0x55\n", nullptr, 0, 1},
    {"install", {"tav_tool", "-i"}, tav::tav_tool_main, "", remove_links},
    {"uninstall",
     {"tav_tool", "-u"},
     tav::tav_tool_main,
     "",
     [] {
       remove_links();
       for (const auto* row = tav::kBoardTools; row->name != nullptr; ++row) (void)!::symlink("tav_tool", row->name);
     }},
    {"hivd",
     {"hivd", "0x63010000", "0x63020000", "80", "96", "64", "32", "sweep.yuv"},
     tav::tav_tool_main,
     "",
     nullptr,
     0,
     1,
     false,
     "sweep.yuv"},
    {"hiddrs", {"hiddrs"}, tav::tav_tool_main, "", nullptr, 2 * kSec + kSec / 2},
    {"hiddrs_all", {"hiddrs", "-d", "4", "-i", "2"}, tav::tav_tool_main, "", nullptr, 4 * kSec + kSec / 2},
    {"hil2s", {"hil2s"}, tav::tav_tool_main, "", nullptr, 2 * kSec + kSec / 2},
    {"i2c_read", {"i2c_read", "1", "0x56", "0x0", "0x4", "2", "2"}},
    {"i2c_write", {"i2c_write", "1", "0x56", "0x10", "0x1234", "2", "2"}},
    {"i2c_recv", {"i2c_recv", "1", "0x2b", "2", "0", "4", "3"}},
    {"i2c_send", {"i2c_send", "1", "0x50", "0x20", "0xAA"}},
    {"hier", {"hier", "0", "0xA0", "0x10", "4"}, tav::tav_tool_main, "", nullptr, 0, 0, true},
    {"hiew", {"hiew", "0", "0xA0", "0x10", "4"}, tav::tav_tool_main, "", nullptr, 0, 0, true},
    {"himii_r", {"himii.r", "eth0", "1", "2"}},
    {"himii_w", {"himii.w", "eth0", "1", "0", "0x1140"}},
    {"ssp_read", {"ssp_read", "0", "0", "2", "0", "3", "2", "2", "2", "0", "0"}, tav::ssp_read},
    {"ssp_write", {"ssp_write", "0", "0", "2", "0", "0x1234", "1", "2", "2"}, tav::ssp_write},
    // The factory items, the menu's key reader included.
    {"alarm", {"alarm"}, tav::alarm_test, "", nullptr, 0, 0, false, nullptr, true},
    {"alarm_manual", {"alarm", "-manual"}, tav::alarm_test, "1\n2\n5\n", nullptr, 0, 0, false, nullptr, true},
    {"buzzer", {"buzzer"}, tav::buzzer_test, "", nullptr, 0, 0, false, nullptr, true},
    {"bootparam", {"bootparam"}, tav::bootparam_report, "", nullptr, 0, 0, false, nullptr, true},
    {"cpld", {"cpld"}, tav::cpld_report, "", nullptr, 0, 0, false, nullptr, true},
    {"menu", {"tav_factory", "-m"}, tav::factory_main, "2\n4\nq\n", nullptr, 0, 0, false, nullptr, true},
};

const char* const kFailureTexts[] = {
    "memmap():open",
    "memmap():mmap",
    "memmap failed!",
    "Open File",
    "Input Error",
    "Dump memory error",
    " install error!",
    " read link error",
    " uninstall error",
    "ddr statistic open failed:",
    "cache statistic open failed:",
    "statistic mmap failed.",
    "statistic install signal failed.",
    "statistic timer create failed.",
    "statistic set timer failed.",
    "statistic catch SIGINT signal failed.",
    "open file sweep.yuv error!",
    "write file sweep.yuv error!",
    "Open /dev/",
    "CMD_SET_I2C_SLAVE error!",
    "CMD_I2C_READ error!",
    "set i2c device address error!",
    "i2c write error!",
    "Open i2c dev error!",
    "CMD_SET_DEV error!",
    "I2C RDWR err",
    "I2C_WRITE error!",
    "creat socket failed",
    "get phy address error",
    "ioctl SIOCGMIIREG failed",
    "set spi mode fail!",
    "SPI_IOC_MESSAGE error ",
};

class FaultSweep : public tavtest::BoardTest, public ::testing::WithParamInterface<int> {
 protected:
  // One run on a fresh board, with the nth call failed (0: none).
  Outcome once(const Scenario& s, int nth, int err, std::string* file) {
    if (s.setup) s.setup();
    if (s.file) ::unlink(s.file);
    // What the last run kept (its mapping, /dev/mem) goes back to the board
    // it came from, so the fault counts only this run's calls.
    tav::reset_process_state();
    auto fresh = sim::make_default_board();
    fresh->set_console(s.console);
    fresh->mem().fill(0x63010000, 0x5A, 0x20000);
    if (s.sigint_after != 0) fresh->clock().signal_at(fresh->clock().now_ns() + s.sigint_after, SIGINT);
    if (nth > 0) fresh->fail({sim::Call::Any, "", 0, nth, err});
    sim::install(fresh.get());
    Outcome r = tavtest::run(*fresh, s.entry, s.words);
    sim::install(&board());
    *file = s.file ? tavtest::read_file(s.file) : "";
    return r;
  }
};

// One failed run as the golden record holds it: how it ended, where its
// output first differs from the clean run's and what follows (the failure's
// own words), and the file it wrote, by length and hash.
std::string fnv(const std::string& bytes) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char c : bytes) h = (h ^ c) * 1099511628211ull;
  char buf[24];
  snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(h));
  return buf;
}

std::string escaped(const std::string& bytes) {
  std::string out;
  char buf[8];
  for (unsigned char c : bytes) {
    if (c > ' ' && c < 0x7F && c != '\\') {
      out += static_cast<char>(c);
    } else {
      snprintf(buf, sizeof buf, "\\x%02x", c);
      out += buf;
    }
  }
  return out;
}

std::string golden_line(const Scenario& s, size_t n, int err, const Outcome& clean, const Outcome& r,
                        const std::string& file) {
  const std::string all = r.out + "|" + r.err;
  const std::string base = clean.out + "|" + clean.err;
  size_t same = 0;
  while (same < all.size() && same < base.size() && all[same] == base[same]) ++same;
  std::string line = std::string(s.name) + " " + std::to_string(n) + " " + (err == EIO ? "EIO" : "EINTR") + " " +
                     (r.exited ? "exit " + std::to_string(r.status) : "return " + std::to_string(r.result)) + " @" +
                     std::to_string(same) + " " + escaped(all.substr(same, 160)) + " " + std::to_string(all.size()) +
                     ":" + fnv(all);
  if (s.file) line += " file " + std::to_string(file.size()) + ":" + fnv(file);
  return line;
}

// The golden record of every scenario's failed runs. TAVTEST_UPDATE_GOLDEN=1
// rewrites it from this build instead of comparing (then read the diff).
std::vector<std::string> golden_lines(const char* scenario) {
  std::vector<std::string> lines;
  std::ifstream in(std::string(TAVTEST_GOLDEN_DIR) + "/fault_sweep/" + scenario + ".txt");
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

size_t count_ends(const std::string& s) {
  size_t ends = 0;
  for (size_t at = s.find("[END]"); at != std::string::npos; at = s.find("[END]", at + 1)) ++ends;
  return ends;
}

TEST_P(FaultSweep, every_call_failed_in_turn_is_survived_and_said) {
  const Scenario& s = kScenarios[GetParam()];
  const bool front = s.entry == tav::tav_tool_main && s.words[0] != "tav_tool";
  std::string clean_file;
  Outcome clean = once(s, 0, 0, &clean_file);
  ASSERT_EQ(clean.exited, s.sigint_after != 0);
  if (!clean.exited && !s.item) {
    ASSERT_EQ(clean.result, 0) << clean.out;
  }
  const size_t calls = clean.requests.size();
  ASSERT_GT(calls, 0u);
  const bool update = getenv("TAVTEST_UPDATE_GOLDEN") != nullptr;
  const std::vector<std::string> golden = golden_lines(s.name);
  std::vector<std::string> seen;
  for (size_t n = 1; n <= calls; ++n) {
    for (int err : {EIO, EINTR}) {
      std::string file;
      Outcome r = once(s, static_cast<int>(n), err, &file);
      seen.push_back(golden_line(s, n, err, clean, r, file));
      if (!update) {
        // Every message, result, exit status and written file, exactly.
        ASSERT_LT(seen.size() - 1, golden.size()) << "more calls than the golden record of " << s.name;
        EXPECT_EQ(seen.back(), golden[seen.size() - 1]);
      }
      SCOPED_TRACE(std::string(s.name) + " failing call " + std::to_string(n) + " " +
                   sim::call_name(clean.requests[n - 1].call) + " with " + std::to_string(err));
      EXPECT_LE(r.open_descriptors, s.descriptors_left);
      const std::string all = r.out + r.err;
      if (s.item) {
        EXPECT_FALSE(r.exited);
        if (s.entry == tav::alarm_test) {
          EXPECT_TRUE(ends_with(r.out, "报警测试成功!\n") || ends_with(r.out, "报警测试失败!\n") ||
                      r.out == "设备 /dev/tavio 不存在.\n")
              << r.out;
        }
        continue;
      }
      if (r.exited) {
        // Only Ctrl-C ends the sampling tools, through their stop handlers;
        // the others end through the exit report.
        EXPECT_EQ(r.status, s.sigint_after != 0 ? 0 : 255);
      } else {
        EXPECT_EQ(r.result, s.entry == tav::tav_tool_main ? 0 : (all == clean.out + clean.err ? 0 : -1));
      }
      // The SPI entry points end their own output; the front end ends the rest.
      if (s.entry == tav::tav_tool_main) {
        EXPECT_EQ(count_ends(all), front && !(r.exited && s.sigint_after) ? 1u : 0u);
      }
      bool reported = false;
      for (const char* text : kFailureTexts) reported = reported || all.find(text) != std::string::npos;
      if (s.silent) {
        EXPECT_EQ(all.substr(0, 20), clean.out.substr(0, 20));
      } else if (!reported) {
        EXPECT_EQ(r.out, clean.out);
        EXPECT_EQ(file, clean_file);
      }
    }
  }
  if (update) {
    std::ofstream out(std::string(TAVTEST_GOLDEN_DIR) + "/fault_sweep/" + s.name + ".txt", std::ios::trunc);
    ASSERT_TRUE(out) << "cannot write the golden record of " << s.name;
    for (const auto& line : seen) out << line << "\n";
  } else {
    EXPECT_EQ(seen.size(), golden.size()) << "fewer calls than the golden record of " << s.name;
  }
}

INSTANTIATE_TEST_SUITE_P(Tools, FaultSweep, ::testing::Range(0, static_cast<int>(std::size(kScenarios))),
                         [](const auto& info) { return std::string(kScenarios[info.param].name); });

}  // namespace
