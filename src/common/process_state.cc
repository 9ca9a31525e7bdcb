#include "common/process_state.h"

namespace tav {

namespace {

// Zero-initialised before any static initialiser runs, so registration
// order between modules does not matter.
constexpr int kMaxResets = 8;
StateReset g_resets[kMaxResets];
int g_reset_count;

}  // namespace

bool register_state_reset(StateReset reset) {
  if (g_reset_count == kMaxResets) return false;
  g_resets[g_reset_count++] = reset;
  return true;
}

void reset_process_state() {
  for (int i = 0; i < g_reset_count; ++i) g_resets[i]();
}

}  // namespace tav
