// Reading an item's console lines for its verdict: the helpers every
// item's judge shares, and each item's judge.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "station/judge.h"

namespace tav {
namespace station {

using Lines = std::vector<std::string_view>;

// The console's lines, without their line ends.
Lines lines_of(std::string_view out);
bool contains(std::string_view s, const char* part);
bool starts(std::string_view s, const char* head);
// Every line holding one of the parts.
void collect(const Lines& lines, std::initializer_list<const char*> parts, std::vector<std::string>* out);
void number(Findings* f, const char* name, double v, const char* unit);
void text(Findings* f, const char* name, std::string_view value);
// The number after head on the first line that starts with it.
bool number_after(const Lines& lines, const char* head, double* v, int base = 10);
std::string_view last_line(const Lines& lines);
// An error verdict, with the lines holding one of the parts.
void error_with(Findings* f, const Lines& lines, std::initializer_list<const char*> parts);
// An error verdict with the first line holding one of the parts (a line that
// shows the check was never made); false when there is none.
bool error_at_first(const Lines& lines, std::initializer_list<const char*> parts, Findings* f);
// A "YYYY-MM-DD hh:mm:ss" line, and its seconds.
bool time_line(std::string_view l, int* second);

// Each item's judge, in table order.
void judge_alarm(const RunFacts& r, const Lines& lines, Findings* f);
void judge_buzzer(const RunFacts& r, const Lines& lines, Findings* f);
void judge_report(const RunFacts& r, const Lines& lines, Findings* f);
void judge_temperature(const RunFacts& r, const Lines& lines, Findings* f);
void judge_fan(const RunFacts& r, const Lines& lines, Findings* f);
void judge_nas_kill(const RunFacts& r, const Lines& lines, Findings* f);
void judge_rtc(const RunFacts& r, const Lines& lines, Findings* f);
void judge_watchdog(const RunFacts& r, const Lines& lines, Findings* f);
void judge_display(const RunFacts& r, const Lines& lines, Findings* f);
void judge_reset_key(const RunFacts& r, const Lines& lines, Findings* f);
void judge_joystick(const RunFacts& r, const Lines& lines, Findings* f);
void judge_ir(const RunFacts& r, const Lines& lines, Findings* f);
void judge_panel(const RunFacts& r, const Lines& lines, Findings* f);
void judge_keys(const RunFacts& r, const Lines& lines, Findings* f);
void judge_rs485(const RunFacts& r, const Lines& lines, Findings* f);
void judge_gpio(const RunFacts& r, const Lines& lines, Findings* f);
void judge_pse(const RunFacts& r, const Lines& lines, Findings* f);
void judge_uboot_env(const RunFacts& r, const Lines& lines, Findings* f);
void judge_encrypto(const RunFacts& r, const Lines& lines, Findings* f);
void judge_workkey(const RunFacts& r, const Lines& lines, Findings* f);
void judge_usb(const RunFacts& r, const Lines& lines, Findings* f);
void judge_pcietran(const RunFacts& r, const Lines& lines, Findings* f);
void judge_smart(const RunFacts& r, const Lines& lines, Findings* f);
void judge_disk_perf(const RunFacts& r, const Lines& lines, Findings* f);
void judge_disk_scan(const RunFacts& r, const Lines& lines, Findings* f);
void judge_sata_port(const RunFacts& r, const Lines& lines, Findings* f);
void judge_disk_power(const RunFacts& r, const Lines& lines, Findings* f);
void judge_disk_unlock(const RunFacts& r, const Lines& lines, Findings* f);
void judge_hdbuffer(const RunFacts& r, const Lines& lines, Findings* f);
void judge_emmc(const RunFacts& r, const Lines& lines, Findings* f);
void judge_spi_switch(const RunFacts& r, const Lines& lines, Findings* f);
void judge_mtd(const RunFacts& r, const Lines& lines, Findings* f);
void judge_nand_id(const RunFacts& r, const Lines& lines, Findings* f);
void judge_mmz(const RunFacts& r, const Lines& lines, Findings* f);
void judge_phy(const RunFacts& r, const Lines& lines, Findings* f);
void judge_switch(const RunFacts& r, const Lines& lines, Findings* f);
void judge_by_result(const RunFacts& r, const Lines& lines, Findings* f);

}  // namespace station
}  // namespace tav
