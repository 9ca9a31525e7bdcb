#include "tools/options.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness.h"

namespace {

using tav::OptionSpec;

struct Table {
  char text[64] = {};
  int32_t number = -7;
  float real = -1;
  char letter = 0;
  OptionSpec rows[7] = {
      {"h", tav::OPT_FLAG, 0, "\tprint help msg\n", nullptr},
      {"n", tav::OPT_INT, 0, "\tnumber\n", &number},
      {"r", tav::OPT_REAL, 0, "\treal\n", &real},
      {"c", tav::OPT_CHAR, 0, "\tletter\n", &letter},
      {"z", tav::OPT_RESERVED, 0, "\treserved\n", nullptr},
      {"p", tav::OPT_STRING, 0, "\tpositional\n", text},
      {"END", tav::OPT_END, 0, "\tEND\n", nullptr},
  };
  OptionSpec& row(const char* name) {
    for (auto& r : rows)
      if (strcmp(r.name, name) == 0) return r;
    throw std::runtime_error(name);
  }
};

struct ScanCase {
  std::vector<std::string> words;
  int rc;
  std::string out;
};

int scan(Table& t, std::vector<std::string> words, std::string* out) {
  words.insert(words.begin(), "prog");
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  int rc = 0;
  std::string err;
  tavtest::run_capture([&] { rc = tav::scan_options(static_cast<int>(words.size()), argv.data(), t.rows); }, out,
                       &err);
  return rc;
}

TEST(ScanOptions, ResultsAndMessages) {
  const ScanCase cases[] = {
      {{}, 0, ""},
      {{"-h"}, 0, ""},
      {{"/h"}, 0, ""},
      {{"-"}, 2, "Wrong Args x: -\n"},
      {{"/"}, 2, "Wrong Args x: /\n"},
      {{"-hx"}, 2, "Wrong Args y: -hx\n"},
      {{"-h", "-q", "-n"}, 2, "Wrong Args y: -q\n"},
      {{"/usr/bin"}, 2, "Wrong Args y: /usr/bin\n"},
      {{"one"}, 0, ""},
      {{"one", "two"}, 5, ""},
      {{"-z", "v"}, 3, ""},
      {{"-n"}, 0, ""},
  };
  for (const auto& c : cases) {
    Table t;
    std::string out;
    EXPECT_EQ(scan(t, c.words, &out), c.rc) << c.words.size();
    EXPECT_EQ(out, c.out);
  }
}

TEST(ScanOptions, StoresValuesByKind) {
  Table t;
  std::string out;
  ASSERT_EQ(scan(t, {"-n", "42", "-r", "2.5", "-c", "xyz", "word", "-h"}, &out), 0);
  EXPECT_EQ(t.number, 42);
  EXPECT_EQ(t.real, 2.5f);
  EXPECT_EQ(t.letter, 'x');
  EXPECT_STREQ(t.text, "word");
  for (const char* name : {"n", "r", "c", "p", "h"}) EXPECT_EQ(t.row(name).set, 1) << name;
}

TEST(ScanOptions, PendingOptionLeftUnsetOrReplaced) {
  Table t;
  std::string out;
  ASSERT_EQ(scan(t, {"-n"}, &out), 0);
  EXPECT_EQ(t.row("n").set, 0);
  EXPECT_EQ(t.number, -7);
  Table u;
  ASSERT_EQ(scan(u, {"-n", "-r", "7"}, &out), 0);
  EXPECT_EQ(u.row("n").set, 0);
  EXPECT_EQ(u.real, 7.0f);
  Table v;  // junk converts to 0 without complaint
  ASSERT_EQ(scan(v, {"-n", "12abc", "-r", "x"}, &out), 0);
  EXPECT_EQ(v.number, 12);
  EXPECT_EQ(v.real, 0.0f);
}

TEST(ScanOptions, StrayWordWithoutPositionalRowIsRefused) {
  OptionSpec rows[] = {{"h", tav::OPT_FLAG, 0, "", nullptr}, {"END", tav::OPT_END, 0, "", nullptr}};
  std::string w0 = "prog", w1 = "stray";
  char* argv[] = {&w0[0], &w1[0], nullptr};
  EXPECT_EQ(tav::scan_options(2, argv, rows), 4);
}

TEST(ScanOptions, ReservedRowIsClearedByAValue) {
  Table t;
  t.row("z").set = 1;
  EXPECT_EQ(tav::store_option_value(&t.row("z"), "v"), 3);
  EXPECT_EQ(t.row("z").set, 0);
  OptionSpec end = {"END", tav::OPT_END, 1, "", nullptr};
  EXPECT_EQ(tav::store_option_value(&end, "v"), 0);
  EXPECT_EQ(end.set, 0);
  OptionSpec odd = {"o", 9, 1, "", nullptr};
  EXPECT_EQ(tav::store_option_value(&odd, "v"), 3);
  EXPECT_EQ(odd.set, 0);
}

TEST(PrintOptionUsage, TabNameTabHelp) {
  OptionSpec rows[] = {{"h", tav::OPT_FLAG, 0, "\tprint help msg\n", nullptr},
                       {"END", tav::OPT_END, 0, "\tEND\n", nullptr}};
  std::string out, err;
  tavtest::run_capture([&] { tav::print_option_usage(rows); }, &out, &err);
  EXPECT_EQ(out, "\t-h\t\tprint help msg\n\n");
  tavtest::run_capture([&] { tav::print_option_usage(rows + 1); }, &out, &err);
  EXPECT_EQ(out, "");
}

int g_calls = 0;
int g_argc = 0;
std::vector<std::string> g_args;
int record(int argc, char** argv) {
  ++g_calls;
  g_argc = argc;
  g_args.assign(argv, argv + argc);
  return 9;
}

const tav::BoardToolEntry kTable[] = {
    {"alpha", 1, record, "a"},
    {"alpha.l", 0, nullptr, "b"},
    {"alpha", 1, nullptr, "shadowed"},
    {nullptr, 0, nullptr, nullptr},
};

TEST(FindBoardTool, ExactWholeNameFirstRowWins) {
  EXPECT_EQ(tav::find_board_tool("alpha", kTable), &kTable[0]);
  EXPECT_EQ(tav::find_board_tool("alpha.l", kTable), &kTable[1]);
  EXPECT_EQ(tav::find_board_tool("alph", kTable), nullptr);
  EXPECT_EQ(tav::find_board_tool("ALPHA", kTable), nullptr);
  EXPECT_EQ(tav::find_board_tool("", kTable), nullptr);
  EXPECT_EQ(tav::find_board_tool(nullptr, kTable), nullptr);
  EXPECT_EQ(tav::find_board_tool("alpha", nullptr), nullptr);
  EXPECT_EQ(tav::find_board_tool("alpha", kTable + 3), nullptr);
}

TEST(SplitWords, BlanksOnlySeparate) {
  char text[] = "  one two\tthree   four ";
  char* words[8] = {};
  int n = -1;
  tav::split_words(text, &n, words, 8);
  ASSERT_EQ(n, 3);
  EXPECT_STREQ(words[0], "one");
  EXPECT_STREQ(words[1], "two\tthree");
  EXPECT_STREQ(words[2], "four");
  char empty[] = "";
  tav::split_words(empty, &n, words, 8);
  EXPECT_EQ(n, 0);
}

TEST(RunCommandLine, CallsTheNamedRowWithItsWords) {
  g_calls = 0;
  EXPECT_EQ(tav::run_command_line("alpha 0x10  20", kTable), 9);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(g_argc, 3);
  EXPECT_EQ(g_args, (std::vector<std::string>{"alpha", "0x10", "20"}));
  EXPECT_EQ(tav::run_command_line("alpha.l x", kTable), 3);
  EXPECT_EQ(tav::run_command_line("beta", kTable), -1);
  EXPECT_EQ(tav::run_command_line("", kTable), -1);
  std::string out, err;
  int rc = 0;
  tavtest::run_capture([&] { rc = tav::run_command_line(nullptr, kTable); }, &out, &err);
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(out, "null\n");
  // Overlong lines are cut, never overrun.
  std::string longline = "alpha";
  for (int i = 0; i < 40; ++i) longline += " w";
  EXPECT_EQ(tav::run_command_line(longline.c_str(), kTable), 9);
  EXPECT_EQ(g_argc, 16);
}

}  // namespace
