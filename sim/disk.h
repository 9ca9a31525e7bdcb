// An ATA disk behind a block-device node: answers IDENTIFY, SMART data and
// thresholds, RETURN STATUS, standby and flush over both the IDE ioctls and
// SG_IO with ATA PASS-THROUGH(16), and keeps what the key-area command sent.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "board.h"

namespace sim {

struct SmartAttribute {
  uint8_t id;
  uint16_t flags;
  uint8_t value;
  uint8_t worst;
  uint64_t raw;  // six bytes are kept
  uint8_t threshold;
};

class AtaDisk final : public Device {
 public:
  AtaDisk(std::string model, std::string serial, std::string firmware);

  // What the disk reports and has been told; tests read and change these.
  std::array<uint8_t, 512> identify{};  // as on the wire: strings high byte first
  std::array<uint8_t, 512> smart_values{};
  std::array<uint8_t, 512> smart_thresholds{};
  bool smart_enabled = true;
  bool threshold_exceeded = false;
  bool standby = false;
  int flushes = 0;
  uint8_t sg_status_byte = 1;              // first data byte of an SG_IO RETURN STATUS
  uint16_t sg_host_status = 0;             // a SCSI host state to report on every SG_IO
  uint64_t size_bytes = 2000398934016ull;  // what the block layer reports
  bool answers_size = true;
  bool answers_hdio = true;
  bool answers_sg = true;
  std::array<uint8_t, 80> key_area{};           // last key-area parameter block
  std::array<uint8_t, 36> key_record{};         // last key-area task file record
  std::array<uint8_t, 32> security_password{};  // what SECURITY UNLOCK must carry

  // IDENTIFY word 128: bit 0 supported, 1 enabled, 2 locked.
  void set_security(uint16_t status);
  uint16_t security() const;

  void set_attributes(const SmartAttribute* attrs, int count);
  // Recomputes the checksum bytes after a change to the SMART sectors.
  void seal();

  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

 private:
  // STANDBY, FLUSH and IDENTIFY, alike on both transports; false for others.
  bool plain_command(uint8_t cmd, uint8_t* data);
  // SMART ENABLE and DISABLE OPERATIONS, alike on both; false for others.
  bool smart_switch(uint8_t feature);
  int drive_cmd(OpenFile& f, uint8_t* buf);
  int drive_task(OpenFile& f, uint8_t* regs);
  int taskfile(OpenFile& f, uint8_t* buf);
  int sg_io(OpenFile& f, void* arg);
  std::mutex mu_;
};

}  // namespace sim
