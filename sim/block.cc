#include "block.h"

#include <errno.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "drivers/block.h"
#include "locked.h"

namespace sim {

namespace {
struct BlockOpen {
  bool transferred = false;
};
}  // namespace

BlockDevice::BlockDevice(Clock& clock, uint64_t bytes, uint64_t bytes_per_second)
    : clock_(clock), bytes_(bytes), rate_(bytes_per_second) {}

void BlockDevice::set_rate(uint64_t bytes_per_second) { locked_write(mu_, rate_, bytes_per_second); }

void BlockDevice::hold_first_transfers(int n) {
  std::lock_guard<std::mutex> lock(mu_);
  gate_ = n;
  arrived_ = 0;
}

void BlockDevice::keep_data() { locked_write(mu_, keep_, true); }

void BlockDevice::copy_out(uint64_t off, uint8_t* out, size_t n) const {
  while (n > 0) {
    uint64_t at = off % kChunk;
    size_t k = static_cast<size_t>(std::min<uint64_t>(n, kChunk - at));
    auto it = chunks_.find(off / kChunk);
    if (it == chunks_.end())
      memset(out, 0, k);
    else
      memcpy(out, it->second.data() + at, k);
    off += k;
    out += k;
    n -= k;
  }
}

void BlockDevice::copy_in(uint64_t off, const uint8_t* in, size_t n) {
  while (n > 0) {
    uint64_t at = off % kChunk;
    size_t k = static_cast<size_t>(std::min<uint64_t>(n, kChunk - at));
    auto& chunk = chunks_[off / kChunk];
    if (chunk.empty()) chunk.assign(kChunk, 0);
    memcpy(chunk.data() + at, in, k);
    off += k;
    in += k;
    n -= k;
  }
}

void BlockDevice::peek(uint64_t off, void* out, size_t n) const {
  std::lock_guard<std::mutex> lock(mu_);
  copy_out(off, static_cast<uint8_t*>(out), n);
}

void BlockDevice::poke(uint64_t off, const void* in, size_t n) {
  std::lock_guard<std::mutex> lock(mu_);
  copy_in(off, static_cast<const uint8_t*>(in), n);
}

std::vector<uint64_t> BlockDevice::written_offsets() const {
  std::lock_guard<std::mutex> lock(mu_);
  std::vector<uint64_t> offsets;
  for (const auto& chunk : chunks_) offsets.push_back(chunk.first * kChunk);
  return offsets;
}

uint64_t BlockDevice::flushes() const { return locked_read(mu_, flushes_); }

uint64_t BlockDevice::bytes_read() const { return locked_read(mu_, read_); }

uint64_t BlockDevice::bytes_written() const { return locked_read(mu_, written_); }

int BlockDevice::open(OpenFile& f) {
  f.state = std::make_shared<BlockOpen>();
  return 0;
}

off_t BlockDevice::lseek(OpenFile& f, off_t off, int whence) {
  // Like the kernel's block devices: no position beyond the end.
  off_t base = whence == SEEK_CUR ? f.pos : whence == SEEK_END ? size() : 0;
  if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) return -EINVAL;
  if (base + off < 0 || base + off > size()) return -EINVAL;
  f.pos = base + off;
  return f.pos;
}

bool direct_misaligned(const OpenFile& f, const void* buf, size_t n) {
  return (f.flags & O_DIRECT) && (n % tav::kBlkSectorSize || f.pos % static_cast<off_t>(tav::kBlkSectorSize) ||
                                  reinterpret_cast<uintptr_t>(buf) % tav::kBlkSectorSize);
}

ssize_t BlockDevice::transfer(OpenFile& f, const void* buf, size_t n, bool writing) {
  if (direct_misaligned(f, buf, n)) return -EINVAL;
  uint64_t pos = static_cast<uint64_t>(f.pos);
  if (pos >= bytes_) return writing ? -ENOSPC : 0;
  if (n > bytes_ - pos) n = static_cast<size_t>(bytes_ - pos);
  auto* open = static_cast<BlockOpen*>(f.state.get());
  std::unique_lock<std::mutex> lock(mu_);
  if (!open->transferred) {
    open->transferred = true;
    ++arrived_;
    gate_cv_.notify_all();
    gate_cv_.wait_for(lock, std::chrono::seconds(30), [&] { return arrived_ >= gate_; });
  }
  (writing ? written_ : read_) += n;
  const bool zeros = !writing && !keep_;
  if (keep_) {
    if (writing)
      copy_in(pos, static_cast<const uint8_t*>(buf), n);
    else
      copy_out(pos, static_cast<uint8_t*>(const_cast<void*>(buf)), n);
  }
  uint64_t rate = rate_;
  lock.unlock();
  // Unkept data reads as zeros; filled outside the lock, as a copy would be.
  if (zeros) memset(const_cast<void*>(buf), 0, n);
  clock_.spend_transfer(n, rate);
  f.pos += static_cast<off_t>(n);
  return static_cast<ssize_t>(n);
}

ssize_t BlockDevice::read(OpenFile& f, void* buf, size_t n) { return transfer(f, buf, n, false); }

ssize_t BlockDevice::write(OpenFile& f, const void* buf, size_t n) { return transfer(f, buf, n, true); }

int BlockDevice::ioctl(OpenFile&, unsigned long request, void* arg) {
  if (request == tav::BLKFLSBUF) {
    std::lock_guard<std::mutex> lock(mu_);
    ++flushes_;
    return 0;
  }
  if (arg == nullptr) return -EFAULT;
  if (request == tav::BLKGETSIZE) {
    unsigned long sectors = static_cast<unsigned long>(bytes_ / tav::kBlkSectorSize);
    memcpy(arg, &sectors, sizeof sectors);
    return 0;
  }
  if (request == tav::BLKGETSIZE64) {
    uint64_t b = bytes_;
    memcpy(arg, &b, sizeof b);
    return 0;
  }
  return -ENOTTY;
}

}  // namespace sim
