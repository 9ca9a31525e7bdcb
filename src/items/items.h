// Every factory item's entry point, in the order of the item table. Each
// takes (argc, argv); started from the menu it gets argc 0 and a null argv,
// which means "no arguments". The comment names the file; the file marks the
// entry point with "item: NAME".
#pragma once

namespace tav {

// Ends only with the board's reset, unless a request fails.
int watchdog_test(int argc, char** argv);     // items/io/rtc.cc
int bootparam_report(int argc, char** argv);  // items/io/reports.cc
int cpld_report(int argc, char** argv);       // items/io/reports.cc
int alarm_test(int argc, char** argv);        // items/io/alarm.cc
int buzzer_test(int argc, char** argv);       // items/io/alarm.cc
int rtc_test(int argc, char** argv);          // items/io/rtc.cc
int hdmi_detect(int argc, char** argv);       // items/io/presence.cc
int vga_detect(int argc, char** argv);        // items/io/presence.cc
int reset_detect(int argc, char** argv);      // items/io/presence.cc
int joystick_probe(int argc, char** argv);    // items/io/presence.cc
// Runs until stopped, unless the node fails.
int ir_test(int argc, char** argv);  // items/io/presence.cc
// Leaves the panel's port open and its heartbeat running for keys.
int panel_test(int argc, char** argv);  // items/io/panel.cc
// Listens on the port panel opened; without it, fails at once.
int keys_test(int argc, char** argv);   // items/io/panel.cc
int rs485_test(int argc, char** argv);  // items/io/rs485.cc
int gpio_tool(int argc, char** argv);   // items/io/gpio.cc
// Runs until stopped, unless a request fails.
int pse_test(int argc, char** argv);  // items/io/gpio.cc
// Always 0: the verdict is printed per stick.
int usb_test(int argc, char** argv);  // items/io/usb.cc
// Never returns once the area is mapped.
int pcietran_test(int argc, char** argv);       // items/io/pcietran.cc
int uboot_env_test(int argc, char** argv);      // items/io/uboot_env.cc
int encrypto_test(int argc, char** argv);       // items/io/uboot_env.cc
int workkey_tool(int argc, char** argv);        // items/io/workkey.cc
int disk_scan(int argc, char** argv);           // items/storage/disk_scan.cc
int sata_port(int argc, char** argv);           // items/storage/ports.cc
int disk_power(int argc, char** argv);          // items/storage/ports.cc
int harddisk_info_test(int argc, char** argv);  // items/storage/smart.cc
int disk_perf(int argc, char** argv);           // items/storage/disk_perf.cc
int disk_unlock(int argc, char** argv);         // items/storage/unlock.cc
int hdbuffer(int argc, char** argv);            // items/storage/unlock.cc
// Always 0: the verdict is the printed text.
int emmc_test(int argc, char** argv);  // items/storage/emmc.cc
// The last join's result (0), or -1 when a thread cannot be created or joined.
int spi_switch(int argc, char** argv);     // items/storage/spi_switch.cc
int mtd_test(int argc, char** argv);       // items/storage/mtd.cc
int nand_id_check(int argc, char** argv);  // items/storage/mtd.cc
int mmz_test(int argc, char** argv);       // items/storage/mmz.cc
// Usage (argc 1 or -h) ends the process with status 0.
int phy_tool(int argc, char** argv);          // items/net/phy.cc
int switch_tool(int argc, char** argv);       // items/net/switch.cc
int nas_kill_test(int argc, char** argv);     // items/net/sensors.cc
int temperature_tool(int argc, char** argv);  // items/net/sensors.cc
int fan_tool(int argc, char** argv);          // items/net/sensors.cc

}  // namespace tav
