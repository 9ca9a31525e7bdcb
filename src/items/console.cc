#include "items/console.h"

#include <climits>

#include "sys/sys.h"

namespace tav {

namespace {

// One byte, or -1 at end of input or on a failed read.
int next_byte() {
  unsigned char c;
  return sys::read(0, &c, 1) == 1 ? c : -1;
}

bool blank(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

}  // namespace

int console_read_line(char* buf, int size) {
  if (size < 1) return -1;
  int n = 0;
  while (n < size - 1) {
    int c = next_byte();
    if (c < 0) break;
    buf[n++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  buf[n] = '\0';
  return n == 0 ? -1 : n;
}

int console_read_int(int* out) {
  int c;
  do c = next_byte();
  while (c >= 0 && blank(c));
  if (c < 0) return -1;
  bool negative = false;
  if (c == '-' || c == '+') {
    negative = c == '-';
    c = next_byte();
  }
  if (c < '0' || c > '9') return c < 0 ? -1 : 0;
  long long value = 0;
  while (c >= '0' && c <= '9') {
    if (value < INT_MAX) value = value * 10 + (c - '0');
    c = next_byte();
  }
  if (value > INT_MAX) value = INT_MAX;
  *out = static_cast<int>(negative ? -value : value);
  return 1;
}

}  // namespace tav
