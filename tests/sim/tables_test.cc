// What the board keeps in tables: descriptors, mappings, directory listings,
// device nodes and mounts.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "sim/descriptors.h"
#include "sim/nodes.h"

namespace {

using Names = std::vector<std::string>;

TEST(SimDescriptors, numbers_are_the_lowest_free_as_the_kernel_gives_them) {
  int a = sim::DescriptorTable::reserve();
  int b = sim::DescriptorTable::reserve();
  int c = sim::DescriptorTable::reserve();
  ASSERT_GE(a, 0);
  EXPECT_LT(a, b);
  EXPECT_LT(b, c);
  sim::DescriptorTable::unreserve(b);
  EXPECT_EQ(sim::DescriptorTable::reserve(), b);
  for (int fd : {a, b, c}) sim::DescriptorTable::unreserve(fd);
}

TEST(SimDescriptors, bound_descriptors_are_found_until_unbound_and_unknown_ones_never) {
  sim::DescriptorTable table;
  auto dev = std::make_shared<sim::Device>();
  auto file = std::make_shared<sim::OpenFile>();
  file->path = "/dev/x";
  int fd = sim::DescriptorTable::reserve();
  table.bind(fd, sim::Desc{dev, file});
  sim::Desc d;
  ASSERT_TRUE(table.lookup(fd, &d));
  EXPECT_EQ(d.file->path, "/dev/x");
  EXPECT_EQ(table.size(), 1u);
  EXPECT_FALSE(table.lookup(fd + 1, &d));
  EXPECT_FALSE(table.unbind(fd + 1, &d));
  ASSERT_TRUE(table.unbind(fd, &d));
  EXPECT_EQ(d.dev, dev);
  EXPECT_FALSE(table.lookup(fd, &d));
  EXPECT_FALSE(table.unbind(fd, &d));
  EXPECT_EQ(table.size(), 0u);
  sim::DescriptorTable::unreserve(fd);
}

TEST(SimDescriptors, only_mappings_the_board_made_are_unmapped_and_partly_so) {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  sim::MappingTable maps;
  void* p = ::mmap(nullptr, 4 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(p, MAP_FAILED);
  auto* bytes = static_cast<uint8_t*>(p);
  maps.add(p, 4 * page);
  maps.unmap(bytes + 8 * page, page);      // not the board's: nothing happens
  maps.unmap(bytes + 3 * page, 8 * page);  // the tail, cut to the mapping's end
  EXPECT_EQ(maps.size(), 1u);
  EXPECT_EQ(msync(bytes + 3 * page, page, MS_ASYNC), -1);  // gone
  bytes[2 * page] = 1;                                     // still there
  maps.unmap(p, 4 * page);
  EXPECT_EQ(maps.size(), 0u);
}

TEST(SimDescriptors, listings_give_their_names_in_order_then_end) {
  sim::DirListings dirs;
  DIR* d = dirs.open({"i2c-0", "i2c-1"});
  EXPECT_EQ(dirs.size(), 1u);
  Names got;
  struct dirent* e = nullptr;
  while (dirs.next(d, &e) && e != nullptr) got.push_back(e->d_name);
  EXPECT_EQ(got, (Names{"i2c-0", "i2c-1"}));
  EXPECT_TRUE(dirs.next(d, &e));
  EXPECT_EQ(e, nullptr);
  int foreign = 0;
  EXPECT_FALSE(dirs.next(reinterpret_cast<DIR*>(&foreign), &e));
  EXPECT_TRUE(dirs.close(d));
  EXPECT_FALSE(dirs.close(d));
  EXPECT_EQ(dirs.size(), 0u);
}

TEST(SimNodes, a_directory_lists_only_the_nodes_directly_in_it) {
  sim::NodeTable nodes;
  for (const char* path : {"/dev/mtd0", "/dev/mtd1", "/dev/mtdblock0", "/dev/input/event0", "/devx", "/proc/mtd"})
    nodes.add(path, std::make_shared<sim::Device>());
  struct Case {
    const char* dir;
    Names names;
  };
  const Case cases[] = {
      // Nodes further down are not listed, nor is the directory they are in.
      {"/dev", {"mtd0", "mtd1", "mtdblock0"}},
      {"/dev/input", {"event0"}},
      {"/proc", {"mtd"}},
      {"/sys", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(nodes.children(c.dir), c.names) << c.dir;
  nodes.remove("/dev/mtd1");
  EXPECT_FALSE(nodes.has("/dev/mtd1"));
  EXPECT_EQ(nodes.find("/dev/mtd1"), nullptr);
  EXPECT_NE(nodes.find("/dev/mtd0"), nullptr);
}

TEST(SimMounts, a_path_is_covered_by_every_mount_point_above_it) {
  sim::MountTable mounts;
  ASSERT_TRUE(mounts.add("/mnt", "/dev/sda1"));
  ASSERT_TRUE(mounts.add("/mnt/usb", "/dev/sdb1"));
  EXPECT_FALSE(mounts.add("/mnt", "/dev/sdc1"));
  struct Case {
    const char* path;
    Names covers;  // source:name
  };
  const Case cases[] = {
      {"/mnt", {"/dev/sda1:"}},
      {"/mnt/a.bin", {"/dev/sda1:a.bin"}},
      {"/mnt/usb/x/y", {"/dev/sda1:usb/x/y", "/dev/sdb1:x/y"}},
      {"/mntx", {}},
      {"/tmp/a", {}},
  };
  for (const auto& c : cases) {
    Names got;
    for (const auto& cover : mounts.covering(c.path)) got.push_back(cover.source + ":" + cover.name);
    EXPECT_EQ(got, c.covers) << c.path;
  }
  EXPECT_TRUE(mounts.remove("/mnt"));
  EXPECT_FALSE(mounts.remove("/mnt"));
  EXPECT_FALSE(mounts.mounted("/mnt"));
  EXPECT_EQ(mounts.all().size(), 1u);
}

}  // namespace
