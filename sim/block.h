// A block device node with a size: answers the capacity requests, the buffer
// flush, seeks, reads and writes. Data is not kept unless asked (reads give
// zeros, writes are counted), so a 2 TiB disk costs nothing; kept data is
// sparse, held only where written.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "board.h"

namespace sim {

// Direct transfers must be whole sectors, at sector-aligned offsets and buffers.
bool direct_misaligned(const OpenFile& f, const void* buf, size_t n);

class BlockDevice final : public Device {
 public:
  static constexpr uint64_t kDefaultRate = uint64_t{200} << 20;  // bytes per second

  BlockDevice(Clock& clock, uint64_t bytes, uint64_t bytes_per_second = kDefaultRate);

  // Each transfer costs its length at this rate, charged to the calling
  // thread's own clock (Clock::spend_here): threads working side by side each
  // see their own transfers take exactly that long, whatever the host does,
  // and nobody waits on the virtual clock, so nothing can deadlock.
  void set_rate(uint64_t bytes_per_second);
  // The first transfer of each descriptor waits until n descriptors have
  // made one, so a test knows n threads work side by side (none has finished
  // before the last has started). A guard ends the wait after 30 s.
  void hold_first_transfers(int n);

  // Written bytes are kept and read back from here on.
  void keep_data();
  // The medium's bytes at off (zeros where never written).
  void peek(uint64_t off, void* out, size_t n) const;
  void poke(uint64_t off, const void* in, size_t n);
  // Offsets of the pieces ever written, in order, each kChunk long.
  std::vector<uint64_t> written_offsets() const;
  static constexpr uint64_t kChunk = 64 * 1024;

  uint64_t bytes_read() const;
  uint64_t bytes_written() const;
  uint64_t flushes() const;

  int open(OpenFile& f) override;
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  off_t lseek(OpenFile& f, off_t off, int whence) override;
  off_t size() override { return static_cast<off_t>(bytes_); }
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

 private:
  // Checks a transfer, clips it at the end, waits at the gate and charges its time.
  ssize_t transfer(OpenFile& f, const void* buf, size_t n, bool writing);

  // Called with mu_ held.
  void copy_out(uint64_t off, uint8_t* out, size_t n) const;
  void copy_in(uint64_t off, const uint8_t* in, size_t n);

  Clock& clock_;
  const uint64_t bytes_;
  bool keep_ = false;
  std::map<uint64_t, std::vector<uint8_t>> chunks_;  // chunk index -> kChunk bytes
  uint64_t flushes_ = 0;
  mutable std::mutex mu_;
  std::condition_variable gate_cv_;
  uint64_t rate_;
  uint64_t read_ = 0;
  uint64_t written_ = 0;
  int gate_ = 0;     // descriptors to wait for
  int arrived_ = 0;  // descriptors that made their first transfer
};

}  // namespace sim
