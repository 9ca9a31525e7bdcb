// The PCIe transfer test: two boards play ping-pong through a shared area.
#pragma once

namespace tav {

// Never returns once the area is mapped.
int pcietran_test(int argc, char** argv);

}  // namespace tav
