// What an item knows about its own verdict that its console text hides: a
// kept success line after a failed check. Ignored unless a station record is
// being made, so the behaviour and its bytes are the same either way.
#pragma once

namespace tav {

// A console line (as printed, or as it would read) that failed the run.
void note_failure(const char* line);

}  // namespace tav
