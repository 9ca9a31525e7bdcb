// The multi-call front end of tav_tool.
#pragma once

#include "tools/options.h"

namespace tav {

constexpr const char* kToolProgramName = "tav_tool";

// The board tools, in listing and install order, ended by a null name.
extern const BoardToolEntry kBoardTools[];

// The process entry: dispatch on the started name; always returns 0.
int tav_tool_main(int argc, char** argv);

}  // namespace tav
