// The board's SATA control device, disk power device and disk buffer device:
// the records they exchange.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kStoragePath = "/dev/tavstorage";
constexpr const char* kHdpmPath = "/dev/tavhdpm";
constexpr const char* kBuffctlPath = "/dev/tavbuffctl";

struct ErrRequest {
  int32_t err_type;
  int32_t err_count;
  int32_t cmd_type;
  uint8_t reserved0[4];
  int64_t sector;
  uint8_t reserved1[8];
};
static_assert(sizeof(ErrRequest) == 32 && offsetof(ErrRequest, sector) == 16, "error request");

struct ResetCount {
  int32_t count;
  uint8_t reserved0[4];
  int64_t last_reset_time;
  uint8_t reserved1[264];
};
static_assert(sizeof(ResetCount) == 280 && offsetof(ResetCount, last_reset_time) == 8, "reset count");

struct PortStatus {
  int32_t readErr;  // carries the port index in
  int32_t writeErr;
  int32_t keyAreaErr;
  int32_t lbaOverflow;
  int32_t NoReady;
  int32_t BSYCount;
  int32_t DRQSetErr;
  int32_t hdStatus;
  int32_t retryCmdCount;
  int32_t abortCmdCount;
  int32_t CmdAborted;
  int32_t CmdOverUnknown;
  int32_t CmdOverErr;
  int32_t BadSCSICmdParam;
  int32_t UAReset;
  int32_t UAParamChanged;
  int32_t QueueFull;
  int32_t OverRun;
  int32_t UnderRun;
  int32_t ParityErr;
  int32_t BadSCSICmdResult;
  int32_t reserved0;
  int32_t RecoverableErr;
  int32_t DeviceFault;
  int32_t SerrInt;
  int32_t LinkCtlRxErr;
  int32_t LinkCtlTxErr;
  int32_t serror[17];     // RecovData .. DevExch
  int32_t completion[9];  // HostBusError .. UnknownError
  int32_t reserved1;
  int64_t accessTime;
  uint8_t reserved2[16];
};
static_assert(sizeof(PortStatus) == 240 && offsetof(PortStatus, accessTime) == 216 &&
                  offsetof(PortStatus, serror) == 108 && offsetof(PortStatus, completion) == 176,
              "port status");
constexpr int32_t kHdAbnormalBits = 0x3;
constexpr int32_t kHdNoDiskBit = 0x2;
constexpr int32_t kHdIdleBit = 0x4;

struct PasswordRequest {
  uint32_t disk_index;
  uint32_t serial_length;
  char serial[16];
  uint8_t password[32];
};
static_assert(sizeof(PasswordRequest) == 56 && offsetof(PasswordRequest, password) == 24, "password record");

struct BufferRecord {
  char name[32];
  uint32_t size_mb;
};
static_assert(sizeof(BufferRecord) == 36, "buffer record");

constexpr int kPorts = 20;

}  // namespace tav
