// A small JSON reader for the tests: enough to check that a record is one
// well-formed value and to read its fields back.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tavtest {

struct Json {
  enum Kind { kNull, kBool, kNumber, kString, kArray, kObject } kind = kNull;
  bool boolean = false;
  double number = 0;
  std::string text;  // UTF-8
  std::vector<Json> items;
  std::map<std::string, Json> fields;
  const Json& operator[](const std::string& k) const;
  const Json& operator[](size_t i) const { return items.at(i); }
};

// False when text is not exactly one JSON value (blanks around it allowed).
bool parse_json(const std::string& text, Json* out);

}  // namespace tavtest
