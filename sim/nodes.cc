#include "nodes.h"

#include <algorithm>

#include "locked.h"

namespace sim {

void NodeTable::add(const std::string& path, std::shared_ptr<Device> dev) {
  std::lock_guard<std::mutex> lock(mu_);
  devices_[path] = std::move(dev);
}

void NodeTable::remove(const std::string& path) {
  std::lock_guard<std::mutex> lock(mu_);
  devices_.erase(path);
}

bool NodeTable::has(const std::string& path) const {
  std::lock_guard<std::mutex> lock(mu_);
  return devices_.count(path) != 0;
}

std::shared_ptr<Device> NodeTable::find(const std::string& path) const {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = devices_.find(path);
  return it == devices_.end() ? nullptr : it->second;
}

std::vector<std::string> NodeTable::children(const std::string& dir) const {
  const std::string prefix = dir + "/";
  std::vector<std::string> names;
  std::lock_guard<std::mutex> lock(mu_);
  for (const auto& kv : devices_) {
    const std::string& node = kv.first;
    if (node.size() <= prefix.size() || node.compare(0, prefix.size(), prefix) != 0) continue;
    std::string name = node.substr(prefix.size());
    if (name.find('/') == std::string::npos) names.push_back(std::move(name));
  }
  return names;
}

bool MountTable::mounted(const std::string& target) const {
  std::lock_guard<std::mutex> lock(mu_);
  return mounts_.count(target) != 0;
}

bool MountTable::add(const std::string& target, const std::string& source) {
  std::lock_guard<std::mutex> lock(mu_);
  return mounts_.emplace(target, source).second;
}

bool MountTable::remove(const std::string& target) {
  std::lock_guard<std::mutex> lock(mu_);
  return mounts_.erase(target) != 0;
}

std::map<std::string, std::string> MountTable::all() const { return locked_read(mu_, mounts_); }

std::vector<MountTable::Cover> MountTable::covering(const std::string& path) const {
  std::vector<Cover> out;
  std::lock_guard<std::mutex> lock(mu_);
  for (const auto& [target, source] : mounts_) {
    if (path.compare(0, target.size(), target) != 0) continue;
    if (path.size() > target.size() && path[target.size()] != '/') continue;
    size_t from = std::min(path.size(), target.size() + 1);
    out.push_back(Cover{source, path.substr(from)});
  }
  return out;
}

}  // namespace sim
