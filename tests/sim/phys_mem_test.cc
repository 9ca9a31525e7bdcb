// Physical memory: sparse, byte-addressed, and one store behind every mapping.
#include "sim/phys_mem.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

namespace {

TEST(SimPhysMem, reads_and_writes_cross_page_boundaries_and_untouched_memory_is_zero) {
  sim::PhysMem mem;
  const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  struct Case {
    uint64_t at;
    size_t len;
  };
  const Case cases[] = {
      {page - 3, 8},                 // straddles one boundary
      {5 * page - 1, 2 * page + 2},  // spans whole pages
      {uint64_t{48} << 30, 16},      // far up, nothing around it written
      {sim::PhysMem::kSize - 4, 4},  // the last bytes there are
  };
  for (const auto& c : cases) {
    std::vector<uint8_t> in(c.len);
    for (size_t i = 0; i < c.len; ++i) in[i] = static_cast<uint8_t>(i * 7 + 1);
    mem.write(c.at, in.data(), in.size());
    std::vector<uint8_t> out(c.len + 1, 0xEE);
    mem.read(c.at - 1, out.data(), out.size());
    EXPECT_EQ(out[0], 0) << c.at;
    EXPECT_EQ(0, memcmp(out.data() + 1, in.data(), c.len)) << c.at;
  }
  EXPECT_EQ(mem.read32(uint64_t{20} << 30), 0u);
  // A read running past the end gives zeros, even where something was written.
  EXPECT_EQ(mem.read32(sim::PhysMem::kSize - 2), 0u);
}

TEST(SimPhysMem, words_are_little_endian_and_fill_covers_exactly_its_range) {
  sim::PhysMem mem;
  mem.write32(0x1000, 0x11223344);
  EXPECT_EQ(mem.read16(0x1000), 0x3344);
  EXPECT_EQ(mem.read16(0x1002), 0x1122);
  uint8_t b = 0;
  mem.read(0x1003, &b, 1);
  EXPECT_EQ(b, 0x11);
  const size_t n = (3u << 20) + 5;  // more than one chunk of the fill
  mem.fill(0x200000 + 1, 0xA5, n);
  EXPECT_EQ(mem.read32(0x200000), 0xA5A5A500u);
  EXPECT_EQ(mem.read32(0x200000 + n - 1), 0x0000A5A5u);
}

TEST(SimPhysMem, mappings_of_one_address_share_what_is_there) {
  sim::PhysMem mem;
  int err = 0;
  auto* a = static_cast<volatile uint32_t*>(mem.map(0x80000000, 8192, PROT_READ | PROT_WRITE, &err));
  auto* b = static_cast<volatile uint32_t*>(mem.map(0x80001000, 4096, PROT_READ | PROT_WRITE, &err));
  ASSERT_NE(a, MAP_FAILED);
  ASSERT_NE(b, MAP_FAILED);
  a[1024] = 0xCAFEF00D;
  EXPECT_EQ(b[0], 0xCAFEF00Du);
  mem.write32(0x80001004, 0x12345678);
  EXPECT_EQ(a[1025], 0x12345678u);
  b[2] = 7;
  EXPECT_EQ(mem.read32(0x80001008), 7u);
  munmap(const_cast<uint32_t*>(a), 8192);
  munmap(const_cast<uint32_t*>(b), 4096);
}

TEST(SimPhysMem, mapping_nothing_or_past_the_end_is_refused) {
  sim::PhysMem mem;
  struct Case {
    uint64_t at;
    size_t len;
    int err;
  };
  const Case cases[] = {
      {0, 0, EINVAL},
      {sim::PhysMem::kSize, 4096, ENXIO},
      {sim::PhysMem::kSize - 4096, 8192, ENXIO},
  };
  for (const auto& c : cases) {
    int err = 0;
    EXPECT_EQ(mem.map(c.at, c.len, PROT_READ, &err), MAP_FAILED) << c.at;
    EXPECT_EQ(err, c.err) << c.at;
  }
}

}  // namespace
