// Requests of the network, temperature-sensor and fan drivers.
#pragma once

#include <cstddef>

namespace tav {

constexpr const char* kNasPath = "/dev/tavnet";
constexpr const char* kSensorPath = "/dev/tavsensor";
constexpr const char* kFanPath = "/dev/tavfan";

constexpr unsigned long TAVIO_NAS_KILL_DATA = 0x40014801;  // the driver's tavio_nas_kill_data
constexpr unsigned long TSENSOR_READ_TEMP = 0x40045302;
constexpr unsigned long FAN_SET_DUTY = 0x40045001;
constexpr unsigned long FAN_GET_DUTY = 0x40045002;

constexpr size_t kNasPathSize = 128;
constexpr int kMaxFanDuty = 100;

}  // namespace tav
