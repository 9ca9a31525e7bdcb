// A fuzz input read from the front: choices, words and the rest as bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : p_(data), n_(size) {}
  bool empty() const { return n_ == 0; }
  // 0 once the input is used up.
  uint8_t byte() {
    if (n_ == 0) return 0;
    --n_;
    return *p_++;
  }
  uint32_t u32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = v << 8 | byte();
    return v;
  }
  // Up to max bytes, never a NUL (an argument cannot hold one).
  std::string word(size_t max) {
    size_t len = byte() % (max + 1);
    std::string w;
    while (w.size() < len && n_ > 0) {
      char c = static_cast<char>(byte());
      w += c == '\0' ? ' ' : c;
    }
    return w;
  }
  std::string bytes(size_t len) {
    std::string s;
    while (s.size() < len && n_ > 0) s += static_cast<char>(byte());
    return s;
  }
  std::string rest() { return bytes(n_); }

 private:
  const uint8_t* p_;
  size_t n_;
};

}  // namespace fuzz
