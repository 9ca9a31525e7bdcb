// Disk read/write performance: reader and writer threads, each pinned to a
// CPU, time sequential transfers on their own regions of a block device.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

// Shared by the controller and every thread; zeroed before parsing.
struct DiskPerfCmd {
  uint16_t read_threads;
  uint16_t write_threads;
  uint64_t block_size;   // bytes per call
  uint64_t block_count;  // calls per thread
  uint64_t range_GB;     // each thread's region, GiB
  uint8_t direct;        // 1: O_DIRECT
  char path[39];
};
static_assert(offsetof(DiskPerfCmd, block_size) == 8 && offsetof(DiskPerfCmd, range_GB) == 24 &&
                  offsetof(DiskPerfCmd, direct) == 32 && offsetof(DiskPerfCmd, path) == 33,
              "DiskPerfCmd layout");

// Speed in MiB/s of bytes moved in usec microseconds, as an integer part and
// a micro part. A zero time gives all ones and prints an ERROR line.
uint64_t disk_speed_integer(uint64_t bytes, uint64_t usec);
uint64_t disk_speed_micro(uint64_t bytes, uint64_t usec);

}  // namespace tav
