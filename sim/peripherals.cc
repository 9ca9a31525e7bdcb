#include "peripherals.h"

#include <errno.h>
#include <time.h>

#include <cstring>
#include <string>

#include "locked.h"

namespace sim {

namespace {

using namespace tav;

constexpr int64_t kNs = 1000000000;
// 2026-01-01 00:00:00 UTC, the board's wall clock when it starts.
constexpr int64_t kRtcStart = 1767225600;

bool valid_tm(const RtcTime& t) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (t.tm_year < 70 || t.tm_mon < 0 || t.tm_mon > 11 || t.tm_mday < 1) return false;
  int year = t.tm_year + 1900;
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  int days = kDays[t.tm_mon] + (t.tm_mon == 1 && leap);
  return t.tm_mday <= days && t.tm_hour >= 0 && t.tm_hour < 24 && t.tm_min >= 0 && t.tm_min < 60 && t.tm_sec >= 0 &&
         t.tm_sec < 60;
}

}  // namespace

// ---- RTC -------------------------------------------------------------------

RtcDevice::RtcDevice(Clock& clock) : clock_(clock), base_ns_(kRtcStart * kNs), since_ns_(clock.now_ns()) {}

int64_t RtcDevice::now_ns() const {
  uint64_t passed = clock_.now_ns() - since_ns_;
  return base_ns_ + static_cast<int64_t>(passed * rate_ / 1000);
}

int64_t RtcDevice::seconds() const {
  std::lock_guard<std::mutex> lock(mu_);
  return now_ns() / kNs;
}

void RtcDevice::set_broken_reading(const tav::RtcTime& t) {
  std::lock_guard<std::mutex> lock(mu_);
  broken_ = true;
  broken_reading_ = t;
}

void RtcDevice::set_rate(unsigned per_mille) {
  std::lock_guard<std::mutex> lock(mu_);
  base_ns_ = now_ns();
  since_ns_ = clock_.now_ns();
  rate_ = per_mille;
}

void RtcDevice::set_time(int64_t seconds) {
  std::lock_guard<std::mutex> lock(mu_);
  base_ns_ = seconds * kNs;
  since_ns_ = clock_.now_ns();
}

int RtcDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(mu_);
  switch (request) {
    case RTC_RD_TIME: {
      if (broken_) {
        memcpy(arg, &broken_reading_, sizeof broken_reading_);
        return 0;
      }
      time_t secs = static_cast<time_t>(now_ns() / kNs);
      struct tm tm;
      gmtime_r(&secs, &tm);
      RtcTime t = {tm.tm_sec, tm.tm_min, tm.tm_hour, tm.tm_mday, tm.tm_mon, tm.tm_year, tm.tm_wday, tm.tm_yday, 0};
      memcpy(arg, &t, sizeof t);
      return 0;
    }
    case RTC_SET_TIME: {
      RtcTime t;
      memcpy(&t, arg, sizeof t);
      f.log_sent(arg, sizeof t);
      if (!valid_tm(t)) return -EINVAL;
      struct tm tm = {};
      tm.tm_sec = t.tm_sec;
      tm.tm_min = t.tm_min;
      tm.tm_hour = t.tm_hour;
      tm.tm_mday = t.tm_mday;
      tm.tm_mon = t.tm_mon;
      tm.tm_year = t.tm_year;
      base_ns_ = static_cast<int64_t>(timegm(&tm)) * kNs;
      since_ns_ = clock_.now_ns();
      sets.push_back(t);
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

// ---- Watchdog --------------------------------------------------------------

int WatchdogDevice::open(OpenFile&) {
  std::lock_guard<std::mutex> lock(mu_);
  if (open_) return -EBUSY;
  open_ = true;
  magic_close_ = false;
  running_ = true;
  ping_locked();
  return 0;
}

void WatchdogDevice::close(OpenFile&) {
  std::lock_guard<std::mutex> lock(mu_);
  open_ = false;
  // Without the magic character the watchdog keeps counting.
  if (magic_close_) running_ = false;
}

ssize_t WatchdogDevice::write(OpenFile&, const void* buf, size_t n) {
  std::lock_guard<std::mutex> lock(mu_);
  magic_close_ = memchr(buf, 'V', n) != nullptr;
  if (running_) ping_locked();
  return static_cast<ssize_t>(n);
}

void WatchdogDevice::ping_locked() { deadline_ns_ = clock_.now_ns() + static_cast<uint64_t>(timeout_s_) * kNs; }

int WatchdogDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(mu_);
  switch (request) {
    case WDIOC_KEEPALIVE:
      if (running_) ping_locked();
      return 0;
    case WDIOC_SETOPTIONS: {
      int option;
      memcpy(&option, arg, sizeof option);
      f.log_sent(arg, sizeof option);
      if (option == WDIOS_DISABLECARD) {
        running_ = false;
      } else if (option == WDIOS_ENABLECARD) {
        running_ = true;
        ping_locked();
      } else {
        return -EINVAL;
      }
      return 0;
    }
    case WDIOC_SETTIMEOUT: {
      int seconds;
      memcpy(&seconds, arg, sizeof seconds);
      f.log_sent(arg, sizeof seconds);
      if (seconds < 1 || seconds > 255) return -EINVAL;
      timeout_s_ = seconds;
      if (running_) ping_locked();
      memcpy(arg, &timeout_s_, sizeof timeout_s_);  // the timeout now in force
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

void WatchdogDevice::tick(uint64_t now_ns) {
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (!running_ || now_ns < deadline_ns_) return;
    // The board restarts with the watchdog stopped.
    running_ = false;
    ++resets;
    reset_ns = deadline_ns_;
  }
  throw ProcessExit{kBoardResetStatus};
}

int WatchdogDevice::timeout_s() const { return locked_read(mu_, timeout_s_); }

// ---- hidraw and IR ---------------------------------------------------------

int HidrawDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (request != HIDIOCGRAWINFO) return -EINVAL;
  memcpy(arg, &info, sizeof info);
  f.log_sent(arg, sizeof info);
  return 0;
}

void IrDevice::press(uint64_t at_ns, IrEvent ev) {
  std::lock_guard<std::mutex> lock(mu_);
  presses_.push_back(Press{at_ns, ev});
}

bool IrDevice::readable(OpenFile&) {
  std::lock_guard<std::mutex> lock(mu_);
  return !presses_.empty() && presses_.front().at_ns <= clock_.now_ns();
}

ssize_t IrDevice::read(OpenFile&, void* buf, size_t n) {
  if (n < sizeof(IrEvent)) return -EINVAL;
  uint64_t at;
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (presses_.empty()) throw Stuck{"read of /dev/tavir with no key press coming"};
    at = presses_.front().at_ns;
  }
  // A blocking read waits for the next press.
  uint64_t now = clock_.now_ns();
  if (at > now) clock_.sleep_ns(at - now);
  std::lock_guard<std::mutex> lock(mu_);
  memcpy(buf, &presses_.front().ev, sizeof(IrEvent));
  presses_.pop_front();
  return sizeof(IrEvent);
}

// ---- The default board -----------------------------------------------------

void add_peripherals(Board& board) {
  board.add(kRtcPath, std::make_shared<RtcDevice>(board.clock()));
  auto dog = std::make_shared<WatchdogDevice>(board.clock());
  board.add(kWatchdogPath, dog);
  board.clock().on_advance([dog](uint64_t now) { dog->tick(now); });
  board.add("/dev/hidraw0", std::make_shared<HidrawDevice>(HidrawDevinfo{3, 0x046d, static_cast<int16_t>(0xc077)}));
  board.add("/dev/hidraw1", std::make_shared<HidrawDevice>(kJoystickInfo));
  board.add(kTavirPath, std::make_shared<IrDevice>(board.clock()));
}

RtcDevice* rtc(Board& board) { return dynamic_cast<RtcDevice*>(board.device(kRtcPath).get()); }

WatchdogDevice* watchdog(Board& board) { return dynamic_cast<WatchdogDevice*>(board.device(kWatchdogPath).get()); }

IrDevice* ir(Board& board) { return dynamic_cast<IrDevice*>(board.device(kTavirPath).get()); }

void clear_hidraw(Board& board) {
  for (int i = 0; i < 16; ++i) board.remove("/dev/hidraw" + std::to_string(i));
}

}  // namespace sim
