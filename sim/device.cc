#include "device.h"

#include <unistd.h>

namespace sim {

ssize_t Device::pread(OpenFile&, void*, size_t, off_t) { return -ESPIPE; }
ssize_t Device::pwrite(OpenFile&, const void*, size_t, off_t) { return -ESPIPE; }

off_t Device::lseek(OpenFile& f, off_t off, int whence) {
  off_t base = 0;
  if (whence == SEEK_CUR)
    base = f.pos;
  else if (whence == SEEK_END)
    base = size();
  else if (whence != SEEK_SET)
    return -EINVAL;
  if (base + off < 0) return -EINVAL;
  f.pos = base + off;
  return f.pos;
}

}  // namespace sim
