#include "tools/report.h"

#include <cstdio>

#include "sys/sys.h"

namespace tav {

void exit_report(const char* reason, const char* path, int line) {
  printf("%s exit:%#010lX.{%s:%d}\n", reason, static_cast<unsigned long>(-1L), path, line);
  puts("[END]");
  exit_now(-1);
}

void exit_now(int status) {
  fflush(stdout);
  sys::exit(status);
}

}  // namespace tav
