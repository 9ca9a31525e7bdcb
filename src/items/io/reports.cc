// Boot parameter and CPLD reports: a record from /dev/tavio printed field
// by field between banners that the station parses.
#include <fcntl.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "items/items.h"
#include "items/io/tavio.h"
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

void print_boot_param(const BootParam& p) {
  printf("Magic:                    0x%-2x\n", static_cast<unsigned>(p.magic));
  printf("Csum:                     0x%-2x\n", static_cast<unsigned>(p.csum));
  printf("Len:                      0x%-2x\n", static_cast<unsigned>(p.len));
  printf("Ver:                      0x%-2x\n", static_cast<unsigned>(p.ver));
  printf("Elem.devType:             0x%-2x\n", static_cast<unsigned>(p.dev_type));
  printf("Elem.devClass:            0x%-2x\n", static_cast<unsigned>(p.dev_class));
  printf("Elem.link:                0x%-2x\n", static_cast<unsigned>(p.link));
  printf("Boot.Type:                0x%-2x\n", static_cast<unsigned>(p.boot_type));
  printf("Boot.Kmen:                0x%-2x\n", static_cast<unsigned>(p.boot_kmem));
  printf("Boot.Emem:                0x%-2x\n", static_cast<unsigned>(p.boot_emem));
  printf("Id.cmatch:                %-2.*s\n", field_span(p, p.cmatch), p.cmatch);
  printf("Id.devModel:              %-2.*s\n", field_span(p, p.dev_model), p.dev_model);
  printf("Id.prodDate:              %-2.*s\n", field_span(p, p.prod_date), p.prod_date);
  printf("Id.prodNo:                %-2.*s\n", field_span(p, p.prod_no), p.prod_no);
  printf("Id.writeDate:             %-2.*s\n", field_span(p, p.write_date), p.write_date);
  printf("Id.language:              0x%-2x\n", static_cast<unsigned>(p.language));
  printf("Id.oemCode:               0x%-2x\n", static_cast<unsigned>(p.oem_code));
  printf("Id.zone:                  0x%-2x\n", static_cast<unsigned>(p.zone));
  printf("Id.crypto:                0x%-2x\n", static_cast<unsigned>(p.crypto));
  printf("Feature.encodeChans:      0x%-2x\n", static_cast<unsigned>(p.encode_chans));
  printf("Feature.decodeChans:      0x%-2x\n", static_cast<unsigned>(p.decode_chans));
  printf("Feature.ipcChans:         0x%-2x\n", static_cast<unsigned>(p.ipc_chans));
  printf("Feature.ivsChans:         0x%-2x\n", static_cast<unsigned>(p.ivs_chans));
  printf("Feature.picFormat:        0x%-2x\n", static_cast<unsigned>(p.features[0]));
  printf("Feature.cpuFreq:          0x%-2x\n", static_cast<unsigned>(p.features[1]));
  printf("Feature.dspFreq:          0x%-2x\n", static_cast<unsigned>(p.features[2]));
  printf("Feature.devHigh:          0x%-2x\n", static_cast<unsigned>(p.features[3]));
  printf("Feature.webSupport:       0x%-2x\n", static_cast<unsigned>(p.features[4]));
  printf("Feature.voipSupport:      0x%-2x\n", static_cast<unsigned>(p.features[5]));
  printf("Feature.usbNums:          0x%-2x\n", static_cast<unsigned>(p.features[6]));
  printf("Feature.lcdSupport:       0x%-2x\n", static_cast<unsigned>(p.features[7]));
  printf("Feature.voNums:           0x%-2x\n", static_cast<unsigned>(p.features[8]));
  printf("Feature.vgaNums:          0x%-2x\n", static_cast<unsigned>(p.features[9]));
  printf("Feature.vtSupport:        0x%-2x\n", static_cast<unsigned>(p.features[10]));
  printf("Feature.videoMaxtrix:     0x%-2x\n", static_cast<unsigned>(p.features[11]));
  printf("Feature.extendedDecoder:  0x%-2x\n", static_cast<unsigned>(p.features[12]));
  printf("Feature.extendedIVS:      0x%-2x\n", static_cast<unsigned>(p.features[13]));
  printf("Feature.extendedAlarmOut: 0x%-2x\n", static_cast<unsigned>(p.features[14]));
  printf("Feature.IntellAlgor:      0x%-2x\n", static_cast<unsigned>(p.features[15]));
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
