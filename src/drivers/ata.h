// ATA commands over the kernel's legacy IDE requests and over SG_IO with
// ATA PASS-THROUGH(16): command codes and records.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

// Command codes of both dispatchers.
enum AtaCmd : int {
  ATA_KEY_AREA = 0x00,
  SMART_READ_VALUES = 0xD0,
  SMART_READ_THRESHOLDS = 0xD1,
  SMART_AUTOSAVE = 0xD2,
  SMART_IMMEDIATE_OFFLINE = 0xD4,
  SMART_READ_LOG = 0xD5,
  SMART_WRITE_LOG = 0xD6,
  SMART_ENABLE = 0xD8,
  SMART_DISABLE = 0xD9,
  SMART_STATUS = 0xDA,
  SMART_AUTO_OFFLINE = 0xDB,
  ATA_STANDBY_IMMEDIATE = 0xE0,
  ATA_FLUSH_CACHE = 0xE7,
  ATA_IDENTIFY_DEVICE = 0xEC,
};

constexpr size_t kAtaSector = 512;
constexpr size_t kDriveCmdSize = 4 + kAtaSector;
constexpr size_t kDriveTaskSize = 7;
constexpr size_t kKeyAreaRecordSize = 36;

// HDIO_DRIVE_TASKFILE request header; the data area follows at offset 48.
struct AtaTaskRequest {
  uint8_t io_ports[8];  // data, feature, nsector, lbal, lbam, lbah, select, command
  uint8_t hob_ports[8];
  uint32_t out_flags;
  uint32_t in_flags;
  int32_t data_phase;
  int32_t req_cmd;
  uint64_t out_size;
  uint64_t in_size;
};
static_assert(sizeof(AtaTaskRequest) == 48, "task request header");
static_assert(offsetof(AtaTaskRequest, data_phase) == 24 && offsetof(AtaTaskRequest, out_size) == 32,
              "task request field offsets");
constexpr size_t kTaskfileSize = 560;

// The SCSI generic request header.
struct SgIoHdr {
  int32_t interface_id;
  int32_t dxfer_direction;
  uint8_t cmd_len;
  uint8_t mx_sb_len;
  uint16_t iovec_count;
  uint32_t dxfer_len;
  void* dxferp;
  uint8_t* cmdp;
  void* sbp;
  uint32_t timeout;
  uint32_t flags;
  int32_t pack_id;
  void* usr_ptr;
  uint8_t status;
  uint8_t masked_status;
  uint8_t msg_status;
  uint8_t sb_len_wr;
  uint16_t host_status;
  uint16_t driver_status;
  int32_t resid;
  uint32_t duration;
  uint32_t info;
};
static_assert(sizeof(SgIoHdr) == 88, "sg_io_hdr on LP64");
static_assert(offsetof(SgIoHdr, dxferp) == 16 && offsetof(SgIoHdr, timeout) == 40 &&
                  offsetof(SgIoHdr, host_status) == 68,
              "sg_io_hdr field offsets");
constexpr int SG_DXFER_NONE = -1;
constexpr int SG_DXFER_TO_DEV = -2;
constexpr int SG_DXFER_FROM_DEV = -3;
constexpr uint8_t kAtaPassThrough16 = 0x85;
constexpr uint8_t kKeyAreaScsiCmd = 0x0C;
constexpr size_t kKeyAreaParamSize = 80;

}  // namespace tav
