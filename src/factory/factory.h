// tav_factory: the factory item table and the program's entry.
#pragma once

#include "runner/runner.h"

namespace tav {

constexpr const char* kFactoryProgramName = "tav_factory";

// In menu order, ended by a null name. Rows whose items are not built yet
// keep their place with a null run function.
extern const TestItem kFactoryItems[];

// Started as tav_factory it enters the runner; started through an item's
// link it runs that item as "tav_factory <item> ..." would.
int factory_main(int argc, char** argv);

}  // namespace tav
