// The test runner over a table of recording items: options, usage, links,
// run by name and the menu on the simulated console.
#include "runner/runner.h"

#include <getopt.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "harness.h"
#include "sys/sys.h"

namespace {

using tavtest::Outcome;

std::vector<std::string> g_calls;

std::string describe(const char* name, int argc, char** argv) {
  std::string s = name;
  s += "(" + std::to_string(argc);
  if (argv == nullptr) s += ",null";
  for (int i = 0; i < argc && argv != nullptr; ++i) s += std::string(",") + argv[i];
  return s + ")";
}
int item_disk(int argc, char** argv) {
  g_calls.push_back(describe("disk", argc, argv));
  return 7;
}
int item_disk_perf(int argc, char** argv) {
  g_calls.push_back(describe("disk_perf", argc, argv));
  return 0;
}
int item_fan(int argc, char** argv) {
  g_calls.push_back(describe("fan", argc, argv));
  return -1;
}
int item_rtc(int argc, char** argv) {
  g_calls.push_back(describe("rtc", argc, argv));
  return 0;
}

// Index 0 is never run by run-all; "disk" shadows "disk_perf" on purpose.
const tav::TestItem kItems[] = {
    {"reboot", 1, item_rtc, "reboot item"},
    {"disk", 1, item_disk, "disk item"},
    {"disk_perf", 2, item_disk_perf, "perf item"},
    {"fan", 1, item_fan, "fan item"},
    {"ghost", 1, nullptr, "not built"},
    {"rtc", 0, item_rtc, "unlinked item"},
    {nullptr, 0, nullptr, nullptr},
};

const std::string kUsage =
    "\r\n./tav_factory\t--help:\n\r\n"
    "用法:   ./tav_factory [-m][-i][-u][-V][测试项][参数][...][-c测试次数]\n\r\n"
    "选项:\n\r\n"
    "\t-m\t\t查看可测试选项(菜单式)\n\n"
    "\t-i\t\t创建软连接\n\n"
    "\t-u\t\t删除软连接\n\n"
    "\t-c\t\t删除软连接\n\n"
    "\t-V\t\t打印版本信息\n\n"
    "\r\n测试项:\n\r\n"
    "\treboot              \r\n"
    "\tdisk                \r\n"
    "\tfan                 \r\n"
    "\tghost               \r\n";

const std::string kMenu =
    "\t[0] reboot item\n\t[1] disk item\n\t[2] perf item\n\t[3] fan item\n\t[4] not built\n\t[5] unlinked item\n"
    "\t[h] 打印帮助信息\n\t[q] 退出测试\n\n请选择测试选项(默认值=0):";

int runner_entry(int argc, char** argv) { return tav::run_tests(argc, argv, "tav_factory", kItems); }

class Runner : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    g_calls.clear();
    tav::set_repeat_count(1);
  }
  Outcome menu(const std::string& keys, std::vector<std::string> words = {"tav_factory", "-m"}) {
    board().set_console(keys);
    return run(runner_entry, words);
  }
};

TEST_F(Runner, runs_the_first_item_whose_name_is_a_prefix_with_its_own_options) {
  struct Case {
    std::vector<std::string> words;
    std::string call;
  } cases[] = {
      {{"tav_factory", "disk_perf", "-m", "-c", "3"}, "disk(4,disk_perf,-m,-c,3)"},
      {{"tav_factory", "fan", "-h"}, "fan(2,fan,-h)"},
      {{"tav_factory", "fanatic"}, "fan(1,fanatic)"},
      {{"tav_factory", "rtc"}, "rtc(1,rtc)"},
  };
  for (const auto& c : cases) {
    g_calls.clear();
    Outcome r = run(runner_entry, c.words);
    EXPECT_EQ(r.out, "") << c.call;
    EXPECT_EQ(r.result, 0) << c.call;  // the item's result is not examined
    EXPECT_EQ(g_calls, std::vector<std::string>({c.call}));
  }
  // Options before the item word are the runner's, and then no item runs.
  g_calls.clear();
  Outcome r = run(runner_entry, {"tav_factory", "-c", "4", "disk"});
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(tav::repeat_count(), 4u);
}

TEST_F(Runner, menu_answers) {
  struct Case {
    const char* what;
    std::string keys;
    std::string out;
    std::vector<std::string> calls;
  } cases[] = {
      {"q leaves", "q\n", kMenu + "q\n退出测试\n", {}},
      {"h prints the usage and leaves", "h\n", kMenu + "h\n" + kUsage, {}},
      {"Enter alone asks again", "\nq\n", kMenu + "\n" + kMenu + "q\n退出测试\n", {}},
      {"punctuation asks again", "?\nq\n", kMenu + "?\n" + kMenu + "q\n退出测试\n", {}},
      {"0 runs the flagged items from index 1", "0\n", kMenu + "0\n", {"disk(0,null)", "fan(0,null)"}},
      {"another letter runs all too", "x\n", kMenu + "x\n", {"disk(0,null)", "fan(0,null)"}},
      {"a number runs that item, whatever its flag, and asks again",
       "5\t2\nq",
       kMenu + "5\n" + kMenu + "2\n" + kMenu + "q\n退出测试\n",
       {"rtc(0,null)", "disk_perf(0,null)"}},
      {"an item not built yet runs nothing", "4\nq\n", kMenu + "4\n" + kMenu + "q\n退出测试\n", {}},
      {"out of range", "12\nq\n", kMenu + "12\n输入有误！请重新选择测试\n" + kMenu + "q\n退出测试\n", {}},
      {"input ends after the third key",
       "1234\n",
       kMenu + "123\n输入有误！请重新选择测试\n" + kMenu + "4\n" + kMenu + "\n",
       {}},
      {"erasing keys",
       "\x7f"
       "9\b3\nq\n",
       kMenu + "9\b \b3\n" + kMenu + "q\n退出测试\n",
       {"fan(0,null)"}},
      {"end of input leaves", "", kMenu + "\n", {}},
  };
  for (const auto& c : cases) {
    g_calls.clear();
    Outcome r = menu(c.keys);
    EXPECT_EQ(r.out, c.out) << c.what;
    EXPECT_EQ(g_calls, c.calls) << c.what;
    EXPECT_EQ(r.result, 0) << c.what;
  }
}

}  // namespace
