// The one number parser of the board tools: decimal, or hexadecimal after
// "0x"/"0X"; strict; 32-bit range.
#pragma once

#include <cstdint>

namespace tav {

// Each returns 0 when the whole text is a number, -1 otherwise; the value
// reached so far is stored in *result either way.
int str_to_number(const char* text, uint64_t* result);
int hex_str_to_number(const char* text, uint64_t* result);
int dec_str_to_number(const char* text, uint64_t* result);

}  // namespace tav
