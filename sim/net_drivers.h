// Small drivers of the network side: the NAS kill node, the temperature
// sensor and the fan.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "board.h"

namespace sim {

// /dev/tavnet: records every path it was asked to drop.
class NasDevice final : public Device {
 public:
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
  std::vector<std::string> killed;
};

// /dev/tavsensor: the SoC temperature in degrees Celsius.
class SensorDevice final : public Device {
 public:
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
  int32_t celsius = 47;
};

// /dev/tavfan: the PWM duty in percent; refuses values above 100.
class FanDevice final : public Device {
 public:
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
  int32_t duty = 60;
  std::vector<int32_t> sets;
};

void add_net_drivers(Board& board);
NasDevice* nas(Board& board);
SensorDevice* sensor(Board& board);
FanDevice* fan(Board& board);

}  // namespace sim
