// tav_tool's front end: personality, links, dispatch and the help listing.
#include "tools/front.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "harness.h"

namespace {

using tavtest::Outcome;

const char kHelp[] =
    "\t-h\t\tprint help msg\n\n"
    "\t-i\t\tinstall board tools\n\n"
    "\t-u\t\tuninstall board tools\n\n"
    "------------------------------------------------------\n"
    " himc       : memory clear\n"
    " himd       : memory display (8bit)\n"
    " himd.l     : memory display (32bit)\n"
    " himm       : memory modify\n"
    " hivd       : video dump\n"
    " himdb      : video dump\n"
    " hiddrs     : ddr statistic\n"
    " hil2s      : l2 cache statistic\n"
    " hiew       : extend device write\n"
    " hier       : extend device read\n"
    " i2c_read   : i2c device read\n"
    " i2c_write  : i2c device write\n"
    " i2c_recv   : i2c device recv\n"
    " i2c_send   : i2c device send\n"
    " himii.r    : phy device read\n"
    " himii.w    : phy device write\n";

const char* const kNames[] = {"himc",    "himd",    "himd.l",   "himm",      "hivd",     "himdb",
                              "hiddrs",  "hil2s",   "hiew",     "hier",      "i2c_read", "i2c_write",
                              "i2c_recv", "i2c_send", "himii.r", "himii.w"};

class FrontEnd : public tavtest::BoardTest {
 protected:
  Outcome tool(std::vector<std::string> words) { return run(tav::tav_tool_main, words); }
  static std::string link_target(const char* name) {
    char buf[256] = {};
    ssize_t n = ::readlink(name, buf, sizeof buf - 1);
    return n < 0 ? "" : std::string(buf, static_cast<size_t>(n));
  }
};

TEST_F(FrontEnd, HelpListingForEveryNonAction) {
  const std::vector<std::vector<std::string>> cases = {
      {"tav_tool"},
      {"./bin/tav_tool", "-h"},
      {"tav_tool", "-h", "-i"},
      {"tav_tool", "stray"},
  };
  for (const auto& words : cases) {
    Outcome r = tool(words);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, std::string("\n") + kHelp) << words.back();
    EXPECT_EQ(r.err, "");
  }
  EXPECT_EQ(tool({"tav_tool", "-y"}).out, std::string("\nWrong Args y: -y\n") + kHelp);
  EXPECT_EQ(tool({"tav_tool", "-"}).out, std::string("\nWrong Args x: -\n") + kHelp);
  EXPECT_TRUE(board().log_of(sim::Call::Symlink).empty());
}

TEST_F(FrontEnd, InstallLinksEveryRowToTheBareName) {
  Outcome r = tool({"tav_tool", "-u", "-i"});
  std::string want = "\n";
  for (const char* name : kNames) want += std::string(" install <") + name + "> ok.\n";
  EXPECT_EQ(r.out, want);
  for (const char* name : kNames) EXPECT_EQ(link_target(name), "tav_tool") << name;

  // A second install reports every name through the error line, never "exist".
  r = tool({"tav_tool", "-i", "-i"});
  EXPECT_EQ(r.out, "\n");
  std::string err;
  for (int i = 0; i < 16; ++i) err += std::string(" install error!: ") + strerror(EEXIST) + "\n";
  EXPECT_EQ(r.err, err);
}

TEST_F(FrontEnd, UninstallRemovesOnlyItsOwnLinks) {
  tool({"tav_tool", "-i"});
  ASSERT_EQ(::unlink("himd"), 0);
  ASSERT_EQ(::symlink("busybox", "himd"), 0);
  ASSERT_EQ(::unlink("himm"), 0);
  tavtest::write_file("himm", "plain file");
  ASSERT_EQ(::unlink("hivd"), 0);
  ASSERT_EQ(::symlink(std::string(130, 'x').c_str(), "hivd"), 0);

  Outcome r = tool({"tav_tool", "-u"});
  std::string want = "\n";
  std::string err;
  for (const char* name : kNames) {
    std::string n = name;
    if (n == "himm") {
      err += std::string(" read link error: ") + strerror(EINVAL) + "\n";
      continue;
    }
    if (n == "hivd") {
      want += " buffer is too small, 120\n";
      continue;
    }
    want += " uninstall <" + n + ">  ok.\n";
    if (n == "himd") want += " busybox not link to me(tav_tool)\n";
  }
  EXPECT_EQ(r.out, want);
  EXPECT_EQ(r.err, err);
  EXPECT_EQ(link_target("himd"), "busybox");
  EXPECT_EQ(tavtest::read_file("himm"), "plain file");
  EXPECT_EQ(link_target("himc"), "");
  struct stat st;
  EXPECT_NE(lstat("himd.l", &st), 0);

  // Nothing left: every row reports the missing link.
  ::unlink("himd");
  ::unlink("himm");
  ::unlink("hivd");
  r = tool({"tav_tool", "-u"});
  EXPECT_EQ(r.out, "\n");
  std::string missing;
  for (int i = 0; i < 16; ++i) missing += std::string(" read link error: ") + strerror(ENOENT) + "\n";
  EXPECT_EQ(r.err, missing);
}

TEST_F(FrontEnd, FailedRemovalIsReported) {
  tool({"tav_tool", "-i"});
  board().fail({sim::Call::Unlink, "himc", 0, 1, EPERM});
  Outcome r = tool({"tav_tool", "-u"});
  EXPECT_EQ(r.err, std::string(" uninstall error: ") + strerror(EPERM) + "\n");
  EXPECT_EQ(link_target("himc"), "tav_tool");
}

TEST_F(FrontEnd, DispatchByExactBaseName) {
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
      {{"himm"}, "\nusage: himm <address> <Value>. sample: himm 0x80040000 0x123\n exit:0XFFFFFFFFFFFFFFFF.{tools/mm:35}\n[END]\n"},
  };
  for (const auto& c : cases) {
    Outcome r = tool(c.words);
    EXPECT_EQ(r.out, c.out) << c.words[0];
  }
  EXPECT_EQ(tool({"himm", "0x1000"}).out, "\n====dump memory 0X1000====\n0x1000: 0x00000000\nNewValue:Input Error\n[END]\n");
}

}  // namespace
