// What tools asked of the board: every seam call, in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

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

// Entries never move, so the call in progress can fill in what it sent; an
// entry belongs to its call until the call returns. Clear the log only while
// no call is in progress.
class RequestLog {
 public:
  // Counts the call and logs it.
  Request* add(Call c, const std::string& path, unsigned long request, uint64_t length);
  // Calls counted since the log began; clearing the entries keeps the count.
  size_t calls() const;
  std::vector<Request> entries() const;
  std::vector<Request> of(Call c) const;
  void clear();

 private:
  mutable std::mutex mu_;
  std::vector<std::unique_ptr<Request>> entries_;
  size_t calls_ = 0;
};

}  // namespace sim
