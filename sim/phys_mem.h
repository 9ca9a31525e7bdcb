// Physical memory: sparse, shared by every mapping of the same address,
// inspectable and presettable by physical address.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sim {

class PhysMem {
 public:
  PhysMem();
  ~PhysMem();
  PhysMem(const PhysMem&) = delete;
  PhysMem& operator=(const PhysMem&) = delete;
  // A shared mapping of [phys, phys + len), or MAP_FAILED with *err set.
  void* map(uint64_t phys, size_t len, int prot, int* err);
  // A read running past the end gives zeros throughout.
  void read(uint64_t phys, void* out, size_t n) const;
  void write(uint64_t phys, const void* in, size_t n);
  void fill(uint64_t phys, uint8_t byte, size_t n);
  uint32_t read32(uint64_t phys) const;
  void write32(uint64_t phys, uint32_t v);
  uint16_t read16(uint64_t phys) const;
  static constexpr uint64_t kSize = uint64_t{1} << 36;  // 64 GiB of address space

 private:
  int fd_ = -1;
};

}  // namespace sim
