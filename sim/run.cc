#include "run.h"

#include <cstdio>

#include "devices.h"

namespace sim {

int run_process(int argc, char** argv, int (*entry)(int, char**)) {
  auto board = make_default_board();
  install(board.get());
  int status;
  try {
    status = entry(argc, argv);
  } catch (const ProcessExit& e) {
    status = e.status;
  } catch (const Stuck& e) {
    fflush(stdout);
    fprintf(stderr, "simulated board: %s\n", e.what);
    status = 124;
  }
  fflush(stdout);
  install(nullptr);
  return status;
}

}  // namespace sim
