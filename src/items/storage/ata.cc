#include "items/storage/ata.h"

#include <errno.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "items/io/tavio.h"
#include "sys/sys.h"

namespace tav {

namespace {

// Drive-cmd rows: argument bytes [0] command, [1] sector number, [2] feature,
// [3] sector count, and how many data bytes come back.
struct DriveCmdRow {
  int cmd;
  uint8_t args[4];
  size_t data;
};
constexpr DriveCmdRow kDriveCmd[] = {
    {SMART_READ_VALUES, {0xB0, 0, 0xD0, 1}, kAtaSector},
    {SMART_READ_THRESHOLDS, {0xB0, 1, 0xD1, 1}, kAtaSector},
    {SMART_IMMEDIATE_OFFLINE, {0xB0, 0, 0xD4, 0}, 0},
    {SMART_READ_LOG, {0xB0, 0, 0xD5, 1}, kAtaSector},
    {SMART_ENABLE, {0xB0, 1, 0xD8, 0}, 0},
    {SMART_DISABLE, {0xB0, 1, 0xD9, 0}, 0},
    {ATA_STANDBY_IMMEDIATE, {0xE0, 0, 0, 0}, 0},
    {ATA_FLUSH_CACHE, {0xE7, 0, 0, 0}, 0},
    {ATA_IDENTIFY_DEVICE, {0xEC, 0, 0, 1}, kAtaSector},
};

constexpr uint8_t kSmartCmd = 0xB0;
constexpr uint8_t kSmartLbaMid = 0x4F;
constexpr uint8_t kSmartLbaHigh = 0xC2;
constexpr uint8_t kExceededMid = 0xF4;
constexpr uint8_t kExceededHigh = 0x2C;
// KEPT: the request's result itself is compared with -EINVAL (an ioctl
// returns -1 and sets errno), so these explanations print only where a
// backend returns the error number as the result.
constexpr int kIoctlEinval = -EINVAL;

int drive_task(int fd, int cmd) {
  uint8_t regs[kDriveTaskSize] = {kSmartCmd, static_cast<uint8_t>(cmd), 0, 0, kSmartLbaMid, kSmartLbaHigh, 0};
  int rc = sys::ioctl(fd, HDIO_DRIVE_TASK, regs);
  if (rc != 0) {
    puts(rc == kIoctlEinval ? "Error SMART Status command via HDIO_DRIVE_TASK failed"
                            : "Error SMART Status command failed");
    return -1;
  }
  if (regs[4] == kSmartLbaMid && regs[5] == kSmartLbaHigh) return 0;
  if (regs[4] == kExceededMid && regs[5] == kExceededHigh) return 1;
  puts("Error SMART Status command failed");
  puts("Register values returned from SMART Status command are:");
  static const char* const kNames[] = {"ST =", "ERR=", "NS =", "SC =", "CL =", "CH =", "SEL="};
  for (size_t i = 0; i < kDriveTaskSize; ++i) printf("%s0x%02x\n", kNames[i], regs[i]);
  return -1;
}

int drive_taskfile(int fd, int cmd, const void* data) {
  uint8_t buf[kTaskfileSize] = {};
  AtaTaskRequest req = {};
  if (cmd == SMART_WRITE_LOG) {
    req.io_ports[1] = SMART_WRITE_LOG;
    req.io_ports[2] = 1;
    req.io_ports[4] = kSmartLbaMid;
    req.io_ports[5] = kSmartLbaHigh;
    req.io_ports[7] = kSmartCmd;
    req.data_phase = 4;  // task-file out
    req.req_cmd = 3;     // task out
    req.out_size = kAtaSector;
    if (data != nullptr) memcpy(buf + sizeof req, data, kAtaSector);
  } else {
    req.data_phase = 1;
    req.req_cmd = 15;  // understood only by this board's disk driver
    req.in_size = kKeyAreaRecordSize;
    if (data != nullptr) memcpy(buf + sizeof req, data, kKeyAreaRecordSize);
  }
  memcpy(buf, &req, sizeof req);
  int rc = sys::ioctl(fd, HDIO_DRIVE_TASKFILE, buf);
  if (rc == 0) return 0;
  if (rc == kIoctlEinval)
    puts("Kernel lacks HDIO_DRIVE_TASKFILE support; \ncompile kernel with CONFIG_IDE_TASKFILE_IO set");
  return -1;
}

// The SMART commands of the pass-through table; the others carry only their code.
bool sg_accepts(int cmd) {
  switch (cmd) {
    case SMART_READ_VALUES:
    case SMART_READ_THRESHOLDS:
    case SMART_AUTOSAVE:
    case SMART_IMMEDIATE_OFFLINE:
    case SMART_ENABLE:
    case SMART_DISABLE:
    case SMART_STATUS:
    case ATA_STANDBY_IMMEDIATE:
    case ATA_FLUSH_CACHE:
    case ATA_IDENTIFY_DEVICE:
      return true;
    default:
      return false;
  }
}

bool is_smart(int cmd) { return cmd >= SMART_READ_VALUES && cmd <= SMART_AUTO_OFFLINE; }

int open_disk(const char* path) {
  int fd = sys::open(path, O_RDWR | O_NONBLOCK);
  if (fd < 0) printf("open %s failed\n", path);
  return fd;
}

// Opens path, sends one command over the IDE transport and closes it.
int one_command(const char* path, int cmd, void* data, const char* what, bool needs_data = false) {
  if (path == nullptr) {
    printf("%s is NULL\n", "device name");
    return -1;
  }
  if (needs_data && data == nullptr) {
    printf("%s is NULL\n", "data buffer");
    return -1;
  }
  int fd = open_disk(path);
  if (fd < 0) return -1;
  int rc = ata_command_interface(fd, cmd, data);
  if (rc < 0) printf("send %s command, return %d\n", what, rc);
  sys::close(fd);
  return rc;
}

void swap_words(uint8_t* p, size_t from, size_t to) {
  for (size_t i = from; i + 1 < to; i += 2) {
    uint8_t t = p[i];
    p[i] = p[i + 1];
    p[i + 1] = t;
  }
}

}  // namespace

int ata_command_interface(int fd, int cmd, void* data) {
  for (const DriveCmdRow& row : kDriveCmd) {
    if (row.cmd != cmd) continue;
    uint8_t buf[kDriveCmdSize] = {};
    memcpy(buf, row.args, sizeof row.args);
    if (sys::ioctl(fd, HDIO_DRIVE_CMD, buf) != 0) return -1;
    if (row.data != 0 && data != nullptr) memcpy(data, buf + 4, row.data);
    return 0;
  }
  switch (cmd) {
    case SMART_AUTOSAVE:
    case SMART_STATUS:
    case SMART_AUTO_OFFLINE:
      return drive_task(fd, cmd);
    case ATA_KEY_AREA:
    case SMART_WRITE_LOG:
      return drive_taskfile(fd, cmd, data);
    default:
      printf("Unrecognized command %d\n", cmd);
      errno = ENOSYS;
      return -1;
  }
}

int sata_command_interface(int fd, int cmd, void* arg) {
  if (fd <= 0) {
    printf("file description error %d\n", fd);
    return -1;
  }
  SgIoHdr hdr = {};
  uint8_t cdb[16] = {};
  uint8_t sense[32] = {};
  uint8_t data[kAtaSector] = {};
  if (!sg_accepts(cmd)) {
    puts("vailable scsi_cmnd_io");
    return -1;
  }
  const bool returns_sector = cmd == SMART_READ_VALUES || cmd == SMART_READ_THRESHOLDS || cmd == ATA_IDENTIFY_DEVICE;
  if (returns_sector && arg == nullptr) {
    puts("传入参数arg有误!");
    return -1;
  }
  const auto number = reinterpret_cast<uintptr_t>(arg);
  cdb[0] = kAtaPassThrough16;
  cdb[14] = static_cast<uint8_t>(is_smart(cmd) ? kSmartCmd : cmd);
  if (is_smart(cmd)) {
    cdb[4] = static_cast<uint8_t>(cmd);
    if (cmd == SMART_AUTOSAVE) cdb[6] = number != 0 ? 0xF1 : 0;
    if (cmd == SMART_IMMEDIATE_OFFLINE) cdb[6] = static_cast<uint8_t>(number);
    cdb[8] = 1;
    cdb[10] = kSmartLbaMid;
    cdb[12] = kSmartLbaHigh;
    cdb[13] = 0x40;
  }
  hdr.interface_id = 'S';
  hdr.dxfer_direction = (returns_sector || cmd == SMART_STATUS) ? SG_DXFER_FROM_DEV : SG_DXFER_NONE;
  hdr.cmd_len = sizeof cdb;
  hdr.mx_sb_len = sizeof sense;
  hdr.dxfer_len = returns_sector ? kAtaSector : cmd == SMART_STATUS ? 8 : 0;
  hdr.dxferp = data;
  hdr.cmdp = cdb;
  hdr.sbp = sense;
  hdr.flags = 1;  // direct I/O
  int rc = sys::ioctl(fd, SG_IO, &hdr);
  if (rc < 0) {
    printf("sata command %#x return %d\n", static_cast<unsigned>(cmd), rc);
    return -1;
  }
  switch (hdr.host_status) {
    case 4:
      puts(" BAD target. ");
      return 4;
    case 5:
      puts("Abort for some other reason. ");
      return 5;
    case 14:
    case 15:
      puts("BUS stayed busy through time out period. ");
      return hdr.host_status;
    default:
      break;
  }
  switch (cmd) {
    case SMART_READ_VALUES:
    case SMART_READ_THRESHOLDS: {
      uint8_t sum = 0;
      for (uint8_t b : data) sum = static_cast<uint8_t>(sum + b);
      if (sum != 0) puts("Invalid checksum of SMART data.");
      memcpy(arg, data, kAtaSector);
      return rc;
    }
    case ATA_IDENTIFY_DEVICE:
      memcpy(arg, data, kAtaSector);
      return rc;
    case SMART_STATUS:
      return data[0] == 1 ? 1 : data[0] == 2 ? 2 : 3;
    default:
      return rc;
  }
}

int ata_standby_immediate(const char* path) {
  return one_command(path, ATA_STANDBY_IMMEDIATE, nullptr, "STANDBY IMMEDIATE");
}

int ata_flush_cache(const char* path) { return one_command(path, ATA_FLUSH_CACHE, nullptr, "FLUSH CACHE"); }

int read_smart_values(const char* path, void* buffer) {
  return one_command(path, SMART_READ_VALUES, buffer, "SMART READ VALUES", true);
}

int read_smart_thresholds(const char* path, void* buffer) {
  return one_command(path, SMART_READ_THRESHOLDS, buffer, "SMART READ THRESHOLDS", true);
}

int sata_status_smart(const char* path) { return one_command(path, SMART_STATUS, nullptr, "SMART RETURN STATUS"); }

int disable_smart(const char* path) { return one_command(path, SMART_DISABLE, nullptr, "SMART DISABLE"); }

int enable_smart(const char* path) {
  if (path == nullptr) {
    printf("%s is NULL\n", "device name");
    return -1;
  }
  // KEPT: a scratch block allocated only for the message its failure gives.
  void* scratch = malloc(kAtaSector);
  if (scratch == nullptr) {
    puts("malloc failed");
    return -1;
  }
  int rc = -1;
  int fd = open_disk(path);
  if (fd >= 0) {
    rc = ata_command_interface(fd, SMART_ENABLE, nullptr);
    if (rc < 0) {
      printf("send %s command, return %d\n", "SMART ENABLE", rc);
    } else {
      rc = ata_command_interface(fd, SMART_AUTOSAVE, reinterpret_cast<void*>(uintptr_t{1}));
      if (rc < 0) printf("send %s command, return %d\n", "SMART AUTOSAVE", rc);
    }
    sys::close(fd);
  }
  free(scratch);
  return rc;
}

int get_identify_result(const char* path, void* buffer) {
  int rc = one_command(path, ATA_IDENTIFY_DEVICE, buffer, "IDENTIFY DEVICE", true);
  if (path == nullptr || buffer == nullptr) return rc;
  // ATA strings hold two characters a word, high byte first; swapped even
  // when the command failed.
  auto* id = static_cast<uint8_t*>(buffer);
  swap_words(id, 20, 40);
  swap_words(id, 54, 94);
  swap_words(id, 46, 54);
  return rc;
}

int SetAtaKeyArea(const char* path, const uint8_t* first_half, const uint8_t* second_half, uint8_t slot) {
  if (path == nullptr || first_half == nullptr || second_half == nullptr) {
    printf("%s is NULL\n", path == nullptr ? "device name" : "key");
    return -1;
  }
  int fd = sys::open(path, O_RDWR | O_NONBLOCK);
  if (fd <= 0) {
    printf("open %s failed\n", path);
    return -1;
  }
  uint8_t param[kKeyAreaParamSize] = {};
  param[0] = 'w';
  param[1] = slot;
  for (int g = 0; g < 4; ++g) {
    memcpy(param + 16 + 16 * g, first_half + 8 * g, 8);
    memcpy(param + 16 + 16 * g + 8, second_half + 8 * g, 8);
  }
  uint8_t cdb[16] = {};
  cdb[0] = kKeyAreaScsiCmd;
  cdb[4] = kKeyAreaParamSize;
  int rc = sg_data_out(fd, cdb, param, kKeyAreaParamSize, 1);
  if (rc < 0) {
    printf("SetAtaKeyArea return %d\n", rc);
    return -1;  // KEPT: the descriptor is left open
  }
  sys::close(fd);
  return 0;
}

int sg_data_out(int fd, uint8_t* cdb, void* data, uint32_t length, uint32_t flags) {
  SgIoHdr hdr = {};
  hdr.interface_id = 'S';
  hdr.dxfer_direction = SG_DXFER_TO_DEV;
  hdr.cmd_len = 16;
  hdr.dxfer_len = length;
  hdr.dxferp = data;
  hdr.cmdp = cdb;
  hdr.flags = flags;
  return sys::ioctl(fd, SG_IO, &hdr);
}

int get_hdisk_exception(const char* path, uint8_t* record) {
  if (path == nullptr || record == nullptr) {
    printf("%s is NULL\n", path == nullptr ? "device name" : "HDISK_EXC struct");
    return -1;
  }
  // /dev/sd followed by one letter: the letter names the disk.
  const int64_t index = strlen(path) > 7 ? static_cast<int64_t>(path[7] - 'a') : 0;
  if (index > 7) {
    printf("bad device name: %s\n", path);
    return -1;
  }
  auto* buf = static_cast<uint8_t*>(calloc(1, sizeof(HdiskExcBuffer)));
  if (buf == nullptr) {
    puts("malloc buffer failed");
    return -1;
  }
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 0) {
    puts("open /dev/tavio failed");
    free(buf);
    return -1;
  }
  memcpy(buf, &index, sizeof index);
  int rc = sys::ioctl(fd, TAVIO_GET_HDISK_EXC, buf);
  if (rc < 0)
    printf("get hard drive exceptions, return %d\n", rc);  // and the record stays as it was
  else
    memcpy(record, buf + kHdiskExcRecordOffset, kHdiskExcRecordSize);
  sys::close(fd);
  free(buf);
  return 0;
}

}  // namespace tav
