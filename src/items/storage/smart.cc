#include "items/storage/smart.h"

#include <errno.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/console.h"
#include "items/items.h"
#include "items/storage/ata.h"
#include "items/storage/storage_ctl.h"
#include "sys/sys.h"

namespace tav {

const SmartAttributeName kSmartAttributeNames[] = {
    {1, "Raw Read Error Rate"},
    {2, "Throughput Performance"},
    {3, "Spin Up Time"},
    {4, "Start/Stop Count"},
    {5, "Reallocated Sector Count"},
    {6, "Read Channel Margin"},
    {7, "Seek Error Rate"},
    {8, "Seek Time Performance"},
    {9, "Power-on Hours Count"},
    {10, "Spin Up Retry Count"},
    {11, "Calibration Retry Count"},
    {12, "Power Cycle Count"},
    {13, "Soft Read Error Rate"},
    {191, "G-Sense Error Rate"},
    {192, "Power Off Retract Count"},
    {193, "Load/Unload Cycle Count"},
    {194, "Power temperature"},
    {195, "ECC on the Fly count"},
    {196, "Reallocation Event Count"},
    {197, "Current Pending Sector Count"},
    {198, "Off-line Scan Uncorrect. Sector Count"},
    {199, "Ultra ATA CRC Error Rate"},
    {200, "Write Error Count"},
    {202, "TA Increase Count"},
    {203, "Run Out Cancel"},
    {204, "Shock Count Write Opern"},
    {205, "Shock Rate Write Opern"},
    {206, "Flying Height Measurement"},
    {207, "Spin High Current"},
    {208, "Spin Buzz"},
    {209, "Offline Seek Performance"},
    {220, "Disk Shift"},
    {221, "G-Sense Error Rate"},
    {222, "Loaded Hours"},
    {223, "Load Retry Count"},
    {224, "Load Friction"},
    {225, "Load Cycle Count"},
    {226, "Load-in Time"},
    {227, "Torq-amp Count"},
    {228, "Power Off Retract Count"},
    {230, "Head Amplitude"},
    {231, "Temperature Celsius"},
    {240, "Head Flying Hours"},
    {250, "Read Error Retry Rate"},
    {0, nullptr},
};

namespace {

// Disks up to the eighth answer the IDE ioctls; later ones only SG_IO.
constexpr const char* kLastIdeDisk = "/dev/sdh";
constexpr unsigned kStandbyCheckSeconds = 10;
constexpr int kNameSize = 11;
constexpr int kAttributes = 30;

uint16_t word(const uint8_t* b, int w) { return static_cast<uint16_t>(b[2 * w] | b[2 * w + 1] << 8); }

void put_chars(const char* label, const uint8_t* p, int n) {
  fputs(label, stdout);
  fwrite(p, 1, static_cast<size_t>(n), stdout);
  putchar('\n');
}

const char* attribute_name(uint8_t id) {
  for (const SmartAttributeName* row = kSmartAttributeNames; row->id != 0; ++row)
    if (row->id == id) return row->name;
  return "Unknown attribute";
}

void print_identify(const uint8_t* id) {
  puts("**************************IDENTIFY_INFO************************");
  put_chars("SerialNumber(SN)     ", id + 20, 20);
  put_chars("ModelNumber:                     ", id + 54, 40);
  put_chars("FirmWare(FW):                    ", id + 46, 8);
  printf("cache                            %d\n", static_cast<int16_t>(word(id, 21)));
  printf("bytesSec                         %d\n", static_cast<int16_t>(word(id, 5)));
  printf("heads                            %u\n", word(id, 3));
  printf("cylinders                        %u\n", word(id, 1));
  printf("sectors                          %u\n", word(id, 6));
}

void print_smart(const uint8_t* v, const uint8_t* t) {
  puts("***************************SMART_INFO**************************");
  printf("SMART rev                            0x%x\n", word(v, 0));
  printf("offline_data_collection_status       0x%x\n", v[362]);
  printf("self_test_exec_status                0x%x\n", v[363]);
  printf("total_time_to_complete_off_line      %d seconds\n", v[364] | v[365] << 8);
  printf("offline_data_collection_capability   0x%x\n", v[367]);
  printf("smart_capability                     0x%x\n", v[368] | v[369] << 8);
  printf("errorlog_capability                  0x%x\n", v[370]);
  printf("short_test_completion_time           %d minutes\n", v[372]);
  printf("extend_test_completion_time          %d minutes\n", v[373]);
  printf("conveyance_test_completion_time      0x%x\n\n", v[374]);
  char rule[107];
  memset(rule, '*', 106);
  rule[106] = '\0';
  puts(rule);
  printf("%-4s%-40s%-8s%-16s%-8s%-8s%-16s%-8s\n\n", "ID", "Attribute name", "Flags", "Threshold", "Value", "Worst",
         "Raw Value", "Status");
  for (int i = 0; i < kAttributes; ++i) {
    const uint8_t* a = v + 2 + 12 * i;
    if (a[0] == 0) continue;
    // Thresholds pair with values by position, not by id.
    const uint8_t threshold = t[2 + 12 * i + 1];
    unsigned long long raw = 0;
    for (int k = 5; k >= 0; --k) raw = raw << 8 | a[5 + k];
    printf("%-4x", a[0]);
    printf("%-40s", attribute_name(a[0]));
    printf("%-8x%-16d%-8d%-8d%-16llu", a[1] | a[2] << 8, threshold, a[3], a[4], raw);
    printf("%-6s\n", a[3] > threshold ? "OK" : "ILL");
  }
}

}  // namespace

int set_harddisk_standby(const char* path) {
  int fd = sys::open(path, O_RDONLY | O_NONBLOCK);
  if (fd < 0) {
    printf("open %s failed\n", path);
    return -1;
  }
  int rc;
  if (strcmp(path, kLastIdeDisk) > 0) {
    rc = sata_command_interface(fd, ATA_STANDBY_IMMEDIATE, nullptr);
  } else {
    puts("硬盘开始进入休眠状态...");
    rc = ata_command_interface(fd, ATA_STANDBY_IMMEDIATE, nullptr);
  }
  if (rc < 0) {
    printf("sata command STANDBY IMMEDIATE return %d\n", rc);
    sys::close(fd);
    return -1;
  }
  puts("请确认硬盘状态是否处于IDLE...");
  sata_port(0, nullptr);
  sys::sleep(kStandbyCheckSeconds);
  sys::close(fd);
  return rc;
}

// item: harddisk_info_test
int harddisk_info_test(int, char**) {
  auto* name = static_cast<char*>(malloc(kNameSize));
  if (name == nullptr) {
    puts("get block device name error");
    return -1;
  }
  printf("请输入块设备名称:");
  fflush(stdout);
  int n = console_read_line(name, kNameSize);
  if (n < 0) {
    puts("get block device name error");
    free(name);
    return -1;
  }
  if (name[n - 1] == '\n') name[n - 1] = '\0';

  if (set_harddisk_standby(name) < 0) printf("set_harddisk_standby error errno = %d\n", errno);
  uint8_t id[kAtaSector] = {};
  if (get_identify_result(name, id) < 0) printf("get_identify_result error errno = %d\n", errno);
  print_identify(id);

  uint8_t values[kAtaSector] = {};
  uint8_t thresholds[kAtaSector] = {};
  if (enable_smart(name) < 0) printf("enable_smart error errno = %d\n", errno);
  if (sata_status_smart(name) < 0) printf("sata_status_smart error ioctl errno = %d\n", errno);
  int rc = read_smart_values(name, values);
  if (rc >= 0) rc = read_smart_thresholds(name, thresholds);
  if (rc < 0) {
    printf("read_smart_values error errno = %d\n", errno);
    free(name);
    return rc;
  }
  print_smart(values, thresholds);
  free(name);
  return rc;
}

}  // namespace tav
