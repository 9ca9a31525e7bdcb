// The standby test and the IDENTIFY and SMART report.
#pragma once

#include <cstdint>

namespace tav {

struct SmartAttributeName {
  uint8_t id;
  const char* name;
};
// Ends with a row whose id is 0.
extern const SmartAttributeName kSmartAttributeNames[];

int set_harddisk_standby(const char* path);

}  // namespace tav
