// himm: show one 32-bit word of physical memory and write a new value.
#include <cstdint>
#include <cstdio>

#include "common/console.h"
#include "tools/access.h"
#include "tools/memmap.h"
#include "tools/number.h"
#include "tools/report.h"
#include "tools/tools.h"

namespace tav {

namespace {
constexpr uint32_t kMapSize = 128;

}  // namespace

int himm(int argc, char** argv) {
  if (argc < 2) {
    printf("usage: %s <address> <Value>. sample: %s 0x80040000 0x123\n", argv[0], argv[0]);
    exit_report("", ExitAt::MmUsage);
  }
  if (argc > 3) {
    puts("xxx");
    return 0;
  }
  uint64_t address = 0;
  uint64_t value = 0;
  if (argc == 3) {
    if (str_to_number(argv[1], &address) != 0 || str_to_number(argv[2], &value) != 0) return 0;
    void* mem = memmap(static_cast<uint32_t>(address), kMapSize);
    if (mem == nullptr) return -1;  // the registry has said why; nothing is written
    printf("%s: 0x%08lX --> 0x%08lX \n", argv[1], static_cast<unsigned long>(load<uint32_t>(mem)),
           static_cast<unsigned long>(value));
    store<uint32_t>(mem, static_cast<uint32_t>(value));
    return 0;
  }
  if (str_to_number(argv[1], &address) != 0) {
    puts(kBadAddress);
    return 0;
  }
  printf("====dump memory %#lX====\n", static_cast<unsigned long>(address));
  void* mem = memmap(static_cast<uint32_t>(address), kMapSize);
  if (mem == nullptr) {
    puts("memmap failed!");
    return -1;
  }
  printf("%s: 0x%08lX\n", argv[1], static_cast<unsigned long>(load<uint32_t>(mem)));
  printf("NewValue:");
  fflush(stdout);
  char word[16];
  if (!ConsoleReader().read_word(word, sizeof word) || str_to_number(word, &value) != 0) {
    puts("Input Error");
    return 0;
  }
  store<uint32_t>(mem, static_cast<uint32_t>(value));
  return 0;
}

}  // namespace tav
