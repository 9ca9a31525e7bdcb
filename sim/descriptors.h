// What a process holds of the board: descriptors on models, mappings, and
// open directory listings.
#pragma once

#include <dirent.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "device.h"

namespace sim {

// A descriptor on a model.
struct Desc {
  std::shared_ptr<Device> dev;
  std::shared_ptr<OpenFile> file;
};

// Each simulated descriptor holds a real one on /dev/null, so its number is
// the lowest free one, as the kernel would give, and never collides with a
// real descriptor the tool opens meanwhile.
class DescriptorTable {
 public:
  DescriptorTable() = default;
  ~DescriptorTable();
  DescriptorTable(const DescriptorTable&) = delete;
  DescriptorTable& operator=(const DescriptorTable&) = delete;
  // A number for a descriptor about to be opened, or -1 with errno set.
  static int reserve();
  // Gives back a number reserved or unbound here.
  static void unreserve(int fd);
  void bind(int fd, Desc d);
  bool lookup(int fd, Desc* out) const;
  // Takes fd out of the table; its number stays reserved until unreserve.
  bool unbind(int fd, Desc* out);
  size_t size() const;

 private:
  mutable std::mutex mu_;
  std::map<int, Desc> fds_;
};

// Mappings the board made, so that only those are ever unmapped for real.
class MappingTable {
 public:
  MappingTable() = default;
  ~MappingTable();
  MappingTable(const MappingTable&) = delete;
  MappingTable& operator=(const MappingTable&) = delete;
  void add(void* addr, size_t len);
  // Unmaps what [addr, addr + len) covers of the mapping addr falls in;
  // elsewhere there is nothing of the tool's to remove, as the kernel would
  // also find.
  void unmap(void* addr, size_t len);
  size_t size() const;

 private:
  struct Mapping {
    uintptr_t addr;
    size_t len;
  };
  mutable std::mutex mu_;
  std::vector<Mapping> maps_;
};

// Listings of the board's own directories, behind handles never handed to
// the C library.
class DirListings {
 public:
  DIR* open(const std::vector<std::string>& names);
  // The next entry, or null at the end; false when dir is not a listing here.
  bool next(DIR* dir, struct dirent** entry);
  bool close(DIR* dir);
  size_t size() const;

 private:
  struct Listing {
    std::vector<struct dirent> entries;
    size_t next = 0;
  };
  mutable std::mutex mu_;
  std::map<DIR*, std::unique_ptr<Listing>> listings_;
};

}  // namespace sim
