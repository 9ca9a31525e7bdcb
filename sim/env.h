// /dev/env: the boot-environment driver, whose storage is the SPI NOR.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "board.h"
#include "drivers/env.h"

namespace sim {

class EnvDevice final : public Device {
 public:
  EnvDevice();
  int ioctl(OpenFile& f, unsigned long request, void* arg) override;

  // Thread-safe views and settings for tests.
  std::string get(const std::string& name) const;
  void set(const std::string& name, const std::string& value);
  void clear();
  std::string password() const;
  void set_password(const std::string& password);
  std::vector<std::pair<std::string, std::string>> variables() const;

  // The driver refuses to empty a variable unless this is turned off.
  void set_refuse_empty(bool refuse);
  // After this many count requests a variable appears (0: never).
  void add_variable_after_counts(int n);
  // With pass-through on, bootargs reads this instead (empty: unchanged).
  void set_passthrough_bootargs(const std::string& value);

 private:
  int find(const std::string& name) const;                          // index or -1
  void put_var(const std::string& name, const std::string& value);  // with mu_ held
  mutable std::mutex mu_;
  std::vector<std::pair<std::string, std::string>> vars_;
  std::vector<tav::EnvTransMode> modes_;
  std::string password_;
  bool refuse_empty_ = true;
  int counts_ = 0;
  int add_after_ = 0;
  std::string passthrough_bootargs_;
};

void add_env(Board& board);
EnvDevice* env(Board& board);

}  // namespace sim
