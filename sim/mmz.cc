#include "mmz.h"

#include <errno.h>

#include <cstring>

#include "devices.h"

namespace sim {

namespace {

using namespace tav;

constexpr uint64_t kPage = 4096;
constexpr const char* kZoneName = "anonymous";

uint32_t order_of(uint64_t size) {
  uint32_t order = 0;
  while ((kPage << order) < size) ++order;
  return order;
}

class MmzDevice final : public ModelDevice<MmzZone> {
 public:
  using ModelDevice::ModelDevice;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

int MmzDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  MmzZone& z = *model_;
  std::lock_guard<std::mutex> lock(z.mu);
  MmbInfo m;
  memcpy(&m, arg, sizeof m);
  f.log_sent(&m, sizeof m);
  auto found = z.blocks.find(m.phys_addr);
  auto describe = [&](uint64_t phys, const MmzZone::Block& b) {
    memset(&m, 0, sizeof m);
    m.phys_addr = phys;
    m.align = kPage;
    m.size = b.size;
    m.order = order_of(b.size);
    m.vir_addr = reinterpret_cast<uintptr_t>(b.mapping);
    m.attr = b.attr;
    strncpy(m.mmb_name, "<null>", sizeof m.mmb_name);
    strncpy(m.mmz_name, kZoneName, sizeof m.mmz_name);
    memcpy(arg, &m, sizeof m);
  };
  switch (request) {
    case MMZ_ALLOC: {
      if (m.size == 0) return -EINVAL;
      uint64_t size = (m.size + kPage - 1) & ~(kPage - 1);
      if (z.next + size > MmzZone::kBase + MmzZone::kSize) return -ENOMEM;
      uint64_t phys = z.zero_phys ? 0 : z.next;
      z.next += size;
      z.blocks[phys] = MmzZone::Block{size, 0, nullptr};
      describe(phys, z.blocks[phys]);
      return 0;
    }
    case MMZ_GET_ATTR:
      if (found == z.blocks.end()) return -EINVAL;
      describe(found->first, found->second);
      return 0;
    case MMZ_MAP: {
      if (found == z.blocks.end() || m.size > found->second.size) return -EINVAL;
      MmzZone::Block& b = found->second;
      if (b.mapping == nullptr) {
        int err = 0;
        int prot = static_cast<int>(m.attr & 0xFF);  // bits 0-7 of the attribute word
        void* p = z.mem.map(found->first, b.size, prot, &err);
        if (p == MAP_FAILED) return -err;
        b.mapping = p;
        b.attr = m.attr;
      }
      describe(found->first, b);
      return 0;
    }
    case MMZ_UNMAP:
      if (found == z.blocks.end() || found->second.mapping == nullptr) return -EINVAL;
      ::munmap(found->second.mapping, found->second.size);
      found->second.mapping = nullptr;
      return 0;
    case MMZ_FLUSH_DCACHE:
      ++z.cache_flushes;
      return 0;
    case MMZ_FREE:
      if (found == z.blocks.end()) return -EINVAL;
      if (found->second.mapping != nullptr) ::munmap(found->second.mapping, found->second.size);
      z.blocks.erase(found);
      if (z.blocks.empty()) z.next = MmzZone::kBase;
      return 0;
    default:
      return -ENOTTY;
  }
}

// Maps physical memory at its file offset, as /dev/mem does, and takes the
// cache flush requests for such mappings.
class MemdevDevice final : public ModelDevice<MmzZone> {
 public:
  explicit MemdevDevice(std::shared_ptr<MmzZone> zone) : ModelDevice(std::move(zone)), mem_(model_->mem) {}
  void* mmap(OpenFile& f, size_t len, int prot, int flags, off_t off, int* err) override {
    return mem_.mmap(f, len, prot, flags, off, err);
  }
  int ioctl(OpenFile& f, unsigned long request, void* arg) override {
    if (request != MEMDEV_FLUSH) return -ENOTTY;
    if (arg == nullptr) return -EFAULT;
    MemdevFlush r;
    memcpy(&r, arg, sizeof r);
    f.log_sent(&r, sizeof r);
    std::lock_guard<std::mutex> lock(model_->mu);
    model_->memdev_flushes.push_back(r);
    return 0;
  }

 private:
  MemDevice mem_;  // /dev/mem's mapping rules
};

}  // namespace

MmzZone::~MmzZone() {
  for (auto& kv : blocks)
    if (kv.second.mapping != nullptr) ::munmap(kv.second.mapping, kv.second.size);
}

std::shared_ptr<MmzZone> mmz_zone(Board& board) { return model_at<MmzDevice>(board, kMmzPath); }

void add_mmz(Board& board) {
  auto zone = std::make_shared<MmzZone>(board.mem());
  board.add(kMmzPath, std::make_shared<MmzDevice>(zone));
  board.add(kMemdevPath, std::make_shared<MemdevDevice>(zone));
}

}  // namespace sim
