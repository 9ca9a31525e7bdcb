#include "board.h"

#include <errno.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sim {

const char* call_name(Call c) {
  // clang-format off
  static const char* const names[] = {
      "any",      "open",   "close",  "read",      "write",     "lseek",     "ioctl",  "fsync",
      "mmap",     "munmap", "socket", "tcgetattr", "tcsetattr", "tcflush",   "select", "symlink",
      "readlink", "unlink", "sleep",  "clock",     "timer",     "sigaction", "raise",  "pause",
      "mount",    "umount", "access", "stat",      "statvfs",   "opendir",   "readdir", "closedir",
      "sched",    "thread",
  };
  // clang-format on
  return names[static_cast<int>(c)];
}

// ---- Device defaults -------------------------------------------------------

ssize_t Device::pread(OpenFile&, void*, size_t, off_t) { return -ESPIPE; }
ssize_t Device::pwrite(OpenFile&, const void*, size_t, off_t) { return -ESPIPE; }

off_t Device::lseek(OpenFile& f, off_t off, int whence) {
  off_t base = 0;
  if (whence == SEEK_CUR)
    base = f.pos;
  else if (whence == SEEK_END)
    base = size();
  else if (whence != SEEK_SET)
    return -EINVAL;
  if (base + off < 0) return -EINVAL;
  f.pos = base + off;
  return f.pos;
}

// ---- Physical memory -------------------------------------------------------

PhysMem::PhysMem() {
  // A file named by TAV_SIM_MEM lets two processes share one board's memory.
  const char* shared = getenv("TAV_SIM_MEM");
  if (shared != nullptr && *shared != '\0') fd_ = ::open(shared, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd_ < 0) fd_ = memfd_create("tav-physmem", MFD_CLOEXEC);
  if (fd_ < 0 || ftruncate(fd_, static_cast<off_t>(kSize)) != 0) {
    perror("sim: physical memory");
    abort();
  }
}

PhysMem::~PhysMem() { ::close(fd_); }

void* PhysMem::map(uint64_t phys, size_t len, int prot, int* err) {
  if (len == 0 || phys >= kSize || len > kSize - phys) {
    *err = len == 0 ? EINVAL : ENXIO;
    return MAP_FAILED;
  }
  // Populated up front, as the kernel's /dev/mem sets up all its page tables at mmap time.
  void* p = ::mmap(nullptr, len, prot, MAP_SHARED | MAP_POPULATE, fd_, static_cast<off_t>(phys));
  if (p == MAP_FAILED) *err = errno;
  return p;
}

void PhysMem::read(uint64_t phys, void* out, size_t n) const {
  if (::pread(fd_, out, n, static_cast<off_t>(phys)) != static_cast<ssize_t>(n)) memset(out, 0, n);
}

void PhysMem::write(uint64_t phys, const void* in, size_t n) {
  if (::pwrite(fd_, in, n, static_cast<off_t>(phys)) != static_cast<ssize_t>(n)) abort();
}

void PhysMem::fill(uint64_t phys, uint8_t byte, size_t n) {
  std::vector<uint8_t> chunk(std::min<size_t>(n, 1 << 20), byte);
  while (n > 0) {
    size_t k = std::min(n, chunk.size());
    write(phys, chunk.data(), k);
    phys += k;
    n -= k;
  }
}

uint32_t PhysMem::read32(uint64_t phys) const {
  uint32_t v = 0;
  read(phys, &v, sizeof v);
  return v;
}

void PhysMem::write32(uint64_t phys, uint32_t v) { write(phys, &v, sizeof v); }

uint16_t PhysMem::read16(uint64_t phys) const {
  uint16_t v = 0;
  read(phys, &v, sizeof v);
  return v;
}

// ---- Virtual clock ---------------------------------------------------------

namespace {
constexpr uint64_t kNsPerSec = 1000000000ull;
// 2026-01-01 00:00:00 UTC: a plausible wall clock for the board.
constexpr uint64_t kDefaultRealtime = 1767225600ull * kNsPerSec;

uint64_t to_ns(const struct timespec& ts) {
  return static_cast<uint64_t>(ts.tv_sec) * kNsPerSec + static_cast<uint64_t>(ts.tv_nsec);
}
struct timespec to_ts(uint64_t ns) {
  struct timespec ts;
  ts.tv_sec = static_cast<time_t>(ns / kNsPerSec);
  ts.tv_nsec = static_cast<long>(ns % kNsPerSec);
  return ts;
}
}  // namespace

namespace {
std::atomic<uint64_t> g_clocks{0};
struct Spent {
  uint64_t clock_id = 0;
  uint64_t ns = 0;
};
thread_local Spent t_spent;
// The board that started the calling thread, if one did.
thread_local const Board* t_started_by = nullptr;
}  // namespace

Clock::Clock(Board& board)
    : board_(board),
      now_ns_(kNsPerSec),
      realtime_base_ns_(kDefaultRealtime - kNsPerSec),
      driver_(std::this_thread::get_id()),
      id_(++g_clocks) {}

void Clock::spend_here(uint64_t ns) {
  if (t_spent.clock_id != id_) t_spent = Spent{id_, 0};
  t_spent.ns += ns;
}

void Clock::spend_transfer(uint64_t n, uint64_t bytes_per_second) {
  if (bytes_per_second != 0)
    spend_here(static_cast<uint64_t>((static_cast<unsigned __int128>(n) * 1000000000u) / bytes_per_second));
}

uint64_t Clock::spent_here() const { return t_spent.clock_id == id_ ? t_spent.ns : 0; }

void Clock::close() {
  std::lock_guard<std::mutex> lock(mu_);
  closed_ = true;
  cv_.notify_all();
  quiet_.notify_all();
}

void Clock::thread_starting() {
  std::lock_guard<std::mutex> lock(mu_);
  ++started_running_;
}

void Clock::thread_ended() {
  std::lock_guard<std::mutex> lock(mu_);
  --started_running_;
  quiet_.notify_all();
}

uint64_t Clock::now_ns() const {
  std::lock_guard<std::mutex> lock(mu_);
  return now_ns_;
}

void Clock::set_realtime(uint64_t ns_since_epoch) {
  std::lock_guard<std::mutex> lock(mu_);
  realtime_base_ns_ = ns_since_epoch - now_ns_;
}

void Clock::set_driver_here() {
  std::lock_guard<std::mutex> lock(mu_);
  driver_ = std::this_thread::get_id();
}

void Clock::on_advance(std::function<void(uint64_t)> fn) {
  std::lock_guard<std::mutex> lock(mu_);
  tickers_.push_back(std::move(fn));
}

void Clock::sleep_ns(uint64_t ns, const std::function<bool()>& stop) {
  std::unique_lock<std::mutex> lock(mu_);
  uint64_t target = now_ns_ + ns;
  if (std::this_thread::get_id() != driver_) {
    // Another thread waits for the driver to bring time to its wake-up.
    const bool own = t_started_by == &board_;
    if (own) {
      wakeups_.insert(target);
      --started_running_;
      quiet_.notify_all();
    }
    cv_.wait(lock, [&] { return now_ns_ >= target || closed_; });
    if (own && now_ns_ < target) {
      // Woken by close: the driver did not count this thread as running.
      wakeups_.erase(wakeups_.find(target));
      ++started_running_;
    }
    if (closed_) throw BoardGone{};
    return;
  }
  lock.unlock();
  advance_to(target, stop);
}

void Clock::wait_quiet() {
  // Bounded, so a thread blocked elsewhere cannot stop time for good.
  std::unique_lock<std::mutex> lock(mu_);
  quiet_.wait_for(lock, std::chrono::seconds(2), [&] { return started_running_ <= 0 || closed_; });
}

void Clock::advance_to(uint64_t target, const std::function<bool()>& stop) {
  for (;;) {
    // A thread just started or woken does its work at the time it was given.
    wait_quiet();
    int sig = 0;
    std::vector<std::function<void(uint64_t)>> tickers;
    uint64_t now;
    {
      std::lock_guard<std::mutex> lock(mu_);
      uint64_t due = target;
      Timer* timer = nullptr;
      auto pending = pending_.end();
      for (auto& t : timers_)
        if (t.next_ns != 0 && t.next_ns <= due) {
          due = t.next_ns;
          timer = &t;
        }
      for (auto it = pending_.begin(); it != pending_.end(); ++it)
        if (it->at_ns <= due && (timer == nullptr || it->at_ns < due)) {
          due = it->at_ns;
          pending = it;
          timer = nullptr;
        }
      if (!wakeups_.empty() && *wakeups_.begin() < due) {
        due = *wakeups_.begin();
        timer = nullptr;
        pending = pending_.end();
      }
      if (due > now_ns_) now_ns_ = due;
      while (!wakeups_.empty() && *wakeups_.begin() <= now_ns_) {
        wakeups_.erase(wakeups_.begin());
        ++started_running_;
      }
      if (timer != nullptr) {
        sig = timer->signo;
        if (timer->rearm_ns != 0)
          timer->next_ns = timer->rearm_ns;
        else
          timer->next_ns = timer->interval_ns ? timer->next_ns + timer->interval_ns : 0;
        timer->rearm_ns = 0;
      } else if (pending != pending_.end()) {
        sig = pending->sig;
        pending_.erase(pending);
      }
      now = now_ns_;
      tickers = tickers_;
    }
    cv_.notify_all();
    wait_quiet();
    for (auto& fn : tickers) fn(now);
    if (sig != 0) board_.deliver_signal(sig);
    if (now >= target && sig == 0) return;
    if (stop && stop()) return;
  }
}

bool Clock::run_next_event() {
  uint64_t due = UINT64_MAX;
  {
    std::lock_guard<std::mutex> lock(mu_);
    for (auto& t : timers_)
      if (t.next_ns != 0) due = std::min(due, t.next_ns);
    for (auto& p : pending_) due = std::min(due, p.at_ns);
    if (due == UINT64_MAX) return false;
    if (due < now_ns_) due = now_ns_;
  }
  advance_to(due);
  return true;
}

void Clock::signal_at(uint64_t at_ns, int sig) {
  std::lock_guard<std::mutex> lock(mu_);
  pending_.push_back(Pending{at_ns, sig});
}

int Clock::timer_create(int signo, timer_t* id, clockid_t clock) {
  std::lock_guard<std::mutex> lock(mu_);
  int n = next_timer_++;
  timers_.push_back(Timer{n, signo, 0, 0, clock, 0});
  *id = reinterpret_cast<timer_t>(static_cast<intptr_t>(n));
  return 0;
}

int Clock::timer_settime(timer_t id, const struct itimerspec* v, struct itimerspec* old, int flags, bool* due_now) {
  std::lock_guard<std::mutex> lock(mu_);
  int n = static_cast<int>(reinterpret_cast<intptr_t>(id));
  if (due_now != nullptr) *due_now = false;
  for (auto& t : timers_) {
    if (t.id != n) continue;
    if (old != nullptr) {
      old->it_interval = to_ts(t.interval_ns);
      old->it_value = to_ts(t.next_ns ? t.next_ns - now_ns_ : 0);
    }
    uint64_t first = to_ns(v->it_value);
    t.interval_ns = to_ns(v->it_interval);
    t.rearm_ns = 0;
    if (first == 0) {
      t.next_ns = 0;
    } else if ((flags & TIMER_ABSTIME) == 0) {
      t.next_ns = now_ns_ + first;
    } else {
      // The absolute time on the virtual time line.
      uint64_t base = (t.clock == CLOCK_REALTIME || t.clock == CLOCK_REALTIME_COARSE) ? realtime_base_ns_ : 0;
      uint64_t now_on_clock = now_ns_ + base;
      if (first > now_on_clock) {
        t.next_ns = first - base;
      } else {
        // Overdue: expires at once, then on the period's own phase, as the
        // kernel forwards it.
        t.next_ns = now_ns_;
        if (t.interval_ns != 0)
          t.rearm_ns = first + ((now_on_clock - first) / t.interval_ns + 1) * t.interval_ns - base;
        if (due_now != nullptr) *due_now = true;
      }
    }
    return 0;
  }
  return -EINVAL;
}

int Clock::timer_delete(timer_t id) {
  std::lock_guard<std::mutex> lock(mu_);
  int n = static_cast<int>(reinterpret_cast<intptr_t>(id));
  auto it = std::find_if(timers_.begin(), timers_.end(), [n](const Timer& t) { return t.id == n; });
  if (it == timers_.end()) return -EINVAL;
  timers_.erase(it);
  return 0;
}

// ---- Board -----------------------------------------------------------------

Board::Board() : clock_(*this) {}

Board::~Board() {
  std::vector<pthread_t> threads;
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    closing_ = true;
    threads.swap(threads_);
    threads.insert(threads.end(), detached_.begin(), detached_.end());
    detached_.clear();
  }
  clock_.close();
  for (pthread_t t : threads) pthread_join(t, nullptr);
  for (auto& m : mappings_) ::munmap(reinterpret_cast<void*>(m.addr), m.len);
  for (auto& kv : fds_) ::close(kv.first);
}

void Board::add(const std::string& path, std::shared_ptr<Device> dev) {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  devices_[path] = std::move(dev);
}

void Board::remove(const std::string& path) {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  devices_.erase(path);
}

bool Board::has(const std::string& path) const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  return devices_.count(path) != 0;
}

std::shared_ptr<Device> Board::device(const std::string& path) const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  auto it = devices_.find(path);
  return it == devices_.end() ? nullptr : it->second;
}

void Board::fail(Fault f) {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  faults_.push_back(std::move(f));
}

void Board::clear_faults() {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  faults_.clear();
}

size_t Board::calls() const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  return calls_;
}

std::vector<Request> Board::log() const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  std::vector<Request> out;
  out.reserve(log_.size());
  for (auto& r : log_) out.push_back(*r);
  return out;
}

std::vector<Request> Board::log_of(Call c) const {
  std::vector<Request> out;
  for (auto& r : log())
    if (r.call == c) out.push_back(r);
  return out;
}

void Board::clear_log() {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  log_.clear();
}

size_t Board::open_descriptors() const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  return fds_.size() + listings_.size();
}

void Board::set_console(const std::string& text) {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  console_ = text;
  console_pos_ = 0;
  console_scripted_ = true;
}

std::map<std::string, std::string> Board::mounts() const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  return mounts_;
}

int Board::fail_with(int err) {
  errno = err;
  return -1;
}

int Board::enter(Call c, const std::string& path, unsigned long request, uint64_t length, Request** req,
                 long* short_len) {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  if (closing_ && t_started_by == this) throw BoardGone{};
  ++calls_;
  auto r = std::make_unique<Request>();
  r->call = c;
  r->path = path;
  r->request = request;
  r->length = length;
  if (req != nullptr) *req = r.get();
  log_.push_back(std::move(r));
  for (auto& f : faults_) {
    if (f.call != Call::Any && f.call != c) continue;
    if (!f.path.empty() && f.path != path) continue;
    if (f.request != 0 && (c != Call::Ioctl || f.request != request)) continue;
    ++f.seen;
    if (f.nth != 0 && f.seen != f.nth) continue;
    if (f.short_len >= 0 && short_len != nullptr) {
      *short_len = f.short_len;
      continue;
    }
    if (f.short_len >= 0) continue;
    return f.err;
  }
  return 0;
}

bool Board::lookup(int fd, Desc* out) const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  auto it = fds_.find(fd);
  if (it == fds_.end()) return false;
  *out = it->second;
  return true;
}

namespace {
bool is_device_path(const char* path) {
  return strncmp(path, "/dev/", 5) == 0 || strncmp(path, "/proc/", 6) == 0 || strncmp(path, "/sys/", 5) == 0;
}
// The board's mount point: never the host's, mounted or not.
bool is_mount_path(const char* path) { return strcmp(path, "/mnt") == 0 || strncmp(path, "/mnt/", 5) == 0; }
}  // namespace

bool Board::mounted_fs(const std::string& path, std::shared_ptr<Device>* dev, std::string* name) const {
  std::lock_guard<std::recursive_mutex> lock(mu_);
  for (auto& [target, src] : mounts_) {
    if (path.compare(0, target.size(), target) != 0) continue;
    if (path.size() > target.size() && path[target.size()] != '/') continue;
    auto d = device(src);
    if (d == nullptr || d->file_system() == nullptr) continue;
    *dev = d;
    size_t from = std::min(path.size(), target.size() + 1);
    *name = path.substr(from);
    return true;
  }
  return false;
}

int Board::open(const char* path, int flags, mode_t mode) {
  if (path == nullptr) return fail_with(EFAULT);
  Request* req = nullptr;
  if (int err = enter(Call::Open, path, static_cast<unsigned long>(flags), 0, &req)) return fail_with(err);
  auto dev = device(path);
  std::shared_ptr<Device> fs_dev;
  std::string name;
  if (dev == nullptr && mounted_fs(path, &fs_dev, &name)) {
    if (int rc = fs_dev->file_system()->open(name, flags, &dev)) return fail_with(-rc);
  }
  if (dev == nullptr) {
    if (is_device_path(path) || is_mount_path(path)) return fail_with(ENOENT);
    return ::open(path, flags | O_CLOEXEC, mode);
  }
  // A real descriptor number is reserved so simulated ones never collide with real ones.
  int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (fd < 0) return -1;
  auto file = std::make_shared<OpenFile>();
  file->path = path;
  file->flags = flags;
  file->request = req;
  int rc = dev->open(*file);
  file->request = nullptr;
  if (rc < 0) {
    ::close(fd);
    return fail_with(-rc);
  }
  std::lock_guard<std::recursive_mutex> lock(mu_);
  fds_[fd] = Desc{dev, file};
  return fd;
}

int Board::close(int fd) {
  Desc d;
  bool simulated = lookup(fd, &d);
  int err = enter(Call::Close, simulated ? d.file->path : std::string(), 0, 0, nullptr);
  if (!simulated) return err ? fail_with(err) : ::close(fd);
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    fds_.erase(fd);
  }
  d.dev->close(*d.file);
  ::close(fd);
  // Like the kernel, the descriptor is gone even when close reports an error.
  return err ? fail_with(err) : 0;
}

ssize_t Board::read(int fd, void* buf, size_t n) {
  Desc d;
  bool simulated = lookup(fd, &d);
  std::string path = simulated ? d.file->path : (fd == 0 ? "<console>" : "");
  Request* req = nullptr;
  long short_len = -1;
  if (int err = enter(Call::Read, path, 0, n, &req, &short_len)) return fail_with(err);
  if (short_len >= 0) n = std::min(n, static_cast<size_t>(short_len));
  if (simulated) {
    d.file->request = req;
    ssize_t rc = d.dev->read(*d.file, buf, n);
    d.file->request = nullptr;
    return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
  }
  if (fd == 0 && console_scripted_) {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    size_t k = std::min(n, console_.size() - console_pos_);
    memcpy(buf, console_.data() + console_pos_, k);
    console_pos_ += k;
    return static_cast<ssize_t>(k);
  }
  return ::read(fd, buf, n);
}

ssize_t Board::write(int fd, const void* buf, size_t n) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  long short_len = -1;
  if (int err = enter(Call::Write, simulated ? d.file->path : "", 0, n, &req, &short_len)) return fail_with(err);
  if (short_len >= 0) n = std::min(n, static_cast<size_t>(short_len));
  if (!simulated) return ::write(fd, buf, n);
  const auto* p = static_cast<const uint8_t*>(buf);
  req->bytes.assign(p, p + n);
  d.file->request = req;
  ssize_t rc = d.dev->write(*d.file, buf, n);
  d.file->request = nullptr;
  return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
}

ssize_t Board::pread(int fd, void* buf, size_t n, off_t off) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  long short_len = -1;
  if (int err = enter(Call::Read, simulated ? d.file->path : "", static_cast<unsigned long>(off), n, &req, &short_len))
    return fail_with(err);
  if (short_len >= 0) n = std::min(n, static_cast<size_t>(short_len));
  if (!simulated) return ::pread(fd, buf, n, off);
  ssize_t rc = d.dev->pread(*d.file, buf, n, off);
  return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
}

ssize_t Board::pwrite(int fd, const void* buf, size_t n, off_t off) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  long short_len = -1;
  if (int err = enter(Call::Write, simulated ? d.file->path : "", static_cast<unsigned long>(off), n, &req, &short_len))
    return fail_with(err);
  if (short_len >= 0) n = std::min(n, static_cast<size_t>(short_len));
  if (!simulated) return ::pwrite(fd, buf, n, off);
  const auto* p = static_cast<const uint8_t*>(buf);
  req->bytes.assign(p, p + n);
  ssize_t rc = d.dev->pwrite(*d.file, buf, n, off);
  return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
}

off_t Board::lseek(int fd, off_t off, int whence) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Lseek, simulated ? d.file->path : "", static_cast<unsigned long>(off),
                      static_cast<uint64_t>(whence), nullptr))
    return fail_with(err);
  if (!simulated) return ::lseek(fd, off, whence);
  off_t rc = d.dev->lseek(*d.file, off, whence);
  return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
}

int Board::ioctl(int fd, unsigned long request, void* arg) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  if (int err = enter(Call::Ioctl, simulated ? d.file->path : "", request, 0, &req)) return fail_with(err);
  if (!simulated) {
    if (fd == 0 && console_scripted_) return fail_with(ENOTTY);
    return ::ioctl(fd, request, arg);
  }
  d.file->request = req;
  int rc = d.dev->ioctl(*d.file, request, arg);
  d.file->request = nullptr;
  return rc < 0 ? fail_with(-rc) : rc;
}

int Board::fsync(int fd) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Fsync, simulated ? d.file->path : "", 0, 0, nullptr)) return fail_with(err);
  if (!simulated) return ::fsync(fd);
  int rc = d.dev->fsync(*d.file);
  return rc < 0 ? fail_with(-rc) : rc;
}

int Board::fdatasync(int fd) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Fsync, simulated ? d.file->path : "", 1, 0, nullptr)) return fail_with(err);
  if (!simulated) return ::fdatasync(fd);
  int rc = d.dev->fsync(*d.file);
  return rc < 0 ? fail_with(-rc) : rc;
}

void* Board::mmap(void* addr, size_t len, int prot, int flags, int fd, off_t off) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Mmap, simulated ? d.file->path : "", static_cast<unsigned long>(off), len, nullptr)) {
    errno = err;
    return MAP_FAILED;
  }
  void* p;
  if (simulated) {
    int err = 0;
    p = d.dev->mmap(*d.file, len, prot, flags, off, &err);
    if (p == MAP_FAILED) errno = err;
  } else {
    p = ::mmap(addr, len, prot, flags, fd, off);
  }
  if (p != MAP_FAILED) {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    mappings_.push_back(Mapping{reinterpret_cast<uintptr_t>(p), len});
  }
  return p;
}

int Board::munmap(void* addr, size_t len) {
  if (int err = enter(Call::Munmap, "", reinterpret_cast<uintptr_t>(addr), len, nullptr)) return fail_with(err);
  auto a = reinterpret_cast<uintptr_t>(addr);
  if (len == 0 || (a & 0xFFF) != 0) return fail_with(EINVAL);
  std::lock_guard<std::recursive_mutex> lock(mu_);
  // Only what the board mapped is ever unmapped for real; elsewhere there is
  // nothing of the tool's to remove, as the kernel would also find.
  for (auto it = mappings_.begin(); it != mappings_.end(); ++it) {
    if (a < it->addr || a >= it->addr + it->len) continue;
    size_t cut = std::min(len, it->addr + it->len - a);
    ::munmap(addr, cut);
    if (a == it->addr && cut == it->len) mappings_.erase(it);
    return 0;
  }
  return 0;
}

int Board::socket(int domain, int type, int protocol) {
  std::string path = "socket:" + std::to_string(domain);
  if (int err = enter(Call::Socket, path, static_cast<unsigned long>(type), static_cast<uint64_t>(protocol), nullptr))
    return fail_with(err);
  auto dev = device(path);
  if (dev == nullptr) return fail_with(EAFNOSUPPORT);
  int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (fd < 0) return -1;
  auto file = std::make_shared<OpenFile>();
  file->path = path;
  file->flags = type;
  int rc = dev->open(*file);
  if (rc < 0) {
    ::close(fd);
    return fail_with(-rc);
  }
  std::lock_guard<std::recursive_mutex> lock(mu_);
  fds_[fd] = Desc{dev, file};
  return fd;
}

int Board::tcgetattr(int fd, struct termios* t) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Tcgetattr, simulated ? d.file->path : "", 0, 0, nullptr)) return fail_with(err);
  if (simulated) {
    int rc = d.dev->tcgetattr(*d.file, t);
    return rc < 0 ? fail_with(-rc) : rc;
  }
  if (fd == 0 && console_scripted_) {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    *t = console_termios_;
    return 0;
  }
  return ::tcgetattr(fd, t);
}

int Board::tcsetattr(int fd, int action, const struct termios* t) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  if (int err = enter(Call::Tcsetattr, simulated ? d.file->path : "", static_cast<unsigned long>(action), 0, &req))
    return fail_with(err);
  const auto* p = reinterpret_cast<const uint8_t*>(t);
  req->bytes.assign(p, p + sizeof *t);
  if (simulated) {
    int rc = d.dev->tcsetattr(*d.file, action, t);
    return rc < 0 ? fail_with(-rc) : rc;
  }
  if (fd == 0 && console_scripted_) {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    console_termios_ = *t;
    return 0;
  }
  return ::tcsetattr(fd, action, t);
}

int Board::tcflush(int fd, int queue) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Tcflush, simulated ? d.file->path : "", static_cast<unsigned long>(queue), 0, nullptr))
    return fail_with(err);
  if (simulated) {
    int rc = d.dev->tcflush(*d.file, queue);
    return rc < 0 ? fail_with(-rc) : rc;
  }
  if (fd == 0 && console_scripted_) return 0;
  return ::tcflush(fd, queue);
}

int Board::select(int nfds, fd_set* r, fd_set* w, fd_set* e, struct timeval* timeout) {
  if (int err = enter(Call::Select, "", static_cast<unsigned long>(nfds), 0, nullptr)) return fail_with(err);
  bool any_simulated = false;
  for (int fd = 0; fd < nfds && !any_simulated; ++fd) {
    bool asked = (r && FD_ISSET(fd, r)) || (w && FD_ISSET(fd, w)) || (e && FD_ISSET(fd, e));
    Desc d;
    if (asked && (lookup(fd, &d) || (fd == 0 && console_scripted_))) any_simulated = true;
  }
  if (!any_simulated) return ::select(nfds, r, w, e, timeout);
  for (;;) {
    int ready = 0;
    fd_set rr, ww;
    FD_ZERO(&rr);
    FD_ZERO(&ww);
    for (int fd = 0; fd < nfds; ++fd) {
      Desc d;
      bool sim_fd = lookup(fd, &d);
      if (r && FD_ISSET(fd, r)) {
        bool ok = sim_fd ? d.dev->readable(*d.file) : (fd == 0 && console_scripted_);
        if (ok) {
          FD_SET(fd, &rr);
          ++ready;
        }
      }
      if (w && FD_ISSET(fd, w) && sim_fd) {
        FD_SET(fd, &ww);
        ++ready;
      }
    }
    if (ready > 0 || (timeout != nullptr && timeout->tv_sec == 0 && timeout->tv_usec == 0)) {
      if (r) *r = rr;
      if (w) *w = ww;
      if (e) FD_ZERO(e);
      return ready;
    }
    if (timeout == nullptr) {
      // Nothing will ever arrive unless virtual time brings it.
      if (!clock_.run_next_event()) throw Stuck{"select with nothing to read and no timeout"};
      continue;
    }
    uint64_t ns =
        static_cast<uint64_t>(timeout->tv_sec) * 1000000000ull + static_cast<uint64_t>(timeout->tv_usec) * 1000ull;
    // A real terminal behind a model is waited on for real; a model that
    // knows when its data arrives cuts the virtual wait short.
    std::vector<struct pollfd> host;
    uint64_t first_ready = UINT64_MAX;
    for (int fd = 0; r != nullptr && fd < nfds; ++fd) {
      Desc d;
      if (!FD_ISSET(fd, r) || !lookup(fd, &d)) continue;
      int real = d.dev->host_fd(*d.file);
      if (real >= 0) host.push_back({real, POLLIN, 0});
      first_ready = std::min(first_ready, d.dev->readable_at(*d.file));
    }
    if (!host.empty()) {
      int ms = static_cast<int>(std::min<uint64_t>(ns / 1000000u, INT32_MAX));
      int rc = ::poll(host.data(), host.size(), ms);
      if (rc < 0) return -1;
      if (rc == 0) {
        timeout->tv_sec = 0;
        timeout->tv_usec = 0;
      }
      continue;
    }
    uint64_t now = clock_.now_ns();
    uint64_t wait = first_ready > now && first_ready - now < ns ? first_ready - now : ns;
    // What a thread of the board sends on the way ends the wait too.
    clock_.sleep_ns(wait, [&] {
      for (int fd = 0; r != nullptr && fd < nfds; ++fd) {
        Desc d;
        if (FD_ISSET(fd, r) && lookup(fd, &d) && d.dev->readable(*d.file)) return true;
      }
      return false;
    });
    uint64_t slept = clock_.now_ns() - now;
    uint64_t left = slept < ns ? ns - slept : 0;
    timeout->tv_sec = static_cast<time_t>(left / 1000000000ull);
    timeout->tv_usec = static_cast<suseconds_t>(left % 1000000000ull / 1000ull);
  }
}

int Board::symlink(const char* target, const char* linkpath) {
  if (int err = enter(Call::Symlink, linkpath ? linkpath : "", 0, 0, nullptr)) return fail_with(err);
  return ::symlink(target, linkpath);
}

ssize_t Board::readlink(const char* path, char* buf, size_t n) {
  if (int err = enter(Call::Readlink, path ? path : "", 0, n, nullptr)) return fail_with(err);
  return ::readlink(path, buf, n);
}

int Board::unlink(const char* path) {
  if (int err = enter(Call::Unlink, path ? path : "", 0, 0, nullptr)) return fail_with(err);
  if (path == nullptr) return fail_with(EFAULT);
  std::shared_ptr<Device> dev;
  std::string name;
  if (mounted_fs(path, &dev, &name)) {
    int rc = dev->file_system()->unlink(name);
    return rc < 0 ? fail_with(-rc) : 0;
  }
  if (is_mount_path(path)) return fail_with(ENOENT);
  return ::unlink(path);
}

int Board::nanosleep(const struct timespec* req, struct timespec* rem) {
  if (req == nullptr || req->tv_nsec < 0 || req->tv_nsec >= 1000000000L || req->tv_sec < 0) return fail_with(EINVAL);
  if (int err = enter(Call::Sleep, "", 0, to_ns(*req), nullptr)) {
    if (rem != nullptr) *rem = *req;
    return fail_with(err);
  }
  clock_.sleep_ns(to_ns(*req));
  return 0;
}

int Board::clock_gettime(clockid_t clock, struct timespec* ts) {
  if (int err = enter(Call::Clock, "", static_cast<unsigned long>(clock), 0, nullptr)) return fail_with(err);
  uint64_t now = clock_.now_ns() + clock_.spent_here();
  if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) now += clock_.realtime_base_ns();
  *ts = to_ts(now);
  return 0;
}

int Board::timer_create(clockid_t clock, struct sigevent* sev, timer_t* id) {
  if (int err = enter(Call::Timer, "create", static_cast<unsigned long>(clock), 0, nullptr)) return fail_with(err);
  int signo = (sev == nullptr) ? SIGALRM : sev->sigev_signo;
  return clock_.timer_create(signo, id, clock);
}

int Board::timer_settime(timer_t id, int flags, const struct itimerspec* value, struct itimerspec* old) {
  Request* req = nullptr;
  if (int err = enter(Call::Timer, "settime", static_cast<unsigned long>(flags), 0, &req)) return fail_with(err);
  if (value == nullptr) return fail_with(EFAULT);
  const auto* p = reinterpret_cast<const uint8_t*>(value);
  req->bytes.assign(p, p + sizeof *value);
  for (const struct timespec* ts : {&value->it_value, &value->it_interval})
    if (ts->tv_sec < 0 || ts->tv_nsec < 0 || ts->tv_nsec >= 1000000000L) return fail_with(EINVAL);
  bool due_now = false;
  int rc = clock_.timer_settime(id, value, old, flags, &due_now);
  if (rc < 0) return fail_with(-rc);
  // The kernel signals an overdue timer before the call returns.
  if (due_now) clock_.sleep_ns(0);
  return 0;
}

int Board::timer_delete(timer_t id) {
  if (int err = enter(Call::Timer, "delete", 0, 0, nullptr)) return fail_with(err);
  int rc = clock_.timer_delete(id);
  return rc < 0 ? fail_with(-rc) : 0;
}

int Board::sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
  if (int err = enter(Call::Sigaction, "", static_cast<unsigned long>(sig), 0, nullptr)) return fail_with(err);
  if (sig <= 0 || sig >= NSIG || sig == SIGKILL || sig == SIGSTOP) return fail_with(EINVAL);
  std::lock_guard<std::recursive_mutex> lock(mu_);
  auto it = handlers_.find(sig);
  if (old != nullptr) {
    if (it != handlers_.end()) {
      *old = it->second;
    } else {
      memset(old, 0, sizeof *old);
      old->sa_handler = SIG_DFL;
    }
  }
  if (act != nullptr) handlers_[sig] = *act;
  return 0;
}

void Board::deliver_signal(int sig) {
  struct sigaction act;
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    auto it = handlers_.find(sig);
    if (it == handlers_.end()) {
      memset(&act, 0, sizeof act);
      act.sa_handler = SIG_DFL;
    } else {
      act = it->second;
    }
  }
  if (act.sa_flags & SA_SIGINFO) {
    siginfo_t info;
    memset(&info, 0, sizeof info);
    info.si_signo = sig;
    act.sa_sigaction(sig, &info, nullptr);
    return;
  }
  if (act.sa_handler == SIG_IGN) return;
  if (act.sa_handler == SIG_DFL) {
    if (sig == SIGCHLD || sig == SIGURG || sig == SIGWINCH || sig == SIGCONT) return;
    fflush(stdout);
    throw ProcessExit{128 + sig};
  }
  const bool deferred = (act.sa_flags & SA_NODEFER) == 0;
  if (deferred) {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    auto it = in_handler_.find(sig);
    if (it != in_handler_.end()) {
      it->second = 1;
      return;
    }
    in_handler_[sig] = 0;
  }
  if (!deferred) {
    act.sa_handler(sig);
    return;
  }
  try {
    act.sa_handler(sig);
  } catch (...) {
    // Left by a simulated exit: the signal is unblocked all the same.
    std::lock_guard<std::recursive_mutex> lock(mu_);
    in_handler_.erase(sig);
    throw;
  }
  bool again;
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    again = in_handler_[sig] != 0;
    in_handler_.erase(sig);
  }
  if (again) deliver_signal(sig);
}

int Board::raise(int sig) {
  if (int err = enter(Call::Raise, "", static_cast<unsigned long>(sig), 0, nullptr)) return fail_with(err);
  deliver_signal(sig);
  return 0;
}

int Board::pause() {
  if (int err = enter(Call::Pause, "", 0, 0, nullptr)) return fail_with(err);
  if (!clock_.run_next_event()) throw Stuck{"pause with no timer or signal pending"};
  return fail_with(EINTR);
}

int Board::mount(const char* src, const char* target, const char* type, unsigned long flags, const void*) {
  Request* req = nullptr;
  if (int err = enter(Call::Mount, src ? src : "", flags, 0, &req)) return fail_with(err);
  if (src == nullptr || target == nullptr) return fail_with(EFAULT);
  std::string t = type ? type : "";
  req->bytes.assign(t.begin(), t.end());
  auto dev = device(src);
  if (dev == nullptr) return fail_with(ENOENT);
  std::lock_guard<std::recursive_mutex> lock(mu_);
  if (mounts_.count(target)) return fail_with(EBUSY);
  if (FileSystem* fs = dev->file_system())
    if (int rc = fs->mount(t, flags)) return fail_with(-rc);
  mounts_[target] = src;
  return 0;
}

int Board::umount(const char* target) {
  if (int err = enter(Call::Umount, target ? target : "", 0, 0, nullptr)) return fail_with(err);
  std::lock_guard<std::recursive_mutex> lock(mu_);
  if (target == nullptr || mounts_.erase(target) == 0) return fail_with(EINVAL);
  return 0;
}

int Board::access(const char* path, int mode) {
  if (int err = enter(Call::Access, path ? path : "", static_cast<unsigned long>(mode), 0, nullptr))
    return fail_with(err);
  if (path == nullptr) return fail_with(EFAULT);
  if (has(path)) return 0;
  if (is_device_path(path)) return fail_with(ENOENT);
  return ::access(path, mode);
}

int Board::stat(const char* path, struct stat* st) {
  if (int err = enter(Call::Stat, path ? path : "", 0, 0, nullptr)) return fail_with(err);
  if (path == nullptr || st == nullptr) return fail_with(EFAULT);
  std::shared_ptr<Device> dev = device(path);
  if (dev != nullptr) {
    memset(st, 0, sizeof *st);
    // Models with a capacity are block devices, the rest character devices.
    st->st_mode = (dev->size() > 0 ? S_IFBLK : S_IFCHR) | 0660;
    st->st_size = dev->size();
    return 0;
  }
  std::string name;
  if (mounted_fs(path, &dev, &name)) {
    int rc = dev->file_system()->stat(name, st);
    return rc < 0 ? fail_with(-rc) : 0;
  }
  if (is_mount_path(path)) {
    if (strcmp(path, "/mnt") != 0) return fail_with(ENOENT);
    memset(st, 0, sizeof *st);
    st->st_mode = S_IFDIR | 0755;
    return 0;
  }
  if (is_device_path(path)) return fail_with(ENOENT);
  return ::stat(path, st);
}

int Board::statvfs(const char* path, struct statvfs* buf) {
  if (int err = enter(Call::Statvfs, path ? path : "", 0, 0, nullptr)) return fail_with(err);
  if (path == nullptr || buf == nullptr) return fail_with(EFAULT);
  std::shared_ptr<Device> dev;
  std::string name;
  if (mounted_fs(path, &dev, &name)) {
    int rc = dev->file_system()->statvfs(buf);
    return rc < 0 ? fail_with(-rc) : 0;
  }
  if (is_mount_path(path)) {
    // The board's read-only root: 128 MiB, nothing free.
    memset(buf, 0, sizeof *buf);
    buf->f_bsize = buf->f_frsize = 4096;
    buf->f_blocks = 32768;
    buf->f_flag = ST_RDONLY;
    buf->f_namemax = 255;
    return 0;
  }
  return ::statvfs(path, buf);
}

struct Board::Listing {
  std::vector<struct dirent> entries;
  size_t next = 0;
  DIR* real = nullptr;
};

DIR* Board::opendir(const char* path) {
  if (int err = enter(Call::Opendir, path ? path : "", 0, 0, nullptr)) {
    errno = err;
    return nullptr;
  }
  if (path == nullptr) {
    errno = EFAULT;
    return nullptr;
  }
  std::string dir = path;
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  if (!is_device_path((dir + "/").c_str())) return ::opendir(path);
  auto listing = std::make_unique<Listing>();
  std::lock_guard<std::recursive_mutex> lock(mu_);
  for (const auto& kv : devices_) {
    const std::string& node = kv.first;
    if (node.size() <= dir.size() + 1 || node.compare(0, dir.size() + 1, dir + "/") != 0) continue;
    std::string name = node.substr(dir.size() + 1);
    if (name.find('/') != std::string::npos) continue;
    struct dirent e;
    memset(&e, 0, sizeof e);
    snprintf(e.d_name, sizeof e.d_name, "%s", name.c_str());
    e.d_type = DT_CHR;
    listing->entries.push_back(e);
  }
  // A handle of the board's own, never handed to the C library.
  DIR* handle = reinterpret_cast<DIR*>(listing.get());
  listings_[handle] = std::move(listing);
  return handle;
}

struct dirent* Board::readdir(DIR* dir) {
  if (int err = enter(Call::Readdir, "", 0, 0, nullptr)) {
    errno = err;
    return nullptr;
  }
  std::lock_guard<std::recursive_mutex> lock(mu_);
  auto it = listings_.find(dir);
  if (it == listings_.end()) return ::readdir(dir);
  Listing& l = *it->second;
  return l.next < l.entries.size() ? &l.entries[l.next++] : nullptr;
}

int Board::closedir(DIR* dir) {
  int err = enter(Call::Closedir, "", 0, 0, nullptr);
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    if (listings_.erase(dir) != 0) return err ? fail_with(err) : 0;
  }
  int rc = ::closedir(dir);
  return err ? fail_with(err) : rc;
}

// Scheduling requests are logged (a mask's first word and size, or the policy
// and priority) and succeed; a thread reads back the CPU set it last gave
// itself (every CPU of a four-core board before that).
int Board::sched_setaffinity(pid_t pid, size_t size, const cpu_set_t* mask) {
  uint64_t first = 0;
  if (mask != nullptr) memcpy(&first, mask, std::min(size, sizeof first));
  if (int err = enter(Call::Sched, "setaffinity", first, size, nullptr)) return fail_with(err);
  if (mask == nullptr || pid != 0) return fail_with(mask == nullptr ? EFAULT : ESRCH);
  cpu_set_t set;
  CPU_ZERO(&set);
  memcpy(&set, mask, std::min(size, sizeof set));
  std::lock_guard<std::recursive_mutex> lock(mu_);
  affinity_[std::this_thread::get_id()] = set;
  return 0;
}

int Board::sched_getaffinity(pid_t pid, size_t size, cpu_set_t* mask) {
  if (int err = enter(Call::Sched, "getaffinity", 0, size, nullptr)) return fail_with(err);
  if (mask == nullptr || pid != 0) return fail_with(mask == nullptr ? EFAULT : ESRCH);
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int cpu = 0; cpu < 4; ++cpu) CPU_SET(cpu, &set);
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    auto it = affinity_.find(std::this_thread::get_id());
    if (it != affinity_.end()) set = it->second;
  }
  memset(mask, 0, size);
  memcpy(mask, &set, std::min(size, sizeof set));
  return 0;
}

namespace {
struct Start {
  Board* board;
  void* (*fn)(void*);
  void* arg;
};

void* run_started(void* p) {
  std::unique_ptr<Start> start(static_cast<Start*>(p));
  t_started_by = start->board;
  void* result = nullptr;
  try {
    result = start->fn(start->arg);
  } catch (const BoardGone&) {
  } catch (const ProcessExit&) {
  } catch (const Stuck&) {
  }
  start->board->clock().thread_ended();
  return result;
}
}  // namespace

int Board::thread_create(pthread_t* thread, void* (*fn)(void*), void* arg, const sys::ThreadOptions& options) {
  if (int err = enter(Call::Thread, "create", 0, 0, nullptr)) return err;
  auto start = std::make_unique<Start>(Start{this, fn, arg});
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  int rc = options.stack_size != 0 ? pthread_attr_setstacksize(&attr, options.stack_size) : 0;
  std::lock_guard<std::recursive_mutex> lock(mu_);
  clock_.thread_starting();
  // Created joinable even when detached, so the board can reap it.
  if (rc == 0) rc = pthread_create(thread, &attr, run_started, start.get());
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    clock_.thread_ended();
    return rc;
  }
  start.release();
  (options.detached ? detached_ : threads_).push_back(*thread);
  return 0;
}

int Board::thread_join(pthread_t thread, void** result) {
  if (int err = enter(Call::Thread, "join", 0, 0, nullptr)) return err;
  {
    std::lock_guard<std::recursive_mutex> lock(mu_);
    auto it = std::find_if(threads_.begin(), threads_.end(), [&](pthread_t t) { return pthread_equal(t, thread); });
    if (it == threads_.end()) return ESRCH;
    threads_.erase(it);
  }
  return pthread_join(thread, result);
}

pid_t Board::gettid() { return static_cast<pid_t>(::syscall(SYS_gettid)); }

int Board::sched_setscheduler(pid_t pid, int policy, const struct sched_param* param) {
  int prio = param != nullptr ? param->sched_priority : -1;
  if (int err =
          enter(Call::Sched, "setscheduler", static_cast<unsigned long>(policy), static_cast<uint64_t>(prio), nullptr))
    return fail_with(err);
  if (param == nullptr || pid != 0) return fail_with(param == nullptr ? EINVAL : ESRCH);
  return 0;
}

void Board::exit(int status) {
  fflush(stdout);
  fflush(stderr);
  throw ProcessExit{status & 0xFF};
}

void Board::_exit(int status) {
  // The harness takes what was printed either way; a tool that must not
  // lose its output flushes it itself.
  throw ProcessExit{status & 0xFF};
}

void install(Board* board) { sys::set_backend(board); }

}  // namespace sim
