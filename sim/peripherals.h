// The board's standard peripherals beside /dev/tavio: the real-time clock,
// the watchdog, the hidraw nodes and the IR receiver.
#pragma once

#include <signal.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "board.h"
#include "drivers/input.h"
#include "drivers/rtc_watchdog.h"

namespace sim {

// /dev/rtc0: a clock chip running on virtual time at a chosen rate.
class RtcDevice final : public Device {
 public:
  explicit RtcDevice(Clock& clock);
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

  // RTC seconds per 1000 virtual seconds: 1000 keeps time, 0 stands still.
  void set_rate(unsigned per_mille);
  // Seconds since the epoch, UTC.
  void set_time(int64_t seconds);
  int64_t seconds() const;
  // A broken chip: every reading is this record, whatever its fields hold.
  void set_broken_reading(const tav::RtcTime& t);
  std::vector<tav::RtcTime> sets;  // every time written

 private:
  int64_t now_ns() const;
  Clock& clock_;
  mutable std::mutex mu_;
  int64_t base_ns_;    // RTC time at since_ns_
  uint64_t since_ns_;  // virtual time of the last set
  unsigned rate_ = 1000;
  bool broken_ = false;
  tav::RtcTime broken_reading_ = {};
};

// The board going down under the program ends the process this way.
constexpr int kBoardResetStatus = 128 + SIGKILL;

// /dev/watchdog: armed from open until disabled or closed after the magic
// 'V'; when virtual time passes its deadline the board resets.
class WatchdogDevice final : public Device {
 public:
  explicit WatchdogDevice(Clock& clock) : clock_(clock) {}
  int open(OpenFile& f) override;
  void close(OpenFile& f) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
  // Called as time passes: throws ProcessExit{kBoardResetStatus} at a reset.
  void tick(uint64_t now_ns);

  int timeout_s() const;
  int resets = 0;
  uint64_t reset_ns = 0;  // virtual time of the last reset

 private:
  void ping_locked();
  Clock& clock_;
  mutable std::mutex mu_;
  bool open_ = false;
  bool running_ = false;
  bool magic_close_ = false;
  int timeout_s_ = 60;
  uint64_t deadline_ns_ = 0;
};

// /dev/hidrawN: a HID device answering with its identity.
class HidrawDevice final : public Device {
 public:
  explicit HidrawDevice(tav::HidrawDevinfo info) : info(info) {}
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
  tav::HidrawDevinfo info;
};

// /dev/tavir: one 24-byte event per key press, readable once its virtual
// time has come.
class IrDevice final : public Device {
 public:
  explicit IrDevice(Clock& clock) : clock_(clock) {}
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  bool readable(OpenFile& f) override;
  void press(uint64_t at_ns, tav::IrEvent ev);

 private:
  struct Press {
    uint64_t at_ns;
    tav::IrEvent ev;
  };
  Clock& clock_;
  std::mutex mu_;
  std::deque<Press> presses_;
};

constexpr tav::HidrawDevinfo kJoystickInfo = {tav::kJoystickBus, static_cast<int16_t>(tav::kJoystickVendor),
                                              static_cast<int16_t>(tav::kJoystickProduct)};

// The RTC keeping time, an idle watchdog, a mouse on /dev/hidraw0, the
// joystick keyboard on /dev/hidraw1 and an IR receiver nobody presses.
void add_peripherals(Board& board);

RtcDevice* rtc(Board& board);
WatchdogDevice* watchdog(Board& board);
IrDevice* ir(Board& board);
// Removes every /dev/hidrawN, so a test can plug in its own.
void clear_hidraw(Board& board);

}  // namespace sim
