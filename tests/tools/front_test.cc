// tav_tool's front end: personality, links, dispatch and the help listing.
#include "tools/front.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "harness.h"

namespace {

using tavtest::Outcome;

class FrontEnd : public tavtest::BoardTest {
 protected:
  Outcome tool(std::vector<std::string> words) { return run(tav::tav_tool_main, words); }
  static std::string link_target(const char* name) {
    char buf[256] = {};
    ssize_t n = ::readlink(name, buf, sizeof buf - 1);
    return n < 0 ? "" : std::string(buf, static_cast<size_t>(n));
  }
};

TEST_F(FrontEnd, dispatch_by_exact_base_name) {
  struct Case {
    std::vector<std::string> words;
    std::string out;
  } cases[] = {
      {{"HIMD"}, "\n\ndo errro\n[END]\n"},
      {{"himd.x"}, "\n\ndo errro\n[END]\n"},
      {{"/bin/"}, "\n\ndo errro\n[END]\n"},
      {{"hil2s", "1", "2"},
       "\nL2 cache statistic usage like this:\n\thil2s [second=1,2,3...]\n\teg. hil2s 2\n\ndo errro\n[END]\n"},
      {{"/opt/x/himd.l", "0x80040000", "16"},
       "\n====dump memory 0x80040000====\n0000:  00000000 00000000 00000000 00000000\n[END]\n"},
      {{"himm", "1", "2", "3"}, "\nxxx\n[END]\n"},
      {{"himm"},
       "\nusage: himm <address> <Value>. sample: himm 0x80040000 0x123\n "
       "exit:0XFFFFFFFFFFFFFFFF.{tools/mm:35}\n[END]\n"},
  };
  for (const auto& c : cases) {
    Outcome r = tool(c.words);
    EXPECT_EQ(r.out, c.out) << c.words[0];
  }
  EXPECT_EQ(tool({"himm", "0x1000"}).out,
            "\n====dump memory 0X1000====\n0x1000: 0x00000000\nNewValue:Input Error\n[END]\n");
}

}  // namespace
