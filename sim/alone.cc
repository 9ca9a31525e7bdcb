// The simulated board linked with nothing but the seam: every model of the
// default board and the process runner are pulled in, so a model that calls
// toolbox code leaves an undefined reference and this does not link.
#include "devices.h"
#include "run.h"

namespace {
int nothing(int, char**) { return 0; }
}  // namespace

int main(int argc, char** argv) {
  if (sim::make_default_board() == nullptr) return 1;
  return sim::run_process(argc, argv, nothing);
}
