#include "usb.h"

#include <errno.h>

#include <algorithm>
#include <cstring>

#include "items/storage/blkdev.h"

namespace sim {

// An open file on the stick: reads and writes at the descriptor's position.
class UsbStick::File final : public Device {
 public:
  File(UsbStick& stick, std::shared_ptr<Node> node) : stick_(stick), node_(std::move(node)) {}

  ssize_t read(OpenFile& f, void* buf, size_t n) override {
    if (int rc = check_direct(f, buf, n)) return rc;
    size_t k = 0;
    {
      std::lock_guard<std::mutex> lock(stick_.mu_);
      uint64_t pos = static_cast<uint64_t>(f.pos);
      if (pos < node_->data.size()) k = static_cast<size_t>(std::min<uint64_t>(n, node_->data.size() - pos));
      if (k) memcpy(buf, node_->data.data() + pos, k);
      if (stick_.bad_byte_ >= pos && stick_.bad_byte_ - pos < k)
        static_cast<uint8_t*>(buf)[stick_.bad_byte_ - pos] ^= 0xFF;
    }
    charge(k, stick_.read_rate_);
    f.pos += static_cast<off_t>(k);
    return static_cast<ssize_t>(k);
  }

  ssize_t write(OpenFile& f, const void* buf, size_t n) override {
    if ((f.flags & O_ACCMODE) == O_RDONLY) return -EBADF;
    if (int rc = check_direct(f, buf, n)) return rc;
    size_t k = n;
    {
      std::lock_guard<std::mutex> lock(stick_.mu_);
      uint64_t pos = static_cast<uint64_t>(f.pos);
      uint64_t end = pos + n;
      uint64_t have = stick_.clusters(node_->data.size());
      uint64_t want = stick_.clusters(end);
      uint64_t total = stick_.size_ / kClusterSize;
      uint64_t spare = total - std::min(total, stick_.used_clusters());
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
    charge(k, stick_.write_rate_);
    f.pos += static_cast<off_t>(k);
    return static_cast<ssize_t>(k);
  }

  off_t lseek(OpenFile& f, off_t off, int whence) override {
    off_t base = 0;
    if (whence == SEEK_CUR) {
      base = f.pos;
    } else if (whence == SEEK_END) {
      std::lock_guard<std::mutex> lock(stick_.mu_);
      base = static_cast<off_t>(node_->data.size());
    } else if (whence != SEEK_SET) {
      return -EINVAL;
    }
    if (base + off < 0) return -EINVAL;
    f.pos = base + off;
    return f.pos;
  }

  off_t size() override {
    std::lock_guard<std::mutex> lock(stick_.mu_);
    return static_cast<off_t>(node_->data.size());
  }

 private:
  static int check_direct(OpenFile& f, const void* buf, size_t n) {
    if ((f.flags & O_DIRECT) && (n % tav::kBlkSectorSize || f.pos % static_cast<off_t>(tav::kBlkSectorSize) ||
                                 reinterpret_cast<uintptr_t>(buf) % tav::kBlkSectorSize))
      return -EINVAL;
    return 0;
  }
  void charge(size_t n, uint64_t rate) {
    if (rate != 0 && n != 0)
      stick_.clock_.spend_here(static_cast<uint64_t>((static_cast<unsigned __int128>(n) * 1000000000u) / rate));
  }

  UsbStick& stick_;
  std::shared_ptr<Node> node_;
};

UsbStick::UsbStick(Clock& clock, uint64_t size, uint64_t free) : clock_(clock), size_(size) {
  uint64_t total = size / kClusterSize;
  reserved_clusters_ = total - std::min(total, free / kClusterSize);
}

void UsbStick::set_rates(uint64_t write_bytes_per_second, uint64_t read_bytes_per_second) {
  std::lock_guard<std::mutex> lock(mu_);
  write_rate_ = write_bytes_per_second;
  read_rate_ = read_bytes_per_second;
}

void UsbStick::set_bad_byte(uint64_t off) {
  std::lock_guard<std::mutex> lock(mu_);
  bad_byte_ = off;
}

bool UsbStick::has_file(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mu_);
  return files_.count(name) != 0;
}

std::vector<uint8_t> UsbStick::file(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = files_.find(name);
  return it == files_.end() ? std::vector<uint8_t>() : it->second->data;
}

void UsbStick::put_file(const std::string& name, std::vector<uint8_t> data) {
  std::lock_guard<std::mutex> lock(mu_);
  auto node = std::make_shared<Node>();
  node->data = std::move(data);
  files_[name] = std::move(node);
}

uint64_t UsbStick::used_clusters() const {
  uint64_t used = reserved_clusters_;
  for (auto& [name, node] : files_) used += clusters(node->data.size());
  return used;
}

uint64_t UsbStick::free_bytes() const {
  std::lock_guard<std::mutex> lock(mu_);
  uint64_t total = size_ / kClusterSize;
  return (total - std::min(total, used_clusters())) * kClusterSize;
}

std::string UsbStick::last_mount_type() const {
  std::lock_guard<std::mutex> lock(mu_);
  return mount_type_;
}

int UsbStick::mount(const std::string& type, unsigned long) {
  std::lock_guard<std::mutex> lock(mu_);
  mount_type_ = type;
  return type == "vfat" ? 0 : -EINVAL;
}

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
  uint64_t total = size_ / kClusterSize;
  uint64_t spare = total - std::min(total, used_clusters());
  memset(buf, 0, sizeof *buf);
  buf->f_bsize = buf->f_frsize = kClusterSize;
  buf->f_blocks = total;
  buf->f_bfree = buf->f_bavail = spare;
  buf->f_namemax = 255;
  return 0;
}

void add_usb(Board& board) {
  constexpr uint64_t kGB = 1000ull * 1000 * 1000;
  board.add("/dev/h_msa", std::make_shared<UsbStick>(board.clock(), 16 * kGB, 15 * kGB));
}

}  // namespace sim
