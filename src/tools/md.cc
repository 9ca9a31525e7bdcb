// himd, himd.l: display physical memory as bytes or 32-bit words.
// himdb: append a physical range to a file.
#include <cstdint>
#include <cstdio>

#include "sys/sys.h"
#include "tools/dump.h"
#include "tools/memmap.h"
#include "tools/number.h"
#include "tools/report.h"
#include "tools/tools.h"

namespace tav {

namespace {
constexpr const char* kUsageWords = "usage: %s <address> [length]. sample: %s 0x80040000 0x100\n";
constexpr const char* kUsageBytes = "usage: %s <address>. sample: %s 0x80040000\n";
constexpr const char* kUsageFile = "usage: %s <address> <len> [filename]. sample: %s 0x80040000 \n";
constexpr uint64_t kDefaultLength = 0x100;

// What tells the two listings apart.
struct Listing {
  const char* usage;
  ExitAt usage_at;
  const char* heading;
  ExitAt map_at;
  int (*dump)(FILE*, const volatile void*, unsigned long, unsigned);
  bool whole_rows;  // four words a row are shown whatever the length
};

constexpr Listing kWords = {kUsageWords,        ExitAt::MdWordsUsage, "====dump memory 0x%08lX====\n",
                            ExitAt::MdWordsMap, dump_words,           true};
constexpr Listing kBytes = {kUsageBytes,        ExitAt::MdBytesUsage, "====dump memory %#010lX====\n",
                            ExitAt::MdBytesMap, dump_bytes,           false};

int display(int argc, char** argv, const Listing& how) {
  if (argc < 2) {
    printf(how.usage, argv[0], argv[0]);
    exit_report("", how.usage_at);
  }
  uint64_t length = 0;
  if (argc != 3 || str_to_number(argv[2], &length) != 0) length = kDefaultLength;
  uint64_t address = 0;
  if (str_to_number(argv[1], &address) != 0) {
    puts(kBadAddress);
    return 0;
  }
  printf(how.heading, static_cast<unsigned long>(address));
  // Whatever is shown is mapped.
  uint64_t mapped = how.whole_rows ? (length + 15) & ~uint64_t{15} : length;
  if (mapped > UINT32_MAX) mapped = length;
  void* mem = memmap(static_cast<uint32_t>(address), static_cast<uint32_t>(mapped));
  if (mem == nullptr) exit_report(kMapError, how.map_at);
  how.dump(stdout, mem, length, 16);
  return 0;
}
}  // namespace

int himd_l(int argc, char** argv) { return display(argc, argv, kWords); }

int himd(int argc, char** argv) { return display(argc, argv, kBytes); }

int himdb(int argc, char** argv) {
  if (argc < 3) {
    printf(kUsageFile, argv[0], argv[0]);
    exit_report("", ExitAt::MdbUsage);
  }
  uint64_t length = 0;
  if (str_to_number(argv[2], &length) != 0) length = kDefaultLength;
  char name[128];
  if (argc == 4)
    snprintf(name, sizeof name, "%s", argv[3]);
  else
    snprintf(name, sizeof name, "md_%s-%s", argv[1], argv[2]);
  uint64_t address = 0;
  if (str_to_number(argv[1], &address) != 0) {
    puts(kBadAddress);
    sys::munmap(nullptr, length);  // KEPT: unmaps nothing; the request is still made
    return 0;
  }
  printf("====dump memory:<%#010lX><%lu> to file:<%s>====\n", static_cast<unsigned long>(address),
         static_cast<unsigned long>(length), name);
  void* mem = memmap(static_cast<uint32_t>(address), static_cast<uint32_t>(length));
  if (mem == nullptr) exit_report(kMapError, ExitAt::MdbMap);
  dump_to_file(mem, length, nullptr, name);
  // KEPT: straight to the system, past the registry: an address that is not
  // page-aligned makes this fail and the mapping stays.
  sys::munmap(mem, length);
  return 0;
}

}  // namespace tav
