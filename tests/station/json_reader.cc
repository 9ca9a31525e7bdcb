#include "station/json_reader.h"

#include <cstdlib>

namespace tavtest {

namespace {

struct Reader {
  const std::string& s;
  size_t i = 0;
  void blanks() {
    while (i < s.size() && (s[i] == ' ' || s[i] == '\n' || s[i] == '\t' || s[i] == '\r')) ++i;
  }
  bool literal(const char* w) {
    size_t n = std::char_traits<char>::length(w);
    if (s.compare(i, n, w) != 0) return false;
    i += n;
    return true;
  }
  static void put_utf8(std::string& o, unsigned cp) {
    if (cp < 0x80) {
      o += static_cast<char>(cp);
    } else if (cp < 0x800) {
      o += static_cast<char>(0xC0 | (cp >> 6));
      o += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      o += static_cast<char>(0xE0 | (cp >> 12));
      o += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      o += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  bool string(std::string* o) {
    if (i >= s.size() || s[i] != '"') return false;
    for (++i; i < s.size(); ++i) {
      unsigned char c = static_cast<unsigned char>(s[i]);
      if (c == '"') {
        ++i;
        return true;
      }
      if (c < 0x20) return false;
      if (c != '\\') {
        *o += static_cast<char>(c);
        continue;
      }
      if (++i >= s.size()) return false;
      switch (s[i]) {
        case '"':
          *o += '"';
          break;
        case '\\':
          *o += '\\';
          break;
        case '/':
          *o += '/';
          break;
        case 'b':
          *o += '\b';
          break;
        case 'f':
          *o += '\f';
          break;
        case 'n':
          *o += '\n';
          break;
        case 'r':
          *o += '\r';
          break;
        case 't':
          *o += '\t';
          break;
        case 'u': {
          if (i + 4 >= s.size()) return false;
          put_utf8(*o, static_cast<unsigned>(strtoul(s.substr(i + 1, 4).c_str(), nullptr, 16)));
          i += 4;
          break;
        }
        default:
          return false;
      }
    }
    return false;
  }
  // The comma-separated members of an object or array, from its opening
  // bracket to close.
  template <class Member>
  bool members(char close, Member member) {
    ++i;
    blanks();
    if (i < s.size() && s[i] == close) return ++i, true;
    for (;;) {
      if (!member()) return false;
      blanks();
      if (i < s.size() && s[i] == ',') {
        ++i;
        continue;
      }
      return i < s.size() && s[i++] == close;
    }
  }
  bool value(Json* v) {
    blanks();
    if (i >= s.size()) return false;
    char c = s[i];
    if (c == '{') {
      v->kind = Json::kObject;
      return members('}', [&] {
        blanks();
        std::string key;
        if (!string(&key)) return false;
        blanks();
        if (i >= s.size() || s[i++] != ':') return false;
        return value(&v->fields[key]);
      });
    }
    if (c == '[') {
      v->kind = Json::kArray;
      return members(']', [&] {
        v->items.emplace_back();
        return value(&v->items.back());
      });
    }
    if (c == '"') {
      v->kind = Json::kString;
      return string(&v->text);
    }
    if (literal("true") || literal("false")) {
      v->kind = Json::kBool;
      v->boolean = s[i - 1] == 'e' && s[i - 2] == 'u';
      return true;
    }
    if (literal("null")) return true;
    const char* start = s.c_str() + i;
    char* end = nullptr;
    v->number = strtod(start, &end);
    if (end == start) return false;
    v->kind = Json::kNumber;
    i += static_cast<size_t>(end - start);
    return true;
  }
};

}  // namespace

const Json& Json::operator[](const std::string& k) const {
  static const Json kMissing;
  auto it = fields.find(k);
  return it == fields.end() ? kMissing : it->second;
}

bool parse_json(const std::string& text, Json* out) {
  Reader r{text};
  if (!r.value(out)) return false;
  r.blanks();
  return r.i == text.size();
}

}  // namespace tavtest
