// Boot parameter and CPLD reports: a record from /dev/tavio printed field
// by field between banners that the station parses.
#include <fcntl.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "items/io/tavio.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

BootParam g_boot_param;
HardwareInfo g_cpld_info;

// In offset order, one per word of the record.
constexpr const char* kCpldFormats[64] = {
    "魔数:           0x%-2x\n", "校验:           0x%-2x\n", "PCB:            0x%-2x\n", "Board:          0x%-2x\n",
    "固件版本:       0x%-2x\n", "设备属性:       0x%-2x\n", "CPU属性:        0x%-2x\n", "DDR属性:        0x%-2x\n",
    "DDR0:           0x%-2x\n", "DDR1:           0x%-2x\n", "DDR2:           0x%-2x\n", "DDR3:           0x%-2x\n",
    "DDR4:           0x%-2x\n", "DDR5:           0x%-2x\n", "DDR6:           0x%-2x\n", "DDR7:           0x%-2x\n",
    "Flash属性:      0x%-2x\n", "音频输入属性:   0x%-2x\n", "音频输出属性:   0x%-2x\n", "视频输入属性:   0x%-2x\n",
    "视频输出属性:   0x%-2x\n", "视频芯片属性:   0x%-2x\n", "扩展属性:       0x%-2x\n", "MAC0:           0x%-2x\n",
    "MAC1:           0x%-2x\n", "MAC2:           0x%-2x\n", "MAC3:           0x%-2x\n", "MAC4:           0x%-2x\n",
    "MAC5:           0x%-2x\n", "MAC6:           0x%-2x\n", "MAC7:           0x%-2x\n", "MAC8:           0x%-2x\n",
    "MAC9:           0x%-2x\n", "MAC10:          0x%-2x\n", "MAC11:          0x%-2x\n", "MAC12:          0x%-2x\n",
    "MAC13:          0x%-2x\n", "MAC14:          0x%-2x\n", "MAC15:          0x%-2x\n", "RTC属性:        0x%-2x\n",
    "报警输入属性:   0x%-2x\n", "报警输出属性:   0x%-2x\n", "SATA属性:       0x%-2x\n", "SAS属性:        0x%-2x\n",
    "Mini属性:       0x%-2x\n", "USB属性:        0x%-2x\n", "加密属性:       0x%-2x\n", "串口属性:       0x%-2x\n",
    "PCIe属性:       0x%-2x\n", "PCIe Port:      0x%-2x\n", "智能属性:       0x%-2x\n", "级联属性:       0x%-2x\n",
    "Panel属性:      0x%-2x\n", "eMMC属性:       0x%-2x\n", "SSD属性:        0x%-2x\n", "温控属性:       0x%-2x\n",
    "Router属性:     0x%-2x\n", "FPGA属性:       0x%-2x\n", "EEPROM属性:     0x%-2x\n", "EEPROM地址:     0x%-2x\n",
    "LCD属性:        0x%-2x\n", "Sound属性:      0x%-2x\n", "Graphic属性:    0x%-2x\n", "启动:           0x%-2x\n",
};

// Bytes from a string field to the end of the record: an unterminated field
// runs on into the following fields, as the report always showed, but never
// past the record.
int field_span(const BootParam& p, const char* field) {
  return static_cast<int>(reinterpret_cast<const char*>(&p + 1) - field);
}

// The fields shown before the MAC addresses, in order. A size of 0 marks a
// text field; the others are shown in hexadecimal.
struct ShownField {
  const char* label;
  size_t offset;
  size_t size;
};
constexpr ShownField kBootParamFields[] = {
    {"Magic:                    ", offsetof(BootParam, magic), sizeof BootParam::magic},
    {"Csum:                     ", offsetof(BootParam, csum), sizeof BootParam::csum},
    {"Len:                      ", offsetof(BootParam, len), sizeof BootParam::len},
    {"Ver:                      ", offsetof(BootParam, ver), sizeof BootParam::ver},
    {"Elem.devType:             ", offsetof(BootParam, dev_type), sizeof BootParam::dev_type},
    {"Elem.devClass:            ", offsetof(BootParam, dev_class), sizeof BootParam::dev_class},
    {"Elem.link:                ", offsetof(BootParam, link), sizeof BootParam::link},
    {"Boot.Type:                ", offsetof(BootParam, boot_type), sizeof BootParam::boot_type},
    {"Boot.Kmen:                ", offsetof(BootParam, boot_kmem), sizeof BootParam::boot_kmem},
    {"Boot.Emem:                ", offsetof(BootParam, boot_emem), sizeof BootParam::boot_emem},
    {"Id.cmatch:                ", offsetof(BootParam, cmatch), 0},
    {"Id.devModel:              ", offsetof(BootParam, dev_model), 0},
    {"Id.prodDate:              ", offsetof(BootParam, prod_date), 0},
    {"Id.prodNo:                ", offsetof(BootParam, prod_no), 0},
    {"Id.writeDate:             ", offsetof(BootParam, write_date), 0},
    {"Id.language:              ", offsetof(BootParam, language), sizeof BootParam::language},
    {"Id.oemCode:               ", offsetof(BootParam, oem_code), sizeof BootParam::oem_code},
    {"Id.zone:                  ", offsetof(BootParam, zone), sizeof BootParam::zone},
    {"Id.crypto:                ", offsetof(BootParam, crypto), sizeof BootParam::crypto},
    {"Feature.encodeChans:      ", offsetof(BootParam, encode_chans), sizeof BootParam::encode_chans},
    {"Feature.decodeChans:      ", offsetof(BootParam, decode_chans), sizeof BootParam::decode_chans},
    {"Feature.ipcChans:         ", offsetof(BootParam, ipc_chans), sizeof BootParam::ipc_chans},
    {"Feature.ivsChans:         ", offsetof(BootParam, ivs_chans), sizeof BootParam::ivs_chans},
    {"Feature.picFormat:        ", offsetof(BootParam, features) + 0, 1},
    {"Feature.cpuFreq:          ", offsetof(BootParam, features) + 1, 1},
    {"Feature.dspFreq:          ", offsetof(BootParam, features) + 2, 1},
    {"Feature.devHigh:          ", offsetof(BootParam, features) + 3, 1},
    {"Feature.webSupport:       ", offsetof(BootParam, features) + 4, 1},
    {"Feature.voipSupport:      ", offsetof(BootParam, features) + 5, 1},
    {"Feature.usbNums:          ", offsetof(BootParam, features) + 6, 1},
    {"Feature.lcdSupport:       ", offsetof(BootParam, features) + 7, 1},
    {"Feature.voNums:           ", offsetof(BootParam, features) + 8, 1},
    {"Feature.vgaNums:          ", offsetof(BootParam, features) + 9, 1},
    {"Feature.vtSupport:        ", offsetof(BootParam, features) + 10, 1},
    {"Feature.videoMaxtrix:     ", offsetof(BootParam, features) + 11, 1},
    {"Feature.extendedDecoder:  ", offsetof(BootParam, features) + 12, 1},
    {"Feature.extendedIVS:      ", offsetof(BootParam, features) + 13, 1},
    {"Feature.extendedAlarmOut: ", offsetof(BootParam, features) + 14, 1},
    {"Feature.IntellAlgor:      ", offsetof(BootParam, features) + 15, 1},
};

unsigned field_value(const BootParam& p, const ShownField& f) {
  const auto* at = reinterpret_cast<const uint8_t*>(&p) + f.offset;
  uint32_t v32 = 0;
  uint16_t v16 = 0;
  switch (f.size) {
    case 4:
      memcpy(&v32, at, 4);
      return v32;
    case 2:
      memcpy(&v16, at, 2);
      return v16;
    default:
      return *at;
  }
}

void print_boot_param(const BootParam& p) {
  for (const ShownField& f : kBootParamFields) {
    if (f.size == 0) {
      const char* text = reinterpret_cast<const char*>(&p) + f.offset;
      printf("%s%-2.*s\n", f.label, field_span(p, text), text);
    } else {
      printf("%s0x%-2x\n", f.label, field_value(p, f));
    }
  }
  for (int i = 0; i < 16; ++i) {
    const uint8_t* m = p.mac_addr[i];
    printf("macAddr:                  [%02d]%02x:%02x:%02x:%02x:%02x:%02x\n", i, m[0], m[1], m[2], m[3], m[4], m[5]);
  }
  const char* r = p.rand_code;
  printf("App.rand_code:     %c%c%c%c%c%c\n", r[0], r[1], r[2], r[3], r[4], r[5]);
  // Device data, shown exactly as stored.
  fputs("WIFI KEY:     ", stdout);
  fwrite(p.wifi_key, 1, sizeof p.wifi_key, stdout);
  putchar('\n');
  fputs("VELMO UID:     ", stdout);
  fwrite(p.uid, 1, sizeof p.uid, stdout);
  putchar('\n');
}

}  // namespace

// item: bootparam
int bootparam_report(int, char**) {
  puts("bootparam测试开始");
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 0) {
    puts("驱动接口打开失败!");
    return -1;
  }
  BootParam& p = g_boot_param;
  if (sys::ioctl(fd, TAVIO_GET_BOOTPARAM, &p) < 0) {
    puts("获取bootparam失败!");
    sys::close(fd);
    return 0;
  }
  if (p.magic != kBootParamMagic) {
    puts("bootparam错误!");
    sys::close(fd);
    return 0;
  }
  puts("@start==============BOOTPARAM INFO================start@");
  print_boot_param(p);
  puts("@end================BOOTPARAM INFO================end@");
  puts("\n bootparam测试完毕");
  sys::close(fd);
  return 0;
}

// item: cpld
int cpld_report(int, char**) {
  puts("CPLD测试开始");
  int fd;
  HardwareInfo& info = g_cpld_info;
  switch (open_hardware_info(&fd, &info, true)) {
    case RecordRead::kUnopened:
      return -1;
    case RecordRead::kFailed:
      sys::close(fd);
      return 0;
    case RecordRead::kValid:
      break;
  }
  puts("@start==============CPLD INFO================start@");
  uint32_t words[64];
  memcpy(words, &info, sizeof words);
  for (int i = 0; i < 64; ++i) printf(kCpldFormats[i], words[i]);
  puts("@end================CPLD INFO================end@");
  puts("\n cpld测试完毕");
  sys::close(fd);
  return 0;
}

}  // namespace tav
