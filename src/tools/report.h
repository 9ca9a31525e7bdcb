// Process-ending reports shared by the board tools.
#pragma once

#include <cstddef>

namespace tav {

// The places a tool ends the process from with an exit report.
enum class ExitAt {
  McUsage,
  McMap,
  MdWordsUsage,
  MdWordsMap,
  MdBytesUsage,
  MdBytesMap,
  MdbUsage,
  MdbMap,
  MmUsage,
  VdUsage,
  MiiReadUsage,
  MiiReadSocket,
  MiiWriteUsage,
  MiiWriteSocket,
};

// The source and line each report names. Stations match on them, so they
// are fixed data, whatever line the call sits on.
struct ExitSite {
  ExitAt at;
  const char* path;
  int line;
};
constexpr ExitSite kExitSites[] = {
    {ExitAt::McUsage, "tools/mc", 45},           {ExitAt::McMap, "tools/mc", 95},
    {ExitAt::MdWordsUsage, "tools/md", 33},      {ExitAt::MdWordsMap, "tools/md", 66},
    {ExitAt::MdBytesUsage, "tools/md", 90},      {ExitAt::MdBytesMap, "tools/md", 123},
    {ExitAt::MdbUsage, "tools/md", 165},         {ExitAt::MdbMap, "tools/md", 191},
    {ExitAt::MmUsage, "tools/mm", 35},           {ExitAt::VdUsage, "tools/vd", 57},
    {ExitAt::MiiReadUsage, "tools/mii.cc", 39},  {ExitAt::MiiReadSocket, "tools/mii.cc", 48},
    {ExitAt::MiiWriteUsage, "tools/mii.cc", 94}, {ExitAt::MiiWriteSocket, "tools/mii.cc", 102},
};
constexpr bool exit_sites_in_order() {
  for (size_t i = 0; i < sizeof kExitSites / sizeof kExitSites[0]; ++i)
    if (static_cast<size_t>(kExitSites[i].at) != i) return false;
  return true;
}
static_assert(exit_sites_in_order(), "rows in ExitAt order");

// Prints the exit report line naming the site's source and line, then
// "[END]", and ends the process with status 255.
[[noreturn]] void exit_report(const char* reason, ExitAt at);

// Ends the process with status after flushing what was printed.
[[noreturn]] void exit_now(int status);

constexpr const char* kMapError = "Memory Map error.";
constexpr const char* kBadAddress = "Please input address like 0x12345";

}  // namespace tav
