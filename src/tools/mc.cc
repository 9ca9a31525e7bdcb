// himc: fill a physical range with a 16-bit value.
#include <cstdint>
#include <cstdio>

#include "tools/access.h"
#include "tools/dump.h"
#include "tools/memmap.h"
#include "tools/number.h"
#include "tools/report.h"
#include "tools/tools.h"

namespace tav {

namespace {
constexpr const char* kUsage =
    " clear(set) memory. \nusage: %s <address> <length> [value]. \nAddress: Phy address. 0x80040000 \n"
    "Length: the length to set \nValue: default 0 \nsample: %s 0x80040000 100 1\n"
    "Clear memory from 0x80040000, to 0x80040064\n";
}  // namespace

int himc(int argc, char** argv) {
  if (argc <= 2) {
    printf(kUsage, argv[0], argv[0]);
    exit_report("", ExitAt::McUsage);
  }
  uint64_t length = 0;
  if (str_to_number(argv[2], &length) != 0 || length == 0) {
    puts("length is invalid.");
    exit_now(1);
  }
  if (length & 1) {
    printf("length %#lX is invalid.must 2 byte aligned\n", static_cast<unsigned long>(length));
    exit_now(1);
  }
  uint64_t value = 0;
  if (argc == 4 && str_to_number(argv[3], &value) != 0) {
    // KEPT: the word after the value is named, which never exists; the C
    // library prints a null string as "(null)".
    printf("value %s is invalid.\n", "(null)");
    exit_now(1);
  }
  uint64_t address = 0;
  if (str_to_number(argv[1], &address) != 0) {
    puts(kBadAddress);
    return 0;
  }
  printf("====clear memory %#010lX, length %lu====\n", static_cast<unsigned long>(address),
         static_cast<unsigned long>(length));
  auto* mem = static_cast<volatile uint8_t*>(memmap(static_cast<uint32_t>(address), static_cast<uint32_t>(length)));
  if (mem == nullptr) exit_report(kMapError, ExitAt::McMap);
  const auto half = static_cast<uint16_t>(value);
  for (uint64_t i = 0; i < length / 2; ++i) store<uint16_t>(mem + 2 * i, half);
  dump_bytes(stdout, mem, length, 16);
  return 0;
}

}  // namespace tav
