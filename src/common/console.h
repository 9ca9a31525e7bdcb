// Answers typed at the console, read a byte at a time through the seam so
// that what follows an answer stays for the next one. Every tool, item and
// the runner read their answers through one ConsoleReader; each keeps the one
// byte of look-ahead its own parsing needs.
#pragma once

#include <cstddef>

namespace tav {

class ConsoleReader {
 public:
  static constexpr int kEnd = -1;    // end of input
  static constexpr int kError = -2;  // a failed read
  // The next byte (0-255), kEnd or kError.
  using Source = int (*)();
  // Standard input through the seam.
  static int standard_input();

  explicit ConsoleReader(Source source = standard_input) : source_(source) {}

  int get();
  // Gives back one byte: the next get() returns it.
  void unget(int c) { pushed_ = c; }
  // Up to and including the next newline, or to the end of input.
  void skip_line();

  // Like fgets: at most size - 1 characters, up to and including a newline.
  // Returns the length, or -1 at end of input (or a failed read) before any
  // character.
  int read_line(char* buf, int size);
  // Like scanf("%d"), except that the byte after the digits is taken too.
  // Returns 1 with *out set, 0 when the next text is not a number, -1 at end
  // of input.
  int read_int(int* out);
  // Like scanf("%llx"): false when no hexadecimal number could be read.
  bool scan_hex(unsigned long long* value);
  // One blank-delimited word, at most size - 1 characters. False at end of
  // input before any character, and after a failed read: a word cut short by
  // an error must never be used.
  bool read_word(char* out, size_t size);

 private:
  static constexpr int kNothing = -3;
  Source source_;
  int pushed_ = kNothing;
};

// One-shot readers over standard input, for answers read alone.
int console_read_line(char* buf, int size);
int console_read_int(int* out);

}  // namespace tav
