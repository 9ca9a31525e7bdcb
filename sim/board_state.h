// The simulated board's settable state kept between commands, as a real
// board keeps it between power cycles: the fan's duty, the clock chip's time
// (running on while no command runs), the boot environment and its password,
// the I2C chips' registers, what was written to the eMMC and the NAND pages
// that are not erased. Physical memory is kept on its own (TAV_SIM_MEM).
#pragma once

#include <string>

namespace sim {

class Board;

// A directory: the state is read from it as a command starts and written
// back as it ends; an empty or missing directory is a board as shipped.
constexpr const char* kStateEnv = "TAV_SIM_STATE";

// False, with why in *error, for a state file that cannot be read (a board
// from another version, an edited file); the board is then left as shipped.
bool load_board_state(Board& board, const std::string& dir, std::string* error);
// False when the directory cannot be written.
bool save_board_state(Board& board, const std::string& dir);

}  // namespace sim
