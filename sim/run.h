// Runs an entry point as a whole process on the default simulated board.
#pragma once

namespace sim {

// Builds the default board, makes it the backend and runs entry; the board's
// process-ending paths become the returned exit status.
int run_process(int argc, char** argv, int (*entry)(int, char**));

}  // namespace sim
