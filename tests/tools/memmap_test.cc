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

TEST_F(MemmapTest, CoveredRangeIsReusedWithARefcount) {
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

TEST_F(MemmapTest, RangeAcrossAPageBoundaryMapsBothPages) {
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

TEST_F(MemmapTest, PageLengthCoversTheLastByte) {
  struct Case {
    uint32_t addr, size;
    uint64_t length;
  } cases[] = {{0x1000, 1, 4096}, {0x1000, 4096, 4096}, {0x1001, 4096, 8192}, {0x1FFF, 2, 8192}, {0x10000, 0x10001, 0x11000}};
  for (auto& c : cases) {
    board().clear_log();
    ASSERT_NE(tav::memmap(c.addr, c.size), nullptr);
    ASSERT_EQ(maps().size(), 1u);
    EXPECT_EQ(maps()[0].length, c.length) << std::hex << c.addr << " " << c.size;
    tav::memmap_reset();
  }
}

TEST_F(MemmapTest, ZeroSizeIsRefusedBeforeOpening) {
  void* p = &p;
  EXPECT_EQ(quiet([&] { p = tav::memmap(0x80040000, 0); }), "memmap():size can't be zero!\n");
  EXPECT_EQ(p, nullptr);
  EXPECT_TRUE(board().log_of(sim::Call::Open).empty());
}

TEST_F(MemmapTest, PartialOverlapMakesANewNode) {
  ASSERT_NE(tav::memmap(0x80040000, 0x100), nullptr);
  ASSERT_NE(tav::memmap(0x80040F00, 0x200), nullptr);
  EXPECT_EQ(tav::memmap_node_count(), 2);
  EXPECT_EQ(maps().size(), 2u);
}

TEST_F(MemmapTest, OpenFailureIsRetriedByTheNextCall) {
  board().fail({sim::Call::Open, "/dev/mem", 0, 1, EACCES});
  void* p = &p;
  EXPECT_EQ(quiet([&] { p = tav::memmap(0x1000, 4); }), "memmap():open /dev/mem error!\n");
  EXPECT_EQ(p, nullptr);
  EXPECT_NE(tav::memmap(0x1000, 4), nullptr);
  EXPECT_EQ(board().log_of(sim::Call::Open).size(), 2u);
}

TEST_F(MemmapTest, MapFailureNamesThePageOffset) {
  board().fail({sim::Call::Mmap, "", 0, 0, ENOMEM});
  void* p = &p;
  EXPECT_EQ(quiet([&] { p = tav::memmap(0x80040123, 4); }), "memmap():mmap @ 0x80040000 error!\n");
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(tav::memmap_node_count(), 0);
}

TEST_F(MemmapTest, UnmapDropsReferencesThenTheMapping) {
  void* p = tav::memmap(0x2000, 16);
  tav::memmap(0x2000, 8);
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), 0); }), "");
  EXPECT_EQ(tav::memmap_node_count(), 1);
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), 0); }), "memunmap(): map node will be remove!\n");
  EXPECT_EQ(tav::memmap_node_count(), 0);
  EXPECT_EQ(board().log_of(sim::Call::Munmap).size(), 1u);
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), -1); }), "memunmap(): address have not been mmaped!\n");
}

TEST_F(MemmapTest, RemovingTheHeadForgetsEveryLaterNode) {
  void* first = tav::memmap(0x1000, 16);
  tav::memmap(0x5000, 16);
  tav::memmap(0x9000, 16);
  ASSERT_EQ(tav::memmap_node_count(), 3);
  EXPECT_EQ(quiet([&] { tav::memunmap(first); }), "memunmap(): map node will be remove!\n");
  EXPECT_EQ(tav::memmap_node_count(), 0);
}

TEST_F(MemmapTest, MiddleNodeIsUnlinkedAlone) {
  tav::memmap(0x1000, 16);
  void* second = tav::memmap(0x5000, 16);
  tav::memmap(0x9000, 16);
  quiet([&] { tav::memunmap(static_cast<char*>(second) + 1); });
  EXPECT_EQ(tav::memmap_node_count(), 2);
  EXPECT_EQ(tav::memmap_refcount(0x5000), 0u);
  EXPECT_EQ(tav::memmap_refcount(0x9000), 1u);
}

TEST_F(MemmapTest, OnePastTheEndStillMatches) {
  auto* p = static_cast<char*>(tav::memmap(0x4000, 16));
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p + 4096), 0); }), "memunmap(): map node will be remove!\n");
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p + 4097), -1); }), "memunmap(): address have not been mmaped!\n");
}

TEST_F(MemmapTest, FailedUnmapIsReportedAndTheNodeStillFreed) {
  void* p = tav::memmap(0x3000, 16);
  board().fail({sim::Call::Munmap, "", 0, 1, EINVAL});
  EXPECT_EQ(quiet([&] { EXPECT_EQ(tav::memunmap(p), 0); }),
            "memunmap(): map node will be remove!\nmemunmap(): munmap failed!\n");
  EXPECT_EQ(tav::memmap_node_count(), 0);
}

}  // namespace
