#include "request_log.h"

#include "locked.h"

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

Request* RequestLog::add(Call c, const std::string& path, unsigned long request, uint64_t length) {
  auto r = std::make_unique<Request>();
  r->call = c;
  r->path = path;
  r->request = request;
  r->length = length;
  Request* entry = r.get();
  std::lock_guard<std::mutex> lock(mu_);
  ++calls_;
  entries_.push_back(std::move(r));
  return entry;
}

size_t RequestLog::calls() const { return locked_read(mu_, calls_); }

std::vector<Request> RequestLog::entries() const {
  std::lock_guard<std::mutex> lock(mu_);
  std::vector<Request> out;
  out.reserve(entries_.size());
  for (auto& r : entries_) out.push_back(*r);
  return out;
}

std::vector<Request> RequestLog::of(Call c) const {
  std::lock_guard<std::mutex> lock(mu_);
  std::vector<Request> out;
  for (auto& r : entries_)
    if (r->call == c) out.push_back(*r);
  return out;
}

void RequestLog::clear() {
  std::lock_guard<std::mutex> lock(mu_);
  entries_.clear();
}

}  // namespace sim
