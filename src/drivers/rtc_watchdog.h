// The standard real-time clock and watchdog interfaces: their nodes
// and the time record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kRtcPath = "/dev/rtc0";
constexpr const char* kWatchdogPath = "/dev/watchdog";

// The kernel's rtc_time: nine signed 32-bit fields.
struct RtcTime {
  int32_t tm_sec;
  int32_t tm_min;
  int32_t tm_hour;
  int32_t tm_mday;
  int32_t tm_mon;   // 0-11
  int32_t tm_year;  // years since 1900
  int32_t tm_wday;
  int32_t tm_yday;
  int32_t tm_isdst;
};
static_assert(sizeof(RtcTime) == 36);
static_assert(offsetof(RtcTime, tm_year) == 20);

constexpr int WDIOS_DISABLECARD = 1;
constexpr int WDIOS_ENABLECARD = 2;

}  // namespace tav
