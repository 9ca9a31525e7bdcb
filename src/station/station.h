// Station records, opt-in through the environment: TAV_RESULTS (a JSON line
// per item run, "-" for standard error), TAV_JUNIT (a JUnit file at the end),
// TAV_LIMITS (limits on measurements) and TAV_STRICT_EXIT (the exit status
// tells the worst verdict). Unset, nothing here runs and no byte changes.
#pragma once

namespace tav {
namespace station {

constexpr const char* kResultsEnv = "TAV_RESULTS";
constexpr const char* kJunitEnv = "TAV_JUNIT";
constexpr const char* kLimitsEnv = "TAV_LIMITS";
constexpr const char* kStrictExitEnv = "TAV_STRICT_EXIT";

// Reads the environment and, when any variable is set, starts recording
// every item the runner runs. False when the limits file is unreadable or
// malformed (said on standard error): then no item may run.
bool start(const char* program, const char* version);

// At the end of the process: the JUnit file, and the status to exit with
// (the worst verdict's under strict exit, else status).
int finish(int status);

}  // namespace station
}  // namespace tav
