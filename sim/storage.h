// The board's SATA control device (/dev/tavstorage), the disk power device
// (/dev/tavhdpm), the disk buffer device (/dev/tavbuffctl) and the
// controller's SSD list under /proc, sharing one controller state.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "board.h"
#include "drivers/storage.h"

namespace sim {

class StorageController {
 public:
  explicit StorageController(Clock& clock) : clock_(clock) {}

  struct Port {
    bool disk = false;  // a disk sits in the bay
    bool powered = true;
    uint64_t back_at_ns = 0;  // after power-up the disk shows again from here
    bool stays = false;       // ignores power-down
    bool never_returns = false;
    tav::PortStatus status{};  // counters the port reports
  };

  std::mutex mu;
  std::array<Port, tav::kPorts> ports{};
  int scan_polls = 2;  // polls that answer "not done" before the scan is done
  bool scan_request_fails = false;
  tav::ErrRequest err_request{};
  tav::ResetCount reset_count{};
  uint64_t spin_up_ns = 8000000000ull;
  std::map<std::string, uint32_t> buffers;  // disk name -> buffer size in MiB

  bool present(int port);  // as the next scan would see it
  static std::array<uint8_t, 32> password_for(uint32_t index, const std::string& serial);

  Clock& clock_;
};

class StorageDevice final : public ModelDevice<StorageController> {
 public:
  using ModelDevice::ModelDevice;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

class PowerDevice final : public ModelDevice<StorageController> {
 public:
  using ModelDevice::ModelDevice;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

class BufferDevice final : public ModelDevice<StorageController> {
 public:
  using ModelDevice::ModelDevice;
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;
};

// A read-only text file such as the ones under /proc.
class TextFile final : public Device {
 public:
  explicit TextFile(std::string text) : text_(std::move(text)) {}
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  off_t size() override { return static_cast<off_t>(text_.size()); }
  std::string text_;
};

// The version date chip at 0x6c on I2C bus 0; plain reads return yy, mm, dd.
void add_date_chip(Board& board, uint8_t yy, uint8_t mm, uint8_t dd);

// Registers the controller's nodes on board; ports 0 and 1 hold disks.
std::shared_ptr<StorageController> add_storage(Board& board);

}  // namespace sim
