// Items reading records a broken or hostile device hands back: any bytes in
// the clock's time record, a disk's IDENTIFY and SMART sectors, the boot
// environment's variables, the front panel's frames and the RS485 echo.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "board_run.h"
#include "input.h"
#include "items/items.h"
#include "sim/disk.h"
#include "sim/env.h"
#include "sim/peripherals.h"
#include "sim/serial.h"

namespace {

void fill(fuzz::Input& in, uint8_t* to, size_t n) {
  std::string b = in.bytes(n);
  std::copy(b.begin(), b.end(), to);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  uint8_t kind = in.byte();
  fuzz::BoardRun run;
  fuzz::choose_board(in, &run);
  fuzz::Entry entry = nullptr;
  switch (kind % 5) {
    case 0: {
      tav::RtcTime t;
      fill(in, reinterpret_cast<uint8_t*>(&t), sizeof t);
      run.words = {"rtc"};
      run.prepare = [t](sim::Board& b) { sim::rtc(b)->set_broken_reading(t); };
      entry = tav::rtc_test;
      break;
    }
    case 1: {
      auto sectors = std::make_shared<std::array<uint8_t, 3 * 512>>();
      fill(in, sectors->data(), sectors->size());
      run.words = {"harddisk_info_test"};
      run.console = "/dev/sda\n";
      run.prepare = [sectors](sim::Board& b) {
        auto disk = std::static_pointer_cast<sim::AtaDisk>(b.device("/dev/sda"));
        std::copy_n(sectors->begin(), 512, disk->identify.begin());
        std::copy_n(sectors->begin() + 512, 512, disk->smart_values.begin());
        std::copy_n(sectors->begin() + 1024, 512, disk->smart_thresholds.begin());
      };
      entry = tav::harddisk_info_test;
      break;
    }
    case 2: {
      auto vars = std::make_shared<std::vector<std::pair<std::string, std::string>>>();
      size_t count = in.byte() % 6;
      for (size_t i = 0; i < count; ++i) {
        std::string name = in.word(80);
        vars->emplace_back(name, in.word(255));
      }
      bool encrypto = in.byte() & 1;
      run.words = {encrypto ? "encrypto_test" : "uboot_env"};
      if (in.byte() & 1) run.words.push_back(fuzz::contained_word(in.word(70)));
      run.prepare = [vars](sim::Board& b) {
        sim::EnvDevice* env = sim::env(b);
        env->clear();
        for (const auto& [name, value] : *vars) env->set(name, value);
      };
      entry = encrypto ? tav::encrypto_test : tav::uboot_env_test;
      break;
    }
    case 3: {
      auto chunks = std::make_shared<std::vector<std::pair<uint64_t, std::vector<uint8_t>>>>();
      while (!in.empty()) {
        uint64_t delay_ms = in.byte() * 40ull;
        std::string b = in.word(20);
        chunks->emplace_back(delay_ms * 1000000, std::vector<uint8_t>(b.begin(), b.end()));
      }
      run.words = {"panel"};
      run.prepare = [chunks](sim::Board& b) {
        for (const auto& [delay, bytes] : *chunks) sim::panel(b)->send_after(delay, bytes);
      };
      entry = tav::panel_test;
      break;
    }
    default: {
      uint8_t mask = in.byte();
      bool plugged = in.byte() & 1;
      run.words = {"rs485"};
      run.prepare = [mask, plugged](sim::Board& b) {
        sim::rs485_port(b)->mask = mask;
        sim::rs485_port(b)->plugged = plugged;
      };
      entry = tav::rs485_test;
      break;
    }
  }
  fuzz::run_on_board(entry, run);
  return 0;
}
