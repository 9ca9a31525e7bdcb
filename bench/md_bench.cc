// himd and himd.l listing 64 MiB, and himdb saving 256 MiB, of simulated
// physical memory, each beside xxd on the same bytes in the same run.
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "sim/devices.h"
#include "tools/front.h"
#include "tools/memmap.h"
#include "tools/tools.h"

extern char** environ;

namespace {

constexpr uint64_t kBase = 0x10000000;
constexpr size_t kList = 64u << 20;
constexpr size_t kSave = 256u << 20;
constexpr int kRounds = 3;

// CPU seconds (user + system) of this process and of its waited-for
// children: steadier than wall time on a shared machine.
double now() {
  rusage self, children;
  getrusage(RUSAGE_SELF, &self);
  getrusage(RUSAGE_CHILDREN, &children);
  auto secs = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
  return secs(self.ru_utime) + secs(self.ru_stime) + secs(children.ru_utime) + secs(children.ru_stime);
}

// Runs fn with standard output sent to out_path; best of kRounds, in seconds.
template <typename Fn>
double best_of(const char* out_path, Fn fn) {
  double best = 1e9;
  for (int i = 0; i < kRounds; ++i) {
    fflush(stdout);
    int saved = dup(1);
    int fd = open(out_path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 1);
    close(fd);
    double t0 = now();
    fn();
    fflush(stdout);
    double t = now() - t0;
    dup2(saved, 1);
    close(saved);
    if (t < best) best = t;
  }
  return best;
}

int run_xxd(const std::string& file) {
  const char* argv[] = {"xxd", file.c_str(), nullptr};
  pid_t pid;
  if (posix_spawnp(&pid, "xxd", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) return -1;
  int st = 0;
  waitpid(pid, &st, 0);
  return st;
}

// Runs a tool leaving its mappings registered, as a second command in one
// process would find them.
int tool_kept(int (*entry)(int, char**), std::vector<std::string> words) {
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  return entry(static_cast<int>(words.size()), argv.data());
}

// CPU time of touching each page of a fresh, populated mapping once: what a
// listing through a new mapping pays before its first byte on this machine.
double first_touch_seconds(size_t bytes) {
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (p == MAP_FAILED) return 0;
  double t0 = now();
  for (size_t off = 0; off < bytes; off += 4096) static_cast<volatile uint8_t*>(p)[off];
  double t = now() - t0;
  munmap(p, bytes);
  return t;
}

// Runs a tool as a command of its own: its mappings go with it.
int tool(int (*entry)(int, char**), std::vector<std::string> words) {
  int rc = tool_kept(entry, std::move(words));
  tav::memmap_reset();
  return rc;
}

void report(const char* what, size_t bytes, double ours, double xxd) {
  printf("%-32s %8.3f s %9.1f MiB/s   xxd %8.3f s %9.1f MiB/s   speed-up x%.1f\n", what, ours, bytes / ours / 1048576.0,
         xxd, bytes / xxd / 1048576.0, xxd / ours);
}

}  // namespace

int main() {
  char dir_tmpl[] = "/tmp/tavbenchXXXXXX";
  std::string dir = mkdtemp(dir_tmpl);
  if (chdir(dir.c_str()) != 0) return 1;
  auto board = sim::make_default_board();
  sim::install(board.get());

  // Mixed contents: printable and unprintable bytes, like real memory.
  std::vector<uint8_t> bytes(kSave);
  uint32_t x = 12345;
  for (auto& b : bytes) {
    x = x * 1103515245u + 12345u;
    b = static_cast<uint8_t>(x >> 16);
  }
  board->mem().write(kBase, bytes.data(), bytes.size());
  {
    FILE* f = fopen("list.bin", "wb");
    fwrite(bytes.data(), 1, kList, f);
    fclose(f);
    f = fopen("save.bin", "wb");
    fwrite(bytes.data(), 1, kSave, f);
    fclose(f);
  }
  char addr[32], list_len[32], save_len[32];
  snprintf(addr, sizeof addr, "%#lx", static_cast<unsigned long>(kBase));
  snprintf(list_len, sizeof list_len, "%#zx", kList);
  snprintf(save_len, sizeof save_len, "%#zx", kSave);

  double xxd_list = best_of("/dev/null", [&] { run_xxd("list.bin"); });
  double himd = best_of("/dev/null", [&] { tool(tav::himd, {"himd", addr, list_len}); });
  double himd_l = best_of("/dev/null", [&] { tool(tav::himd_l, {"himd.l", addr, list_len}); });
  // The listing alone: the tool finds its range already mapped and touched, so
  // the first touch of each page (on a virtual machine with shadow page
  // tables, several microseconds a page) is paid before timing.
  void* warm = tav::memmap(static_cast<uint32_t>(kBase), static_cast<uint32_t>(kList));
  for (size_t off = 0; off < kList; off += 4096) static_cast<volatile uint8_t*>(warm)[off];
  double himd_warm = best_of("/dev/null", [&] { tool_kept(tav::himd, {"himd", addr, list_len}); });
  double himd_l_warm = best_of("/dev/null", [&] { tool_kept(tav::himd_l, {"himd.l", addr, list_len}); });
  tav::memmap_reset();
  double touch = first_touch_seconds(kList);
  double xxd_save = best_of("/dev/null", [&] { run_xxd("save.bin"); });
  double himdb = best_of("/dev/null", [&] {
    unlink("dump.bin");
    tool(tav::himdb, {"himdb", addr, save_len, "dump.bin"});
  });

  printf("himd/himd.l: %zu MiB listed, himdb: %zu MiB saved; CPU time, best of %d, output to /dev/null\n", kList >> 20,
         kSave >> 20, kRounds);
  report("himd (bytes + ASCII)", kList, himd, xxd_list);
  report("himd.l (32-bit words)", kList, himd_l, xxd_list);
  report("himd, range already mapped", kList, himd_warm, xxd_list);
  report("himd.l, range already mapped", kList, himd_l_warm, xxd_list);
  printf("first touch of %zu MiB freshly mapped (populated) pages on this machine: %.3f s\n", kList >> 20, touch);
  report("himdb (to file)", kSave, himdb, xxd_save);

  sim::install(nullptr);
  std::string cmd = "rm -rf '" + dir + "'";
  return system(cmd.c_str());
}
