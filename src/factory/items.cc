#include "factory/factory.h"
#include "items/items.h"
#include "items/io/usb.h"
#include "items/storage/disk_perf.h"
#include "items/storage/emmc.h"
#include "items/storage/smart.h"
#include "items/storage/spi_switch.h"
#include "items/storage/storage_ctl.h"

namespace tav {

// No name may be a prefix of a later one: lookup takes the first prefix.
const TestItem kFactoryItems[] = {
    {"watchdog", 2, watchdog_test, "看门狗复位测试"},
    {"bootparam", 1, bootparam_report, "bootparam信息"},
    {"cpld", 1, cpld_report, "CPLD信息"},
    {"alarm", 1, alarm_test, "报警输入输出测试"},
    {"buzzer", 1, buzzer_test, "蜂鸣器测试"},
    {"rtc", 1, rtc_test, "RTC走时测试"},
    {"hdmi", 1, hdmi_detect, "HDMI接入检测"},
    {"vga", 1, vga_detect, "VGA接入检测"},
    {"reset", 1, reset_detect, "复位键检测"},
    {"joystick", 1, joystick_probe, "摇杆键盘探测"},
    {"ir", 2, ir_test, "红外接收测试"},
    {"panel", 1, panel_test, "前面板测试"},
    {"keys", 1, keys_test, "前面板按键测试"},
    {"rs485", 1, rs485_test, "RS485测试"},
    {"gpio", 2, gpio_tool, "GPIO读写"},
    {"pse", 2, pse_test, "模拟PSE供电测试"},
    {"usb", 1, usb_test, "USB存储测试"},
    {"pcietran", 2, pcietran_test, "PCIe传输测试"},
    {"uboot_env", 2, uboot_env_test, "UBOOT环境变量测试"},
    {"encrypto_test", 2, encrypto_test, "环境变量密码设置"},
    {"workkey", 2, workkey_tool, "工作密钥加解密"},
    {"disk_scan", 1, disk_scan, "硬盘扫描检测"},
    {"sata_port", 1, sata_port, "SATA端口信息"},
    {"disk_power", 2, disk_power, "硬盘上下电测试"},
    {"harddisk_info_test", 2, harddisk_info_test, "硬盘信息与SMART"},
    {"disk_perf", 2, disk_perf, "硬盘读写性能测试"},
    {"disk_unlock", 2, disk_unlock, "硬盘密码解锁测试"},
    {"hdbuffer", 2, hdbuffer, "硬盘缓存设置"},
    {"emmc", 1, emmc_test, "eMMC读写测试"},
    {"spi_switch", 2, spi_switch, "NAND与SPI NOR切换测试"},
    {"mtd_test", 2, mtd_test, "MTD工具"},
    {"nand_id", 1, nand_id_check, "NAND ID检测"},
    {"mmz", 1, mmz_test, "MMZ内存测试"},
    {"phy", 2, phy_tool, "MDIO与PHY链路"},
    {"switch", 2, switch_tool, "交换芯片工具"},
    {"nas_kill", 2, nas_kill_test, "NAS异常处理测试"},
    {"temperature", 1, temperature_tool, "温度读取"},
    {"fan", 1, fan_tool, "风扇转速"},
    {nullptr, 0, nullptr, nullptr},
};

}  // namespace tav
