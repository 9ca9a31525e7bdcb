#include "descriptors.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace sim {

DescriptorTable::~DescriptorTable() {
  for (auto& kv : fds_) ::close(kv.first);
}

int DescriptorTable::reserve() { return ::open("/dev/null", O_RDWR | O_CLOEXEC); }

void DescriptorTable::unreserve(int fd) { ::close(fd); }

void DescriptorTable::bind(int fd, Desc d) {
  std::lock_guard<std::mutex> lock(mu_);
  fds_[fd] = std::move(d);
}

bool DescriptorTable::lookup(int fd, Desc* out) const {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = fds_.find(fd);
  if (it == fds_.end()) return false;
  *out = it->second;
  return true;
}

bool DescriptorTable::unbind(int fd, Desc* out) {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = fds_.find(fd);
  if (it == fds_.end()) return false;
  *out = std::move(it->second);
  fds_.erase(it);
  return true;
}

size_t DescriptorTable::size() const {
  std::lock_guard<std::mutex> lock(mu_);
  return fds_.size();
}

MappingTable::~MappingTable() {
  for (auto& m : maps_) ::munmap(reinterpret_cast<void*>(m.addr), m.len);
}

void MappingTable::add(void* addr, size_t len) {
  std::lock_guard<std::mutex> lock(mu_);
  maps_.push_back(Mapping{reinterpret_cast<uintptr_t>(addr), len});
}

void MappingTable::unmap(void* addr, size_t len) {
  auto a = reinterpret_cast<uintptr_t>(addr);
  std::lock_guard<std::mutex> lock(mu_);
  for (auto it = maps_.begin(); it != maps_.end(); ++it) {
    if (a < it->addr || a >= it->addr + it->len) continue;
    size_t cut = std::min(len, it->addr + it->len - a);
    ::munmap(addr, cut);
    if (a == it->addr && cut == it->len) maps_.erase(it);
    return;
  }
}

size_t MappingTable::size() const {
  std::lock_guard<std::mutex> lock(mu_);
  return maps_.size();
}

DIR* DirListings::open(const std::vector<std::string>& names) {
  auto listing = std::make_unique<Listing>();
  for (const auto& name : names) {
    struct dirent e;
    memset(&e, 0, sizeof e);
    snprintf(e.d_name, sizeof e.d_name, "%s", name.c_str());
    e.d_type = DT_CHR;
    listing->entries.push_back(e);
  }
  DIR* handle = reinterpret_cast<DIR*>(listing.get());
  std::lock_guard<std::mutex> lock(mu_);
  listings_[handle] = std::move(listing);
  return handle;
}

bool DirListings::next(DIR* dir, struct dirent** entry) {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = listings_.find(dir);
  if (it == listings_.end()) return false;
  Listing& l = *it->second;
  *entry = l.next < l.entries.size() ? &l.entries[l.next++] : nullptr;
  return true;
}

bool DirListings::close(DIR* dir) {
  std::lock_guard<std::mutex> lock(mu_);
  return listings_.erase(dir) != 0;
}

size_t DirListings::size() const {
  std::lock_guard<std::mutex> lock(mu_);
  return listings_.size();
}

}  // namespace sim
