// Console input scripted by a test, standing in for the real standard input.
#pragma once

#include <termios.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

namespace sim {

class Console {
 public:
  void script(const std::string& text);
  bool scripted() const { return scripted_.load(); }
  // Up to n bytes of what is left of the script; 0 at its end.
  size_t read(void* buf, size_t n);
  struct termios attributes() const;
  void set_attributes(const struct termios& t);

 private:
  mutable std::mutex mu_;
  std::string text_;
  size_t pos_ = 0;
  std::atomic<bool> scripted_{false};
  struct termios termios_ {};
};

}  // namespace sim
