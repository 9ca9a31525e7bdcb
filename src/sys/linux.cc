// The Linux backend: thin forwarding to the kernel, plus an optional device
// path map so a board whose drivers name nodes differently needs no rebuild.
#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sys/sys.h"

namespace sys {
namespace {

struct DevMapEntry {
  char* from;
  char* to;
};

DevMapEntry* g_map = nullptr;
size_t g_map_len = 0;
bool g_map_loaded = false;

void load_device_map() {
  g_map_loaded = true;
  const char* file = getenv(kDevMapEnv);
  if (file == nullptr || *file == '\0') return;
  FILE* f = fopen(file, "r");
  if (f == nullptr) return;
  char line[512];
  size_t cap = 0;
  while (fgets(line, sizeof line, f) != nullptr) {
    line[strcspn(line, "\r\n")] = '\0';
    char* eq = strchr(line, '=');
    if (line[0] == '#' || eq == nullptr || eq == line || eq[1] == '\0') continue;
    *eq = '\0';
    if (g_map_len == cap) {
      cap = cap ? cap * 2 : 8;
      auto* grown = static_cast<DevMapEntry*>(realloc(g_map, cap * sizeof(DevMapEntry)));
      if (grown == nullptr) break;
      g_map = grown;
    }
    g_map[g_map_len++] = DevMapEntry{strdup(line), strdup(eq + 1)};
  }
  fclose(f);
}

class LinuxBackend final : public Backend {
 public:
  constexpr LinuxBackend() = default;
  int open(const char* path, int flags, mode_t mode) override { return ::open(map_device_path(path), flags, mode); }
  int close(int fd) override { return ::close(fd); }
  ssize_t read(int fd, void* buf, size_t n) override { return ::read(fd, buf, n); }
  ssize_t write(int fd, const void* buf, size_t n) override { return ::write(fd, buf, n); }
  ssize_t pread(int fd, void* buf, size_t n, off_t off) override { return ::pread(fd, buf, n, off); }
  ssize_t pwrite(int fd, const void* buf, size_t n, off_t off) override { return ::pwrite(fd, buf, n, off); }
  off_t lseek(int fd, off_t off, int whence) override { return ::lseek(fd, off, whence); }
  int ioctl(int fd, unsigned long request, void* arg) override { return ::ioctl(fd, request, arg); }
  int fsync(int fd) override { return ::fsync(fd); }
  int fdatasync(int fd) override { return ::fdatasync(fd); }
  void* mmap(void* addr, size_t len, int prot, int flags, int fd, off_t off) override {
    return ::mmap(addr, len, prot, flags, fd, off);
  }
  int munmap(void* addr, size_t len) override { return ::munmap(addr, len); }
  int socket(int domain, int type, int protocol) override { return ::socket(domain, type, protocol); }
  int tcgetattr(int fd, struct termios* t) override { return ::tcgetattr(fd, t); }
  int tcsetattr(int fd, int action, const struct termios* t) override { return ::tcsetattr(fd, action, t); }
  int tcflush(int fd, int queue) override { return ::tcflush(fd, queue); }
  int select(int nfds, fd_set* r, fd_set* w, fd_set* e, struct timeval* timeout) override {
    return ::select(nfds, r, w, e, timeout);
  }
  int symlink(const char* target, const char* linkpath) override { return ::symlink(target, linkpath); }
  ssize_t readlink(const char* path, char* buf, size_t n) override { return ::readlink(path, buf, n); }
  int unlink(const char* path) override { return ::unlink(path); }
  int nanosleep(const struct timespec* req, struct timespec* rem) override { return ::nanosleep(req, rem); }
  int clock_gettime(clockid_t clock, struct timespec* ts) override { return ::clock_gettime(clock, ts); }
  int timer_create(clockid_t clock, struct sigevent* sev, timer_t* id) override {
    return ::timer_create(clock, sev, id);
  }
  int timer_settime(timer_t id, int flags, const struct itimerspec* value, struct itimerspec* old) override {
    return ::timer_settime(id, flags, value, old);
  }
  int timer_delete(timer_t id) override { return ::timer_delete(id); }
  int sigaction(int sig, const struct sigaction* act, struct sigaction* old) override {
    return ::sigaction(sig, act, old);
  }
  int raise(int sig) override { return ::raise(sig); }
  int pause() override { return ::pause(); }
  int mount(const char* src, const char* target, const char* type, unsigned long flags, const void* data) override {
    return ::mount(map_device_path(src), target, type, flags, data);
  }
  int umount(const char* target) override { return ::umount(target); }
  int access(const char* path, int mode) override { return ::access(map_device_path(path), mode); }
  int stat(const char* path, struct stat* st) override { return ::stat(map_device_path(path), st); }
  int statvfs(const char* path, struct statvfs* buf) override { return ::statvfs(path, buf); }
  DIR* opendir(const char* path) override { return ::opendir(path); }
  struct dirent* readdir(DIR* dir) override {
    return ::readdir(dir);
  }
  int closedir(DIR* dir) override { return ::closedir(dir); }
  int sched_setaffinity(pid_t pid, size_t size, const cpu_set_t* mask) override {
    return ::sched_setaffinity(pid, size, mask);
  }
  int sched_getaffinity(pid_t pid, size_t size, cpu_set_t* mask) override {
    return ::sched_getaffinity(pid, size, mask);
  }
  int sched_setscheduler(pid_t pid, int policy, const struct sched_param* param) override {
    return ::sched_setscheduler(pid, policy, param);
  }
  int thread_create(pthread_t* thread, void* (*fn)(void*), void* arg, const ThreadOptions& options) override {
    pthread_attr_t attr;
    int rc = ::pthread_attr_init(&attr);
    if (rc != 0) return rc;
    if (options.stack_size != 0) rc = ::pthread_attr_setstacksize(&attr, options.stack_size);
    if (rc == 0 && options.detached) rc = ::pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    if (rc == 0) rc = ::pthread_create(thread, &attr, fn, arg);
    ::pthread_attr_destroy(&attr);
    return rc;
  }
  int thread_join(pthread_t thread, void** result) override { return ::pthread_join(thread, result); }
  // Through the generic entry: the C library of the board's toolchain may lack a wrapper.
  pid_t gettid() override { return static_cast<pid_t>(::syscall(SYS_gettid)); }
  [[noreturn]] void exit(int status) override { ::exit(status); }
  [[noreturn]] void _exit(int status) override { ::_exit(status); }
};

LinuxBackend g_linux;
Backend* g_backend = &g_linux;

}  // namespace

Backend& backend() { return *g_backend; }
void set_backend(Backend* b) { g_backend = b ? b : &g_linux; }
Backend& linux_backend() { return g_linux; }

const char* map_device_path(const char* path) {
  if (!g_map_loaded) load_device_map();
  if (path == nullptr) return path;
  for (size_t i = 0; i < g_map_len; ++i)
    if (strcmp(g_map[i].from, path) == 0) return g_map[i].to;
  return path;
}

unsigned sleep(unsigned seconds) {
  struct timespec req = {static_cast<time_t>(seconds), 0};
  struct timespec rem = {0, 0};
  if (sys::nanosleep(&req, &rem) == 0) return 0;
  return static_cast<unsigned>(rem.tv_sec);
}

int usleep(useconds_t usec) {
  struct timespec req = {static_cast<time_t>(usec / 1000000), static_cast<long>(usec % 1000000) * 1000};
  return sys::nanosleep(&req, nullptr);
}

int set_handler(int sig, void (*handler)(int)) {
  struct sigaction sa;
  memset(&sa, 0, sizeof sa);
  sa.sa_handler = handler;
  sa.sa_flags = SA_RESTART;
  sigemptyset(&sa.sa_mask);
  return sys::sigaction(sig, &sa, nullptr);
}

time_t time(time_t* out) {
  struct timespec ts = {0, 0};
  if (sys::clock_gettime(CLOCK_REALTIME, &ts) != 0) return static_cast<time_t>(-1);
  if (out != nullptr) *out = ts.tv_sec;
  return ts.tv_sec;
}

}  // namespace sys
