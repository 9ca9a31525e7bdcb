// Every process-ending exit report, reached through its tool: the source
// and line each one names are what stations match on.
#include <gtest/gtest.h>

#include "harness.h"
#include "tools/tools.h"

namespace {

class ExitReport : public tavtest::BoardTest {};

TEST_F(ExitReport, each_report_names_its_fixed_source_and_line) {
  struct Case {
    tavtest::Entry entry;
    std::vector<std::string> words;
    sim::Call fail;  // Any: nothing fails
    std::string last_lines;
  };
  const std::string map = "Memory Map error. exit:0XFFFFFFFFFFFFFFFF.{";
  const std::string usage = " exit:0XFFFFFFFFFFFFFFFF.{";
  const Case cases[] = {
      {tav::himc, {"himc"}, sim::Call::Any, usage + "tools/mc:45}\n[END]\n"},
      {tav::himc, {"himc", "0x80040000", "4"}, sim::Call::Open, map + "tools/mc:95}\n[END]\n"},
      {tav::himd_l, {"himd.l"}, sim::Call::Any, usage + "tools/md:33}\n[END]\n"},
      {tav::himd_l, {"himd.l", "0x80040000"}, sim::Call::Open, map + "tools/md:66}\n[END]\n"},
      {tav::himd, {"himd"}, sim::Call::Any, usage + "tools/md:90}\n[END]\n"},
      {tav::himd, {"himd", "0x80040000"}, sim::Call::Open, map + "tools/md:123}\n[END]\n"},
      {tav::himdb, {"himdb", "0x80040000"}, sim::Call::Any, usage + "tools/md:165}\n[END]\n"},
      {tav::himdb, {"himdb", "0x80040000", "16"}, sim::Call::Open, map + "tools/md:191}\n[END]\n"},
      {tav::himm, {"himm"}, sim::Call::Any, usage + "tools/mm:35}\n[END]\n"},
      {tav::hivd, {"hivd"}, sim::Call::Any, usage + "tools/vd:57}\n[END]\n"},
      {tav::himii_r, {"himii.r"}, sim::Call::Any, usage + "tools/mii.cc:39}\n[END]\n"},
      {tav::himii_r,
       {"himii.r", "eth0", "1", "1"},
       sim::Call::Socket,
       "creat socket failed\n" + usage + "tools/mii.cc:48}\n[END]\n"},
      {tav::himii_w, {"himii.w"}, sim::Call::Any, usage + "tools/mii.cc:94}\n[END]\n"},
      {tav::himii_w,
       {"himii.w", "eth0", "1", "1", "2"},
       sim::Call::Socket,
       "creat socket failed\n" + usage + "tools/mii.cc:102}\n[END]\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.words.size() == 1 ? c.words[0] : c.words[0] + " failing");
    sim::Board& b = fresh_board();
    if (c.fail != sim::Call::Any) b.fail({c.fail, "", 0, 0, EACCES});
    tavtest::Outcome o = run(c.entry, c.words);
    EXPECT_TRUE(o.exited);
    EXPECT_EQ(o.status, 255);
    EXPECT_TRUE(tavtest::ends_with(o.out, c.last_lines)) << o.out;
  }
}

}  // namespace
