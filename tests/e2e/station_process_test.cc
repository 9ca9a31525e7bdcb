// Station records on real processes: with the variables set every console
// byte and exit status stays as it was, and each item run leaves one record.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "harness.h"
#include "station/json_reader.h"

namespace {

using tavtest::Json;
using tavtest::Proc;

class StationProcess : public tavtest::FactoryDirTest {
 protected:
  Proc start_with(const std::vector<std::string>& env, const std::vector<std::string>& args,
                  const std::string& input = "") {
    std::vector<std::string> all = {"LC_ALL=C"};
    all.insert(all.end(), env.begin(), env.end());
    return tavtest::run_process(dir_, "tav_factory_sim", args, all, input);
  }
  std::vector<Json> records(const std::string& name) {
    std::vector<Json> out;
    std::string text = tavtest::read_file(dir_ / name);
    for (size_t p = 0; p < text.size();) {
      size_t nl = text.find('\n', p);
      if (nl == std::string::npos) {
        ADD_FAILURE() << "a record without its line end: " << text.substr(p);
        break;
      }
      Json j;
      EXPECT_TRUE(tavtest::parse_json(text.substr(p, nl - p), &j)) << text.substr(p, nl - p);
      out.push_back(j);
      p = nl + 1;
    }
    return out;
  }
};

struct RecordCase {
  std::vector<std::string> args;
  std::string input;
  std::vector<std::string> items;  // one record each, in order
  std::vector<std::string> verdicts;
};

TEST_F(StationProcess, console_and_status_are_unchanged_and_each_run_leaves_one_record) {
  const RecordCase cases[] = {
      {{"cpld"}, "", {"cpld"}, {"info"}},
      {{"bootparam"}, "", {"bootparam"}, {"info"}},
      {{"alarm"}, "", {"alarm"}, {"pass"}},
      {{"buzzer"}, "", {"buzzer"}, {"pass"}},
      {{"fan", "40"}, "", {"fan"}, {"pass"}},
      {{"fan", "101"}, "", {"fan"}, {"error"}},
      {{"temperature"}, "", {"temperature"}, {"info"}},
      {{"keys"}, "", {"keys"}, {"error"}},
      {{"reset"}, "", {"reset"}, {"fail"}},
      {{"nas_kill"}, "/mnt/x\n", {"nas_kill"}, {"pass"}},
      {{"-m"}, "2\n7\nq\n", {"cpld", "vga"}, {"info", "pass"}},
      {{"nosuchitem"}, "", {}, {}},
  };
  for (const RecordCase& c : cases) {
    std::string what = c.args[0];
    unlink((dir_ / "r.jsonl").c_str());
    Proc plain = start_with({}, c.args, c.input);
    Proc recorded = start_with({"TAV_RESULTS=r.jsonl", "TAV_JUNIT=j.xml"}, c.args, c.input);
    EXPECT_EQ(recorded.out, plain.out) << what;
    EXPECT_EQ(recorded.err, plain.err) << what;
    EXPECT_EQ(recorded.status, plain.status) << what;
    std::vector<Json> r = records("r.jsonl");
    ASSERT_EQ(r.size(), c.items.size()) << what;
    std::string outputs;
    for (size_t i = 0; i < r.size(); ++i) {
      EXPECT_EQ(r[i]["program"].text, "tav_factory");
      EXPECT_EQ(r[i]["version"].text, "1.1.0");
      EXPECT_EQ(r[i]["item"].text, c.items[i]) << what;
      EXPECT_EQ(r[i]["verdict"].text, c.verdicts[i]) << what << " " << c.items[i];
      EXPECT_EQ(r[i]["start"].text.size(), 24u);
      EXPECT_EQ(r[i]["measurements"].kind, Json::kArray);
      EXPECT_EQ(r[i]["failures"].kind, Json::kArray);
      outputs += r[i]["output"].text;
    }
#ifndef TAV_CHARSET_GBK
    // Every item's output is in its record (the runner's own menu is not).
    for (const Json& one : r) EXPECT_NE(plain.out.find(one["output"].text), std::string::npos) << what;
#endif
    std::string junit = tavtest::read_file(dir_ / "j.xml");
    EXPECT_NE(junit.find("tests=\"" + std::to_string(c.items.size()) + "\""), std::string::npos) << junit;
  }
}

TEST_F(StationProcess, measurements_and_limits) {
  tavtest::write_file(dir_ / "limits", "# fan duty must stay low\nfan.fan_duty 0 30\n");
  Proc p = start_with({"TAV_RESULTS=r.jsonl", "TAV_LIMITS=limits"}, {"fan", "40"});
  EXPECT_EQ(p.status, 0);
  std::vector<Json> r = records("r.jsonl");
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0]["verdict"].text, "fail");
  ASSERT_EQ(r[0]["measurements"].items.size(), 1u);
  EXPECT_EQ(r[0]["measurements"][0]["name"].text, "fan_duty");
  EXPECT_EQ(r[0]["measurements"][0]["value"].number, 40);
  EXPECT_EQ(r[0]["measurements"][0]["unit"].text, "percent");
  ASSERT_EQ(r[0]["failures"].items.size(), 1u);
  EXPECT_EQ(r[0]["failures"][0].text, "limit fan.fan_duty = 40 outside [0, 30]");

  tavtest::write_file(dir_ / "bad", "fan.fan_duty 0 30\nfan.fan_duty 40\n");
  p = start_with({"TAV_RESULTS=r.jsonl", "TAV_LIMITS=bad"}, {"fan", "40"});
  EXPECT_EQ(p.status, 2);
  EXPECT_EQ(p.out, "");
  EXPECT_EQ(p.err, "tav_factory: bad: line 2: expected ITEM.MEASUREMENT MIN MAX\n");
  EXPECT_EQ(records("r.jsonl").size(), 1u);
}

TEST_F(StationProcess, strict_exit_tells_the_worst_verdict) {
  const struct {
    std::vector<std::string> args;
    int plain;
    int strict;
  } rows[] = {
      {{"cpld"}, 0, 0}, {{"fan", "40"}, 0, 0},  {{"reset"}, 0, 1},
      {{"keys"}, 0, 2}, {{"fan", "101"}, 0, 2}, {{"phy"}, 0, 2},  // the usage ends the process from inside the item
  };
  for (const auto& row : rows) {
    EXPECT_EQ(start_with({}, row.args).status, row.plain) << row.args[0];
    Proc p = start_with({"TAV_STRICT_EXIT=1", "TAV_RESULTS=r.jsonl"}, row.args);
    EXPECT_EQ(p.status, row.strict) << row.args[0];
  }
  // Without strict exit the status stays whatever the verdicts.
  EXPECT_EQ(start_with({"TAV_RESULTS=r.jsonl"}, {"reset"}).status, 0);
}

TEST_F(StationProcess, unwritable_paths_are_said_once_and_change_nothing_else) {
  Proc plain = start_with({}, {"cpld"});
  Proc p = start_with({"TAV_RESULTS=no/such/dir/r.jsonl", "TAV_JUNIT=no/such/dir/j.xml"}, {"cpld"});
  EXPECT_EQ(p.out, plain.out);
  EXPECT_EQ(p.status, plain.status);
  EXPECT_EQ(p.err,
            "tav_factory: cannot write results to no/such/dir/r.jsonl: No such file or directory\n"
            "tav_factory: cannot write the JUnit report to no/such/dir/j.xml: No such file or directory\n");
  // "-" puts the records on standard error instead.
  p = start_with({"TAV_RESULTS=-"}, {"cpld"});
  EXPECT_EQ(p.out, plain.out);
  Json j;
  EXPECT_TRUE(tavtest::parse_json(p.err, &j)) << p.err;
  EXPECT_EQ(j["item"].text, "cpld");
}

TEST_F(StationProcess, concurrent_appends_leave_whole_lines) {
  constexpr int kProcesses = 6;
  int null_in = open("/dev/null", O_RDONLY | O_CLOEXEC);
  int null_out = open("/dev/null", O_WRONLY | O_CLOEXEC);
  std::vector<int> pids;
  for (int i = 0; i < kProcesses; ++i)
    pids.push_back(tavtest::spawn(dir_, "tav_factory_sim", {"cpld"}, {"LC_ALL=C", "TAV_RESULTS=shared.jsonl"}, null_in,
                                  null_out, null_out));
  for (int pid : pids) EXPECT_EQ(tavtest::wait_status(pid), 0);
  close(null_in);
  close(null_out);
  std::vector<Json> r = records("shared.jsonl");
  ASSERT_EQ(r.size(), static_cast<size_t>(kProcesses));
  for (const Json& j : r) EXPECT_EQ(j["item"].text, "cpld");
}

}  // namespace
