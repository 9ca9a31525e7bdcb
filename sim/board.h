// The simulated board: a sys::Backend whose device nodes are models holding
// the state real hardware would, with a virtual clock, fault injection and a
// log of every request made.
#pragma once

// The flags and records every device model answers with.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <termios.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "sys/sys.h"

namespace sim {

class Board;

// Kinds of seam call, for faults and the request log.
enum class Call {
  Any,
  Open,
  Close,
  Read,
  Write,
  Lseek,
  Ioctl,
  Fsync,
  Mmap,
  Munmap,
  Socket,
  Tcgetattr,
  Tcsetattr,
  Tcflush,
  Select,
  Symlink,
  Readlink,
  Unlink,
  Sleep,
  Clock,
  Timer,
  Sigaction,
  Raise,
  Pause,
  Mount,
  Umount,
  Access,
  Stat,
  Statvfs,
  Opendir,
  Readdir,
  Closedir,
  Sched,
  Thread,
};
const char* call_name(Call c);

// One logged request: what a tool asked of the board.
struct Request {
  Call call;
  std::string path;            // device path (or link/file name), empty for time calls
  unsigned long request = 0;   // ioctl number, mmap offset, lseek offset, open flags
  uint64_t length = 0;         // mmap length, read/write size asked
  std::vector<uint8_t> bytes;  // bytes sent to a device: write data, or what a model records
};

// Thrown by the board's exit so a test can see a process-ending path.
struct ProcessExit {
  int status;
};

// Thrown when a tool would wait forever (pause with nothing pending).
struct Stuck {
  const char* what;
};

// Thrown in a thread the board started when the board goes away, so threads a
// tool never joins (a heartbeat) end with it.
struct BoardGone {};

// State of one open descriptor on a model.
struct OpenFile {
  std::string path;
  int flags = 0;
  off_t pos = 0;
  Request* request = nullptr;   // the log entry of the call in progress
  std::shared_ptr<void> state;  // per-open state a model may keep
  // Puts n bytes the call in progress sent into its log entry.
  void log_sent(const void* p, size_t n) {
    if (request == nullptr) return;
    const auto* b = static_cast<const uint8_t*>(p);
    request->bytes.assign(b, b + n);
  }
};

class Device;

// A file system a device carries: mounted by the board, it holds the files
// under the mount point. Methods return 0 (or a result) or -errno.
class FileSystem {
 public:
  virtual ~FileSystem() = default;
  virtual int mount(const std::string& type, unsigned long flags) = 0;
  // name is relative to the mount point, without a leading slash.
  virtual int open(const std::string& name, int flags, std::shared_ptr<Device>* file) = 0;
  virtual int unlink(const std::string& name) = 0;
  virtual int stat(const std::string& name, struct stat* st) = 0;
  virtual int statvfs(struct statvfs* buf) = 0;
};

// A device model registered at a path. Methods return a result or -errno.
class Device {
 public:
  virtual ~Device() = default;
  virtual int open(OpenFile&) { return 0; }
  virtual void close(OpenFile&) {}
  virtual ssize_t read(OpenFile&, void*, size_t) { return -EINVAL; }
  virtual ssize_t write(OpenFile&, const void*, size_t) { return -EINVAL; }
  virtual ssize_t pread(OpenFile& f, void* buf, size_t n, off_t off);
  virtual ssize_t pwrite(OpenFile& f, const void* buf, size_t n, off_t off);
  virtual off_t lseek(OpenFile& f, off_t off, int whence);
  virtual off_t size() { return 0; }
  virtual int ioctl(OpenFile&, unsigned long, void*) { return -ENOTTY; }
  virtual int fsync(OpenFile&) { return 0; }
  // Returns the mapping or MAP_FAILED with *err set.
  virtual void* mmap(OpenFile&, size_t, int, int, off_t, int* err) {
    *err = ENODEV;
    return MAP_FAILED;
  }
  virtual int tcgetattr(OpenFile&, struct termios*) { return -ENOTTY; }
  virtual int tcsetattr(OpenFile&, int, const struct termios*) { return -ENOTTY; }
  virtual int tcflush(OpenFile&, int) { return -ENOTTY; }
  // For select: is there something to read now?
  virtual bool readable(OpenFile&) { return true; }
  // For select: the virtual time at which something becomes readable, if the
  // model knows (UINT64_MAX: not by itself).
  virtual uint64_t readable_at(OpenFile&) { return UINT64_MAX; }
  // A real descriptor behind the model (a host terminal), waited on for real.
  virtual int host_fd(OpenFile&) { return -1; }
  // The file system on the medium, if the board can mount it.
  virtual FileSystem* file_system() { return nullptr; }
};

// Physical memory: sparse, shared by every mapping of the same address,
// inspectable and presettable by physical address.
class PhysMem {
 public:
  PhysMem();
  ~PhysMem();
  PhysMem(const PhysMem&) = delete;
  PhysMem& operator=(const PhysMem&) = delete;
  void* map(uint64_t phys, size_t len, int prot, int* err);
  void read(uint64_t phys, void* out, size_t n) const;
  void write(uint64_t phys, const void* in, size_t n);
  void fill(uint64_t phys, uint8_t byte, size_t n);
  uint32_t read32(uint64_t phys) const;
  void write32(uint64_t phys, uint32_t v);
  uint16_t read16(uint64_t phys) const;
  static constexpr uint64_t kSize = uint64_t{1} << 36;  // 64 GiB of address space

 private:
  int fd_ = -1;
};

// Virtual time. Sleeps of the driving thread advance it at once; other threads
// wait until it reaches their wake-up. Interval timers and scheduled signals
// fire at their virtual times.
class Clock {
 public:
  explicit Clock(Board& board);
  uint64_t now_ns() const;
  // Advance to now + ns, delivering what falls due on the way.
  // A driving thread's sleep ends early once stop says so (checked as
  // events fall due on the way).
  void sleep_ns(uint64_t ns, const std::function<bool()>& stop = nullptr);
  // Deliver the next due event (timer or scheduled signal), advancing to it.
  // False when nothing is pending.
  bool run_next_event();
  void signal_at(uint64_t at_ns, int sig);
  int timer_create(int signo, timer_t* id, clockid_t clock = CLOCK_MONOTONIC);
  // TIMER_ABSTIME in flags takes the value on the timer's clock; a time
  // already past falls due now and the period keeps that time's phase.
  // True in *due_now when the timer is due at once.
  int timer_settime(timer_t id, const struct itimerspec* v, struct itimerspec* old, int flags = 0,
                    bool* due_now = nullptr);
  int timer_delete(timer_t id);
  uint64_t realtime_base_ns() const { return realtime_base_ns_; }
  void set_realtime(uint64_t ns_since_epoch);
  // The thread whose sleeps advance time (the one that built the board).
  void set_driver_here();
  // A model may run an action when time passes (counters that tick).
  void on_advance(std::function<void(uint64_t now_ns)> fn);
  // Time the calling thread spends inside a device transfer. Only that
  // thread's own clock reads see it, so concurrent threads each time their
  // own transfers without waiting for one another or for the driving thread.
  void spend_here(uint64_t ns);
  // The same for n bytes moved at bytes_per_second (0: free).
  void spend_transfer(uint64_t n, uint64_t bytes_per_second);
  uint64_t spent_here() const;
  // Wakes every thread waiting for virtual time; they get BoardGone.
  void close();
  // Threads the board starts count as running until they sleep; time stops
  // at their wake-ups and goes on only once they sleep again (or end), so
  // they do their work at their own virtual times.
  void thread_starting();
  void thread_ended();

 private:
  struct Timer {
    int id;
    int signo;
    uint64_t next_ns;  // 0 = disarmed
    uint64_t interval_ns;
    clockid_t clock;
    uint64_t rearm_ns;  // next expiry after an overdue first one, 0 = next_ns + interval_ns
  };
  struct Pending {
    uint64_t at_ns;
    int sig;
  };
  void advance_to(uint64_t target, const std::function<bool()>& stop = nullptr);
  void wait_quiet();
  Board& board_;
  mutable std::mutex mu_;
  std::condition_variable cv_;
  uint64_t now_ns_ = 0;
  uint64_t realtime_base_ns_;
  std::vector<Timer> timers_;
  std::vector<Pending> pending_;
  std::vector<std::function<void(uint64_t)>> tickers_;
  int next_timer_ = 1;
  std::thread::id driver_;
  bool closed_ = false;
  std::multiset<uint64_t> wakeups_;  // of the board's own sleeping threads
  int started_running_ = 0;
  std::condition_variable quiet_;
  const uint64_t id_;  // tells this clock's per-thread time from an older board's
};

struct Fault {
  Call call = Call::Any;
  std::string path;           // only calls on this path (empty: any)
  unsigned long request = 0;  // only this ioctl request (0: any)
  int nth = 0;                // fail only the nth matching call, from 1 (0: every one)
  int err = EIO;
  long short_len = -1;  // read/write: pass at most this many bytes instead of failing
  int seen = 0;
};

class Board final : public sys::Backend {
 public:
  Board();
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  void add(const std::string& path, std::shared_ptr<Device> dev);
  void remove(const std::string& path);
  bool has(const std::string& path) const;
  std::shared_ptr<Device> device(const std::string& path) const;
  PhysMem& mem() { return mem_; }
  Clock& clock() { return clock_; }

  void fail(Fault f);
  void clear_faults();
  size_t calls() const;  // seam calls so far, for fault sweeps
  std::vector<Request> log() const;
  std::vector<Request> log_of(Call c) const;
  void clear_log();
  size_t open_descriptors() const;
  // Console input on descriptor 0; without it the real standard input is used.
  void set_console(const std::string& text);
  bool console_scripted() const { return console_scripted_; }

  // sys::Backend
  int open(const char* path, int flags, mode_t mode) override;
  int close(int fd) override;
  ssize_t read(int fd, void* buf, size_t n) override;
  ssize_t write(int fd, const void* buf, size_t n) override;
  ssize_t pread(int fd, void* buf, size_t n, off_t off) override;
  ssize_t pwrite(int fd, const void* buf, size_t n, off_t off) override;
  off_t lseek(int fd, off_t off, int whence) override;
  int ioctl(int fd, unsigned long request, void* arg) override;
  int fsync(int fd) override;
  int fdatasync(int fd) override;
  void* mmap(void* addr, size_t len, int prot, int flags, int fd, off_t off) override;
  int munmap(void* addr, size_t len) override;
  int socket(int domain, int type, int protocol) override;
  int tcgetattr(int fd, struct termios* t) override;
  int tcsetattr(int fd, int action, const struct termios* t) override;
  int tcflush(int fd, int queue) override;
  int select(int nfds, fd_set* r, fd_set* w, fd_set* e, struct timeval* timeout) override;
  int symlink(const char* target, const char* linkpath) override;
  ssize_t readlink(const char* path, char* buf, size_t n) override;
  int unlink(const char* path) override;
  int nanosleep(const struct timespec* req, struct timespec* rem) override;
  int clock_gettime(clockid_t clock, struct timespec* ts) override;
  int timer_create(clockid_t clock, struct sigevent* sev, timer_t* id) override;
  int timer_settime(timer_t id, int flags, const struct itimerspec* value, struct itimerspec* old) override;
  int timer_delete(timer_t id) override;
  int sigaction(int sig, const struct sigaction* act, struct sigaction* old) override;
  int raise(int sig) override;
  int pause() override;
  int mount(const char* src, const char* target, const char* type, unsigned long flags, const void* data) override;
  int umount(const char* target) override;
  int access(const char* path, int mode) override;
  // Paths under a mount point whose device carries a FileSystem live in it.
  int stat(const char* path, struct stat* st) override;
  int statvfs(const char* path, struct statvfs* buf) override;
  // The board's own directories (/dev, /proc, /sys) list its registered nodes.
  DIR* opendir(const char* path) override;
  struct dirent* readdir(DIR* dir) override;
  int closedir(DIR* dir) override;
  int sched_setaffinity(pid_t pid, size_t size, const cpu_set_t* mask) override;
  int sched_getaffinity(pid_t pid, size_t size, cpu_set_t* mask) override;
  int sched_setscheduler(pid_t pid, int policy, const struct sched_param* param) override;
  // The thread runs until its function returns or the board goes away; the
  // board reaps detached ones too, so none outlives it.
  int thread_create(pthread_t* thread, void* (*fn)(void*), void* arg, const sys::ThreadOptions& options = {}) override;
  // Joins a thread the board started; the joiner does not advance time.
  int thread_join(pthread_t thread, void** result) override;
  pid_t gettid() override;
  [[noreturn]] void exit(int status) override;
  [[noreturn]] void _exit(int status) override;

  // Runs the handler a tool installed for sig, as the kernel would: the
  // signal is blocked while its handler runs, and raised again then it is
  // delivered after the handler returns.
  void deliver_signal(int sig);
  // Mounted file systems: target -> source.
  std::map<std::string, std::string> mounts() const;

 private:
  struct Desc {
    std::shared_ptr<Device> dev;
    std::shared_ptr<OpenFile> file;
  };
  struct Mapping {
    uintptr_t addr;
    size_t len;
  };
  // Counts the call, logs it and applies faults. Returns 0 to go on, or an
  // errno to fail with; *short_len is set for short transfers.
  int enter(Call c, const std::string& path, unsigned long request, uint64_t length, Request** req,
            long* short_len = nullptr);
  bool lookup(int fd, Desc* out) const;
  // The file system mounted over path and the name below its mount point;
  // false when path is not under a mounted file system.
  bool mounted_fs(const std::string& path, std::shared_ptr<Device>* dev, std::string* name) const;
  static int fail_with(int err);

  mutable std::recursive_mutex mu_;
  std::map<std::string, std::shared_ptr<Device>> devices_;
  std::map<int, Desc> fds_;
  std::vector<Mapping> mappings_;
  std::vector<Fault> faults_;
  std::vector<std::unique_ptr<Request>> log_;
  size_t calls_ = 0;
  std::map<int, struct sigaction> handlers_;
  std::map<std::string, std::string> mounts_;
  struct Listing;
  std::map<DIR*, std::unique_ptr<Listing>> listings_;
  std::map<std::thread::id, cpu_set_t> affinity_;
  std::vector<pthread_t> threads_;
  std::vector<pthread_t> detached_;  // never joined by a tool
  bool closing_ = false;
  std::map<int, int> in_handler_;  // signal -> raised again while handled
  std::string console_;
  size_t console_pos_ = 0;
  bool console_scripted_ = false;
  struct termios console_termios_ {};
  PhysMem mem_;
  Clock clock_;
};

// Make board the backend of this process (null restores Linux).
void install(Board* board);

}  // namespace sim
