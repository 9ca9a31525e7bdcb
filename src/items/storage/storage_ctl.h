// The storage items' shared steps on the SATA control device.
#pragma once

#include <cstdint>

#include "drivers/storage.h"

namespace tav {

// One entry a port, shared by the scan and the power test.
struct DiskEntry {
  int32_t present;
  int32_t selected;
};

// Waits for the controller's disk scan, then marks the selected ports that
// hold a usable disk. Returns 0.
int storage_scan(int fd, DiskEntry* table);
// Port index of the SSD named in the controller's /proc file, or -1.
int get_ssd_index();
// Model (24 bytes) and capacity in GiB of /dev/<name>; 0 or -1.
int get_slot_info(const char* name, char* model, uint32_t* capacity);
// The version date read from the date chip on I2C bus 0.
int version_date_report();

}  // namespace tav
