// The one-command ATA wrappers the storage items use, over the legacy IDE
// requests or SG_IO.
#pragma once

#include <cstdint>

#include "drivers/ata.h"
#include "drivers/block.h"

namespace tav {

// Sends a 16-byte CDB with a data-out block over SG_IO, with no sense buffer.
int sg_data_out(int fd, uint8_t* cdb, void* data, uint32_t length, uint32_t flags);

// HDIO transport: 0 success, 1 threshold exceeded (0xD2, 0xDA, 0xDB), -1 failure.
int ata_command_interface(int fd, int cmd, void* data);
// SG_IO transport: the ioctl result, a SMART status code 1-3 (0xDA), a SCSI
// host state 4, 5, 14 or 15, or -1.
int sata_command_interface(int fd, int cmd, void* arg);

int ata_standby_immediate(const char* path);
int ata_flush_cache(const char* path);
int read_smart_values(const char* path, void* buffer);
int read_smart_thresholds(const char* path, void* buffer);
int sata_status_smart(const char* path);
int enable_smart(const char* path);
int disable_smart(const char* path);
int get_identify_result(const char* path, void* buffer);
int SetAtaKeyArea(const char* path, const uint8_t* first_half, const uint8_t* second_half, uint8_t slot);
// The IO control device's 128-byte exception record of /dev/sd<letter>.
int get_hdisk_exception(const char* path, uint8_t* record);

}  // namespace tav
