// Device models of the simulated board.
#pragma once

#include <memory>

#include "board.h"

namespace sim {

// /dev/mem: maps, reads and writes the board's physical memory.
class MemDevice final : public Device {
 public:
  explicit MemDevice(PhysMem& mem) : mem_(mem) {}
  ssize_t pread(OpenFile&, void* buf, size_t n, off_t off) override;
  ssize_t pwrite(OpenFile&, const void* buf, size_t n, off_t off) override;
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  off_t size() override { return static_cast<off_t>(PhysMem::kSize); }
  void* mmap(OpenFile&, size_t len, int prot, int flags, off_t off, int* err) override;

 private:
  PhysMem& mem_;
};

// A healthy board with every device model registered at its node.
std::unique_ptr<Board> make_default_board();

}  // namespace sim
