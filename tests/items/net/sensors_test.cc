// NAS kill, temperature and fan tools against their simulated drivers.
#include "drivers/sensors.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"
#include "sim/net_drivers.h"

namespace {

using Prepare = std::function<void(sim::Board&)>;

struct Case {
  const char* what;
  tavtest::Entry entry;
  std::vector<std::string> words;
  Prepare setup;
  std::string out;
  std::string err;
  int result;
};

class SmallDrivers : public tavtest::BoardTest {
 protected:
  // Runs one case on a fresh board; console is what the operator types.
  void check(const Case& c, const std::string& console = "", const std::function<void(sim::Board&)>& after = nullptr) {
    sim::Board& board = fresh_board();
    board.set_console(console);
    c.setup(board);
    tavtest::Outcome o = run(c.entry, c.words);
    EXPECT_EQ(o.out, c.out) << c.what;
    EXPECT_EQ(o.err, c.err) << c.what;
    EXPECT_EQ(o.result, c.result) << c.what;
    EXPECT_EQ(o.open_descriptors, 0u) << c.what;
    if (after) after(board);
  }
};

const Prepare kAsIs = [](sim::Board&) {};

Prepare fail_ioctl(const char* path, int err) {
  return [=](sim::Board& b) { b.fail({sim::Call::Ioctl, path, 0, 0, err}); };
}

Prepare missing(const char* path) {
  return [=](sim::Board& b) { b.remove(path); };
}

const std::string kNasStart = "测试NAS异常处理内核删除操作功能测试开始\nPlease input nfs path[default:/mnt/test]:";
const std::string kNasEnd = "Kill the nfs path done.\n测试NAS异常处理内核删除操作功能测试完毕\n";

TEST_F(SmallDrivers, nas_kill_sends_the_typed_path) {
  struct Nas {
    const char* what;
    std::string typed;
    Prepare fault;
    std::string out;
    std::string err;
    int result;
    std::vector<std::string> killed;
  };
  const std::string long_path(200, 'p');
  const Nas cases[] = {
      {"typed path",
       "/mnt/nfs0\n",
       kAsIs,
       kNasStart + "Kill the nfs path[/mnt/nfs0]\n" + kNasEnd,
       "",
       0,
       {"/mnt/nfs0"}},
      {"empty line is an empty path, not the default",
       "\n",
       kAsIs,
       kNasStart + "Kill the nfs path[]\n" + kNasEnd,
       "",
       0,
       {""}},
      {"overlong input is cut within the buffer",
       long_path + "\n",
       kAsIs,
       kNasStart + "Kill the nfs path[" + long_path.substr(0, 127) + "]\n" + kNasEnd,
       "",
       0,
       {long_path.substr(0, 127)}},
      {"end of input sends nothing", "/mnt/x", kAsIs, kNasStart + "\n", "", -1, {}},
      {"no node",
       "/mnt/nfs0\n",
       missing(tav::kNasPath),
       kNasStart + "Kill the nfs path[/mnt/nfs0]\ndevice open fail\n",
       "open /dev/tavnet failed.\n: No such file or directory\n",
       -1,
       {}},
  };
  for (const Nas& c : cases) {
    check({c.what, tav::nas_kill_test, {"nas_kill"}, c.fault, c.out, c.err, c.result}, c.typed, [&](sim::Board& b) {
      if (sim::nas(b) != nullptr) {
        EXPECT_EQ(sim::nas(b)->killed, c.killed) << c.what;
      }
    });
  }
}

TEST_F(SmallDrivers, temperature_and_fan) {
  const std::string fan_usage =
      "Input format error !\nGet pwm duty: ./pwm_test\nSet pwm duty: ./pwm_test [count(0-100)]\n";
  const Case cases[] = {
      {"temperature", tav::temperature_tool, {"temperature"}, kAsIs, "Temperature = 47\n", "", 0},
      {"temperature takes no argument",
       tav::temperature_tool,
       {"temperature", "1"},
       kAsIs,
       "Input format error\n./temperat\n",
       "",
       0},
      {"temperature read fails",
       tav::temperature_tool,
       {"temperature"},
       fail_ioctl(tav::kSensorPath, EIO),
       "Ioctl error, errno = 5\n",
       "",
       -1},
      {"fan get", tav::fan_tool, {"fan"}, kAsIs, "Get pwm_duty = 60\n", "", 0},
      {"fan set", tav::fan_tool, {"fan", "100"}, kAsIs, "Set pwm_duty = 100 succeed\n", "", 0},
      {"fan 101", tav::fan_tool, {"fan", "101"}, kAsIs, "Please input pwm duty from (0~100)\n", "", 0},
      {"fan -1", tav::fan_tool, {"fan", "-1"}, kAsIs, "Please input pwm duty from (0~100)\n", "", 0},
      {"fan too many", tav::fan_tool, {"fan", "1", "2"}, kAsIs, fan_usage, "", 0},
      {"fan set fails",
       tav::fan_tool,
       {"fan", "50"},
       fail_ioctl(tav::kFanPath, EIO),
       "Ioctl error, ret = -1\n",
       "",
       -1},
  };
  for (const Case& c : cases) check(c);
}

}  // namespace
