#include "sys/host.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace sys {
namespace host {

namespace {

int put_file(const char* path, int flags, const void* data, size_t n) {
  int fd = ::open(path, flags | O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return errno;
  // One write call: concurrent appenders never interleave within a record.
  ssize_t w = n == 0 ? 0 : ::write(fd, data, n);
  int err = w < 0 ? errno : (static_cast<size_t>(w) != n ? EIO : 0);
  if (::close(fd) != 0 && err == 0) err = errno;
  return err;
}

int64_t clock_ns(clockid_t id) {
  struct timespec ts = {0, 0};
  ::clock_gettime(id, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

}  // namespace

int append_file(const char* path, const void* data, size_t n) { return put_file(path, O_APPEND, data, n); }

int write_file(const char* path, const void* data, size_t n) { return put_file(path, O_TRUNC, data, n); }

long write_all(int fd, const void* data, size_t n) {
  const char* p = static_cast<const char*>(data);
  size_t done = 0;
  while (done < n) {
    ssize_t w = ::write(fd, p + done, n - done);
    if (w < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    done += static_cast<size_t>(w);
  }
  return static_cast<long>(n);
}

int64_t realtime_ns() { return clock_ns(CLOCK_REALTIME); }

int64_t monotonic_ns() { return clock_ns(CLOCK_MONOTONIC); }

bool is_terminal(int fd) { return ::isatty(fd) == 1; }

size_t preferred_block(int fd) {
  struct stat st;
  if (::fstat(fd, &st) == 0 && st.st_blksize > 0) return static_cast<size_t>(st.st_blksize);
  return BUFSIZ;
}

bool read_text(const char* path, char** text, size_t* n) {
  FILE* f = fopen(path, "rb");
  if (f == nullptr) return false;
  size_t cap = 4096, len = 0;
  char* buf = static_cast<char*>(malloc(cap + 1));
  while (buf != nullptr) {
    size_t got = fread(buf + len, 1, cap - len, f);
    len += got;
    if (got == 0) break;
    if (len == cap) {
      char* grown = static_cast<char*>(realloc(buf, cap * 2 + 1));
      if (grown == nullptr) {
        free(buf);
        buf = nullptr;
        break;
      }
      buf = grown;
      cap *= 2;
    }
  }
  bool ok = buf != nullptr && !ferror(f);
  fclose(f);
  if (!ok) {
    free(buf);
    return false;
  }
  buf[len] = '\0';
  *text = buf;
  *n = len;
  return true;
}

void exit_now(int status) { ::_exit(status); }

}  // namespace host
}  // namespace sys
