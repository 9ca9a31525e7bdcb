// Every seam call of the environment, work-key, NAS, temperature and fan
// items is failed in turn on a fresh board: no crash or hang, a result the
// item can give, its closing words where it always prints them, and nothing
// left open.
#include <gtest/gtest.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "harness.h"
#include "items/io/env.h"
#include "items/io/io_items.h"
#include "items/io/workkey.h"
#include "items/net/net_items.h"
#include "sim/env.h"

namespace {

using tavtest::Outcome;

struct Scenario {
  const char* name;
  tavtest::Entry entry;
  std::vector<std::string> words;
  std::string console;
  std::set<int> results;
  std::vector<std::string> endings;  // the output ends with one of these
  size_t descriptors_left_at_most;
};

const Scenario kScenarios[] = {
    {"uboot_env",
     tav::uboot_env_test,
     {"uboot_env"},
     "",
     {0, -1, -5},
     {"UBOOT环境变量模块测试完毕\n", "关闭文件失败!\n", "文件打开失败!\n"},
     0},
    {"encrypto_test", tav::encrypto_test, {"encrypto_test", "pw"}, "", {0, -1, -2}, {}, 0},
    {"workkey_file", tav::workkey_tool, {"workkey", "-e", "abc"}, "", {0}, {}, 0},
    {"workkey_file_d", tav::workkey_tool, {"workkey", "-d"}, "", {0}, {"\n"}, 0},
    {"workkey_driver", tav::workkey_tool, {"workkey", "-t", "-e", "abc"}, "", {0}, {}, 0},
    {"workkey_driver_d", tav::workkey_tool, {"workkey", "-t", "-d"}, "", {0}, {"\n"}, 0},
    {"nas_kill", tav::nas_kill_test, {"nas_kill"}, "/mnt/a\n", {0, -1}, {"测试完毕\n", "]\n", "]:\n", "device open fail\n"}, 0},
    {"temperature", tav::temperature_tool, {"temperature"}, "", {0, -1}, {"\n"}, 0},
    {"fan", tav::fan_tool, {"fan", "30"}, "", {0, -1}, {"\n"}, 0},
};

bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

class EnvKeySweep : public tavtest::BoardTest {
 protected:
  Outcome once(const Scenario& s, int nth, size_t* calls) {
    ::unlink(tav::kWorkkeyFile);
    auto fresh = sim::make_default_board();
    // The whole environment test runs only when serverip is already right.
    sim::env(*fresh)->set("serverip", tav::kFactoryServerIp);
    if (!s.console.empty()) fresh->set_console(s.console);
    if (nth > 0) fresh->fail({sim::Call::Any, "", 0, nth, EIO});
    sim::install(fresh.get());
    Outcome o = tavtest::run(*fresh, s.entry, s.words);
    *calls = fresh->calls();
    sim::install(&board());
    return o;
  }
};

TEST_F(EnvKeySweep, every_failed_call_ends_cleanly) {
  for (const auto& s : kScenarios) {
    size_t clean_calls = 0;
    Outcome clean = once(s, 0, &clean_calls);
    ASSERT_GT(clean_calls, 0u) << s.name;
    for (int nth = 1; nth <= static_cast<int>(clean_calls); ++nth) {
      size_t calls = 0;
      Outcome o = once(s, nth, &calls);
      EXPECT_FALSE(o.exited) << s.name << " " << nth;
      EXPECT_TRUE(s.results.count(o.result)) << s.name << " " << nth << ": " << o.result;
      EXPECT_LE(o.open_descriptors, s.descriptors_left_at_most) << s.name << " " << nth;
      if (!s.endings.empty()) {
        bool ended = false;
        for (const auto& e : s.endings) ended = ended || ends_with(o.out, e);
        EXPECT_TRUE(ended) << s.name << " " << nth << "\n" << o.out;
      }
    }
  }
}

}  // namespace
