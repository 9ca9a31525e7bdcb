// USB mass-storage sticks (/dev/h_msa .. /dev/h_msc) carrying a FAT file
// system the board mounts; files made under the mount point live in the
// stick, and transfers cost virtual time at the stick's rates.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "board.h"

namespace sim {

class UsbStick final : public Device, public FileSystem {
 public:
  static constexpr uint32_t kClusterSize = 32 * 1024;

  // size and free space in bytes (rounded down to clusters).
  UsbStick(Clock& clock, uint64_t size, uint64_t free);

  std::vector<uint8_t> file(const std::string& name) const;

  // Device
  off_t size() override { return static_cast<off_t>(size_); }
  FileSystem* file_system() override { return this; }

  // FileSystem
  int mount(const std::string& type, unsigned long flags) override;
  int open(const std::string& name, int flags, std::shared_ptr<Device>* file) override;
  int unlink(const std::string& name) override;
  int stat(const std::string& name, struct stat* st) override;
  int statvfs(struct statvfs* buf) override;

 private:
  class File;
  struct Node {
    std::vector<uint8_t> data;
  };
  static constexpr uint64_t kWriteRate = uint64_t{20} << 20;  // bytes per second
  static constexpr uint64_t kReadRate = uint64_t{30} << 20;
  uint64_t clusters(uint64_t bytes) const { return (bytes + kClusterSize - 1) / kClusterSize; }
  uint64_t total_clusters() const { return size_ / kClusterSize; }
  uint64_t spare_clusters() const;  // with mu_ held

  Clock& clock_;
  const uint64_t size_;
  uint64_t reserved_clusters_;  // taken by files the model does not hold
  mutable std::mutex mu_;
  std::map<std::string, std::shared_ptr<Node>> files_;
};

// One healthy 16 GB stick at /dev/h_msa; the other two ports empty.
void add_usb(Board& board);

}  // namespace sim
