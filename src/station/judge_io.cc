// Verdicts of the alarm, panel, clock, presence, GPIO, boot-environment,
// key, USB and PCIe items.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "station/judging.h"

namespace tav {
namespace station {

// Alarm loop-back: the last line is the verdict, except the early endings
// that print the success verdict without a check.
void judge_alarm(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result == -ENXIO) return error_with(f, lines, {"不存在"});
  static const char* const kNoCheck[] = {"ioctl TAVIO_GET_HARDWRE_INFO failed!", "获取到的CPLD魔数非法",
                                         "报警输入和输出个数全部为0.", "ioctl TAVIO_ALARM_DETECT error"};
  for (const char* early : kNoCheck)
    for (std::string_view l : lines)
      if (contains(l, early)) {
        f->verdict = Verdict::kError;
        f->failures.emplace_back(l);
        return;
      }
  double inputs = 0, outputs = 0;
  for (std::string_view l : lines) {
    if (!starts(l, "报警输入:")) continue;
    std::string s(l);
    if (sscanf(s.c_str(), "报警输入:%lf个, 报警输出:%lf个", &inputs, &outputs) == 2) {
      number(f, "alarm_inputs", inputs, "");
      number(f, "alarm_outputs", outputs, "");
    }
  }
  int word = 0;
  static const char* const kWords[] = {"alarm_in_open_active", "alarm_in_open_cleared", "alarm_in_closed_active",
                                       "alarm_in_closed_cleared"};
  for (std::string_view l : lines) {
    if (!starts(l, "data_alarm_in: 0x") || contains(l, "check_mask") || word >= 4) continue;
    number(f, kWords[word++], static_cast<double>(strtoull(std::string(l.substr(17)).c_str(), nullptr, 16)), "");
  }
  bool manual = false;
  for (int i = 1; i < r.argc && r.argv != nullptr; ++i) manual = manual || strstr(r.argv[i], "-manual") != nullptr;
  std::string_view verdict = last_line(lines);
  if (verdict == "报警测试失败!") {
    f->verdict = Verdict::kFail;
    collect(lines, {"fail.", "error", "没有报警小板接入!"}, &f->failures);
  } else if (manual) {
    f->verdict = Verdict::kInfo;
  } else if (verdict != "报警测试成功!") {
    f->verdict = Verdict::kError;
  }
}

void judge_buzzer(const RunFacts&, const Lines& lines, Findings* f) {
  collect(lines, {"驱动接口打开失败!", "设置TAVIO_BUZZER_BEEP失败!", "关闭文件失败!"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

// Reports: the record between the banners is the information.
void judge_report(const RunFacts& r, const Lines& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  if (r.result != 0) return error_with(f, lines, {"打开失败"});
  collect(lines, {"获取bootparam失败!", "bootparam错误!", "失败", "错误", "failed"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_temperature(const RunFacts& r, const Lines& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  double t = 0;
  if (number_after(lines, "Temperature = ", &t)) number(f, "temperature", t, "celsius");
  if (r.result != 0 || r.argc > 1) error_with(f, lines, {"error", "Input format error"});
}

void judge_fan(const RunFacts& r, const Lines& lines, Findings* f) {
  double duty = 0;
  if (number_after(lines, "Get pwm_duty = ", &duty) || number_after(lines, "Set pwm_duty = ", &duty))
    number(f, "fan_duty", duty, "percent");
  if (r.argc <= 1) f->verdict = Verdict::kInfo;
  collect(lines, {"error", "Please input pwm duty", "Input format error"}, &f->failures);
  if (r.result != 0 || !f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_nas_kill(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result != 0) error_with(f, lines, {"fail"});
}

// Six readings a second apart must advance 4 to 8 seconds; a failed check
// is silent on the console.
void judge_rtc(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result != 0) return error_with(f, lines, {"open rtc0 failed", "关闭文件失败!"});
  std::vector<std::string_view> readings;
  size_t set_at = lines.size();
  for (size_t i = 0; i < lines.size(); ++i) {
    int sec;
    if (lines[i] == "测试设置后的走时:") set_at = i;
    if (i < set_at && time_line(lines[i], &sec)) readings.push_back(lines[i]);
  }
  if (readings.size() < 6) return error_with(f, lines, {"rtc rd time faid"});
  int first = 0, last = 0;
  time_line(readings[0], &first);
  time_line(readings[5], &last);
  int elapsed = last > first ? last - first : last + 60 - first;
  text(f, "rtc_first_reading", readings[0]);
  number(f, "rtc_elapsed", elapsed, "s");
  number(f, "rtc_rate", elapsed / 5.0, "s/s");
  bool passed = false;
  for (std::string_view l : lines) passed = passed || l == "RTC走时测试成功。";
  if (!passed) {
    f->verdict = Verdict::kFail;
    f->failures.push_back("rtc advanced " + std::to_string(elapsed) + " s in 5 s, not 4 to 8");
    return;
  }
  collect(lines, {"ret:", "读取RTC失败"}, &f->failures);
  if (set_at + 1 < lines.size()) {
    std::string_view back = lines[set_at + 1];
    text(f, "rtc_set_reading", back);
    if (back.substr(0, 18) != "2015-04-01 08:57:2") f->failures.emplace_back(back);
  }
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// Success is the board's reset: a run that comes back has failed.
void judge_watchdog(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.ended_process) return;
  if (r.result == -1) return error_with(f, lines, {"驱动接口打开失败"});
  f->verdict = Verdict::kFail;
  collect(lines, {"失败"}, &f->failures);
}

// HDMI and VGA: a failed request still prints "not connected".
void judge_display(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result != 0) return error_with(f, lines, {"失败"});
  bool connected = false, answered = false;
  for (std::string_view l : lines) {
    if (contains(l, " 已接入")) connected = answered = true;
    if (contains(l, " 未接入")) answered = true;
  }
  number(f, "connected", connected ? 1 : 0, "");
  std::vector<std::string> refused;
  collect(lines, {"failed, errno"}, &refused);
  if (!refused.empty()) {
    f->verdict = Verdict::kError;
    f->failures = refused;
  } else if (!connected) {
    f->verdict = answered ? Verdict::kFail : Verdict::kError;
    collect(lines, {" 未接入"}, &f->failures);
  }
}

void judge_reset_key(const RunFacts& r, const Lines& lines, Findings* f) {
  collect(lines, {"failed"}, &f->failures);
  if (!f->failures.empty() || r.result < 0) {
    f->verdict = Verdict::kError;
    return;
  }
  bool pressed = false;
  for (std::string_view l : lines) pressed = pressed || l == "reset key pressed";
  number(f, "pressed", pressed ? 1 : 0, "");
  if (!pressed) {
    f->verdict = Verdict::kFail;
    collect(lines, {"reset key not pressed"}, &f->failures);
  }
}

// A node that cannot be asked is reported as the keyboard being there.
void judge_joystick(const RunFacts&, const Lines& lines, Findings* f) {
  collect(lines, {" error!"}, &f->failures);
  if (!f->failures.empty()) {
    f->verdict = Verdict::kError;
    return;
  }
  for (std::string_view l : lines) {
    size_t at = l.find("存在kq3307t设备[");
    if (at != std::string_view::npos && !contains(l, "不存在")) {
      size_t from = l.find('[', at) + 1;
      text(f, "joystick_node", l.substr(from, l.find(']', from) - from));
      return;
    }
  }
  f->verdict = Verdict::kFail;
  collect(lines, {"不存在kq3307t设备"}, &f->failures);
}

// Runs until stopped: the key events received are the measurement.
void judge_ir(const RunFacts& r, const Lines& lines, Findings* f) {
  int events = 0;
  for (std::string_view l : lines) events += l == "ir received";
  number(f, "ir_events", events, "");
  if (!r.ended_process) return error_with(f, lines, {"err!"});
  if (events == 0) {
    f->verdict = Verdict::kFail;
    f->failures.push_back("no key event received");
  }
}

// The panel's port, ready signal and heartbeat; the reboot commands are
// sent blind.
void judge_panel(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result == 0) return;
  error_with(f, lines, {"失败", "CPLD错误!", "failed", "init failed"});
}

// Keys from the panel; a wait that fails at once means no port to listen on.
void judge_keys(const RunFacts& r, const Lines& lines, Findings* f) {
  int keys = 0;
  for (std::string_view l : lines) keys += starts(l, "select return 1");
  number(f, "panel_frames", keys, "");
  if (r.result < 0) error_with(f, lines, {"select return -1", "signal failed"});
}

// Full duplex counts its errors in a line of its own; half duplex is judged
// by the lamp, so only failed writes tell.
void judge_rs485(const RunFacts&, const Lines& lines, Findings* f) {
  if (error_at_first(
          lines,
          {"获取CPLD失败!", "CPLD错误!", "CPLD中没有485接口", "获取TAVIO_RS485_DETECT失败!", "RS485小板没有接入!",
           "不存在", "devname is NULL", "set_speed error!", "set_parity error!", "文件关闭失败!"},
          f))
    return;
  for (std::string_view l : lines) {
    size_t at = l.find("错误次数");
    if (at == std::string_view::npos) continue;
    double errors = strtod(std::string(l.substr(at + strlen("错误次数"))).c_str(), nullptr);
    number(f, "rs485_errors", errors, "");
    if (errors != 0) {
      f->verdict = Verdict::kFail;
      collect(lines, {"timeout", "fd not set", "失败", "错误,", "接收数据错误"}, &f->failures);
      f->failures.emplace_back(l);
    }
    return;
  }
  collect(lines, {"error", "write RS485 error"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// A GPIO line read or driven: its level is the measurement.
void judge_gpio(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result != 0) return error_with(f, lines, {"Usage"});
  for (std::string_view l : lines) {
    if (!starts(l, "SET GPIO") && !starts(l, "GET GPIO")) continue;
    size_t colon = l.find(':');
    if (colon != std::string_view::npos) number(f, "gpio_level", l[colon + 1] == '1' ? 1 : 0, "");
    if (starts(l, "GET GPIO")) f->verdict = Verdict::kInfo;
    return;
  }
  error_with(f, lines, {"失败", "failed"});
}

// Mirrors the PoE lines until stopped; coming back means a request failed.
void judge_pse(const RunFacts& r, const Lines& lines, Findings* f) {
  int rounds = 0;
  for (std::string_view l : lines) rounds += starts(l, "g_poe_port.status: ");
  number(f, "pse_rounds", rounds, "");
  if (!r.ended_process) error_with(f, lines, {"failed"});
}

void judge_uboot_env(const RunFacts& r, const Lines& lines, Findings* f) {
  int listed = 0;
  for (std::string_view l : lines) listed += l.size() > 5 && l[0] == '[' && l[3] == ']' && l[4] == ':';
  number(f, "env_lines", listed, "");
  if (r.result == 0) return;
  if (error_at_first(lines, {"文件打开失败!", "获取环境变量个数并遍历打印失败!"}, f)) return;
  f->verdict = Verdict::kFail;
  collect(lines, {"失败", "erro", "相等", "设置UBOOT_ENV_TOTAL!", "设置UBOOT_ENV_TRANS_MODE!", "设置UBOOT_ENV_GET!"},
          &f->failures);
}

void judge_encrypto(const RunFacts& r, const Lines& lines, Findings* f) {
  for (std::string_view l : lines)
    if (l == "successful!") return;
  bool refused = false;
  for (std::string_view l : lines) refused = refused || starts(l, "ioctl ");
  if (refused) {
    f->verdict = Verdict::kFail;
    collect(lines, {"ioctl "}, &f->failures);
    return;
  }
  error_with(f, lines, {"usage", "passwd too large", "failed"});
  (void)r;
}

void judge_workkey(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result != 0) return error_with(f, lines, {"fail"});
  collect(lines, {"fail", "faild"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// Every stick ends with its success line whatever happened; the lines
// before it are the verdict. Its figures come before its name does.
void judge_usb(const RunFacts&, const Lines& lines, Findings* f) {
  struct Figure {
    const char* format;
    const char* name;
    const char* unit;
  };
  static const Figure kFigures[] = {{"磁盘分区大小:%lf", "size", "GiB"},
                                    {"磁盘剩余空间:%lf", "free", "GiB"},
                                    {"磁盘写入速度:%lf", "write_speed", "MiB/s"},
                                    {"磁盘读取速度:%lf", "read_speed", "MiB/s"},
                                    {"USB硬盘完成25(M)创建数据测试,错误数据%lf", "wrong_bytes", "bytes"}};
  std::vector<Measurement> pending;
  bool completed = false;
  int tested = 0;
  for (std::string_view l : lines) {
    std::string line(l);
    for (const Figure& fig : kFigures) {
      Measurement m;
      if (sscanf(line.c_str(), fig.format, &m.number) != 1) continue;
      m.name = fig.name;
      m.unit = fig.unit;
      pending.push_back(m);
      if (starts(l, "USB硬盘完成")) {
        completed = true;
        if (m.number != 0) f->failures.push_back(line);
      }
    }
    size_t at = l.find("USB[/dev/h_ms");
    if (at == std::string_view::npos || !contains(l, "]测试成功.")) continue;
    std::string letter(l.substr(at + strlen("USB[/dev/h_ms"), 1));
    for (Measurement& m : pending) m.name = "usb_" + letter + "_" + m.name;
    f->measurements.insert(f->measurements.end(), pending.begin(), pending.end());
    pending.clear();
    ++tested;
    if (!completed) f->failures.push_back(line);
    completed = false;
  }
  collect(lines, {"失败", "不足", "failed"}, &f->failures);
  number(f, "usb_sticks_tested", tested, "");
  if (tested == 0) f->failures.push_back("no USB stick tested");
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// Runs until stopped; every dump is an exchange that timed out.
void judge_pcietran(const RunFacts& r, const Lines& lines, Findings* f) {
  double count = 0;
  int dumps = 0;
  for (size_t i = 0; i < lines.size(); ++i) {
    double c = 0;
    if (!number_after({lines[i]}, "test_count = ", &c)) continue;
    count = c;
    if (i + 1 < lines.size() && contains(lines[i + 1], "-")) {
      ++dumps;
      f->failures.emplace_back(lines[i]);
    }
  }
  number(f, "pcie_exchanges", count, "");
  number(f, "pcie_timeouts", dumps, "");
  if (!r.ended_process) return error_with(f, lines, {"invalid", "fail", "error"});
  if (dumps != 0) f->verdict = Verdict::kFail;
}

}  // namespace station
}  // namespace tav
