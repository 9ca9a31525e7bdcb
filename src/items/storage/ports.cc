// The controller scan, the port report and the disk power cycling test.
#include <errno.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/console.h"
#include "items/items.h"
#include "items/storage/storage_ctl.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr const char* kSsdList = "/proc/zmrp/tavata/iva";
constexpr int kAllDisks = 99;
constexpr int kChecks = 5;
constexpr unsigned kSettleSeconds = 20;

const char* const kSerrorNames[17] = {"RecovData:", "RecovComm:", "UnrecovData:", "Persist:",     "Proto:",  "HostInt:",
                                      "PHYRdyChg:", "PHYInt:",    "CommWake:",    "SERR_10B_8B:", "Dispar:", "BadCRC:",
                                      "Handshk:",   "LinkSeq:",   "TrStaTrns:",   "UnrecFIS:",    "DevExch:"};
const char* const kCompletionNames[9] = {
    "HostBusError:", "ATABusError:",     "TimeOutError:", "HSMviolation:", "SystemError:",
    "MediaError:",   "InvalidArgument:", "DeviceError:",  "UnknownError:"};

void counter(const char* label, long value) { printf("%-23s%ld\n", label, value); }

struct Counter {
  const char* label;
  int32_t value;
};

void print_status(const PortStatus& s) {
  puts("@start==============SATA PORT 5 STATUS================start@");
  const Counter first[] = {
      {"lbaOverflow:", s.lbaOverflow}, {"keyAreaErr:", s.keyAreaErr},         {"BSYCount:", s.BSYCount},
      {"NoReady:", s.NoReady},         {"DRQSetErr:", s.DRQSetErr},           {"writeErr:", s.writeErr},
      {"readErr:", s.readErr},         {"retryCmdCount:", s.retryCmdCount},   {"abortCmdCount:", s.abortCmdCount},
      {"CmdAborted:", s.CmdAborted},   {"CmdOverUnknown:", s.CmdOverUnknown}, {"CmdOverErr:", s.CmdOverErr},
      {"hdStatus:", s.hdStatus}};
  for (const auto& c : first) counter(c.label, c.value);
  printf("hdStatus:              %s  %s  %#x\n", (s.hdStatus & kHdAbnormalBits) ? "ABNORMAL" : "NORMAL",
         (s.hdStatus & kHdIdleBit) ? "IDLE" : "ACTIVE", static_cast<unsigned>(s.hdStatus));
  const Counter second[] = {{"BadSCSICmdParam:", s.BadSCSICmdParam},
                            {"UAReset:", s.UAReset},
                            {"UAParamChanged:", s.UAParamChanged},
                            {"QueueFull:", s.QueueFull},
                            {"OverRun:", s.OverRun},
                            {"UnderRun:", s.UnderRun},
                            {"ParityErr:", s.ParityErr},
                            {"BadSCSICmdResult:", s.BadSCSICmdResult},
                            {"RecoverableErr:", s.RecoverableErr},
                            {"DeviceFault:", s.DeviceFault},
                            {"SerrInt:", s.SerrInt},
                            {"LinkCtlRxErr:", s.LinkCtlRxErr},
                            {"LinkCtlTxErr:", s.LinkCtlTxErr}};
  for (const auto& c : second) counter(c.label, c.value);
  printf("accessTime:            %ld\n\n", static_cast<long>(s.accessTime));
  puts("                SError Content");
  for (int i = 0; i < 17; ++i) counter(kSerrorNames[i], s.serror[i]);
  putchar('\n');  // after DevExch
  puts("            ATA completion errors");
  for (int i = 0; i < 9; ++i) counter(kCompletionNames[i], s.completion[i]);
  puts("@end================SATA PORT 5 STATUS================end@");
}

const char* const kOk = "\033[0;32mSTOR_CMD_%s test OK.\033[m\n";

// A line of at most size - 1 characters from a descriptor; 0 at its end.
int read_fd_line(int fd, char* buf, int size) {
  int n = 0;
  char c;
  while (n < size - 1 && sys::read(fd, &c, 1) == 1) {
    buf[n++] = c;
    if (c == '\n') break;
  }
  buf[n] = '\0';
  return n;
}

}  // namespace

int storage_scan(int fd, DiskEntry* table) {
  for (int i = 0; i < kPorts; ++i) table[i].present = 0;
  for (;;) {
    int32_t done = 0;
    if (sys::ioctl(fd, STOR_CMD_SCAN_DONE, &done) != 0)
      printf("STOR_CMD_SCAN_DONE faild. errno=%d\n", errno);
    else if (done == 1)
      break;
    puts("硬盘扫描中...");
    sys::sleep(1);
  }
  puts("硬盘扫描完毕");
  for (int port = 0; port < kPorts; ++port) {
    if (table[port].selected != 1) continue;
    PortStatus status;
    memset(&status, 0, sizeof status);
    status.readErr = port;
    if (sys::ioctl(fd, STOR_CMD_GET, &status) != 0) {
      printf("STOR_CMD_GET faild. errno=%d\n", errno);
      continue;
    }
    if ((status.hdStatus & kHdNoDiskBit) == 0) table[port].present = 1;
  }
  return 0;
}

int get_ssd_index() {
  int fd = sys::open(kSsdList, O_RDONLY);
  if (fd < 0) {
    printf("open %s error(%d)\n", kSsdList, errno);
    return -1;
  }
  int result = -1;
  char line[513];
  while (read_fd_line(fd, line, sizeof line) > 0) {
    const char* key = strstr(line, "index");
    const char* colon = key ? strchr(key, ':') : nullptr;
    if (colon == nullptr) continue;
    int value = atoi(colon + 1);
    result = value >= 1 ? value : -1;
    break;
  }
  sys::close(fd);
  return result;
}

namespace {

// One of port 0's records: true with its opening banner shown, or false with
// the refusal shown.
bool open_record(int fd, unsigned long request, void* record, const char* title) {
  int rc = sys::ioctl(fd, request, record);
  if (rc != 0) {
    printf("\033[0;32mSTOR_CMD_ERR_REQ test faild:%d.\033[m\n", rc);  // KEPT: every record's refusal says ERR_REQ
    return false;
  }
  printf(kOk, "ERR_REQ");  // KEPT: likewise its success
  printf("@start==============SATA PORT %d %s================start@\n", 0, title);
  return true;
}

void close_record(const char* title) { printf("@end================SATA PORT %d %s================end@\n", 0, title); }

}  // namespace

// item: sata_port
int sata_port(int, char**) {
  int fd = sys::open(kStoragePath, O_RDWR);
  if (fd < 0) {
    puts("Open /dev/tavstorage failed!");
    return -1;
  }
  int32_t done = 0;
  int rc = sys::ioctl(fd, STOR_CMD_SCAN_DONE, &done);
  if (rc != 0)
    printf("\033[0;32mSTOR_CMD_SCAN_DONE test faild:%d.\033[m\n", rc);
  else
    printf(kOk, "SCAN_DONE");

  ErrRequest err;
  memset(&err, 0, sizeof err);
  if (open_record(fd, STOR_CMD_ERR_REQ, &err, "ERROR REQUEST")) {
    printf("err type:              %d\n", err.err_type);
    printf("err count:             %d\n", err.err_count);
    printf("cmd type:              %d\n", err.cmd_type);
    printf("sector:                %lld\n", static_cast<long long>(err.sector));
    close_record("ERROR REQUEST");
  }

  ResetCount reset;
  memset(&reset, 0, sizeof reset);
  if (open_record(fd, STOR_CMD_RESET_COUNT, &reset, "RESET COUNT")) {
    printf("reset count:           %d\n", reset.count);
    printf("last reset time:       %ld\n", static_cast<long>(reset.last_reset_time));
    close_record("RESET COUNT");
  }

  PortStatus status;
  memset(&status, 0, sizeof status);
  if (sys::ioctl(fd, STOR_CMD_GET, &status) != 0) {
    puts("STOR_CMD_GET faild!");
    sys::close(fd);
    return -1;
  }
  print_status(status);
  puts("硬盘信息输出完毕,请对照/proc/tavata/sataport0!!!");
  sys::close(fd);
  return 0;
}

namespace {

// The first selected port other than skip whose present word equals want, or -1.
int first_port(const DiskEntry* table, int present, int skip) {
  for (int port = 0; port < kPorts; ++port)
    if (table[port].selected == 1 && port != skip && table[port].present == present) return port;
  return -1;
}

// One power cycle of the selected ports; false when it counted an error.
bool power_cycle(int stor, int hdpm, DiskEntry* table) {
  for (uint32_t port = 0; port < kPorts; ++port) {
    if (table[port].selected != 1) continue;
    uint32_t index = port;
    if (sys::ioctl(hdpm, HD_POWER_DOWN, &index) != 0) {
      puts("ioctl HD_POWER_DOWN fail.");
      return false;
    }
  }
  int still = -1;
  for (int check = 0; check < kChecks; ++check) {
    sys::sleep(kSettleSeconds);
    storage_scan(stor, table);
    int ssd = get_ssd_index();
    if (ssd < 0) puts("未发现SSD(/dev/iva)");
    still = first_port(table, 1, ssd);
    if (still < 0) break;
  }
  if (still >= 0) {
    printf("错误，对硬盘 %4d 断电, 但是依然存在\n", still);
    return false;
  }
  int powered = 0;
  for (uint32_t port = 0; port < kPorts; ++port) {
    if (table[port].selected != 1) continue;
    uint32_t index = port;
    if (sys::ioctl(hdpm, HD_POWER_UP, &index) != 0) {
      puts("ioctl HD_POWER_UP fail.");
      return false;
    }
    // Spin-up current is drawn four disks at a time.
    if (++powered % 4 == 0) sys::sleep(6);
  }
  int absent = -1;
  for (int check = 0; check < kChecks; ++check) {
    sys::sleep(kSettleSeconds);
    storage_scan(stor, table);
    absent = first_port(table, 0, -1);
    if (absent < 0) break;
  }
  if (absent >= 0) {
    printf("错误，对硬盘 %4d 上电, 但是硬盘不存在\n", absent);
    return false;
  }
  return true;
}

}  // namespace

// item: disk_power
int disk_power(int, char**) {
  puts("\n硬盘上下电测试开始");
  puts("请输入测试硬盘号，99表示测试所有存在的硬盘");
  int disk = 0;
  if (console_read_int(&disk) != 1) return -EINVAL;
  if (disk > kPorts - 1 && disk != kAllDisks) printf("测试硬盘号 %4d 不支持\n", disk);
  puts("请输入测试次数");
  int count = 0;
  if (console_read_int(&count) != 1) return -EINVAL;

  auto* table = static_cast<DiskEntry*>(calloc(kPorts, sizeof(DiskEntry)));
  if (table == nullptr) {
    puts("分配硬盘结构体失败");
    return -1;
  }
  int stor = sys::open(kStoragePath, O_RDWR);
  if (stor < 1) {
    puts("打开/dev/tavstorage设备失败");
    free(table);
    return 0;
  }
  int hdpm = sys::open(kHdpmPath, O_RDWR);
  if (hdpm < 1) {
    puts("打开/dev/tavhdpm设备失败");
    sys::close(stor);
    free(table);
    return 0;
  }
  bool go = true;
  if (disk != kAllDisks) {
    if (disk >= 0 && disk < kPorts) {
      table[disk].selected = 1;
      printf("硬盘 %4d 将会被测试 %4d 次\n", disk, count);
    } else {
      printf("硬盘 %4d 不支持\n", 0);
      go = false;
    }
  } else {
    // Nothing is selected yet, so this only waits for the controller.
    storage_scan(stor, table);
    for (int port = 0; port < kPorts; ++port)
      if (table[port].present) {
        table[port].selected = 1;
        printf("硬盘 %4d 将会被测试 %4d 次\n", port, count);
      }
  }
  if (go) {
    int errors = 0;
    for (int cycle = 1; cycle <= count; ++cycle) {
      if (!power_cycle(stor, hdpm, table)) ++errors;
      printf("测试: %8d 次, 错误: %8d 次\n", cycle, errors);
    }
    if (errors == 0) puts("\033[0;32mdisk updown test OK.\033[m");
  }
  sys::close(hdpm);
  sys::close(stor);
  free(table);
  return 0;
}

}  // namespace tav
