#include "station/limits.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tav {
namespace station {

namespace {

bool parse_bound(const std::string& word, bool* has, double* value) {
  if (word == "-") {
    *has = false;
    return true;
  }
  char* end = nullptr;
  *value = strtod(word.c_str(), &end);
  *has = true;
  return end != word.c_str() && *end == '\0';
}

std::vector<std::string> words_of(const std::string& line) {
  std::vector<std::string> words;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && isspace(static_cast<unsigned char>(line[i]))) ++i;
    size_t start = i;
    while (i < line.size() && !isspace(static_cast<unsigned char>(line[i]))) ++i;
    if (i > start) words.push_back(line.substr(start, i - start));
  }
  return words;
}

std::string format_bound(bool has, double v) {
  if (!has) return "-";
  char buf[32];
  snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

}  // namespace

bool parse_limits(const char* text, std::vector<Limit>* out, std::string* error) {
  int number = 0;
  for (const char* p = text; *p != '\0';) {
    const char* eol = strchr(p, '\n');
    std::string line = eol ? std::string(p, eol) : std::string(p);
    p = eol ? eol + 1 : p + line.size();
    ++number;
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    std::vector<std::string> w = words_of(line);
    if (w.empty()) continue;
    Limit l;
    size_t dot = w[0].find('.');
    const char* what = nullptr;
    if (w.size() != 3)
      what = "expected ITEM.MEASUREMENT MIN MAX";
    else if (dot == std::string::npos || dot == 0 || dot + 1 == w[0].size())
      what = "the first word must be ITEM.MEASUREMENT";
    else if (!parse_bound(w[1], &l.has_min, &l.min) || !parse_bound(w[2], &l.has_max, &l.max))
      what = "MIN and MAX must be numbers or -";
    else if (l.has_min && l.has_max && l.min > l.max)
      what = "MIN is above MAX";
    if (what != nullptr) {
      *error = "line " + std::to_string(number) + ": " + what;
      return false;
    }
    l.item = w[0].substr(0, dot);
    l.measurement = w[0].substr(dot + 1);
    out->push_back(l);
  }
  return true;
}

void apply_limits(const std::vector<Limit>& limits, ItemRecord* r) {
  for (const Limit& l : limits) {
    if (l.item != r->item) continue;
    const Measurement* found = nullptr;
    for (const Measurement& m : r->measurements)
      if (m.name == l.measurement) found = &m;
    std::string range = "[" + format_bound(l.has_min, l.min) + ", " + format_bound(l.has_max, l.max) + "]";
    std::string line;
    if (found == nullptr) {
      line = "limit " + l.item + "." + l.measurement + " " + range + ": not measured";
    } else if (found->is_text) {
      line = "limit " + l.item + "." + l.measurement + " " + range + ": not a number: " + found->text;
    } else if ((l.has_min && found->number < l.min) || (l.has_max && found->number > l.max)) {
      char value[32];
      snprintf(value, sizeof value, "%g", found->number);
      line = "limit " + l.item + "." + l.measurement + " = " + value + " outside " + range;
    } else {
      continue;
    }
    r->failures.push_back(line);
    if (r->verdict != Verdict::kError) r->verdict = Verdict::kFail;
  }
}

}  // namespace station
}  // namespace tav
