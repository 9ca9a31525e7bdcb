// The I/O-board test items. Each takes (argc, argv); started from the menu
// they get argc 0 and a null argv, which means "no arguments".
#pragma once

namespace tav {

int alarm_test(int argc, char** argv);
int buzzer_test(int argc, char** argv);
int bootparam_report(int argc, char** argv);
int cpld_report(int argc, char** argv);
int rtc_test(int argc, char** argv);
// Ends only with the board's reset, unless a request fails.
int watchdog_test(int argc, char** argv);
int hdmi_detect(int argc, char** argv);
int vga_detect(int argc, char** argv);
int reset_detect(int argc, char** argv);
int joystick_probe(int argc, char** argv);
// Runs until stopped, unless the node fails.
int ir_test(int argc, char** argv);
// Opens the panel's port and starts its heartbeat, both left running for the
// key test later in the same process.
int panel_test(int argc, char** argv);
// Listens on the port the panel test opened; without it, fails at once.
int keys_test(int argc, char** argv);
int rs485_test(int argc, char** argv);
int gpio_tool(int argc, char** argv);
// Runs until stopped, unless a request fails.
int pse_test(int argc, char** argv);
int uboot_env_test(int argc, char** argv);
int encrypto_test(int argc, char** argv);
int workkey_tool(int argc, char** argv);

}  // namespace tav
