// Calls made to fail on purpose: the nth of a kind, or every one, with a
// chosen errno, or cut short.
#pragma once

#include <errno.h>

#include <mutex>
#include <string>
#include <vector>

#include "request_log.h"

namespace sim {

struct Fault {
  Call call = Call::Any;
  std::string path;           // only calls on this path (empty: any)
  unsigned long request = 0;  // only this ioctl request (0: any)
  int nth = 0;                // fail only the nth matching call, from 1 (0: every one)
  int err = EIO;
  long short_len = -1;  // read/write: pass at most this many bytes instead of failing
  int seen = 0;
};

class FaultTable {
 public:
  void add(Fault f);
  void clear();
  // Applies the faults, in the order added, to one call: 0 to go on, or the
  // errno to fail it with. A call that can be cut short (short_len given)
  // gets a short-transfer fault's length there instead.
  int check(Call c, const std::string& path, unsigned long request, long* short_len);

 private:
  std::mutex mu_;
  std::vector<Fault> faults_;
};

}  // namespace sim
