// The network and environment test items. Each takes (argc, argv); started
// from the menu they get argc 0 and a null argv, which means "no arguments".
#pragma once

namespace tav {

// Usage (argc 1 or -h) ends the process with status 0.
int phy_tool(int argc, char** argv);
int switch_tool(int argc, char** argv);
int nas_kill_test(int argc, char** argv);
int temperature_tool(int argc, char** argv);
int fan_tool(int argc, char** argv);

}  // namespace tav
