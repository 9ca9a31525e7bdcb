// How a run on the simulated board can end other than by returning.
#pragma once

namespace sim {

// Thrown by the board's exit so a test can see a process-ending path.
struct ProcessExit {
  int status;
};

// Thrown when a tool would wait forever (pause with nothing pending).
struct Stuck {
  const char* what;
};

// Thrown in a thread the board started when the board goes away, so threads a
// tool never joins (a heartbeat) end with it.
struct BoardGone {};

}  // namespace sim
