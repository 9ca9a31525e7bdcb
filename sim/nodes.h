// The board's device nodes and what is mounted where.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "device.h"

namespace sim {

// Models registered by path.
class NodeTable {
 public:
  void add(const std::string& path, std::shared_ptr<Device> dev);
  void remove(const std::string& path);
  bool has(const std::string& path) const;
  std::shared_ptr<Device> find(const std::string& path) const;
  // Names of the nodes directly in dir (given without a trailing slash), in
  // name order.
  std::vector<std::string> children(const std::string& dir) const;

 private:
  mutable std::mutex mu_;
  std::map<std::string, std::shared_ptr<Device>> devices_;
};

// Mount points and the device path mounted on each.
class MountTable {
 public:
  struct Cover {
    std::string source;
    std::string name;  // the path below the mount point, without a leading slash
  };
  bool mounted(const std::string& target) const;
  // False when target already has something mounted.
  bool add(const std::string& target, const std::string& source);
  bool remove(const std::string& target);
  std::map<std::string, std::string> all() const;
  // Every mount whose point holds path (or is path), in mount point order.
  std::vector<Cover> covering(const std::string& path) const;

 private:
  mutable std::mutex mu_;
  std::map<std::string, std::string> mounts_;
};

}  // namespace sim
