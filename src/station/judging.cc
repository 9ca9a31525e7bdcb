#include "station/judging.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tav {
namespace station {

// The console's lines, without their line ends.
Lines lines_of(std::string_view out) {
  std::vector<std::string_view> lines;
  while (!out.empty()) {
    size_t nl = out.find('\n');
    std::string_view line = out.substr(0, nl);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (nl == std::string_view::npos) break;
    out.remove_prefix(nl + 1);
  }
  return lines;
}

bool contains(std::string_view s, const char* part) { return s.find(part) != std::string_view::npos; }

bool starts(std::string_view s, const char* head) { return s.substr(0, strlen(head)) == head; }

// Every line holding one of the parts.
void collect(const Lines& lines, std::initializer_list<const char*> parts, std::vector<std::string>* out) {
  for (std::string_view l : lines)
    for (const char* p : parts)
      if (contains(l, p)) {
        out->emplace_back(l);
        break;
      }
}

void number(Findings* f, const char* name, double v, const char* unit) {
  Measurement m;
  m.name = name;
  m.number = v;
  m.unit = unit;
  f->measurements.push_back(m);
}

// The number after head on the first line that starts with it.
bool number_after(const Lines& lines, const char* head, double* v, int base) {
  for (std::string_view l : lines) {
    if (!starts(l, head)) continue;
    std::string rest(l.substr(strlen(head)));
    char* end = nullptr;
    *v = base == 10 ? strtod(rest.c_str(), &end) : static_cast<double>(strtoull(rest.c_str(), &end, base));
    return end != rest.c_str();
  }
  return false;
}

std::string_view last_line(const Lines& lines) {
  for (size_t i = lines.size(); i > 0; --i)
    if (!lines[i - 1].empty()) return lines[i - 1];
  return {};
}

void error_with(Findings* f, const Lines& lines, std::initializer_list<const char*> parts) {
  f->verdict = Verdict::kError;
  collect(lines, parts, &f->failures);
}

void text(Findings* f, const char* name, std::string_view value) {
  Measurement m;
  m.name = name;
  m.is_text = true;
  m.text = std::string(value);
  f->measurements.push_back(m);
}

bool error_at_first(const Lines& lines, std::initializer_list<const char*> parts, Findings* f) {
  for (std::string_view l : lines)
    for (const char* p : parts)
      if (contains(l, p)) {
        f->verdict = Verdict::kError;
        f->failures.emplace_back(l);
        return true;
      }
  return false;
}

bool time_line(std::string_view l, int* second) {
  int y, mo, d, h, mi;
  std::string s(l);
  char tail;
  return s.size() == 19 && sscanf(s.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &y, &mo, &d, &h, &mi, second, &tail) == 6;
}

}  // namespace station
}  // namespace tav
