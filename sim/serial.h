// Serial ports of the simulated board: the front panel's microcontroller, the
// RS485 loop-back plug and the half-duplex fixture, and host terminals (a
// pseudo-terminal a test plays the far end of) standing in for a port.
#pragma once

#include <termios.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "board.h"

namespace sim {

// Terminal attributes kept per port, as a UART driver keeps them.
class SerialPort : public Device {
 public:
  int tcgetattr(OpenFile& f, struct termios* t) override;
  int tcsetattr(OpenFile& f, int action, const struct termios* t) override;
  int tcflush(OpenFile& f, int queue) override;

  struct termios attrs() const;
  int flushes() const;

 protected:
  SerialPort();
  mutable std::mutex mu_;

 private:
  struct termios attrs_;
  int flushes_ = 0;
};

// A frame as the panel's microcontroller speaks it: 0xFF, length, payload,
// checksum.
std::vector<uint8_t> panel_frame(const std::vector<uint8_t>& payload);

// The front panel: sends what a test scripts, at virtual times, each send
// reaching the port in one read at most; records every write; answers each
// heartbeat frame with a heartbeat reply when asked to.
class PanelDevice final : public SerialPort {
 public:
  explicit PanelDevice(Clock& clock) : clock_(clock) {}
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  bool readable(OpenFile& f) override;
  uint64_t readable_at(OpenFile& f) override;

  // Bytes on the wire after the given virtual delay from the last send.
  void send_after(uint64_t delay_ns, const std::vector<uint8_t>& bytes);
  void press(uint64_t delay_ns, uint8_t key) { send_after(delay_ns, panel_frame({0x20, key})); }
  void set_answers_heartbeat(bool on);

  std::vector<std::vector<uint8_t>> writes() const;  // one entry per write call
  size_t heartbeats() const;
  // Waits (for real, bounded) until a thread has written n heartbeats.
  bool wait_heartbeats(size_t n) const;

 private:
  struct Chunk {
    uint64_t at_ns;
    std::vector<uint8_t> bytes;
  };
  Clock& clock_;
  std::deque<Chunk> in_;
  uint64_t last_at_ns_ = 0;
  bool answer_heartbeat_ = true;
  std::vector<std::vector<uint8_t>> writes_;
  size_t heartbeats_ = 0;
  mutable std::condition_variable written_;
};

// The RS485 port: with the loop-back plug every byte comes back at once
// (changed by mask, to play a bad cable); without it nothing does. Every
// byte written is kept, for the half-duplex fixture's frames.
class Rs485Port final : public SerialPort {
 public:
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  bool readable(OpenFile& f) override;

  bool plugged = true;
  uint8_t mask = 0;
  std::vector<uint8_t> sent() const;

 private:
  std::deque<uint8_t> echo_;
  std::vector<uint8_t> sent_;
};

// A host terminal behind a board port: every transfer and attribute change
// reaches it, and select waits on it for real.
class HostPort final : public Device {
 public:
  explicit HostPort(std::string host_path) : host_path_(std::move(host_path)) {}
  int open(OpenFile& f) override;
  void close(OpenFile& f) override;
  ssize_t read(OpenFile& f, void* buf, size_t n) override;
  ssize_t write(OpenFile& f, const void* buf, size_t n) override;
  int fsync(OpenFile& f) override;
  int tcgetattr(OpenFile& f, struct termios* t) override;
  int tcsetattr(OpenFile& f, int action, const struct termios* t) override;
  int tcflush(OpenFile& f, int queue) override;
  bool readable(OpenFile& f) override;
  int host_fd(OpenFile& f) override;

 private:
  std::string host_path_;
};

// The panel on /dev/ttyS2 and the RS485 loop-back plug on /dev/ttyS1.
void add_serial_ports(Board& board);
// Ports named in this variable ("/dev/ttyS2=/dev/pts/5,...") become host
// terminals.
constexpr const char* kHostPortsEnv = "TAV_SIM_SERIAL";
void attach_host_ports(Board& board, const char* spec);

PanelDevice* panel(Board& board, const std::string& path = "/dev/ttyS2");
Rs485Port* rs485_port(Board& board, const std::string& path = "/dev/ttyS1");

}  // namespace sim
