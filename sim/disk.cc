#include "disk.h"

#include <errno.h>

#include <cstring>

#include "drivers/ata.h"
#include "drivers/block.h"

namespace sim {

namespace {

void put_string(std::array<uint8_t, 512>& id, size_t at, size_t len, const std::string& text) {
  std::string padded = text;
  padded.resize(len, ' ');
  // Two characters a word, the first in the high byte.
  for (size_t i = 0; i < len; i += 2) {
    id[at + i] = static_cast<uint8_t>(padded[i + 1]);
    id[at + i + 1] = static_cast<uint8_t>(padded[i]);
  }
}

void put_word(std::array<uint8_t, 512>& id, size_t word, uint16_t v) {
  id[2 * word] = static_cast<uint8_t>(v);
  id[2 * word + 1] = static_cast<uint8_t>(v >> 8);
}

void seal_sector(std::array<uint8_t, 512>& s) {
  uint8_t sum = 0;
  for (size_t i = 0; i < 511; ++i) sum = static_cast<uint8_t>(sum + s[i]);
  s[511] = static_cast<uint8_t>(-sum);
}

void record(OpenFile& f, const void* p, size_t n) {
  if (f.request == nullptr) return;
  const auto* b = static_cast<const uint8_t*>(p);
  f.request->bytes.insert(f.request->bytes.end(), b, b + n);
}

}  // namespace

AtaDisk::AtaDisk(std::string model, std::string serial, std::string firmware) {
  put_word(identify, 1, 16383);
  put_word(identify, 3, 16);
  put_word(identify, 5, 0);
  put_word(identify, 6, 63);
  put_string(identify, 20, 20, serial);
  put_word(identify, 21, 8192);
  put_string(identify, 46, 8, firmware);
  put_string(identify, 54, 40, model);
  static const SmartAttribute kHealthy[] = {
      {1, 0x000F, 100, 100, 0, 6},   {3, 0x0003, 97, 97, 0, 0},      {5, 0x0033, 100, 100, 0, 36},
      {9, 0x0032, 98, 98, 1834, 0},  {12, 0x0032, 100, 100, 57, 20}, {194, 0x0022, 64, 52, 36, 0},
      {199, 0x003E, 200, 200, 0, 0},
  };
  set_attributes(kHealthy, static_cast<int>(sizeof kHealthy / sizeof kHealthy[0]));
}

void AtaDisk::set_attributes(const SmartAttribute* attrs, int count) {
  smart_values.fill(0);
  smart_thresholds.fill(0);
  smart_values[0] = 0x10;
  smart_thresholds[0] = 0x10;
  for (int i = 0; i < count && i < 30; ++i) {
    uint8_t* v = &smart_values[2 + 12 * i];
    v[0] = attrs[i].id;
    v[1] = static_cast<uint8_t>(attrs[i].flags);
    v[2] = static_cast<uint8_t>(attrs[i].flags >> 8);
    v[3] = attrs[i].value;
    v[4] = attrs[i].worst;
    for (int k = 0; k < 6; ++k) v[5 + k] = static_cast<uint8_t>(attrs[i].raw >> (8 * k));
    uint8_t* t = &smart_thresholds[2 + 12 * i];
    t[0] = attrs[i].id;
    t[1] = attrs[i].threshold;
  }
  seal();
}

void AtaDisk::set_security(uint16_t status) { put_word(identify, 128, status); }

uint16_t AtaDisk::security() const { return static_cast<uint16_t>(identify[256] | identify[257] << 8); }

void AtaDisk::seal() {
  seal_sector(smart_values);
  seal_sector(smart_thresholds);
}

int AtaDisk::ioctl(OpenFile& f, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(mu_);
  auto* buf = static_cast<uint8_t*>(arg);
  switch (request) {
    case tav::HDIO_DRIVE_CMD:
      return answers_hdio ? drive_cmd(f, buf) : -EINVAL;
    case tav::HDIO_DRIVE_TASK:
      return answers_hdio ? drive_task(f, buf) : -EINVAL;
    case tav::HDIO_DRIVE_TASKFILE:
      return answers_hdio ? taskfile(f, buf) : -EINVAL;
    case tav::SG_IO:
      return answers_sg ? sg_io(f, arg) : -EINVAL;
    case tav::HDIO_GET_IDENTITY:
      // The kernel hands the words over as the disk sent them.
      if (!answers_hdio) return -EINVAL;
      memcpy(arg, identify.data(), identify.size());
      return 0;
    case tav::BLKGETSIZE: {
      if (!answers_size) return -ENOTTY;
      unsigned long sectors = static_cast<unsigned long>(size_bytes / 512);
      memcpy(arg, &sectors, sizeof sectors);
      return 0;
    }
    case tav::BLKGETSIZE64:
      if (!answers_size) return -ENOTTY;
      memcpy(arg, &size_bytes, sizeof size_bytes);
      return 0;
    default:
      return -ENOTTY;
  }
}

bool AtaDisk::plain_command(uint8_t cmd, uint8_t* data) {
  switch (cmd) {
    case 0xE0:
      standby = true;
      return true;
    case 0xE7:
      ++flushes;
      return true;
    case 0xEC:
      standby = false;
      if (data != nullptr) memcpy(data, identify.data(), 512);
      return true;
    default:
      return false;
  }
}

bool AtaDisk::smart_switch(uint8_t feature) {
  if (feature != 0xD8 && feature != 0xD9) return false;
  smart_enabled = feature == 0xD8;
  return true;
}

int AtaDisk::drive_cmd(OpenFile& f, uint8_t* buf) {
  record(f, buf, 4);
  uint8_t* data = buf + 4;
  if (plain_command(buf[0], data)) return 0;
  if (buf[0] != 0xB0) return -EIO;
  if (smart_switch(buf[2])) return 0;
  switch (buf[2]) {
    case 0xD0:
      if (!smart_enabled) return -EIO;
      memcpy(data, smart_values.data(), 512);
      return 0;
    case 0xD1:
      if (!smart_enabled) return -EIO;
      memcpy(data, smart_thresholds.data(), 512);
      return 0;
    case 0xD4:
      return smart_enabled ? 0 : -EIO;
    case 0xD5:
      memset(data, 0, 512);
      return 0;
    default:
      return -EIO;
  }
}

int AtaDisk::drive_task(OpenFile& f, uint8_t* regs) {
  record(f, regs, tav::kDriveTaskSize);
  if (regs[0] != 0xB0 || !smart_enabled) return -EIO;
  uint8_t feature = regs[1];
  if (feature != 0xD2 && feature != 0xDA && feature != 0xDB) return -EIO;
  bool bad = feature == 0xDA && threshold_exceeded;
  const uint8_t back[tav::kDriveTaskSize] = {
      0x50, 0, 0, 0, static_cast<uint8_t>(bad ? 0xF4 : 0x4F), static_cast<uint8_t>(bad ? 0x2C : 0xC2), 0xA0};
  memcpy(regs, back, sizeof back);
  return 0;
}

int AtaDisk::taskfile(OpenFile& f, uint8_t* buf) {
  tav::AtaTaskRequest req;
  memcpy(&req, buf, sizeof req);
  size_t data = req.req_cmd == 15 ? tav::kKeyAreaRecordSize : static_cast<size_t>(req.out_size);
  if (data > tav::kTaskfileSize - sizeof req) return -EINVAL;
  record(f, buf, sizeof req + data);
  if (req.req_cmd == 15) {
    memcpy(key_record.data(), buf + sizeof req, key_record.size());
    return 0;
  }
  return req.io_ports[7] == 0xB0 && req.io_ports[1] == 0xD6 ? 0 : -EIO;
}

int AtaDisk::sg_io(OpenFile& f, void* arg) {
  tav::SgIoHdr* hdr = static_cast<tav::SgIoHdr*>(arg);
  if (hdr->interface_id != 'S' || hdr->cmdp == nullptr || hdr->cmd_len < 6) return -EINVAL;
  const uint8_t* cdb = hdr->cmdp;
  record(f, cdb, hdr->cmd_len);
  if (hdr->dxfer_direction == tav::SG_DXFER_TO_DEV && hdr->dxferp != nullptr) record(f, hdr->dxferp, hdr->dxfer_len);
  hdr->status = 0;
  hdr->host_status = sg_host_status;
  if (sg_host_status != 0) return 0;
  auto* data = static_cast<uint8_t*>(hdr->dxferp);
  auto give = [&](const uint8_t* src, size_t n) {
    if (data != nullptr) memcpy(data, src, n < hdr->dxfer_len ? n : hdr->dxfer_len);
  };
  if (cdb[0] == tav::kKeyAreaScsiCmd) {
    if (hdr->dxfer_len != key_area.size() || data == nullptr) return -EINVAL;
    memcpy(key_area.data(), data, key_area.size());
    return 0;
  }
  if (cdb[0] != tav::kAtaPassThrough16) return -EINVAL;
  if (cdb[14] == 0xF2) {  // SECURITY UNLOCK
    if (data == nullptr || hdr->dxfer_len < 34) return -EINVAL;
    if (memcmp(data + 2, security_password.data(), security_password.size()) != 0) {
      hdr->status = 2;  // CHECK CONDITION: the disk stays locked
      return 0;
    }
    set_security(static_cast<uint16_t>(security() & ~4u));
    return 0;
  }
  if (plain_command(cdb[14], hdr->dxfer_len >= 512 ? data : nullptr)) return 0;
  if (cdb[14] != 0xB0) {
    hdr->status = 2;  // CHECK CONDITION
    return 0;
  }
  if (smart_switch(cdb[4])) return 0;
  switch (cdb[4]) {
    case 0xD0:
      give(smart_values.data(), 512);
      return 0;
    case 0xD1:
      give(smart_thresholds.data(), 512);
      return 0;
    case 0xDA: {
      uint8_t status[8] = {sg_status_byte};
      give(status, sizeof status);
      return 0;
    }
    default:
      return 0;
  }
}

}  // namespace sim
