// The calls a tool makes on descriptors it holds.
#include <errno.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "board.h"

namespace sim {

int Board::enter_transfer(Call c, const std::string& path, unsigned long request, size_t* n, Request** req) {
  long short_len = -1;
  int err = enter(c, path, request, *n, req, &short_len);
  if (err == 0 && short_len >= 0) *n = std::min(*n, static_cast<size_t>(short_len));
  return err;
}

ssize_t Board::read(int fd, void* buf, size_t n) {
  Desc d;
  bool simulated = lookup(fd, &d);
  std::string path = simulated ? d.file->path : (fd == 0 ? "<console>" : "");
  Request* req = nullptr;
  if (int err = enter_transfer(Call::Read, path, 0, &n, &req)) return fail_with(err);
  if (simulated) {
    d.file->request = req;
    ssize_t rc = d.dev->read(*d.file, buf, n);
    d.file->request = nullptr;
    return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
  }
  if (fd == 0 && console_.scripted()) return static_cast<ssize_t>(console_.read(buf, n));
  return ::read(fd, buf, n);
}

ssize_t Board::write(int fd, const void* buf, size_t n) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  if (int err = enter_transfer(Call::Write, simulated ? d.file->path : "", 0, &n, &req)) return fail_with(err);
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
  if (int err = enter_transfer(Call::Read, simulated ? d.file->path : "", static_cast<unsigned long>(off), &n, &req))
    return fail_with(err);
  if (!simulated) return ::pread(fd, buf, n, off);
  ssize_t rc = d.dev->pread(*d.file, buf, n, off);
  return rc < 0 ? fail_with(static_cast<int>(-rc)) : rc;
}

ssize_t Board::pwrite(int fd, const void* buf, size_t n, off_t off) {
  Desc d;
  bool simulated = lookup(fd, &d);
  Request* req = nullptr;
  if (int err = enter_transfer(Call::Write, simulated ? d.file->path : "", static_cast<unsigned long>(off), &n, &req))
    return fail_with(err);
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
    if (fd == 0 && console_.scripted()) return fail_with(ENOTTY);
    return ::ioctl(fd, request, arg);
  }
  d.file->request = req;
  int rc = d.dev->ioctl(*d.file, request, arg);
  d.file->request = nullptr;
  return rc < 0 ? fail_with(-rc) : rc;
}

int Board::fsync(int fd) { return sync_file(fd, false); }

int Board::fdatasync(int fd) { return sync_file(fd, true); }

// Both are one request to a model; the log tells them apart by the request
// word (1: data only).
int Board::sync_file(int fd, bool data_only) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Fsync, simulated ? d.file->path : "", data_only ? 1 : 0, 0, nullptr)) return fail_with(err);
  if (!simulated) return data_only ? ::fdatasync(fd) : ::fsync(fd);
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
  if (p != MAP_FAILED) maps_.add(p, len);
  return p;
}

int Board::munmap(void* addr, size_t len) {
  if (int err = enter(Call::Munmap, "", reinterpret_cast<uintptr_t>(addr), len, nullptr)) return fail_with(err);
  auto a = reinterpret_cast<uintptr_t>(addr);
  if (len == 0 || (a & 0xFFF) != 0) return fail_with(EINVAL);
  maps_.unmap(addr, len);
  return 0;
}

int Board::tcgetattr(int fd, struct termios* t) {
  Desc d;
  bool simulated = lookup(fd, &d);
  if (int err = enter(Call::Tcgetattr, simulated ? d.file->path : "", 0, 0, nullptr)) return fail_with(err);
  if (simulated) {
    int rc = d.dev->tcgetattr(*d.file, t);
    return rc < 0 ? fail_with(-rc) : rc;
  }
  if (fd == 0 && console_.scripted()) {
    *t = console_.attributes();
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
  if (fd == 0 && console_.scripted()) {
    console_.set_attributes(*t);
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
  if (fd == 0 && console_.scripted()) return 0;
  return ::tcflush(fd, queue);
}

bool Board::selects_board_fd(int nfds, fd_set* r, fd_set* w, fd_set* e) const {
  for (int fd = 0; fd < nfds; ++fd) {
    bool asked = (r && FD_ISSET(fd, r)) || (w && FD_ISSET(fd, w)) || (e && FD_ISSET(fd, e));
    Desc d;
    if (asked && (lookup(fd, &d) || (fd == 0 && console_.scripted()))) return true;
  }
  return false;
}

int Board::ready_now(int nfds, const fd_set* r, const fd_set* w, fd_set* rr, fd_set* ww) const {
  int ready = 0;
  FD_ZERO(rr);
  FD_ZERO(ww);
  for (int fd = 0; fd < nfds; ++fd) {
    Desc d;
    bool sim_fd = lookup(fd, &d);
    if (r && FD_ISSET(fd, r)) {
      bool ok = sim_fd ? d.dev->readable(*d.file) : (fd == 0 && console_.scripted());
      if (ok) {
        FD_SET(fd, rr);
        ++ready;
      }
    }
    if (w && FD_ISSET(fd, w) && sim_fd) {
      FD_SET(fd, ww);
      ++ready;
    }
  }
  return ready;
}

// Waits out what is left of timeout, or less once something may be ready,
// and leaves in timeout what is left then. False when a real wait fails.
bool Board::select_wait(int nfds, const fd_set* r, struct timeval* timeout) {
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
    if (rc < 0) return false;
    if (rc == 0) {
      timeout->tv_sec = 0;
      timeout->tv_usec = 0;
    }
    return true;
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
  return true;
}

int Board::select(int nfds, fd_set* r, fd_set* w, fd_set* e, struct timeval* timeout) {
  if (int err = enter(Call::Select, "", static_cast<unsigned long>(nfds), 0, nullptr)) return fail_with(err);
  if (!selects_board_fd(nfds, r, w, e)) return ::select(nfds, r, w, e, timeout);
  for (;;) {
    fd_set rr, ww;
    int ready = ready_now(nfds, r, w, &rr, &ww);
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
    if (!select_wait(nfds, r, timeout)) return -1;
  }
}

}  // namespace sim
