#include "usb.h"

#include <errno.h>

#include <algorithm>
#include <cstring>

#include "block.h"

namespace sim {

// An open file on the stick: reads and writes at the descriptor's position.
class UsbStick::File final : public Device {
 public:
  File(UsbStick& stick, std::shared_ptr<Node> node) : stick_(stick), node_(std::move(node)) {}

  ssize_t read(OpenFile& f, void* buf, size_t n) override {
    if (direct_misaligned(f, buf, n)) return -EINVAL;
    size_t k = 0;
    {
      std::lock_guard<std::mutex> lock(stick_.mu_);
      uint64_t pos = static_cast<uint64_t>(f.pos);
      if (pos < node_->data.size()) k = static_cast<size_t>(std::min<uint64_t>(n, node_->data.size() - pos));
      if (k) memcpy(buf, node_->data.data() + pos, k);
    }
    stick_.clock_.spend_transfer(k, kReadRate);
    f.pos += static_cast<off_t>(k);
    return static_cast<ssize_t>(k);
  }

  ssize_t write(OpenFile& f, const void* buf, size_t n) override {
    if ((f.flags & O_ACCMODE) == O_RDONLY) return -EBADF;
    if (direct_misaligned(f, buf, n)) return -EINVAL;
    size_t k = n;
    {
      std::lock_guard<std::mutex> lock(stick_.mu_);
      uint64_t pos = static_cast<uint64_t>(f.pos);
      uint64_t end = pos + n;
      uint64_t have = stick_.clusters(node_->data.size());
      uint64_t want = stick_.clusters(end);
      uint64_t spare = stick_.spare_clusters();
      if (want > have && want - have > spare) {
        // Fill what is left, as FAT does before it says the disk is full.
        uint64_t room = (have + spare) * kClusterSize;
        if (room <= pos) return -ENOSPC;
        k = static_cast<size_t>(room - pos);
        end = room;
      }
      if (end > node_->data.size()) node_->data.resize(end);
      memcpy(node_->data.data() + pos, buf, k);
    }
    stick_.clock_.spend_transfer(k, kWriteRate);
    f.pos += static_cast<off_t>(k);
    return static_cast<ssize_t>(k);
  }

  off_t size() override {
    std::lock_guard<std::mutex> lock(stick_.mu_);
    return static_cast<off_t>(node_->data.size());
  }

 private:
  UsbStick& stick_;
  std::shared_ptr<Node> node_;
};

UsbStick::UsbStick(Clock& clock, uint64_t size, uint64_t free) : clock_(clock), size_(size) {
  reserved_clusters_ = total_clusters() - std::min(total_clusters(), free / kClusterSize);
}

std::vector<uint8_t> UsbStick::file(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = files_.find(name);
  return it == files_.end() ? std::vector<uint8_t>() : it->second->data;
}

uint64_t UsbStick::spare_clusters() const {
  uint64_t used = reserved_clusters_;
  for (auto& [name, node] : files_) used += clusters(node->data.size());
  return total_clusters() - std::min(total_clusters(), used);
}

int UsbStick::mount(const std::string& type, unsigned long) { return type == "vfat" ? 0 : -EINVAL; }

int UsbStick::open(const std::string& name, int flags, std::shared_ptr<Device>* file) {
  if (name.empty() || name.find('/') != std::string::npos) return -EISDIR;
  std::lock_guard<std::mutex> lock(mu_);
  auto it = files_.find(name);
  if (it == files_.end()) {
    if ((flags & O_CREAT) == 0) return -ENOENT;
    it = files_.emplace(name, std::make_shared<Node>()).first;
  } else if ((flags & O_CREAT) && (flags & O_EXCL)) {
    return -EEXIST;
  }
  if ((flags & O_TRUNC) && (flags & O_ACCMODE) != O_RDONLY) it->second->data.clear();
  *file = std::make_shared<File>(*this, it->second);
  return 0;
}

int UsbStick::unlink(const std::string& name) {
  std::lock_guard<std::mutex> lock(mu_);
  return files_.erase(name) ? 0 : -ENOENT;
}

int UsbStick::stat(const std::string& name, struct stat* st) {
  std::lock_guard<std::mutex> lock(mu_);
  memset(st, 0, sizeof *st);
  if (name.empty()) {
    st->st_mode = S_IFDIR | 0755;
    return 0;
  }
  auto it = files_.find(name);
  if (it == files_.end()) return -ENOENT;
  st->st_mode = S_IFREG | 0755;
  st->st_size = static_cast<off_t>(it->second->data.size());
  return 0;
}

int UsbStick::statvfs(struct statvfs* buf) {
  std::lock_guard<std::mutex> lock(mu_);
  memset(buf, 0, sizeof *buf);
  buf->f_bsize = buf->f_frsize = kClusterSize;
  buf->f_blocks = total_clusters();
  buf->f_bfree = buf->f_bavail = spare_clusters();
  buf->f_namemax = 255;
  return 0;
}

void add_usb(Board& board) {
  constexpr uint64_t kGB = 1000ull * 1000 * 1000;
  board.add("/dev/h_msa", std::make_shared<UsbStick>(board.clock(), 16 * kGB, 15 * kGB));
}

}  // namespace sim
