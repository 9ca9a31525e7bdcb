#include "phys_mem.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace sim {

PhysMem::PhysMem() {
  // A file named by TAV_SIM_MEM lets two processes share one board's memory.
  const char* shared = getenv("TAV_SIM_MEM");
  if (shared != nullptr && *shared != '\0') fd_ = ::open(shared, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd_ < 0) fd_ = memfd_create("tav-physmem", MFD_CLOEXEC);
  if (fd_ < 0 || ftruncate(fd_, static_cast<off_t>(kSize)) != 0) {
    perror("sim: physical memory");
    abort();
  }
}

PhysMem::~PhysMem() { ::close(fd_); }

void* PhysMem::map(uint64_t phys, size_t len, int prot, int* err) {
  if (len == 0 || phys >= kSize || len > kSize - phys) {
    *err = len == 0 ? EINVAL : ENXIO;
    return MAP_FAILED;
  }
  // Populated up front, as the kernel's /dev/mem sets up all its page tables at mmap time.
  void* p = ::mmap(nullptr, len, prot, MAP_SHARED | MAP_POPULATE, fd_, static_cast<off_t>(phys));
  if (p == MAP_FAILED) *err = errno;
  return p;
}

void PhysMem::read(uint64_t phys, void* out, size_t n) const {
  if (::pread(fd_, out, n, static_cast<off_t>(phys)) != static_cast<ssize_t>(n)) memset(out, 0, n);
}

void PhysMem::write(uint64_t phys, const void* in, size_t n) {
  if (::pwrite(fd_, in, n, static_cast<off_t>(phys)) != static_cast<ssize_t>(n)) abort();
}

void PhysMem::fill(uint64_t phys, uint8_t byte, size_t n) {
  std::vector<uint8_t> chunk(std::min<size_t>(n, 1 << 20), byte);
  while (n > 0) {
    size_t k = std::min(n, chunk.size());
    write(phys, chunk.data(), k);
    phys += k;
    n -= k;
  }
}

uint32_t PhysMem::read32(uint64_t phys) const {
  uint32_t v = 0;
  read(phys, &v, sizeof v);
  return v;
}

void PhysMem::write32(uint64_t phys, uint32_t v) { write(phys, &v, sizeof v); }

uint16_t PhysMem::read16(uint64_t phys) const {
  uint16_t v = 0;
  read(phys, &v, sizeof v);
  return v;
}

}  // namespace sim
