// The factory network, as the items write it into the boot environment.
#pragma once

namespace tav {

constexpr const char* kFactoryServerIp = "192.168.1.100";

}  // namespace tav
