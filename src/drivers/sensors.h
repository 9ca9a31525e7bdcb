// Requests of the network, temperature-sensor and fan drivers.
#pragma once

#include <cstddef>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kNasPath = "/dev/tavnet";
constexpr const char* kSensorPath = "/dev/tavsensor";
constexpr const char* kFanPath = "/dev/tavfan";

constexpr size_t kNasPathSize = 128;
constexpr int kMaxFanDuty = 100;

}  // namespace tav
