#include "shell_setup.h"

#include <errno.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board.h"
#include "tavio.h"

namespace sim {

namespace {

struct ErrnoName {
  const char* name;
  int value;
};
constexpr ErrnoName kErrnos[] = {
    {"EPERM", EPERM},   {"ENOENT", ENOENT}, {"EINTR", EINTR},         {"EIO", EIO},
    {"ENXIO", ENXIO},   {"EBADF", EBADF},   {"EAGAIN", EAGAIN},       {"ENOMEM", ENOMEM},
    {"EACCES", EACCES}, {"EFAULT", EFAULT}, {"EBUSY", EBUSY},         {"ENODEV", ENODEV},
    {"EINVAL", EINVAL}, {"ENOTTY", ENOTTY}, {"ENOSPC", ENOSPC},       {"EROFS", EROFS},
    {"EPIPE", EPIPE},   {"ENOSYS", ENOSYS}, {"ETIMEDOUT", ETIMEDOUT}, {"EOPNOTSUPP", EOPNOTSUPP},
};

std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> parts;
  size_t from = 0;
  for (;;) {
    size_t to = text.find(at, from);
    parts.push_back(text.substr(from, to == std::string::npos ? std::string::npos : to - from));
    if (to == std::string::npos) return parts;
    from = to + 1;
  }
}

// A whole unsigned number in C notation (0x.., 0.., decimal).
bool number(const std::string& text, unsigned long* out) {
  if (text.empty() || text[0] == '-' || text[0] == '+') return false;
  char* end = nullptr;
  errno = 0;
  *out = strtoul(text.c_str(), &end, 0);
  return errno == 0 && *end == '\0';
}

bool errno_value(const std::string& text, int* out) {
  for (const auto& e : kErrnos)
    if (text == e.name) {
      *out = e.value;
      return true;
    }
  unsigned long n;
  if (!number(text, &n) || n == 0 || n > 4095) return false;
  *out = static_cast<int>(n);
  return true;
}

bool call_kind(const std::string& text, Fault* f) {
  for (int c = 0; c <= static_cast<int>(Call::Thread); ++c)
    if (text == call_name(static_cast<Call>(c))) {
      f->call = static_cast<Call>(c);
      return true;
    }
  unsigned long request;
  if (!number(text, &request) || request == 0) return false;
  f->call = Call::Ioctl;
  f->request = request;
  return true;
}

}  // namespace

bool parse_board_choice(const std::string& text, BoardChoice* out, std::string* error) {
  std::vector<std::string> parts = split(text, ':');
  unsigned long v, in = 0, outs = 0;
  if ((parts.size() != 1 && parts.size() != 3) || !number(parts[0], &v) || v > 0xFFFF) {
    *error = "expected VARIANT or VARIANT:ALARM_INPUTS:ALARM_OUTPUTS, e.g. 0x30 or 0x20:16:4";
    return false;
  }
  out->variant = static_cast<unsigned>(v);
  out->alarms = parts.size() == 3;
  if (out->alarms) {
    if (!number(parts[1], &in) || !number(parts[2], &outs) || in > 31 || outs > 31) {
      *error = "alarm counts are 0 to 31";
      return false;
    }
    out->alarm_inputs = static_cast<unsigned>(in);
    out->alarm_outputs = static_cast<unsigned>(outs);
  }
  return true;
}

bool parse_faults(const std::string& text, std::vector<Fault>* out, std::string* error) {
  for (const std::string& one : split(text, ',')) {
    std::vector<std::string> parts = split(one, ':');
    Fault f;
    unsigned long nth = 0;
    if (parts.size() < 3 || parts.size() > 4) {
      *error = "'" + one + "': expected PATH:CALL:ERRNO[:NTH]";
      return false;
    }
    if (!call_kind(parts[1], &f)) {
      *error = "'" + parts[1] + "' is neither a call (open, read, write, ioctl, ...) nor a request number";
      return false;
    }
    if (!errno_value(parts[2], &f.err)) {
      *error = "'" + parts[2] + "' is not an errno (EIO, EINVAL, ... or 1 to 4095)";
      return false;
    }
    if (parts.size() == 4 && (!number(parts[3], &nth) || nth == 0 || nth > 1000000)) {
      *error = "'" + parts[3] + "': the nth call is counted from 1";
      return false;
    }
    f.path = parts[0];
    f.nth = static_cast<int>(nth);
    out->push_back(f);
  }
  return true;
}

bool apply_shell_setup(Board& board) {
  std::string error;
  if (const char* text = getenv(kBoardEnv); text != nullptr && *text != '\0') {
    BoardChoice choice;
    if (!parse_board_choice(text, &choice, &error)) {
      fprintf(stderr, "simulated board: %s=%s: %s\n", kBoardEnv, text, error.c_str());
      return false;
    }
    set_board_variant(board, choice.variant);
    if (choice.alarms) set_alarm_counts(board, choice.alarm_inputs, choice.alarm_outputs);
  }
  if (const char* text = getenv(kFaultEnv); text != nullptr && *text != '\0') {
    std::vector<Fault> faults;
    if (!parse_faults(text, &faults, &error)) {
      fprintf(stderr, "simulated board: %s=%s: %s\n", kFaultEnv, text, error.c_str());
      return false;
    }
    for (const Fault& f : faults) board.fail(f);
  }
  return true;
}

}  // namespace sim
