// The simulated board chosen from the shell: a board variant and faults
// named in the environment, so an engineer can rehearse a failing verdict.
//   TAV_SIM_BOARD=VARIANT[:ALARM_INPUTS:ALARM_OUTPUTS]   e.g. 0x30 or 0x20:16:4
//   TAV_SIM_FAULT=PATH:CALL:ERRNO[:NTH][,...]            e.g. /dev/rtc0:ioctl:EIO
// CALL is a call's name (open, read, write, ioctl, mmap, ...) or an ioctl
// request number; ERRNO a name (EIO) or a number; NTH fails only the nth
// matching call (from 1).
#pragma once

#include <string>
#include <vector>

#include "faults.h"

namespace sim {

class Board;

constexpr const char* kBoardEnv = "TAV_SIM_BOARD";
constexpr const char* kFaultEnv = "TAV_SIM_FAULT";

struct BoardChoice {
  unsigned variant = 0;
  bool alarms = false;
  unsigned alarm_inputs = 0;
  unsigned alarm_outputs = 0;
};

// False, with why in *error, for a value that cannot be read.
bool parse_board_choice(const std::string& text, BoardChoice* out, std::string* error);
bool parse_faults(const std::string& text, std::vector<Fault>* out, std::string* error);

// Applies both variables to board; false (after a line on stderr naming the
// variable) when either cannot be read.
bool apply_shell_setup(Board& board);

}  // namespace sim
