// The presence items: HDMI, VGA and reset-key verdicts from /dev/tavio, the
// joystick keyboard among the hidraw nodes, and the IR receiver's events.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "harness.h"
#include "items/items.h"
#include "sim/peripherals.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;
using Setup = std::function<void(sim::Board&)>;

struct Case {
  const char* what;
  tavtest::Entry entry;
  Setup setup;
  std::string out;
  int result;
  size_t left_open;
};

void run_cases(const Case* begin, const Case* end) {
  for (const Case* c = begin; c != end; ++c) {
    auto board = sim::make_default_board();
    sim::install(board.get());
    c->setup(*board);
    Outcome o = tavtest::run(*board, c->entry, {});
    EXPECT_EQ(o.out, c->out) << c->what;
    EXPECT_EQ(o.result, c->result) << c->what;
    EXPECT_EQ(o.open_descriptors, c->left_open) << c->what;
    sim::install(nullptr);
  }
}

Setup fault(sim::Call call, const char* path, unsigned long request, int err) {
  return [=](sim::Board& b) { b.fail({call, path, request, 0, err}); };
}

TEST(Presence, display_and_reset_key_verdicts) {
  const std::string hdmi = "HDMI接入检测测试开始\n请确认HDMI显示器已接入\n";
  const std::string vga = "VGA接入检测测试开始\n请确认VGA显示器已接入,并确认当前主板有CVBS\n";
  const std::string reset = "reset detect ready, please press the reset key.\n";
  const char* tavio = tav::kTavioPath;
  const Case cases[] = {
      {"hdmi connected", tav::hdmi_detect, [](sim::Board&) {}, hdmi + "HDMI 已接入\nHDMI接入检测测试完毕\n", 0, 0},
      {"only 1 means connected", tav::hdmi_detect, [](sim::Board& b) { sim::tavio(b)->hdmi = 2; },
       hdmi + "HDMI 未接入\nHDMI接入检测测试完毕\n", 0, 0},
      {"failed request keeps the preset", tav::vga_detect, fault(sim::Call::Ioctl, tavio, tav::TAVIO_VGA_DETECT, EIO),
       vga + "ioctl cmd 0xc0044813 failed, errno:5!\nVGA 未接入\nVGA接入检测测试完毕\n", 0, 0},
      {"no device", tav::vga_detect, [](sim::Board& b) { b.remove(tav::kTavioPath); },
       vga + "打开文件/dev/tavio失败, errno:2!\n", -1, 0},
      {"close fails", tav::hdmi_detect, fault(sim::Call::Close, tavio, 0, EIO),
       hdmi + "HDMI 已接入\nclose file /dev/tavio failed, errno:5!\nHDMI接入检测测试完毕\n", 0, 0},
      {"reset pressed", tav::reset_detect, [](sim::Board& b) { sim::tavio(b)->reset_key = 1; },
       reset + "reset key pressed\n", 0, 0},
      {"reset not pressed", tav::reset_detect, [](sim::Board&) {}, reset + "reset key not pressed\n", 0, 0},
      {"reset request fails", tav::reset_detect, fault(sim::Call::Ioctl, tavio, tav::TAVIO_RESET_DETECT, EBUSY),
       reset + "ioctl cmd 0xc0044814 failed[16]!\n", -1, 0},
      {"reset without device", tav::reset_detect, fault(sim::Call::Open, tavio, 0, ENOENT),
       reset + "open file /dev/tavio failed [-1]!\n", -1, 0},
  };
  run_cases(std::begin(cases), std::end(cases));
}

Setup plug(std::vector<std::pair<int, tav::HidrawDevinfo>> nodes) {
  return [=](sim::Board& b) {
    sim::clear_hidraw(b);
    for (const auto& n : nodes)
      b.add("/dev/hidraw" + std::to_string(n.first), std::make_shared<sim::HidrawDevice>(n.second));
  };
}

TEST(Presence, joystick_keyboard_among_the_hidraw_nodes) {
  const std::string head = "kq3307t摇杆usb键盘设备探测功能测试开始\n";
  const std::string absent = head + "测试完毕, 不存在kq3307t设备.\n";
  auto present = [&](const char* node) { return std::string("测试完毕, 存在kq3307t设备[") + node + "].\n\n"; };
  const tav::HidrawDevinfo mouse = {3, 0x046d, -16265}, key = sim::kJoystickInfo, on_bt = {5, 0x0483, 0x5710};
  const Case cases[] = {
      {"found, its node left open", tav::joystick_probe, [](sim::Board&) {}, head + present("/dev/hidraw1"), 0, 1},
      {"foreign devices only", tav::joystick_probe, plug({{0, mouse}, {8, on_bt}}), absent, 0, 0},
      {"past hidraw8 it is not looked for", tav::joystick_probe, plug({{9, key}}), absent, 0, 0},
      {"an unopenable node counts as the keyboard", tav::joystick_probe,
       [&](sim::Board& b) {
         plug({{3, mouse}, {5, key}})(b);
         b.fail({sim::Call::Open, "/dev/hidraw3", 0, 0, EACCES});
       },
       head + "open /dev/hidraw3 error!\n" + present("/dev/hidraw3"), 0, 0},
      {"so does one that will not say what it is", tav::joystick_probe,
       fault(sim::Call::Ioctl, "/dev/hidraw0", tav::HIDIOCGRAWINFO, EIO),
       head + "ioctl cmd HIDIOCGRAWINFO error!\n" + present("/dev/hidraw0"), 0, 0},
  };
  run_cases(std::begin(cases), std::end(cases));
}

}  // namespace
