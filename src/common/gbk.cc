#include "common/gbk.h"

#include <cstdint>

#include "common/gbk_table.h"

namespace tav {

namespace {

constexpr uint16_t kReplacement = 0xFFFD;

void put_utf8(std::string& out, uint16_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Row of the table for a lead byte, or -1 outside GB2312.
int table_row(uint8_t lead) {
  if (lead >= 0xA1 && lead <= 0xA9) return lead - 0xA1;
  if (lead >= 0xB0 && lead <= 0xF7) return 9 + lead - 0xB0;
  return -1;
}

}  // namespace

std::string gbk_to_utf8(const char* data, size_t n) {
  std::string out;
  out.reserve(n + n / 2);
  const auto* p = reinterpret_cast<const uint8_t*>(data);
  for (size_t i = 0; i < n; ++i) {
    uint8_t lead = p[i];
    if (lead < 0x80) {
      out += static_cast<char>(lead);
      continue;
    }
    uint8_t trail = i + 1 < n ? p[i + 1] : 0;
    bool pair = lead >= 0x81 && lead <= 0xFE && trail >= 0x40 && trail <= 0xFE && trail != 0x7F;
    if (!pair) {
      // The next byte is looked at afresh: it may be ASCII or start a character.
      put_utf8(out, kReplacement);
      continue;
    }
    ++i;
    int row = table_row(lead);
    uint16_t c = row >= 0 && trail >= 0xA1 ? gbk::kTable[row][trail - 0xA1] : 0;
    put_utf8(out, c != 0 ? c : kReplacement);
  }
  return out;
}

}  // namespace tav
