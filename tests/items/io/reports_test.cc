// The bootparam and CPLD reports: whole reports on a healthy board, and the
// single line that replaces them when the record cannot be had.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "harness.h"
#include "items/items.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;

// The unused MAC rows of the CPLD record, MAC2 to MAC15, all zero.
std::string zero_macs() {
  std::string s;
  for (int i = 2; i < 16; ++i) s += ("MAC" + std::to_string(i) + ":").append(i < 10 ? 11 : 10, ' ') + "0x0 \n";
  return s;
}

// The sixteen addresses of the boot record, 00:1c:27:10:20:30 upwards.
std::string mac_addresses() {
  std::string s;
  char line[64];
  for (int i = 0; i < 16; ++i) {
    snprintf(line, sizeof line, "macAddr:                  [%02d]00:1c:27:10:20:%02x\n", i, 0x30 + i);
    s += line;
  }
  return s;
}

const std::string kCpldReport =
    "CPLD测试开始\n"
    "@start==============CPLD INFO================start@\n"
    "魔数:           0x444c5043\n"
    "校验:           0x5a3c\n"
    "PCB:            0x3 \n"
    "Board:          0x1208\n"
    "固件版本:       0x10105\n"
    "设备属性:       0x11\n"
    "CPU属性:        0x200003\n"
    "DDR属性:        0x2 \n"
    "DDR0:           0x800\n"
    "DDR1:           0x800\n"
    "DDR2:           0x0 \n"
    "DDR3:           0x0 \n"
    "DDR4:           0x0 \n"
    "DDR5:           0x0 \n"
    "DDR6:           0x0 \n"
    "DDR7:           0x0 \n"
    "Flash属性:      0x41\n"
    "音频输入属性:   0x10\n"
    "音频输出属性:   0x10\n"
    "视频输入属性:   0x100\n"
    "视频输出属性:   0x7 \n"
    "视频芯片属性:   0x3521\n"
    "扩展属性:       0x0 \n"
    "MAC0:           0x1000\n"
    "MAC1:           0x1001\n" +
    zero_macs() +
    "RTC属性:        0x1 \n"
    "报警输入属性:   0x100\n"
    "报警输出属性:   0x40\n"
    "SATA属性:       0x8 \n"
    "SAS属性:        0x0 \n"
    "Mini属性:       0x0 \n"
    "USB属性:        0x3 \n"
    "加密属性:       0x0 \n"
    "串口属性:       0x200\n"
    "PCIe属性:       0x1 \n"
    "PCIe Port:      0x0 \n"
    "智能属性:       0x0 \n"
    "级联属性:       0x0 \n"
    "Panel属性:      0x1 \n"
    "eMMC属性:       0x8 \n"
    "SSD属性:        0x0 \n"
    "温控属性:       0x1 \n"
    "Router属性:     0x0 \n"
    "FPGA属性:       0x0 \n"
    "EEPROM属性:     0x0 \n"
    "EEPROM地址:     0xa0\n"
    "LCD属性:        0x0 \n"
    "Sound属性:      0x0 \n"
    "Graphic属性:    0x0 \n"
    "启动:           0x2 \n"
    "@end================CPLD INFO================end@\n"
    "\n cpld测试完毕\n";

const std::string kBootParamReport =
    "bootparam测试开始\n"
    "@start==============BOOTPARAM INFO================start@\n"
    "Magic:                    0x51584d52\n"
    "Csum:                     0x9e21\n"
    "Len:                      0x200\n"
    "Ver:                      0x102\n"
    "Elem.devType:             0x31\n"
    "Elem.devClass:            0x7 \n"
    "Elem.link:                0x1 \n"
    "Boot.Type:                0x2 \n"
    "Boot.Kmen:                0x200\n"
    "Boot.Emem:                0x600\n"
    "Id.cmatch:                NVR-16CH\n"
    "Id.devModel:              TV-NVR-4216-P\n"
    "Id.prodDate:              191107\n"
    "Id.prodNo:                A1234567\n"
    "Id.writeDate:             1108\n"
    "Id.language:              0x1 \n"
    "Id.oemCode:               0x88\n"
    "Id.zone:                  0x5 \n"
    "Id.crypto:                0x0 \n"
    "Feature.encodeChans:      0x10\n"
    "Feature.decodeChans:      0x10\n"
    "Feature.ipcChans:         0x10\n"
    "Feature.ivsChans:         0x4 \n"
    "Feature.picFormat:        0x0 \n"
    "Feature.cpuFreq:          0x1 \n"
    "Feature.dspFreq:          0x2 \n"
    "Feature.devHigh:          0x3 \n"
    "Feature.webSupport:       0x4 \n"
    "Feature.voipSupport:      0x5 \n"
    "Feature.usbNums:          0x6 \n"
    "Feature.lcdSupport:       0x7 \n"
    "Feature.voNums:           0x8 \n"
    "Feature.vgaNums:          0x9 \n"
    "Feature.vtSupport:        0xa \n"
    "Feature.videoMaxtrix:     0xb \n"
    "Feature.extendedDecoder:  0xc \n"
    "Feature.extendedIVS:      0xd \n"
    "Feature.extendedAlarmOut: 0xe \n"
    "Feature.IntellAlgor:      0xf \n" +
    mac_addresses() +
    "App.rand_code:     K3X9QZ\n"
    "WIFI KEY:     wifi-key\n"
    "VELMO UID:     UID0123456789ABCDEFGHI\n"
    "@end================BOOTPARAM INFO================end@\n"
    "\n bootparam测试完毕\n";

class Reports : public tavtest::BoardTest {};

TEST_F(Reports, healthy_board_prints_both_reports_whole) {
  Outcome r = run(tav::cpld_report, {"cpld"});
  EXPECT_EQ(r.out, kCpldReport);
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.open_descriptors, 0u);
  r = run(tav::bootparam_report, {"bootparam"});
  EXPECT_EQ(r.out, kBootParamReport);
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.open_descriptors, 0u);
  // Started from the menu: no arguments at all.
  r = run(tav::cpld_report, {});
  EXPECT_EQ(r.out, kCpldReport);
}

}  // namespace
