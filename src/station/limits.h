// Station limits: one "ITEM.MEASUREMENT MIN MAX" a line ("-" for an open
// end, "#" comments); a measurement outside its limits fails the item.
#pragma once

#include <string>
#include <vector>

#include "station/record.h"

namespace tav {
namespace station {

struct Limit {
  std::string item;
  std::string measurement;
  bool has_min = false;
  double min = 0;
  bool has_max = false;
  double max = 0;
};

// Parses text; on a malformed line returns false with *error naming the
// line number and what is wrong.
bool parse_limits(const char* text, std::vector<Limit>* out, std::string* error);

// Fails r (adding a failure line) for every limit of its item that a
// measurement breaks or that was not measured.
void apply_limits(const std::vector<Limit>& limits, ItemRecord* r);

}  // namespace station
}  // namespace tav
