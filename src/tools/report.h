// Process-ending reports shared by the board tools.
#pragma once

namespace tav {

// Prints the exit report line naming the tool's source and line, then
// "[END]", and ends the process with status 255.
[[noreturn]] void exit_report(const char* reason, const char* path, int line);

// Ends the process with status after flushing what was printed.
[[noreturn]] void exit_now(int status);

constexpr const char* kMapError = "Memory Map error.";
constexpr const char* kBadAddress = "Please input address like 0x12345";

}  // namespace tav
