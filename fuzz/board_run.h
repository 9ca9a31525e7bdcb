// Runs a tool's or item's entry as a whole process on a fresh simulated
// board, the way the suite does, with what a fuzz input chose.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "input.h"
#include "sim/board.h"

namespace fuzz {

using Entry = int (*)(int, char**);

struct BoardRun {
  std::vector<std::string> words;  // argv, the name first
  std::string console;             // standard input
  unsigned variant = 0x20;         // the hardware record's board variant
  bool fault = false;
  sim::Fault injected;
  std::function<void(sim::Board&)> prepare;  // device answers, before the run
};

// A variant, a fault (or none) and the console, taken from the input.
void choose_board(Input& in, BoardRun* run);
// Arguments as a user could type them, except that a path outside /dev,
// /proc and /sys is kept in the scratch directory.
std::string contained_word(std::string w);
void run_on_board(Entry entry, const BoardRun& run);

}  // namespace fuzz
