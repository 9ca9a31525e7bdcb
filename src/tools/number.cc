#include "tools/number.h"

namespace tav {

int hex_str_to_number(const char* text, uint64_t* result) {
  uint32_t value = 0;
  int rc = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    char c = *p;
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    uint32_t digit;
    if (c >= '0' && c <= '9') {
      digit = static_cast<uint32_t>(c - '0');
    } else if (c >= 'A' && c <= 'F') {
      digit = static_cast<uint32_t>(c - 'A' + 10);
    } else {
      rc = -1;
      break;
    }
    if (value > 0x0FFFFFFFu) {  // a ninth significant digit
      rc = -1;
      break;
    }
    value = value * 16 + digit;
  }
  *result = value;
  return rc;
}

int dec_str_to_number(const char* text, uint64_t* result) {
  uint32_t value = 0;
  int rc = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') {
      rc = -1;
      break;
    }
    if (value > 429496728u && value != 429496729u) {
      rc = -1;
      break;
    }
    if (value == 429496729u && *p > '5') {
      rc = -1;
      break;
    }
    value = value * 10 + static_cast<uint32_t>(*p - '0');
  }
  *result = value;
  return rc;
}

int str_to_number(const char* text, uint64_t* result) {
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    if (text[2] == '\0') return -1;
    return hex_str_to_number(text + 2, result);
  }
  return dec_str_to_number(text, result);
}

}  // namespace tav
