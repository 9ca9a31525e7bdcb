#include "tools/memmap.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>

#include "common/process_state.h"
#include "sys/sys.h"

namespace tav {

namespace {

// The mapping address is kept whole: a 64-bit process maps above 4 GB.
struct MapNode {
  uint32_t phys_base;
  uintptr_t virt_base;
  uint32_t size;
  uint32_t refcount;
  MapNode* next;
};

// KEPT: /dev/mem stays open for the process's life; only memmap_reset()
// closes it. A plain value: a static owner would close it after the seam is gone.
int g_mem_fd = -1;
MapNode* g_head = nullptr;

constexpr uint32_t kPageMask = 0xFFF;

}  // namespace

void* memmap(uint32_t phys_addr, uint32_t size) {
  if (size == 0) {
    puts("memmap():size can't be zero!");
    return nullptr;
  }
  for (MapNode* n = g_head; n != nullptr; n = n->next) {
    // In 64 bits: a range that wraps past 4 GiB lies in no mapping below it.
    if (n->phys_base <= phys_addr && uint64_t{phys_addr} + size <= uint64_t{n->phys_base} + n->size) {
      ++n->refcount;
      return reinterpret_cast<void*>(n->virt_base + (phys_addr - n->phys_base));
    }
  }
  if (g_mem_fd < 0) {
    g_mem_fd = sys::open(kDevMem, O_RDWR | O_SYNC);
    if (g_mem_fd < 0) {
      printf("memmap():open %s error!\n", kDevMem);
      return nullptr;
    }
  }
  uint32_t offset = phys_addr & ~kPageMask;
  // Always covers the page of the last byte.
  uint64_t length = ((uint64_t{size} + (phys_addr & kPageMask) - 1) & ~uint64_t{kPageMask}) + 4096;
  void* map = sys::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, g_mem_fd, static_cast<off_t>(offset));
  if (map == MAP_FAILED) {
    printf("memmap():mmap @ 0x%x error!\n", offset);
    return nullptr;
  }
  auto* node = static_cast<MapNode*>(malloc(sizeof(MapNode)));
  if (node == nullptr) {
    puts("memmap():malloc new node failed!");
    sys::munmap(map, length);
    return nullptr;
  }
  *node = MapNode{offset, reinterpret_cast<uintptr_t>(map), static_cast<uint32_t>(length), 1, nullptr};
  if (g_head == nullptr) {
    g_head = node;
  } else {
    MapNode* tail = g_head;
    while (tail->next != nullptr) tail = tail->next;
    tail->next = node;
  }
  return static_cast<char*>(map) + (phys_addr & kPageMask);
}

int memunmap(const void* virt_addr) {
  auto addr = reinterpret_cast<uintptr_t>(virt_addr);
  MapNode* prev = nullptr;
  MapNode* n = g_head;
  // KEPT: the upper end is inclusive, so one past the end still matches.
  while (n != nullptr && !(n->virt_base <= addr && addr <= n->virt_base + n->size)) {
    prev = n;
    n = n->next;
  }
  if (n == nullptr) {
    puts("memunmap(): address have not been mmaped!");
    return -1;
  }
  if (--n->refcount > 0) return 0;
  puts("memunmap(): map node will be remove!");
  if (prev != nullptr) {
    prev->next = n->next;
  } else {
    // KEPT: removing the head forgets every later node too (their mappings stay).
    for (MapNode* later = n->next; later != nullptr;) {
      MapNode* next = later->next;
      free(later);
      later = next;
    }
    g_head = nullptr;
  }
  if (sys::munmap(reinterpret_cast<void*>(n->virt_base), n->size) != 0) puts("memunmap(): munmap failed!");
  free(n);
  return 0;
}

void memmap_reset() {
  while (g_head != nullptr) {
    MapNode* next = g_head->next;
    sys::munmap(reinterpret_cast<void*>(g_head->virt_base), g_head->size);
    free(g_head);
    g_head = next;
  }
  if (g_mem_fd >= 0) sys::close(g_mem_fd);
  g_mem_fd = -1;
}

namespace {
[[maybe_unused]] const bool g_memmap_resets = register_state_reset(memmap_reset);
}  // namespace

int memmap_node_count() {
  int count = 0;
  for (MapNode* n = g_head; n != nullptr; n = n->next) ++count;
  return count;
}

uint32_t memmap_refcount(uint32_t phys_addr) {
  for (MapNode* n = g_head; n != nullptr; n = n->next)
    if (n->phys_base <= phys_addr && phys_addr - n->phys_base < n->size) return n->refcount;
  return 0;
}

}  // namespace tav
