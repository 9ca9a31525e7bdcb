#include "devices.h"

#include <errno.h>

#include "block.h"
#include "ded.h"
#include "disk.h"
#include "emmc.h"
#include "env.h"
#include "i2c.h"
#include "mii.h"
#include "mmz.h"
#include "mtd.h"
#include "net_drivers.h"
#include "perf_counters.h"
#include "peripherals.h"
#include "serial.h"
#include "spi.h"
#include "storage.h"
#include "switch.h"
#include "tavio.h"
#include "usb.h"

namespace sim {

ssize_t MemDevice::pread(OpenFile&, void* buf, size_t n, off_t off) {
  if (off < 0 || static_cast<uint64_t>(off) >= PhysMem::kSize) return 0;
  n = std::min<uint64_t>(n, PhysMem::kSize - static_cast<uint64_t>(off));
  mem_.read(static_cast<uint64_t>(off), buf, n);
  return static_cast<ssize_t>(n);
}

ssize_t MemDevice::pwrite(OpenFile&, const void* buf, size_t n, off_t off) {
  if (off < 0 || static_cast<uint64_t>(off) >= PhysMem::kSize) return -ENXIO;
  n = std::min<uint64_t>(n, PhysMem::kSize - static_cast<uint64_t>(off));
  mem_.write(static_cast<uint64_t>(off), buf, n);
  return static_cast<ssize_t>(n);
}

ssize_t MemDevice::read(OpenFile& f, void* buf, size_t n) {
  ssize_t rc = pread(f, buf, n, f.pos);
  if (rc > 0) f.pos += rc;
  return rc;
}

ssize_t MemDevice::write(OpenFile& f, const void* buf, size_t n) {
  ssize_t rc = pwrite(f, buf, n, f.pos);
  if (rc > 0) f.pos += rc;
  return rc;
}

void* MemDevice::mmap(OpenFile& f, size_t len, int prot, int flags, off_t off, int* err) {
  if ((flags & MAP_SHARED) == 0 || (off & 0xFFF) != 0) {
    *err = EINVAL;
    return MAP_FAILED;
  }
  if ((prot & PROT_WRITE) && (f.flags & O_ACCMODE) == O_RDONLY) {
    *err = EACCES;
    return MAP_FAILED;
  }
  return mem_.map(static_cast<uint64_t>(off), len, prot, err);
}

std::unique_ptr<Board> make_default_board() {
  auto board = std::make_unique<Board>();
  board->add("/dev/mem", std::make_shared<MemDevice>(board->mem()));
  board->add("/dev/sda", std::make_shared<AtaDisk>("TAV HD2000 2TB", "WD-TAV0000001", "01.01A01"));
  board->add("/dev/sdb", std::make_shared<AtaDisk>("TAV HD4000 4TB", "WD-TAV0000002", "01.01A02"));
  add_storage(*board);
  add_tavio(*board);
  add_i2c_devices(*board);
  add_spi_devices(*board);
  add_mii_devices(*board);
  add_date_chip(*board, 25, 11, 7);
  add_perf_counters(*board);
  board->add("/dev/sdc", std::make_shared<BlockDevice>(board->clock(), uint64_t{2} << 40));
  add_peripherals(*board);
  add_serial_ports(*board);
  add_net_drivers(*board);
  add_env(*board);
  add_ded(*board);
  add_switch(*board);
  add_mtd(*board);
  add_mmz(*board);
  add_usb(*board);
  add_emmc(*board);
  return board;
}

}  // namespace sim
