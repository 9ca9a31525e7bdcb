#include "factory/factory.h"
#include "items/io/io_items.h"
#include "items/storage/disk_perf.h"
#include "items/storage/smart.h"
#include "items/storage/storage_ctl.h"

namespace tav {

// No name may be a prefix of a later one: lookup takes the first prefix.
const TestItem kFactoryItems[] = {
    {"watchdog", 2, nullptr, "看门狗复位测试"},
    {"bootparam", 1, bootparam_report, "bootparam信息"},
    {"cpld", 1, cpld_report, "CPLD信息"},
    {"alarm", 1, alarm_test, "报警输入输出测试"},
    {"buzzer", 1, buzzer_test, "蜂鸣器测试"},
    {"disk_scan", 1, disk_scan, "硬盘扫描检测"},
    {"sata_port", 1, sata_port, "SATA端口信息"},
    {"disk_power", 2, disk_power, "硬盘上下电测试"},
    {"harddisk_info_test", 2, harddisk_info_test, "硬盘信息与SMART"},
    {"disk_perf", 2, disk_perf, "硬盘读写性能测试"},
    {"disk_unlock", 2, disk_unlock, "硬盘密码解锁测试"},
    {"hdbuffer", 2, hdbuffer, "硬盘缓存设置"},
    {nullptr, 0, nullptr, nullptr},
};

}  // namespace tav
