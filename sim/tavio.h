// /dev/tavio on the simulated board: the board's records, the alarm terminals
// (with or without a loop-back plug), expansion slots, presence detectors,
// GPIO lines, the RS485 enables, the buzzer and the hard-drive exception
// records.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "board.h"
#include "drivers/tavio.h"

namespace sim {

class TavioDevice final : public Device {
 public:
  TavioDevice();
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

  // State, set freely by tests before a run and inspected after it.
  tav::HardwareInfo hw_info{};
  tav::BootParam boot_param{};
  bool alarm_board = true;    // the alarm board answers the detect request
  bool loopback_plug = true;  // input i wired to output i modulo the outputs
  uint64_t polarity = 0;      // inputs whose contacts read inverted
  uint64_t alarm_out = 0;
  std::array<uint8_t, 3> slot_type{};  // by slot number; 7 = alarm expansion
  bool rs485_board = true;
  int32_t rs485_send = 0;
  int32_t rs485_receive = 0;
  int32_t hdmi = 1;
  int32_t vga = 1;
  int32_t reset_key = 0;
  std::map<unsigned, unsigned> gpio;  // line (group | bit << 12) -> level
  std::vector<uint8_t> beeps;         // every byte sent to the buzzer
  std::array<std::array<uint8_t, tav::kHdiskExcRecordSize>, 8> hdisk_exc{};
  // What the hardware-information record encodes, kept here in plain
  // numbers so that the board never reads its own record back through an
  // item's decoding; set them through set_alarm_counts and set_board_variant.
  unsigned alarm_in_count = 16;
  unsigned alarm_out_count = 4;
  unsigned variant = 0x20;

  // Input word as the driver reads it now.
  uint64_t alarm_inputs() const;

 private:
  int gpio_request(OpenFile& f, unsigned long request, void* arg);
  int indexed_request(OpenFile& f, unsigned long request, void* arg);
  std::mutex mu_;
};

// The model at /dev/tavio of board (null when it was removed).
TavioDevice* tavio(Board& board);
void add_tavio(Board& board);

// Variants of the default board.
void set_alarm_counts(Board& board, unsigned inputs, unsigned outputs);
void set_board_variant(Board& board, unsigned code);
void remove_alarm_plug(Board& board);  // no plug and no alarm board
void set_bad_hw_magic(Board& board);
void set_bad_bootparam_magic(Board& board);
// Every request of this number on /dev/tavio fails with err.
void fail_tavio_request(Board& board, unsigned long request, int err);

}  // namespace sim
