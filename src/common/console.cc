#include "common/console.h"

#include <cctype>
#include <climits>

#include "sys/sys.h"

namespace tav {

namespace {

bool blank(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

}  // namespace

int ConsoleReader::standard_input() {
  unsigned char c;
  ssize_t n = sys::read(0, &c, 1);
  if (n == 1) return c;
  return n == 0 ? kEnd : kError;
}

int ConsoleReader::get() {
  if (pushed_ != kNothing) {
    int c = pushed_;
    pushed_ = kNothing;
    return c;
  }
  return source_();
}

void ConsoleReader::skip_line() {
  int c;
  do c = get();
  while (c != '\n' && c >= 0);
}

int ConsoleReader::read_line(char* buf, int size) {
  if (size < 1) return -1;
  int n = 0;
  while (n < size - 1) {
    int c = get();
    if (c < 0) break;
    buf[n++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  buf[n] = '\0';
  return n == 0 ? -1 : n;
}

int ConsoleReader::read_int(int* out) {
  int c;
  do c = get();
  while (c >= 0 && blank(c));
  if (c < 0) return -1;
  bool negative = false;
  if (c == '-' || c == '+') {
    negative = c == '-';
    c = get();
  }
  if (c < '0' || c > '9') return c < 0 ? -1 : 0;
  long long value = 0;
  while (c >= '0' && c <= '9') {
    if (value < INT_MAX) value = value * 10 + (c - '0');
    c = get();
  }
  if (value > INT_MAX) value = INT_MAX;
  *out = static_cast<int>(negative ? -value : value);
  return 1;
}

bool ConsoleReader::scan_hex(unsigned long long* value) {
  int c;
  do c = get();
  while (c >= 0 && isspace(c));
  bool negative = false;
  if (c == '+' || c == '-') {
    negative = c == '-';
    c = get();
  }
  unsigned long long v = 0;
  bool digits = false;
  if (c == '0') {
    digits = true;
    c = get();
    if (c == 'x' || c == 'X') c = get();
  }
  while (c >= 0 && isxdigit(c)) {
    v = v * 16 + static_cast<unsigned>(isdigit(c) ? c - '0' : tolower(c) - 'a' + 10);
    digits = true;
    c = get();
  }
  unget(c);
  if (!digits) return false;
  *value = negative ? 0 - v : v;
  return true;
}

bool ConsoleReader::read_word(char* out, size_t size) {
  if (size == 0) return false;
  size_t n = 0;
  while (n < size - 1) {
    int c = get();
    if (c == kError) return false;
    if (c == kEnd) break;
    if (blank(c)) {
      if (n > 0) break;
      continue;
    }
    out[n++] = static_cast<char>(c);
  }
  out[n] = '\0';
  return n > 0;
}

int console_read_line(char* buf, int size) { return ConsoleReader().read_line(buf, size); }

int console_read_int(int* out) { return ConsoleReader().read_int(out); }

}  // namespace tav
