#include "station/judge.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tav {
namespace station {

namespace {

// The console's lines, without their line ends.
std::vector<std::string_view> lines_of(std::string_view out) {
  std::vector<std::string_view> lines;
  while (!out.empty()) {
    size_t nl = out.find('\n');
    std::string_view line = out.substr(0, nl);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (nl == std::string_view::npos) break;
    out.remove_prefix(nl + 1);
  }
  return lines;
}

bool contains(std::string_view s, const char* part) { return s.find(part) != std::string_view::npos; }

bool starts(std::string_view s, const char* head) { return s.substr(0, strlen(head)) == head; }

// Every line holding one of the parts.
void collect(const std::vector<std::string_view>& lines, std::initializer_list<const char*> parts,
             std::vector<std::string>* out) {
  for (std::string_view l : lines)
    for (const char* p : parts)
      if (contains(l, p)) {
        out->emplace_back(l);
        break;
      }
}

void number(Findings* f, const char* name, double v, const char* unit) {
  Measurement m;
  m.name = name;
  m.number = v;
  m.unit = unit;
  f->measurements.push_back(m);
}

// The number after head on the first line that starts with it.
bool number_after(const std::vector<std::string_view>& lines, const char* head, double* v, int base = 10) {
  for (std::string_view l : lines) {
    if (!starts(l, head)) continue;
    std::string rest(l.substr(strlen(head)));
    char* end = nullptr;
    *v = base == 10 ? strtod(rest.c_str(), &end) : static_cast<double>(strtoull(rest.c_str(), &end, base));
    return end != rest.c_str();
  }
  return false;
}

std::string_view last_line(const std::vector<std::string_view>& lines) {
  for (size_t i = lines.size(); i > 0; --i)
    if (!lines[i - 1].empty()) return lines[i - 1];
  return {};
}

void error_with(Findings* f, const std::vector<std::string_view>& lines, std::initializer_list<const char*> parts) {
  f->verdict = Verdict::kError;
  collect(lines, parts, &f->failures);
}

// Alarm loop-back: the last line is the verdict, except the early endings
// that print the success verdict without a check.
void judge_alarm(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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

void judge_buzzer(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  collect(lines, {"驱动接口打开失败!", "设置TAVIO_BUZZER_BEEP失败!", "关闭文件失败!"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

// Reports: the record between the banners is the information.
void judge_report(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  if (r.result != 0) return error_with(f, lines, {"打开失败"});
  collect(lines, {"获取bootparam失败!", "bootparam错误!", "失败", "错误", "failed"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_temperature(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  double t = 0;
  if (number_after(lines, "Temperature = ", &t)) number(f, "temperature", t, "celsius");
  if (r.result != 0 || r.argc > 1) error_with(f, lines, {"error", "Input format error"});
}

void judge_fan(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  double duty = 0;
  if (number_after(lines, "Get pwm_duty = ", &duty) || number_after(lines, "Set pwm_duty = ", &duty))
    number(f, "fan_duty", duty, "percent");
  if (r.argc <= 1) f->verdict = Verdict::kInfo;
  collect(lines, {"error", "Please input pwm duty", "Input format error"}, &f->failures);
  if (r.result != 0 || !f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_nas_kill(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.result != 0) error_with(f, lines, {"fail"});
}

void text(Findings* f, const char* name, std::string_view value) {
  Measurement m;
  m.name = name;
  m.is_text = true;
  m.text = std::string(value);
  f->measurements.push_back(m);
}

bool time_line(std::string_view l, int* second) {
  int y, mo, d, h, mi;
  std::string s(l);
  char tail;
  return s.size() == 19 && sscanf(s.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &y, &mo, &d, &h, &mi, second, &tail) == 6;
}

// Six readings a second apart must advance 4 to 8 seconds; a failed check
// is silent on the console.
void judge_rtc(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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
void judge_watchdog(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.ended_process) return;
  if (r.result == -1) return error_with(f, lines, {"驱动接口打开失败"});
  f->verdict = Verdict::kFail;
  collect(lines, {"失败"}, &f->failures);
}

// HDMI and VGA: a failed request still prints "not connected".
void judge_display(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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

void judge_reset_key(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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
void judge_joystick(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
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
void judge_ir(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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
void judge_panel(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.result == 0) return;
  error_with(f, lines, {"失败", "CPLD错误!", "failed", "init failed"});
}

// Keys from the panel; a wait that fails at once means no port to listen on.
void judge_keys(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  int keys = 0;
  for (std::string_view l : lines) keys += starts(l, "select return 1");
  number(f, "panel_frames", keys, "");
  if (r.result < 0) error_with(f, lines, {"select return -1", "signal failed"});
}

// Full duplex counts its errors in a line of its own; half duplex is judged
// by the lamp, so only failed writes tell.
void judge_rs485(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  static const char* const kNoCheck[] = {"获取CPLD失败!", "CPLD错误!", "CPLD中没有485接口", "获取TAVIO_RS485_DETECT失败!",
                                         "RS485小板没有接入!", "不存在", "devname is NULL", "set_speed error!",
                                         "set_parity error!", "文件关闭失败!"};
  for (std::string_view l : lines)
    for (const char* early : kNoCheck)
      if (contains(l, early)) {
        f->verdict = Verdict::kError;
        f->failures.emplace_back(l);
        return;
      }
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
void judge_gpio(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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
void judge_pse(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  int rounds = 0;
  for (std::string_view l : lines) rounds += starts(l, "g_poe_port.status: ");
  number(f, "pse_rounds", rounds, "");
  if (!r.ended_process) error_with(f, lines, {"failed"});
}

void judge_uboot_env(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  int listed = 0;
  for (std::string_view l : lines) listed += l.size() > 5 && l[0] == '[' && l[3] == ']' && l[4] == ':';
  number(f, "env_lines", listed, "");
  if (r.result == 0) return;
  static const char* const kNoCheck[] = {"文件打开失败!", "获取环境变量个数并遍历打印失败!"};
  for (std::string_view l : lines)
    for (const char* early : kNoCheck)
      if (contains(l, early)) {
        f->verdict = Verdict::kError;
        f->failures.emplace_back(l);
        return;
      }
  f->verdict = Verdict::kFail;
  collect(lines, {"失败", "erro", "相等", "设置UBOOT_ENV_TOTAL!", "设置UBOOT_ENV_TRANS_MODE!", "设置UBOOT_ENV_GET!"},
          &f->failures);
}

void judge_encrypto(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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

void judge_workkey(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.result != 0) return error_with(f, lines, {"fail"});
  collect(lines, {"fail", "faild"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// Every stick ends with its success line whatever happened; the lines
// before it are the verdict. Its figures come before its name does.
void judge_usb(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
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
void judge_pcietran(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
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

// IDENTIFY and the SMART table; an attribute at or below its threshold
// prints ILL.
void judge_smart(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  static const char* const kIdentity[][2] = {{"SerialNumber(SN)", "serial"}, {"ModelNumber:", "model"},
                                             {"FirmWare(FW):", "firmware"}};
  for (std::string_view l : lines) {
    for (const auto& id : kIdentity) {
      if (!starts(l, id[0])) continue;
      std::string_view v = l.substr(strlen(id[0]));
      while (!v.empty() && v.front() == ' ') v.remove_prefix(1);
      while (!v.empty() && v.back() == ' ') v.remove_suffix(1);
      text(f, id[1], v);
    }
  }
  bool table = false;
  for (std::string_view l : lines) {
    if (contains(l, "SMART_INFO")) table = true;
    if (!table || l.size() < 90) continue;
    std::string row(l);
    unsigned id = 0;
    int flags_end = 0;
    if (sscanf(row.c_str(), "%x", &id) != 1 || id == 0) continue;
    std::string tail = row.substr(44);
    unsigned flags = 0;
    long long threshold = 0, value = 0, worst = 0;
    unsigned long long raw = 0;
    char status[8] = "";
    if (sscanf(tail.c_str(), "%x %lld %lld %lld %llu %7s%n", &flags, &threshold, &value, &worst, &raw, status,
               &flags_end) != 6)
      continue;
    char name[32];
    snprintf(name, sizeof name, "smart_%u_value", id);
    number(f, name, static_cast<double>(value), "");
    snprintf(name, sizeof name, "smart_%u_raw", id);
    number(f, name, static_cast<double>(raw), "");
    if (strcmp(status, "ILL") == 0) f->failures.push_back(row);
  }
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
  std::vector<std::string> refused;
  collect(lines, {"get block device name error", "failed", "error errno"}, &refused);
  if (!refused.empty()) {
    f->verdict = Verdict::kError;
    f->failures.insert(f->failures.begin(), refused.begin(), refused.end());
  }
}

// Speeds per thread and their sums; a thread's failed call fails the run.
void judge_disk_perf(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.result != 0) return error_with(f, lines, {"Please use", "失败", "ERROR"});
  int reader = 0, writer = 0;
  bool in_write = false;
  for (std::string_view l : lines) {
    std::string line(l);
    if (contains(l, "[Read thread") && contains(l, "Complete.")) in_write = false;
    if (contains(l, "[Write thread") && contains(l, "Complete.")) in_write = true;
    unsigned long long whole = 0, micro = 0;
    if (sscanf(line.c_str(), " Avg_speed=%llu.%llu", &whole, &micro) == 2) {
      char name[40];
      snprintf(name, sizeof name, in_write ? "write_thread_%d_speed" : "read_thread_%d_speed",
               in_write ? writer++ : reader++);
      number(f, name, static_cast<double>(whole) + static_cast<double>(micro) / 1e6, "MiB/s");
    }
    size_t at = line.find("Read_Avg_speed(sum)  = ");
    if (at != std::string::npos && sscanf(line.c_str() + at + 23, "%llu.%llu", &whole, &micro) == 2)
      number(f, "read_speed", static_cast<double>(whole) + static_cast<double>(micro) / 1e6, "MiB/s");
    at = line.find("Write_Avg_speed(sum) = ");
    if (at != std::string::npos && sscanf(line.c_str() + at + 23, "%llu.%llu", &whole, &micro) == 2)
      number(f, "write_speed", static_cast<double>(whole) + static_cast<double>(micro) / 1e6, "MiB/s");
  }
  collect(lines, {"ERROR", "error", "not equal", "failed", "Invalid argument"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// The bays that hold a disk, as the slot table shows them.
void judge_disk_scan(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  int present = 0;
  for (std::string_view l : lines) {
    if (l.size() < 10 || l[0] != '|' || !isdigit(static_cast<unsigned char>(l[1]))) continue;
    if (l.find("|存在") != std::string_view::npos) {
      ++present;
      int slot = atoi(std::string(l.substr(1)).c_str());
      char name[32];
      snprintf(name, sizeof name, "slot_%d_model", slot);
      std::string row(l);
      size_t c = 0;
      for (int k = 0; k < 4 && c != std::string::npos; ++k) c = row.find('|', c + 1);
      if (c != std::string::npos) {
        std::string model = row.substr(c + 1, row.find('|', c + 1) - c - 1);
        while (!model.empty() && model.back() == ' ') model.pop_back();
        text(f, name, model);
      }
    }
  }
  number(f, "disks_present", present, "");
  std::vector<std::string> refused;
  collect(lines, {"失败", "不支持"}, &refused);
  if (r.result != 0 || !refused.empty()) {
    f->verdict = Verdict::kError;
    f->failures = refused;
  }
}

void judge_sata_port(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  collect(lines, {"faild", "failed"}, &f->failures);
  if (r.result != 0 || !f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_disk_power(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  for (std::string_view l : lines)
    if (contains(l, "disk updown test OK.")) return;
  static const char* const kNoCheck[] = {"失败", "不支持"};
  for (std::string_view l : lines)
    for (const char* early : kNoCheck)
      if (contains(l, early) && !contains(l, "错误")) {
        f->verdict = Verdict::kError;
        f->failures.emplace_back(l);
        return;
      }
  f->verdict = Verdict::kFail;
  collect(lines, {"错误", "fail."}, &f->failures);
}

// A disk without a password has nothing to unlock.
void judge_disk_unlock(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  for (std::string_view l : lines) {
    if (contains(l, "test OK.")) return;
    if (contains(l, "is not a lock disk") || contains(l, "have already unlocked")) {
      f->verdict = Verdict::kInfo;
      return;
    }
  }
  bool refused = false;
  for (std::string_view l : lines) refused = refused || starts(l, "get password fail") || starts(l, "send password fail");
  if (refused) {
    f->verdict = Verdict::kFail;
    collect(lines, {"password fail"}, &f->failures);
    return;
  }
  error_with(f, lines, {"error", "fail"});
}

void judge_hdbuffer(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  for (std::string_view l : lines) {
    double size = 0;
    std::string line(l);
    size_t at = line.find("buffer size is ");
    if (at != std::string::npos && sscanf(line.c_str() + at + 15, "%lf", &size) == 1)
      number(f, "buffer_size", size, "MiB");
  }
  collect(lines, {"failed", "fail"}, &f->failures);
  bool done = false;
  for (std::string_view l : lines) done = done || contains(l, "success");
  if (r.result != 0 || !f->failures.empty() || !done) f->verdict = Verdict::kError;
}

// "Test EMMC OK" or "Test EMMC failed"; the writer's own failures pass
// unnoticed on the console and are noted by the item.
void judge_emmc(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  double v = 0;
  if (number_after(lines, "eMMC write speed:", &v)) number(f, "write_speed", v, "MiB/s");
  if (number_after(lines, "eMMC read  speed:", &v)) number(f, "read_speed", v, "MiB/s");
  for (std::string_view l : lines)
    if (l == "Test EMMC OK") return;
  for (std::string_view l : lines)
    if (l == "Test EMMC failed") {
      f->verdict = Verdict::kFail;
      collect(lines, {"failed("}, &f->failures);
      return;
    }
  error_with(f, lines, {"failed!"});
}

void judge_spi_switch(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  int rounds = 0;
  for (std::string_view l : lines) rounds += starts(l, "spi_nand_");
  number(f, "nand_rounds", rounds, "");
  if (r.result != 0) return error_with(f, lines, {"线程"});
  collect(lines, {"失败", "erro", "不正确", "数据刷入spi_nand_flash!"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// Read commands report; erase and protection act.
void judge_mtd(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  std::string sub = r.argc > 1 && r.argv != nullptr ? r.argv[1] : "";
  bool reads = sub == "bootpart" || sub == "erasestat" || sub == "intercept" || sub == "ecc";
  f->verdict = reads ? Verdict::kInfo : Verdict::kPass;
  static const char* const kFigures[][2] = {
      {"bootpart is ", "boot_partition"}, {"bitflips       : ", "bitflips"}, {"ECC failures   : ", "ecc_failures"},
      {"Bad blocks     : ", "bad_blocks"}, {"BBT blocks     : ", "bbt_blocks"}};
  for (const auto& fig : kFigures) {
    double v = 0;
    if (number_after(lines, fig[0], &v)) number(f, fig[1], v, "");
  }
  for (std::string_view l : lines) {
    unsigned block = 0;
    unsigned long long count = 0, total = 0;
    std::string line(l);
    if (sscanf(line.c_str(), "most wore out block is %u, erase %llu, total: %llu", &block, &count, &total) == 3) {
      number(f, "most_worn_block", block, "");
      number(f, "most_worn_erases", static_cast<double>(count), "");
      number(f, "total_erases", static_cast<double>(total), "");
    }
    long intercepts = 0;
    int n = 0;
    if (sscanf(line.c_str(), "mtd%d intercept count is %ld", &n, &intercepts) == 2)
      number(f, "intercept_count", static_cast<double>(intercepts), "");
  }
  collect(lines, {"failed", "失败", "usage:"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_nand_id(const RunFacts&, const std::vector<std::string_view>& lines, Findings* f) {
  double oob = 0;
  if (number_after(lines, " oob: ", &oob)) number(f, "oob_size", oob, "bytes");
  for (std::string_view l : lines) {
    if (starts(l, "NAND_ID:")) text(f, "nand_id", l.substr(8));
    if (l == "The flash is not MT29F2G08ABAEA flash") {
      f->verdict = Verdict::kFail;
      f->failures.emplace_back(l);
      return;
    }
  }
  collect(lines, {"fail"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_mmz(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  for (std::string_view l : lines)
    if (starts(l, "phys_addr")) {
      std::string line(l);
      size_t colon = line.find(':');
      if (colon != std::string::npos) number(f, "phys_addr", static_cast<double>(strtoull(line.c_str() + colon + 1, nullptr, 16)), "");
      break;
    }
  collect(lines, {"failed", "map fail"}, &f->failures);
  if (r.result != 0 || !f->failures.empty()) f->verdict = r.result == 0 ? Verdict::kFail : Verdict::kError;
}

// A failed link query still prints "link up".
void judge_phy(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  std::string sub = r.argc > 1 && r.argv != nullptr ? r.argv[1] : "";
  for (std::string_view l : lines) {
    std::string line(l);
    unsigned phy = 0, reg = 0, value = 0;
    if (sscanf(line.c_str(), "read phy addr: 0x%x  reg: 0x%x   value : 0x%x", &phy, &reg, &value) == 3)
      number(f, "phy_register", value, "");
    if (contains(l, " is link ")) number(f, "link_up", contains(l, "is link up") ? 1 : 0, "");
  }
  if (r.ended_process || (sub != "mdio" && sub != "reset" && sub != "link")) {
    f->verdict = Verdict::kError;
    f->failures.push_back("usage");
    return;
  }
  collect(lines, {"failed", "errno", "too long"}, &f->failures);
  if (!f->failures.empty()) {
    f->verdict = Verdict::kError;
    return;
  }
  if (sub == "mdio") f->verdict = Verdict::kInfo;
  for (std::string_view l : lines)
    if (contains(l, "is link down")) {
      f->verdict = Verdict::kFail;
      f->failures.emplace_back(l);
    }
}

// The dispatcher returns 0 whatever happened: the lines tell.
void judge_switch(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.ended_process) {
    f->verdict = Verdict::kError;
    f->failures.push_back("usage");
    return;
  }
  collect(lines, {"failed", "usage:"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

// Items not judged on their own yet: the result decides.
void judge_by_result(const RunFacts& r, const std::vector<std::string_view>& lines, Findings* f) {
  if (r.result == 0) return;
  f->verdict = Verdict::kFail;
  collect(lines, {"fail", "Fail", "FAIL", "error", "Error", "失败", "错误"}, &f->failures);
}

using JudgeFn = void (*)(const RunFacts&, const std::vector<std::string_view>&, Findings*);

struct ItemJudge {
  const char* item;
  JudgeFn judge;
};

constexpr ItemJudge kJudges[] = {
    {"alarm", judge_alarm},         {"buzzer", judge_buzzer},     {"bootparam", judge_report},
    {"cpld", judge_report},         {"temperature", judge_temperature}, {"fan", judge_fan},
    {"nas_kill", judge_nas_kill},   {"rtc", judge_rtc},           {"watchdog", judge_watchdog},
    {"hdmi", judge_display},        {"vga", judge_display},       {"reset", judge_reset_key},
    {"joystick", judge_joystick},   {"ir", judge_ir},             {"panel", judge_panel},
    {"keys", judge_keys},           {"rs485", judge_rs485},       {"gpio", judge_gpio},
    {"pse", judge_pse},             {"uboot_env", judge_uboot_env}, {"encrypto_test", judge_encrypto},
    {"workkey", judge_workkey},     {"usb", judge_usb},           {"pcietran", judge_pcietran},
    {"disk_scan", judge_disk_scan}, {"sata_port", judge_sata_port}, {"disk_power", judge_disk_power},
    {"harddisk_info_test", judge_smart}, {"disk_perf", judge_disk_perf}, {"disk_unlock", judge_disk_unlock},
    {"hdbuffer", judge_hdbuffer},   {"emmc", judge_emmc},         {"spi_switch", judge_spi_switch},
    {"mtd_test", judge_mtd},        {"nand_id", judge_nand_id},   {"mmz", judge_mmz},
    {"phy", judge_phy},             {"switch", judge_switch},
};

}  // namespace

Findings judge(const RunFacts& facts) {
  Findings f;
  std::vector<std::string_view> lines = lines_of(facts.out);
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
