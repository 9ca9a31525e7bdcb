// The board's bookkeeping, and the calls that name a path.
#include "board.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace sim {

namespace {
bool is_device_path(const char* path) {
  return strncmp(path, "/dev/", 5) == 0 || strncmp(path, "/proc/", 6) == 0 || strncmp(path, "/sys/", 5) == 0;
}
// The board's mount point: never the host's, mounted or not.
bool is_mount_path(const char* path) { return strcmp(path, "/mnt") == 0 || strncmp(path, "/mnt/", 5) == 0; }
}  // namespace

Board::Board() : threads_(clock_) {
  clock_.on_signal([this](int sig) { deliver_signal(sig); });
}

// The threads go first: they may still be using every other part.
Board::~Board() { threads_.close(); }

void Board::add(const std::string& path, std::shared_ptr<Device> dev) { nodes_.add(path, std::move(dev)); }
void Board::remove(const std::string& path) { nodes_.remove(path); }
bool Board::has(const std::string& path) const { return nodes_.has(path); }
std::shared_ptr<Device> Board::device(const std::string& path) const { return nodes_.find(path); }

void Board::fail(Fault f) { faults_.add(std::move(f)); }
void Board::clear_faults() { faults_.clear(); }
size_t Board::calls() const { return log_.calls(); }
std::vector<Request> Board::log() const { return log_.entries(); }
std::vector<Request> Board::log_of(Call c) const { return log_.of(c); }
void Board::clear_log() { log_.clear(); }
size_t Board::open_descriptors() const { return fds_.size() + dirs_.size(); }
void Board::set_console(const std::string& text) { console_.script(text); }
std::map<std::string, std::string> Board::mounts() const { return mounts_.all(); }
void Board::deliver_signal(int sig) { signals_.deliver(sig); }

int Board::fail_with(int err) {
  errno = err;
  return -1;
}

int Board::enter(Call c, const std::string& path, unsigned long request, uint64_t length, Request** req,
                 long* short_len) {
  if (threads_.must_end_here()) throw BoardGone{};
  Request* r = log_.add(c, path, request, length);
  if (req != nullptr) *req = r;
  return faults_.check(c, path, request, short_len);
}

bool Board::mounted_fs(const std::string& path, std::shared_ptr<Device>* dev, std::string* name) const {
  for (auto& cover : mounts_.covering(path)) {
    auto d = nodes_.find(cover.source);
    if (d == nullptr || d->file_system() == nullptr) continue;
    *dev = d;
    *name = cover.name;
    return true;
  }
  return false;
}

// Opens dev as a new descriptor of the board's.
int Board::open_on(const std::shared_ptr<Device>& dev, const std::string& path, int flags, Request* req) {
  int fd = DescriptorTable::reserve();
  if (fd < 0) return -1;
  auto file = std::make_shared<OpenFile>();
  file->path = path;
  file->flags = flags;
  file->request = req;
  int rc = dev->open(*file);
  file->request = nullptr;
  if (rc < 0) {
    DescriptorTable::unreserve(fd);
    return fail_with(-rc);
  }
  fds_.bind(fd, Desc{dev, file});
  return fd;
}

int Board::open(const char* path, int flags, mode_t mode) {
  if (path == nullptr) return fail_with(EFAULT);
  Request* req = nullptr;
  if (int err = enter(Call::Open, path, static_cast<unsigned long>(flags), 0, &req)) return fail_with(err);
  auto dev = device(path);
  std::shared_ptr<Device> fs_dev;
  std::string name;
  if (dev == nullptr && mounted_fs(path, &fs_dev, &name)) {
    if (int rc = fs_dev->file_system()->open(name, flags, &dev)) return fail_with(-rc);
  }
  if (dev == nullptr) {
    if (is_device_path(path) || is_mount_path(path)) return fail_with(ENOENT);
    return ::open(path, flags | O_CLOEXEC, mode);
  }
  return open_on(dev, path, flags, req);
}

int Board::socket(int domain, int type, int protocol) {
  std::string path = "socket:" + std::to_string(domain);
  if (int err = enter(Call::Socket, path, static_cast<unsigned long>(type), static_cast<uint64_t>(protocol), nullptr))
    return fail_with(err);
  auto dev = device(path);
  if (dev == nullptr) return fail_with(EAFNOSUPPORT);
  return open_on(dev, path, type, nullptr);
}

int Board::close(int fd) {
  Desc d;
  bool simulated = lookup(fd, &d);
  int err = enter(Call::Close, simulated ? d.file->path : std::string(), 0, 0, nullptr);
  if (!simulated) return err ? fail_with(err) : ::close(fd);
  fds_.unbind(fd, &d);
  d.dev->close(*d.file);
  DescriptorTable::unreserve(fd);
  // Like the kernel, the descriptor is gone even when close reports an error.
  return err ? fail_with(err) : 0;
}

int Board::symlink(const char* target, const char* linkpath) {
  if (int err = enter(Call::Symlink, linkpath ? linkpath : "", 0, 0, nullptr)) return fail_with(err);
  return ::symlink(target, linkpath);
}

ssize_t Board::readlink(const char* path, char* buf, size_t n) {
  if (int err = enter(Call::Readlink, path ? path : "", 0, n, nullptr)) return fail_with(err);
  return ::readlink(path, buf, n);
}

int Board::unlink(const char* path) {
  if (int err = enter(Call::Unlink, path ? path : "", 0, 0, nullptr)) return fail_with(err);
  if (path == nullptr) return fail_with(EFAULT);
  std::shared_ptr<Device> dev;
  std::string name;
  if (mounted_fs(path, &dev, &name)) {
    int rc = dev->file_system()->unlink(name);
    return rc < 0 ? fail_with(-rc) : 0;
  }
  if (is_mount_path(path)) return fail_with(ENOENT);
  return ::unlink(path);
}

int Board::mount(const char* src, const char* target, const char* type, unsigned long flags, const void*) {
  Request* req = nullptr;
  if (int err = enter(Call::Mount, src ? src : "", flags, 0, &req)) return fail_with(err);
  if (src == nullptr || target == nullptr) return fail_with(EFAULT);
  std::string t = type ? type : "";
  req->bytes.assign(t.begin(), t.end());
  auto dev = device(src);
  if (dev == nullptr) return fail_with(ENOENT);
  if (mounts_.mounted(target)) return fail_with(EBUSY);
  if (FileSystem* fs = dev->file_system())
    if (int rc = fs->mount(t, flags)) return fail_with(-rc);
  // Another thread may have mounted there while the medium was read.
  if (!mounts_.add(target, src)) return fail_with(EBUSY);
  return 0;
}

int Board::umount(const char* target) {
  if (int err = enter(Call::Umount, target ? target : "", 0, 0, nullptr)) return fail_with(err);
  if (target == nullptr || !mounts_.remove(target)) return fail_with(EINVAL);
  return 0;
}

int Board::access(const char* path, int mode) {
  if (int err = enter(Call::Access, path ? path : "", static_cast<unsigned long>(mode), 0, nullptr))
    return fail_with(err);
  if (path == nullptr) return fail_with(EFAULT);
  if (has(path)) return 0;
  if (is_device_path(path)) return fail_with(ENOENT);
  return ::access(path, mode);
}

int Board::stat(const char* path, struct stat* st) {
  if (int err = enter(Call::Stat, path ? path : "", 0, 0, nullptr)) return fail_with(err);
  if (path == nullptr || st == nullptr) return fail_with(EFAULT);
  std::shared_ptr<Device> dev = device(path);
  if (dev != nullptr) {
    memset(st, 0, sizeof *st);
    // Models with a capacity are block devices, the rest character devices.
    st->st_mode = (dev->size() > 0 ? S_IFBLK : S_IFCHR) | 0660;
    st->st_size = dev->size();
    return 0;
  }
  std::string name;
  if (mounted_fs(path, &dev, &name)) {
    int rc = dev->file_system()->stat(name, st);
    return rc < 0 ? fail_with(-rc) : 0;
  }
  if (is_mount_path(path)) {
    if (strcmp(path, "/mnt") != 0) return fail_with(ENOENT);
    memset(st, 0, sizeof *st);
    st->st_mode = S_IFDIR | 0755;
    return 0;
  }
  if (is_device_path(path)) return fail_with(ENOENT);
  return ::stat(path, st);
}

int Board::statvfs(const char* path, struct statvfs* buf) {
  if (int err = enter(Call::Statvfs, path ? path : "", 0, 0, nullptr)) return fail_with(err);
  if (path == nullptr || buf == nullptr) return fail_with(EFAULT);
  std::shared_ptr<Device> dev;
  std::string name;
  if (mounted_fs(path, &dev, &name)) {
    int rc = dev->file_system()->statvfs(buf);
    return rc < 0 ? fail_with(-rc) : 0;
  }
  if (is_mount_path(path)) {
    // The board's read-only root: 128 MiB, nothing free.
    memset(buf, 0, sizeof *buf);
    buf->f_bsize = buf->f_frsize = 4096;
    buf->f_blocks = 32768;
    buf->f_flag = ST_RDONLY;
    buf->f_namemax = 255;
    return 0;
  }
  return ::statvfs(path, buf);
}

DIR* Board::opendir(const char* path) {
  if (int err = enter(Call::Opendir, path ? path : "", 0, 0, nullptr)) {
    errno = err;
    return nullptr;
  }
  if (path == nullptr) {
    errno = EFAULT;
    return nullptr;
  }
  std::string dir = path;
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  if (!is_device_path((dir + "/").c_str())) return ::opendir(path);
  return dirs_.open(nodes_.children(dir));
}

struct dirent* Board::readdir(DIR* dir) {
  if (int err = enter(Call::Readdir, "", 0, 0, nullptr)) {
    errno = err;
    return nullptr;
  }
  struct dirent* entry = nullptr;
  if (dirs_.next(dir, &entry)) return entry;
  return ::readdir(dir);
}

int Board::closedir(DIR* dir) {
  int err = enter(Call::Closedir, "", 0, 0, nullptr);
  if (dirs_.close(dir)) return err ? fail_with(err) : 0;
  int rc = ::closedir(dir);
  return err ? fail_with(err) : rc;
}

void install(Board* board) { sys::set_backend(board); }

}  // namespace sim
