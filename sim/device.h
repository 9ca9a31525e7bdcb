// What a device model is to the board: a node answering the calls made on
// its descriptors, and perhaps a file system to mount.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <termios.h>

#include <cstdint>
#include <memory>
#include <string>

#include "request_log.h"

namespace sim {

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

// One of several nodes over the same model (a controller, a bus, a flash
// chip); the model carries its own lock, since the nodes are used at once.
template <class Model>
class ModelDevice : public Device {
 public:
  using ModelType = Model;
  explicit ModelDevice(std::shared_ptr<Model> model) : model_(std::move(model)) {}
  const std::shared_ptr<Model>& model() const { return model_; }

 protected:
  std::shared_ptr<Model> model_;
};

}  // namespace sim
