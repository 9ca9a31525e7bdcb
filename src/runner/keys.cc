// The runner's raw key reader: answers are read key by key so the operator
// gets an answer on a single key press and a bounded length.
#include <termios.h>

#include <cerrno>
#include <cstdio>

#include "common/console.h"
#include "common/process_state.h"
#include "runner/runner.h"
#include "sys/sys.h"

namespace tav {

namespace {

struct termios g_saved_termios;  // restored after every answer
[[maybe_unused]] const bool g_saved_termios_resets = register_state_reset([] { g_saved_termios = termios{}; });

constexpr int kTab = '\t';
constexpr int kBackspace = 8;
constexpr int kDelete = 127;

// The next key, waiting as long as it takes; a failed wait or read counts
// as a failed read.
int wait_key() {
  for (;;) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(0, &readable);
    struct timeval one_second = {1, 0};
    int rc = sys::select(1, &readable, nullptr, nullptr, &one_second);
    if (rc == 0) continue;  // no overall limit: the operator may take their time
    if (rc < 0) {
      if (errno == EINTR) continue;
      return ConsoleReader::kError;
    }
    unsigned char c;
    ssize_t n = sys::read(0, &c, 1);
    if (n == 1) return c;
    if (n < 0 && errno == EINTR) continue;
    return n == 0 ? ConsoleReader::kEnd : ConsoleReader::kError;
  }
}

}  // namespace

int read_key_line(char* buf, size_t n) {
  if (n == 0) return -1;
  // Without a terminal (a file or a pipe) the keys are read as they come.
  bool raw = sys::tcgetattr(0, &g_saved_termios) == 0;
  if (raw) {
    struct termios t = g_saved_termios;
    t.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    sys::tcsetattr(0, TCSANOW, &t);
  }
  ConsoleReader keys(wait_key);
  size_t pos = 0;
  bool ended = false;
  while (pos < n - 1) {
    int c = keys.get();
    if (c < 0) {
      ended = true;
      break;
    }
    if (c == kTab || c == '\n') break;
    if (c == kDelete || c == kBackspace) {
      if (pos == 0) continue;
      --pos;
      fputs("\b \b", stdout);
      fflush(stdout);
      continue;
    }
    putchar(c);
    fflush(stdout);
    buf[pos++] = static_cast<char>(c);
  }
  buf[pos] = '\0';
  if (raw) sys::tcsetattr(0, TCSANOW, &g_saved_termios);
  return ended ? -1 : static_cast<int>(pos);
}

}  // namespace tav
