// Items scan their own options with getopt, perhaps more than once in one
// process (the menu, a repeat count), so each scan starts afresh.
#pragma once

#include <getopt.h>

namespace tav {

inline void restart_option_scan() {
  optind = 0;
  opterr = 0;
  optopt = 0;
  optarg = nullptr;
}

// For items whose only option is -h: true when any option was given.
inline bool scan_help_option(int argc, char** argv) {
  restart_option_scan();
  bool option = false;
  if (argc > 0 && argv != nullptr)
    while (getopt(argc, argv, "h") != -1) option = true;
  return option;
}

}  // namespace tav
