// How each item's run is judged: from its words, its result and what it
// printed (plus what it noted where the console text is kept misleading).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/record.h"

namespace tav {
namespace station {

struct RunFacts {
  std::string_view item;
  int argc = 0;
  char** argv = nullptr;  // the item's own words; argv[0] is its name
  int result = 0;
  bool ended_process = false;  // the item ended the process itself
  std::string_view out;        // console bytes
  std::vector<std::string> notes;
};

struct Findings {
  Verdict verdict = Verdict::kPass;
  std::vector<Measurement> measurements;
  std::vector<std::string> failures;  // console bytes, one line each
};

Findings judge(const RunFacts& facts);

}  // namespace station
}  // namespace tav
