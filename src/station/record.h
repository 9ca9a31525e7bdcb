// One item run as a station reads it: verdict, measurements and the lines
// behind the verdict, written as a JSON line or a JUnit test case.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tav {
namespace station {

enum class Verdict { kPass, kFail, kError, kInfo };
const char* verdict_name(Verdict v);
// Exit status of a verdict under strict exit: 0 pass or info, 1 fail, 2 error.
int verdict_status(Verdict v);

struct Measurement {
  std::string name;  // ascii snake_case
  bool is_text = false;
  double number = 0;
  std::string text;  // UTF-8, when is_text
  std::string unit;
};

struct ItemRecord {
  std::string item;
  std::vector<std::string> args;  // UTF-8
  Verdict verdict = Verdict::kPass;
  int result = 0;
  int64_t start_ns = 0;  // since the epoch
  double seconds = 0;
  std::vector<Measurement> measurements;
  std::vector<std::string> failures;  // UTF-8 console lines
  std::string output;                 // UTF-8
};

// Console bytes (GBK, or UTF-8 in a UTF-8 build) as UTF-8; bytes that do
// not decode become U+FFFD.
std::string to_utf8(std::string_view console);

// RFC 3339, UTC, milliseconds: 2026-11-24T21:50:07.123Z.
std::string rfc3339(int64_t ns);

// One line, ended by a newline.
std::string json_line(const char* program, const char* version, const ItemRecord& r);

// A whole JUnit document for the runs, in order.
std::string junit_document(const char* program, const std::vector<ItemRecord>& runs);

}  // namespace station
}  // namespace tav
