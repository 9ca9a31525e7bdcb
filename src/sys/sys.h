// The seam: every call that reaches a device, physical memory, a socket, a
// terminal, time, a timer or signal, threads and scheduling, a mount or
// process exit goes through here, so the simulated board can stand in for the
// real one.
#pragma once

// Only what the declarations below need: a file that uses a call's flags or
// records (O_RDWR, PROT_READ, struct termios...) includes their header itself,
// so nothing but the seam gets the OS calls for free.
#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/select.h>
#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <cstdint>

struct stat;
struct statvfs;
struct termios;

namespace sys {

// How a thread is started; the defaults are pthread_create's.
struct ThreadOptions {
  size_t stack_size = 0;  // 0: the C library's default
  bool detached = false;  // for threads nobody joins
};

// Semaphores, mutexes and atomics stay outside: they order this process's own
// threads and reach no device, clock or scheduler. The simulated board needs
// no view of them as long as only the driving thread blocks on one and the
// threads it waits for never sleep; a started thread that slept while the
// driver waited would stop virtual time, and then the wait belongs here.

// One implementation per world: the Linux kernel, or the simulated board.
class Backend {
 public:
  virtual int open(const char* path, int flags, mode_t mode) = 0;
  virtual int close(int fd) = 0;
  virtual ssize_t read(int fd, void* buf, size_t n) = 0;
  virtual ssize_t write(int fd, const void* buf, size_t n) = 0;
  virtual ssize_t pread(int fd, void* buf, size_t n, off_t off) = 0;
  virtual ssize_t pwrite(int fd, const void* buf, size_t n, off_t off) = 0;
  virtual off_t lseek(int fd, off_t off, int whence) = 0;
  virtual int ioctl(int fd, unsigned long request, void* arg) = 0;
  virtual int fsync(int fd) = 0;
  virtual int fdatasync(int fd) = 0;
  virtual void* mmap(void* addr, size_t len, int prot, int flags, int fd, off_t off) = 0;
  virtual int munmap(void* addr, size_t len) = 0;
  virtual int socket(int domain, int type, int protocol) = 0;
  virtual int tcgetattr(int fd, struct termios* t) = 0;
  virtual int tcsetattr(int fd, int action, const struct termios* t) = 0;
  virtual int tcflush(int fd, int queue) = 0;
  virtual int select(int nfds, fd_set* r, fd_set* w, fd_set* e, struct timeval* timeout) = 0;
  virtual int symlink(const char* target, const char* linkpath) = 0;
  virtual ssize_t readlink(const char* path, char* buf, size_t n) = 0;
  virtual int unlink(const char* path) = 0;
  virtual int nanosleep(const struct timespec* req, struct timespec* rem) = 0;
  virtual int clock_gettime(clockid_t clock, struct timespec* ts) = 0;
  virtual int timer_create(clockid_t clock, struct sigevent* sev, timer_t* id) = 0;
  virtual int timer_settime(timer_t id, int flags, const struct itimerspec* value, struct itimerspec* old) = 0;
  virtual int timer_delete(timer_t id) = 0;
  virtual int sigaction(int sig, const struct sigaction* act, struct sigaction* old) = 0;
  virtual int raise(int sig) = 0;
  virtual int pause() = 0;
  virtual int mount(const char* src, const char* target, const char* type, unsigned long flags, const void* data) = 0;
  virtual int umount(const char* target) = 0;
  virtual int access(const char* path, int mode) = 0;
  virtual int stat(const char* path, struct stat* st) = 0;
  virtual int statvfs(const char* path, struct statvfs* buf) = 0;
  virtual DIR* opendir(const char* path) = 0;
  virtual struct dirent* readdir(DIR* dir) = 0;
  virtual int closedir(DIR* dir) = 0;
  // pid 0 is the calling thread, as for the kernel's calls.
  virtual int sched_setaffinity(pid_t pid, size_t size, const cpu_set_t* mask) = 0;
  virtual int sched_getaffinity(pid_t pid, size_t size, cpu_set_t* mask) = 0;
  virtual int sched_setscheduler(pid_t pid, int policy, const struct sched_param* param) = 0;
  // As pthread_create: 0 or an error number.
  virtual int thread_create(pthread_t* thread, void* (*fn)(void*), void* arg, const ThreadOptions& options) = 0;
  // As pthread_join, for a thread not created detached: 0 or an error number.
  virtual int thread_join(pthread_t thread, void** result) = 0;
  // The calling thread's kernel thread id.
  virtual pid_t gettid() = 0;
  [[noreturn]] virtual void exit(int status) = 0;
  // Ends the process without exit handlers or stdio flushing, as a signal
  // handler may.
  [[noreturn]] virtual void _exit(int status) = 0;

 protected:
  ~Backend() = default;
};

// The backend in force; the Linux one unless a simulated board was installed.
Backend& backend();
void set_backend(Backend* b);  // null restores the Linux backend
Backend& linux_backend();

// Declared like the POSIX calls they stand for.
inline int open(const char* path, int flags, mode_t mode = 0) { return backend().open(path, flags, mode); }
inline int close(int fd) { return backend().close(fd); }
inline ssize_t read(int fd, void* buf, size_t n) { return backend().read(fd, buf, n); }
inline ssize_t write(int fd, const void* buf, size_t n) { return backend().write(fd, buf, n); }
inline ssize_t pread(int fd, void* buf, size_t n, off_t off) { return backend().pread(fd, buf, n, off); }
inline ssize_t pwrite(int fd, const void* buf, size_t n, off_t off) { return backend().pwrite(fd, buf, n, off); }
inline off_t lseek(int fd, off_t off, int whence) { return backend().lseek(fd, off, whence); }
inline int ioctl(int fd, unsigned long request, void* arg) { return backend().ioctl(fd, request, arg); }
inline int fsync(int fd) { return backend().fsync(fd); }
inline int fdatasync(int fd) { return backend().fdatasync(fd); }
inline void* mmap(void* addr, size_t len, int prot, int flags, int fd, off_t off) {
  return backend().mmap(addr, len, prot, flags, fd, off);
}
inline int munmap(void* addr, size_t len) { return backend().munmap(addr, len); }
inline int socket(int domain, int type, int protocol) { return backend().socket(domain, type, protocol); }
inline int tcgetattr(int fd, struct termios* t) { return backend().tcgetattr(fd, t); }
inline int tcsetattr(int fd, int action, const struct termios* t) { return backend().tcsetattr(fd, action, t); }
inline int tcflush(int fd, int queue) { return backend().tcflush(fd, queue); }
inline int select(int nfds, fd_set* r, fd_set* w, fd_set* e, struct timeval* timeout) {
  return backend().select(nfds, r, w, e, timeout);
}
inline int symlink(const char* target, const char* linkpath) { return backend().symlink(target, linkpath); }
inline ssize_t readlink(const char* path, char* buf, size_t n) { return backend().readlink(path, buf, n); }
inline int unlink(const char* path) { return backend().unlink(path); }
inline int nanosleep(const struct timespec* req, struct timespec* rem) { return backend().nanosleep(req, rem); }
inline int clock_gettime(clockid_t clock, struct timespec* ts) { return backend().clock_gettime(clock, ts); }
inline int timer_create(clockid_t clock, struct sigevent* sev, timer_t* id) {
  return backend().timer_create(clock, sev, id);
}
inline int timer_settime(timer_t id, int flags, const struct itimerspec* value, struct itimerspec* old) {
  return backend().timer_settime(id, flags, value, old);
}
inline int timer_delete(timer_t id) { return backend().timer_delete(id); }
inline int sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
  return backend().sigaction(sig, act, old);
}
inline int raise(int sig) { return backend().raise(sig); }
inline int pause() { return backend().pause(); }
inline int mount(const char* src, const char* target, const char* type, unsigned long flags, const void* data) {
  return backend().mount(src, target, type, flags, data);
}
inline int umount(const char* target) { return backend().umount(target); }
inline int access(const char* path, int mode) { return backend().access(path, mode); }
inline int stat(const char* path, struct stat* st) { return backend().stat(path, st); }
inline int statvfs(const char* path, struct statvfs* buf) { return backend().statvfs(path, buf); }
inline DIR* opendir(const char* path) { return backend().opendir(path); }
inline struct dirent* readdir(DIR* dir) { return backend().readdir(dir); }
inline int closedir(DIR* dir) { return backend().closedir(dir); }
inline int sched_setaffinity(pid_t pid, size_t size, const cpu_set_t* mask) {
  return backend().sched_setaffinity(pid, size, mask);
}
inline int sched_getaffinity(pid_t pid, size_t size, cpu_set_t* mask) {
  return backend().sched_getaffinity(pid, size, mask);
}
inline int sched_setscheduler(pid_t pid, int policy, const struct sched_param* param) {
  return backend().sched_setscheduler(pid, policy, param);
}
inline int thread_create(pthread_t* thread, void* (*fn)(void*), void* arg, const ThreadOptions& options = {}) {
  return backend().thread_create(thread, fn, arg, options);
}
inline int thread_join(pthread_t thread, void** result) { return backend().thread_join(thread, result); }
inline pid_t gettid() { return backend().gettid(); }
[[noreturn]] inline void exit(int status) {
  backend().exit(status);
  __builtin_unreachable();
}
[[noreturn]] inline void _exit(int status) {
  backend()._exit(status);
  __builtin_unreachable();
}

// Conveniences over the calls above.
unsigned sleep(unsigned seconds);
int usleep(useconds_t usec);
time_t time(time_t* out);
// A plain handler for sig, restarting interrupted calls.
int set_handler(int sig, void (*handler)(int));

// Device-path remapping of the Linux backend: one PATH=REPLACEMENT per line in
// the file named by this variable. Read once, on the first open.
constexpr const char* kDevMapEnv = "TAV_DEVMAP";
// The replacement for path, or path itself.
const char* map_device_path(const char* path);

}  // namespace sys
