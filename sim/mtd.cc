#include "mtd.h"

#include <errno.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "drivers/block.h"

namespace sim {

namespace {

using namespace tav;

constexpr uint8_t kMtdNandFlash = 4;
constexpr uint32_t kMtdWriteable = 0x400;

class TavmtdDevice final : public ModelDevice<NandFlash> {
 public:
  using ModelDevice::ModelDevice;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

int TavmtdDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  NandFlash& nf = *model_;
  std::lock_guard<std::mutex> lock(nf.mu);
  auto part_of = [&](uint32_t n) { return n < nf.parts.size() ? &nf.parts[n] : nullptr; };
  switch (request) {
    case TAVMTD_NAND_ERASE: {
      uint32_t n;
      memcpy(&n, arg, sizeof n);
      f.log_sent(&n, sizeof n);
      return nf.erase(n);
    }
    case TAVMTD_GET_BOOT_PART:
      memcpy(arg, &nf.boot_part, sizeof nf.boot_part);
      return 0;
    case TAVMTD_ERASE_STAT: {
      EraseStat s;
      memcpy(&s, arg, sizeof s);
      f.log_sent(&s, sizeof s);
      if (s.kind != kEraseStatKind) return -EINVAL;
      s.max_erase = 0;
      s.max_block = 0;
      s.total_erase = 0;
      uint32_t block = 0;
      for (const auto& p : nf.parts) {
        for (uint64_t c : p.erase_counts) {
          if (c > s.max_erase) {
            s.max_erase = c;
            s.max_block = block;
          }
          s.total_erase += c;
          ++block;
        }
      }
      memcpy(arg, &s, sizeof s);
      return 0;
    }
    case TAVMTD_SET_PROTECT: {
      ProtectRequest r;
      memcpy(&r, arg, sizeof r);
      f.log_sent(&r, sizeof r);
      auto* p = part_of(r.partition);
      if (p == nullptr || r.unlock > 1) return -EINVAL;
      p->locked = r.unlock == 0;
      return 0;
    }
    case TAVMTD_GET_INTERCEPT: {
      uint32_t n;
      memcpy(&n, arg, sizeof n);
      f.log_sent(&n, sizeof n);
      auto* p = part_of(n);
      if (p == nullptr) return -EINVAL;
      return static_cast<int>(p->intercepts);
    }
    case TAVMTD_GET_NAND_ID:
      memcpy(arg, nf.id.data(), nf.id.size());
      return 0;
    default:
      return -ENOTTY;
  }
}

// One partition of the flash as a node: /dev/mtdN programs raw NAND, where
// writes only clear bits until the next erase; /dev/mtdblockN has the block
// layer erase behind each write, so data is simply replaced. Many threads
// may use either at once.
class MtdNode : public ModelDevice<NandFlash> {
 public:
  MtdNode(std::shared_ptr<NandFlash> flash, uint32_t index, bool raw)
      : ModelDevice(std::move(flash)), index_(index), raw_(raw) {}
  ssize_t read(OpenFile& f, void* buf, size_t n) override {
    std::lock_guard<std::mutex> lock(model_->mu);
    ssize_t rc = model_->read(index_, static_cast<uint64_t>(f.pos), buf, n);
    if (rc > 0) f.pos += rc;
    return rc;
  }
  ssize_t write(OpenFile& f, const void* buf, size_t n) override {
    std::lock_guard<std::mutex> lock(model_->mu);
    ssize_t rc = model_->write(index_, static_cast<uint64_t>(f.pos), buf, n, raw_);
    if (rc > 0) f.pos += rc;
    return rc;
  }
  off_t size() override {
    std::lock_guard<std::mutex> lock(model_->mu);
    return static_cast<off_t>(model_->parts[index_].data.size());
  }

 protected:
  uint32_t index_;

 private:
  bool raw_;
};

class MtdCharDevice final : public MtdNode {
 public:
  MtdCharDevice(std::shared_ptr<NandFlash> flash, uint32_t index) : MtdNode(std::move(flash), index, true) {}
  int ioctl(OpenFile&, unsigned long request, void* arg) override {
    if (arg == nullptr) return -EFAULT;
    std::lock_guard<std::mutex> lock(model_->mu);
    const auto& p = model_->parts[index_];
    if (request == MEMGETINFO) {
      MtdInfoUser info;
      memset(&info, 0, sizeof info);
      info.type = kMtdNandFlash;
      info.flags = kMtdWriteable;
      info.size = static_cast<uint32_t>(p.data.size());
      info.erasesize = NandFlash::kEraseSize;
      info.writesize = NandFlash::kWriteSize;
      info.oobsize = model_->oob_size;
      memcpy(arg, &info, sizeof info);
      return 0;
    }
    if (request == ECCGETSTATS) {
      MtdEccStats s{p.corrected, p.failed, static_cast<uint32_t>(p.bad_blocks.size()), p.bbt_blocks};
      memcpy(arg, &s, sizeof s);
      return 0;
    }
    return -ENOTTY;
  }
};

class MtdBlockDevice final : public MtdNode {
 public:
  MtdBlockDevice(std::shared_ptr<NandFlash> flash, uint32_t index) : MtdNode(std::move(flash), index, false) {}
  int ioctl(OpenFile&, unsigned long request, void*) override { return request == tav::BLKFLSBUF ? 0 : -ENOTTY; }
};

}  // namespace

NandFlash::NandFlash(const std::vector<uint32_t>& sizes) {
  for (uint32_t size : sizes) {
    Partition p;
    p.data.assign(size, 0xFF);
    p.erase_counts.assign(size / kEraseSize, 0);
    parts.push_back(std::move(p));
  }
}

int NandFlash::erase(uint32_t n) {
  if (n >= parts.size()) return -EINVAL;
  Partition& p = parts[n];
  if (p.locked) {
    ++p.intercepts;
    return -EPERM;
  }
  std::fill(p.data.begin(), p.data.end(), 0xFF);
  for (size_t b = 0; b < p.erase_counts.size(); ++b)
    if (p.bad_blocks.count(static_cast<uint32_t>(b)) == 0) ++p.erase_counts[b];
  return 0;
}

ssize_t NandFlash::write(uint32_t n, uint64_t off, const void* buf, size_t len, bool program) {
  Partition& p = parts[n];
  if (p.locked) {
    ++p.intercepts;
    return -EPERM;
  }
  if (off >= p.data.size()) return len == 0 ? 0 : -ENOSPC;
  len = std::min<uint64_t>(len, p.data.size() - off);
  if (p.bad_blocks.count(static_cast<uint32_t>(off / kEraseSize)) != 0) return -EIO;
  auto in = static_cast<const uint8_t*>(buf);
  if (!program) {
    memcpy(p.data.data() + off, in, len);
    return static_cast<ssize_t>(len);
  }
  for (size_t i = 0; i < len; ++i) p.data[off + i] &= in[i];
  return static_cast<ssize_t>(len);
}

ssize_t NandFlash::read(uint32_t n, uint64_t off, void* buf, size_t len) {
  Partition& p = parts[n];
  if (off >= p.data.size()) return 0;
  len = std::min<uint64_t>(len, p.data.size() - off);
  memcpy(buf, p.data.data() + off, len);
  return static_cast<ssize_t>(len);
}

std::shared_ptr<NandFlash> nand_flash(Board& board) { return model_at<TavmtdDevice>(board, kTavmtdPath); }

void add_mtd(Board& board) {
  // Boot loader, the partition the switch test writes, kernel, root file system.
  const uint32_t mib = 1 << 20;
  auto flash = std::make_shared<NandFlash>(std::vector<uint32_t>{mib, 4 * mib, 2 * mib, 2 * mib});
  flash->parts[0].erase_counts.assign(flash->parts[0].erase_counts.size(), 3);
  flash->parts[2].erase_counts[5] = 41;
  flash->parts[3].bad_blocks = {7};
  flash->parts[3].corrected = 12;
  flash->parts[3].failed = 1;
  flash->parts[3].bbt_blocks = 4;
  flash->parts[0].locked = true;
  flash->parts[0].intercepts = 2;
  board.add(kTavmtdPath, std::make_shared<TavmtdDevice>(flash));
  for (uint32_t i = 0; i < flash->parts.size(); ++i)
    board.add("/dev/mtd" + std::to_string(i), std::make_shared<MtdCharDevice>(flash, i));
  board.add("/dev/mtdblock1", std::make_shared<MtdBlockDevice>(flash, 1));
  set_nand_part(board, NandPart::NewRevision);
}

void set_nand_part(Board& board, NandPart part) {
  auto flash = nand_flash(board);
  if (flash == nullptr) return;
  std::lock_guard<std::mutex> lock(flash->mu);
  flash->id = {0x2C, 0xDA, 0x90, 0x95, 0x06, 0, 0, 0};
  flash->oob_size = kNewPartOob;
  switch (part) {
    case NandPart::NewRevision:
      break;
    case NandPart::OldRevision:
      flash->oob_size = kOldPartOob;
      break;
    case NandPart::Foreign:
      flash->id = {0xEF, 0xAA, 0x21, 0x00, 0, 0, 0, 0};
      flash->oob_size = 64;
      break;
    case NandPart::TrailingBytes:
      flash->id = {0x2C, 0xDA, 0x90, 0x95, 0x06, 0x00, 0x13, 0x7F};
      break;
  }
}

}  // namespace sim
