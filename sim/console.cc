#include "console.h"

#include <algorithm>
#include <cstring>

#include "locked.h"

namespace sim {

void Console::script(const std::string& text) {
  std::lock_guard<std::mutex> lock(mu_);
  text_ = text;
  pos_ = 0;
  scripted_ = true;
}

size_t Console::read(void* buf, size_t n) {
  std::lock_guard<std::mutex> lock(mu_);
  size_t k = std::min(n, text_.size() - pos_);
  memcpy(buf, text_.data() + pos_, k);
  pos_ += k;
  return k;
}

struct termios Console::attributes() const {
  return locked_read(mu_, termios_);
}

void Console::set_attributes(const struct termios& t) { locked_write(mu_, termios_, t); }

}  // namespace sim
