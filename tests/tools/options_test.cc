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
      {"p", tav::OPT_STRING, 0, "\tpositional\n", text, sizeof text},
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
  tavtest::run_capture([&] { rc = tav::scan_options(static_cast<int>(words.size()), argv.data(), t.rows); }, out, &err);
  return rc;
}

TEST(ScanOptions, results_and_messages) {
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

TEST(ScanOptions, string_values_are_cut_to_their_destination) {
  Table t;
  std::string out;
  const std::string longword(100, 'w');
  EXPECT_EQ(scan(t, {longword}, &out), 0);
  EXPECT_EQ(std::string(t.text), longword.substr(0, sizeof t.text - 1));
  EXPECT_EQ(t.row("p").set, 1);
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

TEST(RunCommandLine, calls_the_named_row_with_its_words) {
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
