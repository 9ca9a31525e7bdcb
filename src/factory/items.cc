#include "items/items.h"

#include "factory/factory.h"
#include "items/io/usb.h"
#include "items/storage/disk_perf.h"
#include "items/storage/emmc.h"
#include "items/storage/smart.h"
#include "items/storage/spi_switch.h"
#include "items/storage/storage_ctl.h"

namespace tav {

// No name may be a prefix of a later one: lookup takes the first prefix.
const TestItem kFactoryItems[] = {
    {"watchdog", kByNameOnly, watchdog_test, "看门狗复位测试"},
    {"bootparam", kRunAll, bootparam_report, "bootparam信息"},
    {"cpld", kRunAll, cpld_report, "CPLD信息"},
    {"alarm", kRunAll, alarm_test, "报警输入输出测试"},
    {"buzzer", kRunAll, buzzer_test, "蜂鸣器测试"},
    {"rtc", kRunAll, rtc_test, "RTC走时测试"},
    {"hdmi", kRunAll, hdmi_detect, "HDMI接入检测"},
    {"vga", kRunAll, vga_detect, "VGA接入检测"},
    {"reset", kRunAll, reset_detect, "复位键检测"},
    {"joystick", kRunAll, joystick_probe, "摇杆键盘探测"},
    {"ir", kByNameOnly, ir_test, "红外接收测试"},
    {"panel", kRunAll, panel_test, "前面板测试"},
    {"keys", kRunAll, keys_test, "前面板按键测试"},
    {"rs485", kRunAll, rs485_test, "RS485测试"},
    {"gpio", kByNameOnly, gpio_tool, "GPIO读写"},
    {"pse", kByNameOnly, pse_test, "模拟PSE供电测试"},
    {"usb", kRunAll, usb_test, "USB存储测试"},
    {"pcietran", kByNameOnly, pcietran_test, "PCIe传输测试"},
    {"uboot_env", kByNameOnly, uboot_env_test, "UBOOT环境变量测试"},
    {"encrypto_test", kByNameOnly, encrypto_test, "环境变量密码设置"},
    {"workkey", kByNameOnly, workkey_tool, "工作密钥加解密"},
    {"disk_scan", kRunAll, disk_scan, "硬盘扫描检测"},
    {"sata_port", kRunAll, sata_port, "SATA端口信息"},
    {"disk_power", kByNameOnly, disk_power, "硬盘上下电测试"},
    {"harddisk_info_test", kByNameOnly, harddisk_info_test, "硬盘信息与SMART"},
    {"disk_perf", kByNameOnly, disk_perf, "硬盘读写性能测试"},
    {"disk_unlock", kByNameOnly, disk_unlock, "硬盘密码解锁测试"},
    {"hdbuffer", kByNameOnly, hdbuffer, "硬盘缓存设置"},
    {"emmc", kRunAll, emmc_test, "eMMC读写测试"},
    {"spi_switch", kByNameOnly, spi_switch, "NAND与SPI NOR切换测试"},
    {"mtd_test", kByNameOnly, mtd_test, "MTD工具"},
    {"nand_id", kRunAll, nand_id_check, "NAND ID检测"},
    {"mmz", kRunAll, mmz_test, "MMZ内存测试"},
    {"phy", kByNameOnly, phy_tool, "MDIO与PHY链路"},
    {"switch", kByNameOnly, switch_tool, "交换芯片工具"},
    {"nas_kill", kByNameOnly, nas_kill_test, "NAS异常处理测试"},
    {"temperature", kRunAll, temperature_tool, "温度读取"},
    {"fan", kRunAll, fan_tool, "风扇转速"},
    {nullptr, 0, nullptr, nullptr},
};

}  // namespace tav
