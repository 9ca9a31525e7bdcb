#include "net_drivers.h"

#include <errno.h>

#include <cstring>

#include "drivers/sensors.h"

namespace sim {

int NasDevice::ioctl(OpenFile&, unsigned long request, void* arg) {
  if (request != tav::TAVIO_NAS_KILL_DATA) return -ENOTTY;
  if (arg == nullptr) return -EFAULT;
  const char* path = static_cast<const char*>(arg);
  killed.emplace_back(path, strnlen(path, tav::kNasPathSize));
  return 0;
}

int SensorDevice::ioctl(OpenFile&, unsigned long request, void* arg) {
  if (request != tav::TSENSOR_READ_TEMP) return -ENOTTY;
  if (arg == nullptr) return -EFAULT;
  memcpy(arg, &celsius, sizeof celsius);
  return 0;
}

int FanDevice::ioctl(OpenFile&, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  switch (request) {
    case tav::FAN_GET_DUTY:
      memcpy(arg, &duty, sizeof duty);
      return 0;
    case tav::FAN_SET_DUTY: {
      int32_t v;
      memcpy(&v, arg, sizeof v);
      if (v < 0 || v > tav::kMaxFanDuty) return -EINVAL;
      duty = v;
      sets.push_back(v);
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

void add_net_drivers(Board& board) {
  board.add(tav::kNasPath, std::make_shared<NasDevice>());
  board.add(tav::kSensorPath, std::make_shared<SensorDevice>());
  board.add(tav::kFanPath, std::make_shared<FanDevice>());
}

NasDevice* nas(Board& board) { return dynamic_cast<NasDevice*>(board.device(tav::kNasPath).get()); }
SensorDevice* sensor(Board& board) { return dynamic_cast<SensorDevice*>(board.device(tav::kSensorPath).get()); }
FanDevice* fan(Board& board) { return dynamic_cast<FanDevice*>(board.device(tav::kFanPath).get()); }

}  // namespace sim
