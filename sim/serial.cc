#include "serial.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

#include "locked.h"

namespace sim {

namespace {

int host(OpenFile& f) { return f.state ? *static_cast<int*>(f.state.get()) : -1; }

ssize_t or_errno(ssize_t rc) { return rc < 0 ? -errno : rc; }

bool is_heartbeat(const uint8_t* p, size_t n) { return n >= 4 && p[0] == 0xFF && p[2] == 0x30 && p[3] == 0x0B; }

}  // namespace

// ---- attributes ------------------------------------------------------------

SerialPort::SerialPort() : attrs_() {
  // What a UART driver hands out before anyone configures the port.
  attrs_.c_iflag = ICRNL | IXON;
  attrs_.c_oflag = OPOST | ONLCR;
  attrs_.c_cflag = CS8 | CREAD | HUPCL;
  attrs_.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK;
  attrs_.c_cc[VMIN] = 1;
  cfsetispeed(&attrs_, B115200);
  cfsetospeed(&attrs_, B115200);
}

int SerialPort::tcgetattr(OpenFile&, struct termios* t) {
  std::lock_guard<std::mutex> lock(mu_);
  *t = attrs_;
  return 0;
}

int SerialPort::tcsetattr(OpenFile&, int action, const struct termios* t) {
  if (action != TCSANOW && action != TCSADRAIN && action != TCSAFLUSH) return -EINVAL;
  std::lock_guard<std::mutex> lock(mu_);
  attrs_ = *t;
  return 0;
}

int SerialPort::tcflush(OpenFile&, int queue) {
  if (queue != TCIFLUSH && queue != TCOFLUSH && queue != TCIOFLUSH) return -EINVAL;
  std::lock_guard<std::mutex> lock(mu_);
  ++flushes_;
  return 0;
}

struct termios SerialPort::attrs() const {
  return locked_read(mu_, attrs_);
}

int SerialPort::flushes() const { return locked_read(mu_, flushes_); }

// ---- front panel -----------------------------------------------------------

std::vector<uint8_t> panel_frame(const std::vector<uint8_t>& payload) {
  std::vector<uint8_t> f(payload.size() + 2);
  f[0] = 0xFF;
  f[1] = static_cast<uint8_t>(payload.size() + 3);
  std::copy(payload.begin(), payload.end(), f.begin() + 2);
  uint8_t sum = 0;
  for (uint8_t b : f) sum = static_cast<uint8_t>(sum + b);
  f.push_back(sum);
  return f;
}

void PanelDevice::send_after(uint64_t delay_ns, const std::vector<uint8_t>& bytes) {
  std::lock_guard<std::mutex> lock(mu_);
  last_at_ns_ = std::max(last_at_ns_, clock_.now_ns()) + delay_ns;
  in_.push_back({last_at_ns_, bytes});
}

void PanelDevice::set_answers_heartbeat(bool on) { locked_write(mu_, answer_heartbeat_, on); }

ssize_t PanelDevice::read(OpenFile& f, void* buf, size_t n) {
  std::lock_guard<std::mutex> lock(mu_);
  if (in_.empty() || in_.front().at_ns > clock_.now_ns()) return (f.flags & O_NONBLOCK) ? -EAGAIN : 0;
  auto& chunk = in_.front().bytes;
  size_t k = std::min(n, chunk.size());
  memcpy(buf, chunk.data(), k);
  chunk.erase(chunk.begin(), chunk.begin() + static_cast<ptrdiff_t>(k));
  if (chunk.empty()) in_.pop_front();
  return static_cast<ssize_t>(k);
}

ssize_t PanelDevice::write(OpenFile&, const void* buf, size_t n) {
  const auto* p = static_cast<const uint8_t*>(buf);
  std::lock_guard<std::mutex> lock(mu_);
  writes_.emplace_back(p, p + n);
  if (is_heartbeat(p, n)) {
    ++heartbeats_;
    if (answer_heartbeat_) {
      // Behind what is already due, ahead of what is still to come.
      uint64_t now = clock_.now_ns();
      auto later = std::find_if(in_.begin(), in_.end(), [now](const Chunk& c) { return c.at_ns > now; });
      in_.insert(later, Chunk{now, panel_frame({0x30, 0x00})});
    }
    written_.notify_all();
  }
  return static_cast<ssize_t>(n);
}

bool PanelDevice::readable(OpenFile&) {
  std::lock_guard<std::mutex> lock(mu_);
  return !in_.empty() && in_.front().at_ns <= clock_.now_ns();
}

uint64_t PanelDevice::readable_at(OpenFile&) {
  std::lock_guard<std::mutex> lock(mu_);
  return in_.empty() ? UINT64_MAX : in_.front().at_ns;
}

std::vector<std::vector<uint8_t>> PanelDevice::writes() const { return locked_read(mu_, writes_); }

size_t PanelDevice::heartbeats() const { return locked_read(mu_, heartbeats_); }

bool PanelDevice::wait_heartbeats(size_t n) const {
  std::unique_lock<std::mutex> lock(mu_);
  return written_.wait_for(lock, std::chrono::seconds(10), [&] { return heartbeats_ >= n; });
}

// ---- RS485 -----------------------------------------------------------------

ssize_t Rs485Port::read(OpenFile&, void* buf, size_t n) {
  std::lock_guard<std::mutex> lock(mu_);
  size_t k = 0;
  auto* p = static_cast<uint8_t*>(buf);
  while (k < n && !echo_.empty()) {
    p[k++] = echo_.front();
    echo_.pop_front();
  }
  return static_cast<ssize_t>(k);
}

ssize_t Rs485Port::write(OpenFile&, const void* buf, size_t n) {
  const auto* p = static_cast<const uint8_t*>(buf);
  std::lock_guard<std::mutex> lock(mu_);
  sent_.insert(sent_.end(), p, p + n);
  if (plugged)
    for (size_t i = 0; i < n; ++i) echo_.push_back(static_cast<uint8_t>(p[i] ^ mask));
  return static_cast<ssize_t>(n);
}

bool Rs485Port::readable(OpenFile&) {
  std::lock_guard<std::mutex> lock(mu_);
  return !echo_.empty();
}

std::vector<uint8_t> Rs485Port::sent() const { return locked_read(mu_, sent_); }

// ---- host terminals ----------------------------------------------------------

int HostPort::open(OpenFile& f) {
  int fd = ::open(host_path_.c_str(), (f.flags & ~O_CREAT) | O_NOCTTY);
  if (fd < 0) return -errno;
  f.state = std::make_shared<int>(fd);
  return 0;
}

void HostPort::close(OpenFile& f) {
  if (host(f) >= 0) ::close(host(f));
}

ssize_t HostPort::read(OpenFile& f, void* buf, size_t n) { return or_errno(::read(host(f), buf, n)); }
ssize_t HostPort::write(OpenFile& f, const void* buf, size_t n) { return or_errno(::write(host(f), buf, n)); }
int HostPort::fsync(OpenFile& f) {
  // A terminal has nothing to sync; the kernel says so.
  return static_cast<int>(or_errno(::fdatasync(host(f))));
}
int HostPort::tcgetattr(OpenFile& f, struct termios* t) { return static_cast<int>(or_errno(::tcgetattr(host(f), t))); }
int HostPort::tcsetattr(OpenFile& f, int action, const struct termios* t) {
  return static_cast<int>(or_errno(::tcsetattr(host(f), action, t)));
}
int HostPort::tcflush(OpenFile& f, int queue) { return static_cast<int>(or_errno(::tcflush(host(f), queue))); }

bool HostPort::readable(OpenFile& f) {
  struct pollfd p = {host(f), POLLIN, 0};
  return ::poll(&p, 1, 0) > 0 && (p.revents & POLLIN) != 0;
}

int HostPort::host_fd(OpenFile& f) { return host(f); }

// ---- wiring ------------------------------------------------------------------

void add_serial_ports(Board& board) {
  board.add("/dev/ttyS1", std::make_shared<Rs485Port>());
  board.add("/dev/ttyS2", std::make_shared<PanelDevice>(board.clock()));
}

void attach_host_ports(Board& board, const char* spec) {
  std::string s = spec ? spec : "";
  size_t start = 0;
  while (start < s.size()) {
    size_t end = s.find(',', start);
    if (end == std::string::npos) end = s.size();
    std::string item = s.substr(start, end - start);
    size_t eq = item.find('=');
    if (eq != std::string::npos && eq > 0 && eq + 1 < item.size())
      board.add(item.substr(0, eq), std::make_shared<HostPort>(item.substr(eq + 1)));
    start = end + 1;
  }
}

PanelDevice* panel(Board& board, const std::string& path) {
  return dynamic_cast<PanelDevice*>(board.device(path).get());
}

Rs485Port* rs485_port(Board& board, const std::string& path) {
  return dynamic_cast<Rs485Port*>(board.device(path).get());
}

}  // namespace sim
