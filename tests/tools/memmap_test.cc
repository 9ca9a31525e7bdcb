#include "tools/memmap.h"

#include <gtest/gtest.h>

#include "harness.h"

namespace {

class MemmapTest : public tavtest::BoardTest {
 protected:
  std::vector<sim::Request> maps() { return board().log_of(sim::Call::Mmap); }
  std::string quiet(const std::function<void()>& fn) {
    std::string out, err;
    tavtest::run_capture(fn, &out, &err);
    return out;
  }
};

TEST_F(MemmapTest, covered_range_is_reused_with_a_refcount) {
  auto* a = static_cast<char*>(tav::memmap(0x80040000, 0x100));
  ASSERT_NE(a, nullptr);
  auto* b = static_cast<char*>(tav::memmap(0x80040010, 0x10));
  EXPECT_EQ(b, a + 0x10);
  ASSERT_EQ(maps().size(), 1u);
  EXPECT_EQ(maps()[0].request, 0x80040000u);
  EXPECT_EQ(maps()[0].length, 4096u);
  EXPECT_EQ(tav::memmap_refcount(0x80040000), 2u);
  EXPECT_EQ(board().log_of(sim::Call::Open).size(), 1u);
  // The pointer reaches the board's physical memory.
  b[0] = 0x5A;
  EXPECT_EQ(board().mem().read16(0x80040010) & 0xFF, 0x5A);
}

TEST_F(MemmapTest, range_that_wraps_past_four_gib_is_mapped_on_its_own) {
  ASSERT_NE(tav::memmap(0, 0x100), nullptr);
  auto* p = static_cast<char*>(tav::memmap(0xFFFFFF00, 0x200));
  ASSERT_NE(p, nullptr);
  ASSERT_EQ(maps().size(), 2u);
  EXPECT_EQ(maps()[1].request, 0xFFFFF000u);
  board().mem().write32(0xFFFFFF04, 0x600DF00D);
  uint32_t v;
  memcpy(&v, p + 4, 4);
  EXPECT_EQ(v, 0x600DF00Du);
}

TEST_F(MemmapTest, range_across_a_page_boundary_maps_both_pages) {
  auto* p = static_cast<char*>(tav::memmap(0x80040FF0, 0x20));
  ASSERT_NE(p, nullptr);
  ASSERT_EQ(maps().size(), 1u);
  EXPECT_EQ(maps()[0].request, 0x80040000u);
  EXPECT_EQ(maps()[0].length, 8192u);
  board().mem().write32(0x80041008, 0xCAFEF00D);
  uint32_t v;
  memcpy(&v, p + 0x18, 4);
  EXPECT_EQ(v, 0xCAFEF00Du);
}

TEST_F(MemmapTest, unmap_drops_references_then_the_mapping) {
  void* p = tav::memmap(0x2000, 16);
  tav::memmap(0x2000, 8);
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), 0); }), "");
  EXPECT_EQ(tav::memmap_node_count(), 1);
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), 0); }), "memunmap(): map node will be remove!\n");
  EXPECT_EQ(tav::memmap_node_count(), 0);
  EXPECT_EQ(board().log_of(sim::Call::Munmap).size(), 1u);
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), -1); }), "memunmap(): address have not been mmaped!\n");
}

}  // namespace
