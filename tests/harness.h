// Runs tools against the simulated board and captures what they print.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "sim/board.h"
#include "sim/devices.h"

namespace tavtest {

// What a run printed: a std::string that a failed assertion shows as text
// rather than escaped bytes. In the GBK build the test runner turns failure
// messages into UTF-8.
class Text : public std::string {
 public:
  Text() = default;
  Text(std::string bytes) : std::string(std::move(bytes)) {}
  Text substr(size_t pos = 0, size_t n = npos) const { return Text(std::string::substr(pos, n)); }
};

// The bytes between quotes, characters of the build's character set as they
// are and the rest escaped as the test framework escapes strings (so its
// line-by-line difference still works).
std::string quoted_text(const std::string& bytes);
void PrintTo(const Text& text, std::ostream* os);

struct Outcome {
  Text out;                            // stdout bytes
  Text err;                            // stderr bytes
  int result = 0;                      // the entry's return value, when it returned
  bool exited = false;                 // ended the process instead
  int status = 0;                      // exit status when exited
  std::vector<sim::Request> requests;  // what the run asked of the board
  size_t open_descriptors = 0;         // simulated descriptors left open
};

using Entry = int (*)(int, char**);

Outcome run(sim::Board& board, Entry entry, const std::vector<std::string>& words);

// The requests of one call (on path, when given) the run made, in order.
std::vector<const sim::Request*> requests_of(const Outcome& o, sim::Call call, const std::string& path = "");

inline bool starts_with(const std::string& s, const std::string& head) { return s.compare(0, head.size(), head) == 0; }
inline bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// Captures stdout and stderr around fn.
void run_capture(const std::function<void()>& fn, std::string* out, std::string* err);

// A fresh default board, installed, in a fresh working directory.
class BoardTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  tavtest::Outcome run(Entry entry, const std::vector<std::string>& words) {
    return tavtest::run(*board_, entry, words);
  }
  sim::Board& board() { return *board_; }
  // Replaces the board with a new default one, as a new process would find
  // it. The old board ends while still installed: threads a run left behind
  // end with it and must not find the backend gone.
  sim::Board& fresh_board();
  const std::string& dir() const { return dir_; }

 private:
  std::unique_ptr<sim::Board> board_;
  std::string dir_;
  std::string old_cwd_;
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& bytes);

// A scratch directory for the real-process tests, removed with its contents.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  void link(const std::string& name, const std::string& target) const;

 private:
  std::string path_;
};

struct Proc {
  int status = -1;
  Text out;
  Text err;
};

// Starts the program linked as dir/name under argv[0] name, from dir, with
// only env in its environment, its standard streams on in/out/err and every
// signal at its default (whatever the test runner blocks must not leak in).
int spawn(const TempDir& dir, const std::string& name, const std::vector<std::string>& args,
          const std::vector<std::string>& env, int in, int out, int err);
// Its exit status, or 128 + the signal that ended it.
int wait_status(int pid);
// Runs it to the end with input on standard input.
Proc run_process(const TempDir& dir, const std::string& name, const std::vector<std::string>& args,
                 const std::vector<std::string>& env, const std::string& input = "");

// A shell command's standard output and status; and its first line alone.
Proc shell(const std::string& cmd);
std::string first_line(const std::string& cmd);

// Why this machine cannot attach a loop device, or "" when it can.
std::string loop_unavailable();
// The loop device now over image, or "" when losetup refused.
std::string attach_loop(const std::string& image);
void detach_loop(const std::string& dev);

// The built tav_factory and its simulated-board build, linked into a
// scratch directory the programs start from.
class FactoryDirTest : public ::testing::Test {
 protected:
  void SetUp() override;
  Proc start(const std::string& name, const std::vector<std::string>& args, const std::string& input = "") {
    return run_process(dir_, name, args, {"LC_ALL=C"}, input);
  }
  TempDir dir_;
};

}  // namespace tavtest

// The other side of a failed comparison with captured text is shown the same way.
namespace testing::internal {
template <>
class FormatForComparison<const char*, tavtest::Text> {
 public:
  static std::string Format(const char* value) { return value ? tavtest::quoted_text(value) : "NULL"; }
};
template <>
class FormatForComparison<char*, tavtest::Text> : public FormatForComparison<const char*, tavtest::Text> {};
template <>
class FormatForComparison<std::string, tavtest::Text> {
 public:
  static std::string Format(const std::string& value) { return tavtest::quoted_text(value); }
};
}  // namespace testing::internal
