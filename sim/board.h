// The simulated board: a sys::Backend whose device nodes are models holding
// the state real hardware would, with a virtual clock, fault injection and a
// log of every request made.
#pragma once

#include <sys/select.h>

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

#include "clock.h"
#include "console.h"
#include "descriptors.h"
#include "device.h"
#include "faults.h"
#include "nodes.h"
#include "outcomes.h"
#include "phys_mem.h"
#include "request_log.h"
#include "signals.h"
#include "sys/sys.h"
#include "threads.h"

namespace sim {

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
  bool console_scripted() const { return console_.scripted(); }

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
  // The thread runs until its function returns or the board goes away.
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
  // Counts the call, logs it and applies faults. Returns 0 to go on, or an
  // errno to fail with; *short_len is set for short transfers.
  int enter(Call c, const std::string& path, unsigned long request, uint64_t length, Request** req,
            long* short_len = nullptr);
  // enter() for a transfer of *n bytes, which a short-transfer fault cuts.
  int enter_transfer(Call c, const std::string& path, unsigned long request, size_t* n, Request** req);
  bool lookup(int fd, Desc* out) const { return fds_.lookup(fd, out); }
  // The file system mounted over path and the name below its mount point;
  // false when path is not under a mounted file system.
  bool mounted_fs(const std::string& path, std::shared_ptr<Device>* dev, std::string* name) const;
  int open_on(const std::shared_ptr<Device>& dev, const std::string& path, int flags, Request* req);
  int sync_file(int fd, bool data_only);
  // select over descriptors of the board's own.
  bool selects_board_fd(int nfds, fd_set* r, fd_set* w, fd_set* e) const;
  int ready_now(int nfds, const fd_set* r, const fd_set* w, fd_set* rr, fd_set* ww) const;
  bool select_wait(int nfds, const fd_set* r, struct timeval* timeout);
  static int fail_with(int err);

  // Each part guards its own state; none calls out while holding its lock,
  // so models may call back into the board from any of their methods.
  PhysMem mem_;
  Clock clock_;
  RequestLog log_;
  FaultTable faults_;
  NodeTable nodes_;
  MountTable mounts_;
  DescriptorTable fds_;
  MappingTable maps_;
  DirListings dirs_;
  SignalTable signals_;
  Console console_;
  AffinityTable affinity_;
  ThreadSet threads_;
};

// The model behind the node at path, if that node is a Node (else null).
template <class Node>
std::shared_ptr<typename Node::ModelType> model_at(const Board& board, const std::string& path) {
  auto node = std::dynamic_pointer_cast<Node>(board.device(path));
  return node ? node->model() : nullptr;
}

// Make board the backend of this process (null restores Linux).
void install(Board* board);

}  // namespace sim
