#include "tools/report.h"

#include <cstdio>

#include "sys/sys.h"

namespace tav {

void exit_report(const char* reason, ExitAt at) {
  const ExitSite& site = kExitSites[static_cast<size_t>(at)];
  printf("%s exit:%#010lX.{%s:%d}\n", reason, static_cast<unsigned long>(-1L), site.path, site.line);
  puts("[END]");
  exit_now(-1);
}

void exit_now(int status) {
  fflush(stdout);
  sys::exit(status);
}

}  // namespace tav
