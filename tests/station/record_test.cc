// Station records: the JSON line, the JUnit document and the limits, as a
// station's parser would read them.
#include "station/record.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "station/json_reader.h"
#include "station/limits.h"

namespace {

using tav::station::ItemRecord;
using tav::station::Limit;
using tav::station::Measurement;
using tav::station::Verdict;
using tavtest::Json;

ItemRecord sample() {
  ItemRecord r;
  r.item = "fan";
  r.args = {"40", "say \"hi\"\\"};
  r.verdict = Verdict::kFail;
  r.result = -1;
  r.start_ns = 1700000000123456789;
  r.seconds = 0.25;
  Measurement duty;
  duty.name = "fan_duty";
  duty.number = 40;
  duty.unit = "percent";
  Measurement model;
  model.name = "model";
  model.is_text = true;
  model.text = "ST <1>";
  r.measurements = {duty, model};
  r.failures = {"Ioctl error, ret = -1"};
  r.output = "\x1b[31m红\x1b[0m\tline\r\n";
  return r;
}

TEST(StationRecord, json_line_is_one_line_holding_every_field) {
  std::string line = tav::station::json_line("tav_factory", "1.1.0", sample());
  ASSERT_EQ(line.find('\n'), line.size() - 1);
  Json j;
  ASSERT_TRUE(tavtest::parse_json(line, &j)) << line;
  EXPECT_EQ(j["program"].text, "tav_factory");
  EXPECT_EQ(j["version"].text, "1.1.0");
  EXPECT_EQ(j["item"].text, "fan");
  ASSERT_EQ(j["args"].items.size(), 2u);
  EXPECT_EQ(j["args"][1].text, "say \"hi\"\\");
  EXPECT_EQ(j["verdict"].text, "fail");
  EXPECT_EQ(j["result"].number, -1);
  EXPECT_EQ(j["start"].text, "2023-11-14T22:13:20.123Z");
  EXPECT_EQ(j["seconds"].number, 0.25);
  ASSERT_EQ(j["measurements"].items.size(), 2u);
  EXPECT_EQ(j["measurements"][0]["name"].text, "fan_duty");
  EXPECT_EQ(j["measurements"][0]["value"].number, 40);
  EXPECT_EQ(j["measurements"][0]["unit"].text, "percent");
  EXPECT_EQ(j["measurements"][1]["value"].text, "ST <1>");
  EXPECT_EQ(j["failures"][0].text, "Ioctl error, ret = -1");
  EXPECT_EQ(j["output"].text, "\x1b[31m红\x1b[0m\tline\r\n");
  EXPECT_NE(line.find("\\u001b[31m"), std::string::npos);
}

TEST(StationRecord, times_are_utc_with_milliseconds) {
  const struct {
    int64_t ns;
    const char* text;
  } rows[] = {
      {0, "1970-01-01T00:00:00.000Z"},
      {1700000000999999999, "2023-11-14T22:13:20.999Z"},
      {1795651200000000000, "2026-11-26T00:00:00.000Z"},
  };
  for (const auto& row : rows) EXPECT_EQ(tav::station::rfc3339(row.ns), row.text);
}

TEST(StationRecord, junit_counts_verdicts_and_escapes_any_output) {
  ItemRecord pass = sample();
  pass.verdict = Verdict::kPass;
  pass.failures.clear();
  ItemRecord error = sample();
  error.verdict = Verdict::kError;
  error.item = "a&b";
  ItemRecord info = sample();
  info.verdict = Verdict::kInfo;
  std::string doc = tav::station::junit_document("tav_factory", {pass, sample(), error, info});
  EXPECT_NE(doc.find("<testsuite name=\"tav_factory\" tests=\"4\" failures=\"1\" errors=\"1\""), std::string::npos);
  EXPECT_NE(doc.find("<testcase classname=\"tav_factory\" name=\"a&amp;b\" time=\"0.250\">"), std::string::npos);
  EXPECT_NE(doc.find("<failure message=\"Ioctl error, ret = -1\">Ioctl error, ret = -1\n</failure>"),
            std::string::npos);
  EXPECT_NE(doc.find("<error message="), std::string::npos);
  // The colour escape is no character XML allows.
  EXPECT_EQ(doc.find('\x1b'), std::string::npos);
  EXPECT_NE(doc.find("\xEF\xBF\xBD[31m红"), std::string::npos);
  size_t open = 0, close = 0;
  for (size_t p = 0; (p = doc.find("<testcase ", p)) != std::string::npos; ++p) ++open;
  for (size_t p = 0; (p = doc.find("</testcase>", p)) != std::string::npos; ++p) ++close;
  EXPECT_EQ(open, 4u);
  EXPECT_EQ(close, 4u);
}

TEST(StationLimits, malformed_lines_are_named_by_number) {
  const struct {
    const char* text;
    const char* error;
  } rows[] = {
      {"fan.fan_duty 10\n", "line 1: expected ITEM.MEASUREMENT MIN MAX"},
      {"# ok\n\nfan 1 2\n", "line 3: the first word must be ITEM.MEASUREMENT"},
      {"fan.fan_duty 1 2\n.x 1 2\n", "line 2: the first word must be ITEM.MEASUREMENT"},
      {"fan.fan_duty ten 2\n", "line 1: MIN and MAX must be numbers or -"},
      {"fan.fan_duty 5 1\n", "line 1: MIN is above MAX"},
      {"fan.fan_duty 1 2 3\n", "line 1: expected ITEM.MEASUREMENT MIN MAX"},
  };
  for (const auto& row : rows) {
    std::vector<Limit> limits;
    std::string error;
    EXPECT_FALSE(tav::station::parse_limits(row.text, &limits, &error)) << row.text;
    EXPECT_EQ(error, row.error) << row.text;
  }
}

TEST(StationLimits, measurements_outside_their_limits_fail_the_item) {
  std::vector<Limit> limits;
  std::string error;
  ASSERT_TRUE(
      tav::station::parse_limits("# item.measurement min max\n"
                                 "fan.fan_duty 10 50   # in range\n"
                                 "fan.speed - 3000\n"
                                 "rtc.rate 4 -\n",
                                 &limits, &error))
      << error;
  ASSERT_EQ(limits.size(), 3u);
  const struct {
    const char* item;
    double duty;
    Verdict before;
    Verdict after;
    const char* failure;
  } rows[] = {
      {"fan", 40, Verdict::kPass, Verdict::kFail, "limit fan.speed [-, 3000]: not measured"},
      {"fan", 60, Verdict::kInfo, Verdict::kFail, "limit fan.fan_duty = 60 outside [10, 50]"},
      {"fan", 5, Verdict::kError, Verdict::kError, "limit fan.fan_duty = 5 outside [10, 50]"},
      {"cpld", 60, Verdict::kInfo, Verdict::kInfo, nullptr},
  };
  for (const auto& row : rows) {
    ItemRecord r;
    r.item = row.item;
    r.verdict = row.before;
    Measurement m;
    m.name = "fan_duty";
    m.number = row.duty;
    r.measurements = {m};
    tav::station::apply_limits(limits, &r);
    EXPECT_EQ(r.verdict, row.after) << row.duty;
    if (row.failure == nullptr)
      EXPECT_TRUE(r.failures.empty());
    else if (r.failures.empty())
      ADD_FAILURE() << "no failure for " << row.duty;
    else
      EXPECT_EQ(r.failures.front(), row.failure);
  }
}

}  // namespace
