#include "station/record.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "common/gbk.h"

namespace tav {
namespace station {

namespace {

#ifndef TAV_CHARSET_GBK
// The length of a well-formed UTF-8 sequence at s[i], or 0.
size_t utf8_sequence(std::string_view s, size_t i) {
  unsigned char c = static_cast<unsigned char>(s[i]);
  size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
  if (len == 0 || i + len > s.size()) return 0;
  for (size_t k = 1; k < len; ++k)
    if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return 0;
  return len;
}
#endif

void append_json_string(std::string& out, std::string_view utf8) {
  out += '"';
  for (char ch : utf8) {
    unsigned char c = static_cast<unsigned char>(ch);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      default:
        if (c < 0x20) {
          char esc[8];
          snprintf(esc, sizeof esc, "\\u%04x", c);
          out += esc;
        } else {
          out += ch;
        }
    }
  }
  out += '"';
}

void append_number(std::string& out, double v) {
  if (!std::isfinite(v)) {
    out += "null";
    return;
  }
  char buf[32];
  snprintf(buf, sizeof buf, "%.15g", v);
  out += buf;
}

// Text fit for XML 1.0: markup escaped, and the control characters it does
// not allow (the console's colour escapes among them) replaced.
void append_xml_text(std::string& out, std::string_view utf8) {
  for (char ch : utf8) {
    unsigned char c = static_cast<unsigned char>(ch);
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
          out += "\xEF\xBF\xBD";
        else
          out += ch;
    }
  }
}

std::string joined(const std::vector<std::string>& lines) {
  std::string s;
  for (const std::string& l : lines) {
    s += l;
    s += '\n';
  }
  return s;
}

}  // namespace

const char* verdict_name(Verdict v) {
  switch (v) {
    case Verdict::kPass:
      return "pass";
    case Verdict::kFail:
      return "fail";
    case Verdict::kError:
      return "error";
    case Verdict::kInfo:
      return "info";
  }
  return "error";
}

int verdict_status(Verdict v) { return v == Verdict::kFail ? 1 : v == Verdict::kError ? 2 : 0; }

std::string to_utf8(std::string_view console) {
#ifdef TAV_CHARSET_GBK
  return gbk_to_utf8(console.data(), console.size());
#else
  std::string out;
  out.reserve(console.size());
  for (size_t i = 0; i < console.size();) {
    size_t len = utf8_sequence(console, i);
    if (len == 0) {
      out += "\xEF\xBF\xBD";
      ++i;
    } else {
      out.append(console.substr(i, len));
      i += len;
    }
  }
  return out;
#endif
}

std::string rfc3339(int64_t ns) {
  time_t secs = static_cast<time_t>(ns / 1000000000);
  int ms = static_cast<int>((ns % 1000000000) / 1000000);
  struct tm tm = {};
  gmtime_r(&secs, &tm);
  char buf[64];
  snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
           tm.tm_hour, tm.tm_min, tm.tm_sec, ms);
  return buf;
}

std::string json_line(const char* program, const char* version, const ItemRecord& r) {
  std::string o = "{\"program\":";
  append_json_string(o, program);
  o += ",\"version\":";
  append_json_string(o, version);
  o += ",\"item\":";
  append_json_string(o, r.item);
  o += ",\"args\":[";
  for (size_t i = 0; i < r.args.size(); ++i) {
    if (i > 0) o += ',';
    append_json_string(o, r.args[i]);
  }
  o += "],\"verdict\":";
  append_json_string(o, verdict_name(r.verdict));
  o += ",\"result\":" + std::to_string(r.result) + ",\"start\":";
  append_json_string(o, rfc3339(r.start_ns));
  o += ",\"seconds\":";
  append_number(o, r.seconds);
  o += ",\"measurements\":[";
  for (size_t i = 0; i < r.measurements.size(); ++i) {
    const Measurement& m = r.measurements[i];
    if (i > 0) o += ',';
    o += "{\"name\":";
    append_json_string(o, m.name);
    o += ",\"value\":";
    if (m.is_text)
      append_json_string(o, m.text);
    else
      append_number(o, m.number);
    o += ",\"unit\":";
    append_json_string(o, m.unit);
    o += '}';
  }
  o += "],\"failures\":[";
  for (size_t i = 0; i < r.failures.size(); ++i) {
    if (i > 0) o += ',';
    append_json_string(o, r.failures[i]);
  }
  o += "],\"output\":";
  append_json_string(o, r.output);
  o += "}\n";
  return o;
}

std::string junit_document(const char* program, const std::vector<ItemRecord>& runs) {
  int failures = 0, errors = 0;
  double total = 0;
  for (const ItemRecord& r : runs) {
    failures += r.verdict == Verdict::kFail;
    errors += r.verdict == Verdict::kError;
    total += r.seconds;
  }
  char head[256];
  snprintf(head, sizeof head, "<testsuite name=\"%s\" tests=\"%zu\" failures=\"%d\" errors=\"%d\" time=\"%.3f\">\n",
           program, runs.size(), failures, errors, total);
  std::string x = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  x += head;
  for (const ItemRecord& r : runs) {
    char time[32];
    snprintf(time, sizeof time, "%.3f", r.seconds);
    x += "  <testcase classname=\"";
    append_xml_text(x, program);
    x += "\" name=\"";
    append_xml_text(x, r.item);
    x += "\" time=\"";
    x += time;
    x += "\">\n";
    if (r.verdict == Verdict::kFail || r.verdict == Verdict::kError) {
      const char* tag = r.verdict == Verdict::kFail ? "failure" : "error";
      std::string text = joined(r.failures);
      x += "    <";
      x += tag;
      x += " message=\"";
      append_xml_text(x, r.failures.empty() ? std::string(verdict_name(r.verdict)) : r.failures.front());
      x += "\">";
      append_xml_text(x, text);
      x += "</";
      x += tag;
      x += ">\n";
    }
    x += "    <system-out>";
    append_xml_text(x, r.output);
    x += "</system-out>\n  </testcase>\n";
  }
  x += "</testsuite>\n";
  return x;
}

}  // namespace station
}  // namespace tav
