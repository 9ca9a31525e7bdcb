#include "faults.h"

namespace sim {

void FaultTable::add(Fault f) {
  std::lock_guard<std::mutex> lock(mu_);
  faults_.push_back(std::move(f));
}

void FaultTable::clear() {
  std::lock_guard<std::mutex> lock(mu_);
  faults_.clear();
}

int FaultTable::check(Call c, const std::string& path, unsigned long request, long* short_len) {
  std::lock_guard<std::mutex> lock(mu_);
  for (auto& f : faults_) {
    if (f.call != Call::Any && f.call != c) continue;
    if (!f.path.empty() && f.path != path) continue;
    if (f.request != 0 && (c != Call::Ioctl || f.request != request)) continue;
    ++f.seen;
    if (f.nth != 0 && f.seen != f.nth) continue;
    if (f.short_len >= 0) {
      // A call that cannot be short is not failed by a short-transfer fault.
      if (short_len != nullptr) *short_len = f.short_len;
      continue;
    }
    return f.err;
  }
  return 0;
}

}  // namespace sim
