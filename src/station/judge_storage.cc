// Verdicts of the disk, flash, memory-zone, PHY and switch items.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "station/judging.h"

namespace tav {
namespace station {

// IDENTIFY and the SMART table; an attribute at or below its threshold
// prints ILL.
void judge_smart(const RunFacts&, const Lines& lines, Findings* f) {
  static const char* const kIdentity[][2] = {
      {"SerialNumber(SN)", "serial"}, {"ModelNumber:", "model"}, {"FirmWare(FW):", "firmware"}};
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
void judge_disk_perf(const RunFacts& r, const Lines& lines, Findings* f) {
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
void judge_disk_scan(const RunFacts& r, const Lines& lines, Findings* f) {
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
  // A scan that ran returns the date chip's last read, not a verdict.
  if (r.result < 0 || !refused.empty()) {
    f->verdict = Verdict::kError;
    f->failures = refused;
  }
}

void judge_sata_port(const RunFacts& r, const Lines& lines, Findings* f) {
  f->verdict = Verdict::kInfo;
  collect(lines, {"faild", "failed"}, &f->failures);
  if (r.result != 0 || !f->failures.empty()) f->verdict = Verdict::kError;
}

void judge_disk_power(const RunFacts&, const Lines& lines, Findings* f) {
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
void judge_disk_unlock(const RunFacts&, const Lines& lines, Findings* f) {
  for (std::string_view l : lines) {
    if (contains(l, "test OK.")) return;
    if (contains(l, "is not a lock disk") || contains(l, "have already unlocked")) {
      f->verdict = Verdict::kInfo;
      return;
    }
  }
  bool refused = false;
  for (std::string_view l : lines)
    // The prompt has no line end of its own: the answer shares its line.
    refused = refused || contains(l, "get password fail") || contains(l, "send password fail");
  if (refused) {
    f->verdict = Verdict::kFail;
    collect(lines, {"password fail"}, &f->failures);
    return;
  }
  error_with(f, lines, {"error", "fail"});
}

void judge_hdbuffer(const RunFacts& r, const Lines& lines, Findings* f) {
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
void judge_emmc(const RunFacts&, const Lines& lines, Findings* f) {
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

void judge_spi_switch(const RunFacts& r, const Lines& lines, Findings* f) {
  int rounds = 0;
  for (std::string_view l : lines) rounds += starts(l, "spi_nand_");
  number(f, "nand_rounds", rounds, "");
  if (r.result != 0) return error_with(f, lines, {"线程"});
  collect(lines, {"失败", "erro", "不正确", "数据刷入spi_nand_flash!"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kFail;
}

// Read commands report; erase and protection act.
void judge_mtd(const RunFacts& r, const Lines& lines, Findings* f) {
  std::string sub = r.argc > 1 && r.argv != nullptr ? r.argv[1] : "";
  bool reads = sub == "bootpart" || sub == "erasestat" || sub == "intercept" || sub == "ecc";
  f->verdict = reads ? Verdict::kInfo : Verdict::kPass;
  static const char* const kFigures[][2] = {{"bootpart is ", "boot_partition"},
                                            {"bitflips       : ", "bitflips"},
                                            {"ECC failures   : ", "ecc_failures"},
                                            {"Bad blocks     : ", "bad_blocks"},
                                            {"BBT blocks     : ", "bbt_blocks"}};
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

void judge_nand_id(const RunFacts&, const Lines& lines, Findings* f) {
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

void judge_mmz(const RunFacts& r, const Lines& lines, Findings* f) {
  for (std::string_view l : lines)
    if (starts(l, "phys_addr")) {
      std::string line(l);
      size_t colon = line.find(':');
      if (colon != std::string::npos)
        number(f, "phys_addr", static_cast<double>(strtoull(line.c_str() + colon + 1, nullptr, 16)), "");
      break;
    }
  collect(lines, {"failed", "map fail"}, &f->failures);
  if (r.result != 0 || !f->failures.empty()) f->verdict = r.result == 0 ? Verdict::kFail : Verdict::kError;
}

// A failed link query still prints "link up".
void judge_phy(const RunFacts& r, const Lines& lines, Findings* f) {
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
void judge_switch(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.ended_process) {
    f->verdict = Verdict::kError;
    f->failures.push_back("usage");
    return;
  }
  collect(lines, {"failed", "usage:"}, &f->failures);
  if (!f->failures.empty()) f->verdict = Verdict::kError;
}

// Items not judged on their own yet: the result decides.
void judge_by_result(const RunFacts& r, const Lines& lines, Findings* f) {
  if (r.result == 0) return;
  f->verdict = Verdict::kFail;
  collect(lines, {"fail", "Fail", "FAIL", "error", "Error", "失败", "错误"}, &f->failures);
}

}  // namespace station
}  // namespace tav
