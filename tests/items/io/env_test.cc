// The boot environment test and the environment password tool against the
// simulated driver.
#include "drivers/env.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "harness.h"
#include "items/items.h"
#include "sim/env.h"

namespace {

using Prepare = std::function<void(sim::Board&)>;

const std::string kStart = "\nUBOOT环境变量模块测试\n";
const std::string kEnd = "UBOOT环境变量模块测试完毕\n";
const std::string kBootargs = "console=ttyS0,115200n8 mem=512M root=/dev/mtdblock2 rootfstype=squashfs";

// The default board's variables as the listing prints them.
std::string listing(const std::string& serverip = "192.168.1.2", const std::string& bootargs = kBootargs) {
  return "[00]: baudrate: 115200\n[01]: bootargs: " + bootargs +
         "\n[02]: bootcmd: bootm 0x82000000\n[03]: bootdelay: 1\n[04]: ethaddr: 00:12:34:56:78:9a\n"
         "[05]: ipaddr: 192.168.1.64\n[06]: netmask: 255.255.255.0\n[07]: serverip: " +
         serverip + "\n\ntest cmd 'UBOOT_ENV_SET':\n";
}

std::string rewrite(const std::string& bootargs = kBootargs) {
  return "测试设置透传模式: tty1\n[01]: bootargs: " + bootargs + "\n测试设置serverip: '192.168.1.100'\n";
}

const std::string kConsoleStep = "\n测试设置透传模式: 'console=ttyS0,115200n8'\n";
const std::string kTty5Step = "测试设置透传模式: tty5\n";

Prepare fixed_serverip(Prepare more = nullptr) {
  return [=](sim::Board& b) {
    sim::env(b)->set("serverip", "192.168.1.100");
    if (more) more(b);
  };
}

Prepare fail_nth(unsigned long request, int nth) {
  return [=](sim::Board& b) { b.fail({sim::Call::Ioctl, tav::kEnvPath, request, nth, EIO}); };
}

struct Case {
  const char* what;
  Prepare setup;
  std::string out;
  int result;
};

class EnvRows : public tavtest::BoardTest {
 protected:
  // Each case on a fresh board.
  void run_case(tavtest::Entry entry, const std::vector<std::string>& words, const Case& c,
                const std::function<void(sim::Board&)>& after = nullptr) {
    sim::Board& board = fresh_board();
    if (c.setup) c.setup(board);
    tavtest::Outcome o = run(entry, words);
    EXPECT_EQ(o.out, c.out) << c.what;
    EXPECT_EQ(o.result, c.result) << c.what;
    EXPECT_EQ(o.open_descriptors, 0u) << c.what;
    if (after) after(board);
  }
};
using UbootEnv = EnvRows;
using EncryptoTest = EnvRows;

TEST_F(UbootEnv, verdicts_over_the_drivers_behaviour) {
  const std::string full_pass = rewrite() + "[07]: serverip: 192.168.1.100\n";
  const std::string bootargs_line = "bootargs:" + kBootargs + "\n";
  const Case cases[] = {
      {"a changed serverip ends the pass early as a success", nullptr, kStart + listing() + rewrite() + kEnd, 0},
      {"serverip already set: the console and tty5 steps run", fixed_serverip(),
       kStart + listing("192.168.1.100") + full_pass + kConsoleStep + bootargs_line + kTty5Step + bootargs_line + kEnd,
       0},
      {"no variables", [](sim::Board& b) { sim::env(b)->clear(); }, kStart + "erro: env_total = 0\n" + kEnd, -1},
      {"driver accepts an empty value", [](sim::Board& b) { sim::env(b)->set_refuse_empty(false); },
       kStart + listing() + "设置UBOOT_ENV_SET失败!\n" + kEnd, -5},
      {"count changes during the rewrite pass", [](sim::Board& b) { sim::env(b)->add_variable_after_counts(3); },
       kStart + listing() + "erro :env_tmp != env_total\n" + kEnd, -1},
      {"bootargs changed by pass-through",
       [](sim::Board& b) { sim::env(b)->set_passthrough_bootargs("console=ttyAMA1"); },
       kStart + listing() + "测试设置透传模式: tty1\n" + kEnd, -5},
      {"empty bootargs after the console step", fixed_serverip([](sim::Board& b) { sim::env(b)->set("bootargs", ""); }),
       kStart + listing("192.168.1.100", "") + rewrite("") + "[07]: serverip: 192.168.1.100\n" + kConsoleStep +
           "erro :strlen(keyvalue.value) <= 0\n" + kEnd,
       -1},
      {"count fails", fail_nth(tav::UBOOT_ENV_TOTAL, 1), kStart + "获取环境变量个数并遍历打印失败!\n" + kEnd, -5},
      {"tty1 refused", fail_nth(tav::UBOOT_ENV_TRANS_MODE, 1),
       kStart + listing() + "测试设置透传模式: tty1\n设置UBOOT_ENV_TRANS_MODE失败!\n" + kEnd, -5},
      {"tty5 refused: the message lacks its last word", fixed_serverip(fail_nth(tav::UBOOT_ENV_TRANS_MODE, 3)),
       kStart + listing("192.168.1.100") + full_pass + kConsoleStep + bootargs_line + kTty5Step +
           "设置UBOOT_ENV_TRANS_MODE!\n" + kEnd,
       -1},
  };
  for (const Case& c : cases) run_case(tav::uboot_env_test, {"uboot_env"}, c);
}

TEST_F(EncryptoTest, password_rules) {
  const std::string usage = "\nusage: ./encrypto_test [passwd] ---- delete the passwd if no argument\n";
  struct Pw {
    std::vector<std::string> words;
    Prepare setup;
    std::string out;
    int result;
    std::string stored;
  };
  const std::string p63(63, 'k');
  const Pw cases[] = {
      {{"encrypto_test"}, nullptr, "delete the passwd\nsuccessful!\n", 0, ""},
      {{"encrypto_test", p63}, nullptr, "successful!\n", 0, p63},
      {{"encrypto_test", p63 + "k"}, nullptr, "passwd too large\n", -22, "old"},
      {{"encrypto_test", "-h"}, nullptr, usage, 0, "old"},
      {{"encrypto_test", ""}, nullptr, usage, 0, "old"},
      {{"encrypto_test", "-hx"}, nullptr, "successful!\n", 0, "-hx"},
      {{"encrypto_test", "x"},
       [](sim::Board& b) { b.remove(tav::kEnvPath); },
       "open /dev/env failed errro 2\n",
       -2,
       ""},
      {{"encrypto_test", "x"}, fail_nth(tav::UBOOT_ENV_PASSWD, 1), "ioctl /dev/env failed, errro 5\n", -1, "old"},
  };
  for (const Pw& c : cases) {
    std::string what = c.words.size() > 1 ? "password '" + c.words[1] + "'" : "no argument";
    Prepare setup = [&](sim::Board& b) {
      tav::EnvPassword old = {3, "old"};
      sim::env(b)->ioctl(*std::make_shared<sim::OpenFile>(), tav::UBOOT_ENV_PASSWD, &old);
      if (c.setup) c.setup(b);
    };
    run_case(tav::encrypto_test, c.words, {what.c_str(), setup, c.out, c.result}, [&](sim::Board& b) {
      if (sim::env(b) != nullptr) {
        EXPECT_EQ(sim::env(b)->password(), c.stored) << what;
      }
    });
  }
}

}  // namespace
