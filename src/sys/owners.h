// Owners for what the seam hands out: a descriptor or a mapping is given back
// on every return path, unless the behaviour keeps it on purpose (release()).
#pragma once

#include <sys/mman.h>

#include <cstddef>

#include "sys/sys.h"

namespace sys {

class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  Fd(Fd&& other) noexcept : fd_(other.release()) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  ~Fd() { reset(); }

  int get() const { return fd_; }
  // Open as the callers test it: a failed open leaves a negative value.
  bool ok() const { return fd_ >= 0; }
  // Hands the descriptor over: it stays open after the owner is gone.
  int release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }
  // Closes now; the close's own result, for the paths that report it.
  int close() { return fd_ < 0 ? 0 : sys::close(release()); }
  void reset(int fd = -1) {
    if (fd_ >= 0) sys::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

class Mapping {
 public:
  Mapping() = default;
  Mapping(void* addr, size_t len) : addr_(addr), len_(len) {}
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  Mapping(Mapping&& other) noexcept : addr_(other.addr_), len_(other.len_) { other.addr_ = MAP_FAILED; }
  Mapping& operator=(Mapping&& other) noexcept {
    if (this != &other) {
      reset();
      addr_ = other.addr_;
      len_ = other.len_;
      other.addr_ = MAP_FAILED;
    }
    return *this;
  }
  ~Mapping() { reset(); }

  void* get() const { return addr_; }
  bool ok() const { return addr_ != MAP_FAILED; }
  void* release() {
    void* addr = addr_;
    addr_ = MAP_FAILED;
    return addr;
  }
  // Unmaps now; the call's own result, for the paths that report it.
  int unmap() { return ok() ? sys::munmap(release(), len_) : 0; }
  void reset() {
    if (ok()) sys::munmap(release(), len_);
  }

 private:
  void* addr_ = MAP_FAILED;
  size_t len_ = 0;
};

}  // namespace sys
