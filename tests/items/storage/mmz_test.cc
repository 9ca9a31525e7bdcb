// The MMZ memory test.
#include "items/storage/mmz.h"

#include <gtest/gtest.h>

#include <cstring>

#include "harness.h"
#include "items/items.h"
#include "sim/mmz.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kPhys = sim::MmzZone::kBase;
constexpr size_t kMiB = 1 << 20;

std::string report(const std::string& vir, const char* prot, const char* flags, const char* phys = "0xa0000000") {
  return std::string("\nphys_addr       :") + phys +
         "\nalign           :0x1000\nsize            :0x100000\norder           :0x8\nvir_addr        :" + vir +
         "\nprot            :" + prot + "\nflags           :" + flags +
         "\nmap_cached      :noncached\nmmb_name        :<null>\nmmz_name        :anonymous\ngfp             :0x0\n";
}
const std::string kAllocated = report("0x0", "0x0", "MAP_PRIVATE");
const std::string kMapped = report("V", "0x3", "MAP_SHARED");

// The mapping's address differs from run to run.
std::string normalise(std::string out) {
  const std::string key = "vir_addr        :0x";
  for (size_t at = out.find(key); at != std::string::npos; at = out.find(key, at + 1)) {
    size_t start = at + key.size() - 2, end = out.find('\n', at);
    if (out.compare(start, end - start, "0x0") != 0) out.replace(start, end - start, "V");
  }
  return out;
}

class Mmz : public tavtest::BoardTest {
 protected:
  sim::MmzZone& zone() { return *sim::mmz_zone(board()); }
};

TEST_F(Mmz, fills_the_block_twice_through_both_devices_and_frees_it) {
  board().mem().fill(kPhys, 0x00, kMiB);
  Outcome o = run(tav::mmz_test, {});
  EXPECT_EQ(normalise(o.out), kAllocated + kMapped);
  EXPECT_EQ(o.result, 0);
  EXPECT_EQ(o.open_descriptors, 0u);
  EXPECT_TRUE(zone().blocks.empty());
  // The last of each 10000 fills is 0x55.
  std::vector<uint8_t> mem(kMiB);
  board().mem().read(kPhys, mem.data(), mem.size());
  EXPECT_EQ(std::count(mem.begin(), mem.end(), 0x55), static_cast<long>(kMiB));

  // What went to the devices, in order.
  std::vector<std::pair<std::string, unsigned long>> asked;
  std::map<unsigned long, std::vector<uint8_t>> bytes;
  for (const auto& q : o.requests) {
    if (q.call == sim::Call::Ioctl) {
      asked.push_back({q.path, q.request});
      bytes[q.request] = q.bytes;
    }
    if (q.call == sim::Call::Mmap) asked.push_back({q.path + " mmap", q.request});
  }
  const std::vector<std::pair<std::string, unsigned long>> want = {
      {tav::kMmzPath, tav::MMZ_ALLOC},       {tav::kMmzPath, tav::MMZ_MAP},
      {tav::kMmzPath, tav::MMZ_GET_ATTR},    {tav::kMmzPath, tav::MMZ_FLUSH_DCACHE},
      {tav::kMmzPath, tav::MMZ_UNMAP},       {std::string(tav::kMemdevPath) + " mmap", kPhys},
      {tav::kMemdevPath, tav::MEMDEV_FLUSH}, {tav::kMmzPath, tav::MMZ_FREE},
  };
  EXPECT_EQ(asked, want);
  tav::MmbInfo m;
  ASSERT_EQ(bytes[tav::MMZ_MAP].size(), sizeof m);
  memcpy(&m, bytes[tav::MMZ_MAP].data(), sizeof m);
  EXPECT_EQ(m.phys_addr, kPhys);
  EXPECT_EQ(m.size, kMiB);
  EXPECT_EQ(m.attr, 0x103u);
  memcpy(&m, bytes[tav::MMZ_FREE].data(), sizeof m);
  EXPECT_EQ(m.phys_addr, kPhys);
  EXPECT_EQ(m.size, 0u);
  ASSERT_EQ(zone().memdev_flushes.size(), 1u);
  EXPECT_NE(zone().memdev_flushes[0].vir_addr, 0u);
  EXPECT_EQ(zone().memdev_flushes[0].phys_addr, kPhys);
  EXPECT_EQ(zone().memdev_flushes[0].size, kMiB);
  EXPECT_EQ(zone().cache_flushes, 1);
}

TEST_F(Mmz, failures_are_reported_and_the_block_is_always_freed) {
  auto io = [](unsigned long request, int err, int nth = 0) {
    return sim::Fault{sim::Call::Ioctl, tav::kMmzPath, request, nth, err};
  };
  struct Case {
    const char* name;
    sim::Fault fault;
    bool zero_phys;
    std::string out;
    int result;
    bool freed;
  } cases[] = {
      {"no zone device",
       {sim::Call::Open, tav::kMmzPath, 0, 0, ENOENT},
       false,
       "open \"/dev/mmz_userdev\" failed(-2)\n",
       -1,
       false},
      {"allocation fails", io(tav::MMZ_ALLOC, ENOMEM), false, "malloc failed(-12)\nmalloc failed\n", -12, false},
      {"physical address 0", {}, true, report("0x0", "0x0", "MAP_PRIVATE", "0x0") + "map failed\n", -12, true},
      {"attribute read fails", io(tav::MMZ_GET_ATTR, EIO), false, kAllocated + "get attr failed(-5)\n" + kMapped, 0,
       true},
      {"memory device missing",
       {sim::Call::Open, tav::kMemdevPath, 0, 1, ENOENT},
       false,
       kAllocated + kMapped + "open \"/dev/mmz_userdev\" failed(-2)\n",
       -12,
       true},
      {"memory device map fails",
       {sim::Call::Mmap, tav::kMemdevPath, 0, 0, ENOMEM},
       false,
       kAllocated + kMapped + "map failed\n",
       -12,
       true},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    if (c.fault.call != sim::Call::Any) board().fail(c.fault);
    zone().zero_phys = c.zero_phys;
    Outcome o = run(tav::mmz_test, {});
    EXPECT_EQ(normalise(o.out), c.out) << c.name;
    EXPECT_EQ(o.result, c.result) << c.name;
    EXPECT_EQ(o.open_descriptors, 0u) << c.name;
    bool freed = false;
    for (const auto& q : o.requests) freed |= q.call == sim::Call::Ioctl && q.request == tav::MMZ_FREE;
    EXPECT_EQ(freed, c.freed) << c.name;
    if (c.freed) {
      EXPECT_TRUE(zone().blocks.empty()) << c.name;
    }
  }
}

}  // namespace
