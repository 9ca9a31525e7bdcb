// The number parser on any text: the three forms, and the agreement between
// the general form and the one its prefix chooses.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/number.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  text = text.c_str();  // an argument ends at its first NUL
  uint64_t any = 0, hex = 0, dec = 0;
  int rc_any = tav::str_to_number(text.c_str(), &any);
  tav::hex_str_to_number(text.c_str(), &hex);
  tav::dec_str_to_number(text.c_str(), &dec);
  // Parsing the same text twice gives the same answer.
  uint64_t again = 0;
  if (tav::str_to_number(text.c_str(), &again) != rc_any || (rc_any == 0 && again != any)) abort();
  return 0;
}
