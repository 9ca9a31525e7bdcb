// The MMZ memory test: one block from the media memory zone, filled through
// the zone's own mapping and then through the board's memory device.
#include "items/storage/mmz.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstring>

#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr uint64_t kBlockSize = 0x100000;
constexpr int kFills = 10000;

int g_mmz_fd = -1;

void print_mmb(const MmbInfo& m) {
  printf("\n");
  printf("%-16s:0x%lx\n", "phys_addr", static_cast<unsigned long>(m.phys_addr));
  printf("%-16s:0x%lx\n", "align", static_cast<unsigned long>(m.align));
  printf("%-16s:0x%lx\n", "size", static_cast<unsigned long>(m.size));
  printf("%-16s:0x%x\n", "order", m.order);
  printf("%-16s:0x%lx\n", "vir_addr", static_cast<unsigned long>(m.vir_addr));
  printf("%-16s:0x%x\n", "prot", mmb_prot(m.attr));
  printf("%-16s:%s\n", "flags", mmb_flags(m.attr) == kMmbFlagShared ? "MAP_SHARED" : "MAP_PRIVATE");
  printf("%-16s:%s\n", "map_cached", mmb_cached(m.attr) ? "cached" : "noncached");
  // The driver's names need not end inside their fields.
  printf("%-16s:%.*s\n", "mmb_name", static_cast<int>(sizeof m.mmb_name), m.mmb_name);
  printf("%-16s:%.*s\n", "mmz_name", static_cast<int>(sizeof m.mmz_name), m.mmz_name);
  printf("%-16s:0x%lx\n", "gfp", static_cast<unsigned long>(m.gfp));
}

void fill_alternately(void* p) {
  for (int i = 0; i < kFills; ++i) {
    memset(p, i % 2 == 0 ? 0xAA : 0x55, kBlockSize);
    // Every fill must reach memory; none may be merged with the next.
    asm volatile("" : : "r"(p) : "memory");
  }
}

// Fills the block through /dev/tav_memdev; 0, or -12 when it cannot be mapped.
int fill_through_memdev(uint64_t phys) {
  int fd = sys::open(kMemdevPath, O_RDWR);
  if (fd < 0) {
    // KEPT: the zone's device named in quotes and -errno, as the board's tool printed it.
    printf("open \"/dev/mmz_userdev\" failed(%d)\n", -errno);
    return -ENOMEM;
  }
  void* p = sys::mmap(nullptr, kBlockSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, static_cast<off_t>(phys));
  sys::close(fd);
  if (p == nullptr || p == MAP_FAILED) {
    puts("map failed");
    return -ENOMEM;
  }
  fill_alternately(p);
  fd = sys::open(kMemdevPath, O_RDWR);
  if (fd < 0) {
    printf("open \"/dev/mmz_userdev\" failed(%d)\n", -errno);
  } else {
    MemdevFlush flush{reinterpret_cast<uintptr_t>(p), phys, kBlockSize};
    sys::ioctl(fd, MEMDEV_FLUSH, &flush);
    sys::close(fd);
  }
  sys::munmap(p, kBlockSize);
  return 0;
}

// Maps the allocated block through the zone, fills it and unmaps it; 0 or -12.
int fill_through_mmz(MmbInfo& m, uint64_t phys) {
  memset(&m, 0, sizeof m);
  m.phys_addr = phys;
  m.size = kBlockSize;
  m.attr = mmb_attr(PROT_READ | PROT_WRITE, kMmbFlagShared, false);
  if (sys::ioctl(g_mmz_fd, MMZ_MAP, &m) < 0 || m.vir_addr == ~uint64_t{0}) {
    printf("mmap failed(%d)\n", -errno);
    puts("map failed");
    return -ENOMEM;
  }
  if (sys::ioctl(g_mmz_fd, MMZ_GET_ATTR, &m) < 0) printf("get attr failed(%d)\n", -errno);
  print_mmb(m);
  if (m.vir_addr == 0) {
    puts("map failed");
    return -ENOMEM;
  }
  fill_alternately(reinterpret_cast<void*>(static_cast<uintptr_t>(m.vir_addr)));
  MmbInfo flush;
  memset(&flush, 0, sizeof flush);
  flush.phys_addr = phys;
  flush.vir_addr = m.vir_addr;
  flush.size = kBlockSize;
  // Both failures read "unmap failed", as they always have.
  if (sys::ioctl(g_mmz_fd, MMZ_FLUSH_DCACHE, &flush) < 0) printf("unmap failed(%d)\n", -errno);
  memset(&m, 0, sizeof m);
  m.phys_addr = phys;
  m.size = kBlockSize;
  if (sys::ioctl(g_mmz_fd, MMZ_UNMAP, &m) < 0) printf("unmap failed(%d)\n", -errno);
  return 0;
}

}  // namespace

// item: mmz
int mmz_test(int, char**) {
  g_mmz_fd = sys::open(kMmzPath, O_RDWR);
  if (g_mmz_fd < 0) {
    printf("open \"/dev/mmz_userdev\" failed(%d)\n", -errno);
    return g_mmz_fd;
  }
  MmbInfo m;
  memset(&m, 0, sizeof m);
  m.size = kBlockSize;
  if (sys::ioctl(g_mmz_fd, MMZ_ALLOC, &m) < 0) {
    printf("malloc failed(%d)\n", -errno);
    puts("malloc failed");
    sys::close(g_mmz_fd);
    g_mmz_fd = -1;
    return -ENOMEM;
  }
  print_mmb(m);
  const uint64_t phys = m.phys_addr;
  int result;
  if (phys == 0) {
    puts("map failed");
    result = -ENOMEM;
  } else {
    result = fill_through_mmz(m, phys);
    if (result == 0) result = fill_through_memdev(phys);
  }
  memset(&m, 0, sizeof m);
  m.phys_addr = phys;
  if (sys::ioctl(g_mmz_fd, MMZ_FREE, &m) < 0) printf("free failed(%d)\n", -errno);
  sys::close(g_mmz_fd);
  g_mmz_fd = -1;
  return result;
}

}  // namespace tav
