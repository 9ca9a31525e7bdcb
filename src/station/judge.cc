#include "station/judge.h"

#include <string>

#include "station/judging.h"

namespace tav {
namespace station {

namespace {

using JudgeFn = void (*)(const RunFacts&, const Lines&, Findings*);

struct ItemJudge {
  const char* item;
  JudgeFn judge;
};

constexpr ItemJudge kJudges[] = {
    {"alarm", judge_alarm},
    {"buzzer", judge_buzzer},
    {"bootparam", judge_report},
    {"cpld", judge_report},
    {"temperature", judge_temperature},
    {"fan", judge_fan},
    {"nas_kill", judge_nas_kill},
    {"rtc", judge_rtc},
    {"watchdog", judge_watchdog},
    {"hdmi", judge_display},
    {"vga", judge_display},
    {"reset", judge_reset_key},
    {"joystick", judge_joystick},
    {"ir", judge_ir},
    {"panel", judge_panel},
    {"keys", judge_keys},
    {"rs485", judge_rs485},
    {"gpio", judge_gpio},
    {"pse", judge_pse},
    {"uboot_env", judge_uboot_env},
    {"encrypto_test", judge_encrypto},
    {"workkey", judge_workkey},
    {"usb", judge_usb},
    {"pcietran", judge_pcietran},
    {"disk_scan", judge_disk_scan},
    {"sata_port", judge_sata_port},
    {"disk_power", judge_disk_power},
    {"harddisk_info_test", judge_smart},
    {"disk_perf", judge_disk_perf},
    {"disk_unlock", judge_disk_unlock},
    {"hdbuffer", judge_hdbuffer},
    {"emmc", judge_emmc},
    {"spi_switch", judge_spi_switch},
    {"mtd_test", judge_mtd},
    {"nand_id", judge_nand_id},
    {"mmz", judge_mmz},
    {"phy", judge_phy},
    {"switch", judge_switch},
};

}  // namespace

Findings judge(const RunFacts& facts) {
  Findings f;
  Lines lines = lines_of(facts.out);
  JudgeFn fn = judge_by_result;
  for (const ItemJudge& j : kJudges)
    if (facts.item == j.item) fn = j.judge;
  fn(facts, lines, &f);
  // What the item noted outranks a kept success line.
  if (!facts.notes.empty() && f.verdict != Verdict::kError) {
    f.verdict = Verdict::kFail;
    for (const std::string& n : facts.notes) f.failures.push_back(n);
  }
  // A verdict without a line of its own still says why.
  if ((f.verdict == Verdict::kFail || f.verdict == Verdict::kError) && f.failures.empty())
    f.failures.push_back(facts.ended_process ? "ended the process" : "returned " + std::to_string(facts.result));
  return f;
}

}  // namespace station
}  // namespace tav
