// State that lives as long as the process (the mapping registry, option
// flags, the repeat count, saved terminal settings). Several tools and items
// run in one process under test, so each owner registers how to put its
// state back as a new process would find it, and one call resets them all.
#pragma once

namespace tav {

using StateReset = void (*)();

// For a static initialiser in the owning module, whose result initialises a
// constant; false when the fixed table is full. Only modules that are
// linked in register.
bool register_state_reset(StateReset reset);

// Runs every registered reset, in registration order.
void reset_process_state();

}  // namespace tav
