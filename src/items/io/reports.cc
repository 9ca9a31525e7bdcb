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

enum class Shown { kHex, kText };
// The fields shown before the features, in order.
struct ShownField {
  const char* label;
  size_t offset;
  size_t size;
  Shown as;
};
constexpr ShownField kBootParamFields[] = {
    {"Magic:                    ", offsetof(BootParam, magic), sizeof BootParam::magic, Shown::kHex},
    {"Csum:                     ", offsetof(BootParam, csum), sizeof BootParam::csum, Shown::kHex},
    {"Len:                      ", offsetof(BootParam, len), sizeof BootParam::len, Shown::kHex},
    {"Ver:                      ", offsetof(BootParam, ver), sizeof BootParam::ver, Shown::kHex},
    {"Elem.devType:             ", offsetof(BootParam, dev_type), sizeof BootParam::dev_type, Shown::kHex},
    {"Elem.devClass:            ", offsetof(BootParam, dev_class), sizeof BootParam::dev_class, Shown::kHex},
    {"Elem.link:                ", offsetof(BootParam, link), sizeof BootParam::link, Shown::kHex},
    {"Boot.Type:                ", offsetof(BootParam, boot_type), sizeof BootParam::boot_type, Shown::kHex},
    {"Boot.Kmen:                ", offsetof(BootParam, boot_kmem), sizeof BootParam::boot_kmem, Shown::kHex},
    {"Boot.Emem:                ", offsetof(BootParam, boot_emem), sizeof BootParam::boot_emem, Shown::kHex},
    {"Id.cmatch:                ", offsetof(BootParam, cmatch), sizeof BootParam::cmatch, Shown::kText},
    {"Id.devModel:              ", offsetof(BootParam, dev_model), sizeof BootParam::dev_model, Shown::kText},
    {"Id.prodDate:              ", offsetof(BootParam, prod_date), sizeof BootParam::prod_date, Shown::kText},
    {"Id.prodNo:                ", offsetof(BootParam, prod_no), sizeof BootParam::prod_no, Shown::kText},
    {"Id.writeDate:             ", offsetof(BootParam, write_date), sizeof BootParam::write_date, Shown::kText},
    {"Id.language:              ", offsetof(BootParam, language), sizeof BootParam::language, Shown::kHex},
    {"Id.oemCode:               ", offsetof(BootParam, oem_code), sizeof BootParam::oem_code, Shown::kHex},
    {"Id.zone:                  ", offsetof(BootParam, zone), sizeof BootParam::zone, Shown::kHex},
    {"Id.crypto:                ", offsetof(BootParam, crypto), sizeof BootParam::crypto, Shown::kHex},
    {"Feature.encodeChans:      ", offsetof(BootParam, encode_chans), sizeof BootParam::encode_chans, Shown::kHex},
    {"Feature.decodeChans:      ", offsetof(BootParam, decode_chans), sizeof BootParam::decode_chans, Shown::kHex},
    {"Feature.ipcChans:         ", offsetof(BootParam, ipc_chans), sizeof BootParam::ipc_chans, Shown::kHex},
    {"Feature.ivsChans:         ", offsetof(BootParam, ivs_chans), sizeof BootParam::ivs_chans, Shown::kHex},
};

// One byte each, after the fields above.
constexpr const char* kFeatureLabels[16] = {
    "Feature.picFormat:        ", "Feature.cpuFreq:          ", "Feature.dspFreq:          ",
    "Feature.devHigh:          ", "Feature.webSupport:       ", "Feature.voipSupport:      ",
    "Feature.usbNums:          ", "Feature.lcdSupport:       ", "Feature.voNums:           ",
    "Feature.vgaNums:          ", "Feature.vtSupport:        ", "Feature.videoMaxtrix:     ",
    "Feature.extendedDecoder:  ", "Feature.extendedIVS:      ", "Feature.extendedAlarmOut: ",
    "Feature.IntellAlgor:      ",
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
    if (f.as == Shown::kText) {
      const char* text = reinterpret_cast<const char*>(&p) + f.offset;
      printf("%s%-2.*s\n", f.label, field_span(p, text), text);
    } else {
      printf("%s0x%-2x\n", f.label, field_value(p, f));
    }
  }
  for (int i = 0; i < 16; ++i) printf("%s0x%-2x\n", kFeatureLabels[i], static_cast<unsigned>(p.features[i]));
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
