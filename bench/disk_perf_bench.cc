// disk_perf beside fio on the same loop device, with the same threads, block
// size, bytes per thread, regions and I/O mode, in the same run. The loop
// device sits on a sparse file in /dev/shm so the figures measure the two
// tools rather than a shared disk. Needs root and a free loop device.
//
// The page cache is written back but not dropped between runs: on a virtual
// machine that hands freed pages back to its host, refaulting them costs
// more than the copies being measured, so both tools find the device's pages
// where the untimed first pass left them.
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>
#include <vector>

#include "host_util.h"
#include "items/items.h"
#include "items/storage/disk_perf.h"

namespace {

using bench::first_line;
using bench::output;

constexpr long kFileGB = 8;
constexpr const char* kBlock = "1M";
// MiB per thread and rounds, unless given as arguments. Single runs here
// fall now and then to a fraction of their speed, whichever tool runs, so
// only a median over many rounds says anything.
long g_block_count = 2048;
int g_rounds = 21;

struct Config {
  const char* mode;
  int readers;
  int writers;
};
constexpr Config kConfigs[] = {
    {"B", 1, 0}, {"B", 0, 1}, {"B", 1, 1}, {"D", 1, 0}, {"D", 0, 1}, {"D", 1, 1},
};

struct Speeds {
  double read = 0;  // MiB/s, summed over threads
  double write = 0;
  // fio only: the same from its mean time per call, which is how disk_perf
  // counts (time inside the calls, not between them).
  double read_calls = 0;
  double write_calls = 0;
};

double sum_after(const std::string& out, const char* label) {
  size_t at = out.find(label);
  unsigned long long integer = 0, micro = 0;
  if (at == std::string::npos || sscanf(out.c_str() + at + strlen(label), "%llu.%llu", &integer, &micro) != 2) return 0;
  return static_cast<double>(integer) + static_cast<double>(micro) / 1e6;
}

// Each run is a process of its own, as each fio run is: a long-lived
// process copies measurably faster than a fresh one here, and that alone
// would favour whichever tool kept its process.
Speeds run_disk_perf(const std::string& dev, const Config& c) {
  std::string cmd = bench::self_path() + " --run " + dev + " " + c.mode + " " + std::to_string(c.readers) + " " +
                    std::to_string(c.writers) + " " + kBlock + " " + std::to_string(g_block_count);
  std::string out = output(cmd);
  return Speeds{sum_after(out, "Read_Avg_speed(sum)  = "), sum_after(out, "Write_Avg_speed(sum) = ")};
}

// The bare minimum of the same measurement, as a yardstick for both tools:
// one thread on CPU 0 under SCHED_RR 80, a zero-filled aligned buffer, and
// each call timed on its own. Prints MiB/s.
int bare_loop(const char* dev, bool direct, bool writing, long count, long offset_gb) {
  cpu_set_t mask;
  CPU_ZERO(&mask);
  CPU_SET(0, &mask);
  sched_setaffinity(0, sizeof mask, &mask);
  struct sched_param param = {};
  param.sched_priority = 80;
  sched_setscheduler(0, SCHED_RR, &param);
  int fd = open(dev, O_RDWR | (direct ? O_DIRECT : 0));
  void* buf = nullptr;
  constexpr size_t kBytes = 1 << 20;
  if (fd < 0 || lseek(fd, static_cast<off_t>(offset_gb) << 30, SEEK_SET) < 0 || posix_memalign(&buf, 4096, kBytes) != 0)
    return 1;
  memset(buf, 0, kBytes);
  double inside = 0;
  for (long i = 0; i < count; ++i) {
    timespec a, b;
    clock_gettime(CLOCK_REALTIME, &a);
    ssize_t n = writing ? write(fd, buf, kBytes) : read(fd, buf, kBytes);
    clock_gettime(CLOCK_REALTIME, &b);
    if (n != static_cast<ssize_t>(kBytes)) return 1;
    inside += static_cast<double>(b.tv_sec - a.tv_sec) + static_cast<double>(b.tv_nsec - a.tv_nsec) / 1e9;
  }
  printf("%f\n", static_cast<double>(count) / inside);
  free(buf);
  close(fd);
  return 0;
}

double run_bare_loop(const std::string& dev, const Config& c, long range_gb) {
  bool writing = c.writers > 0;
  std::string cmd = bench::self_path() + " --loop " + dev + " " + c.mode + " " + (writing ? "w" : "r") + " " +
                    std::to_string(g_block_count) + " " + std::to_string(writing ? range_gb / 2 : 0);
  return atof(first_line(cmd).c_str());
}

// fio with one job per disk_perf thread, at the same offsets, pinned to the
// same CPU and under the same real-time policy; no access-pattern hint, as
// disk_perf gives none; the same unchanging zero-filled write buffer
// (fio's default rewrites part of every 512 bytes before each write, which
// costs it a fifth of its direct write speed here, and on this host zeros
// copy faster than random bytes); and no cache flush of its own before the
// job, which disk_perf does not do either.
Speeds run_fio(const std::string& dev, const Config& c, long range_gb) {
  std::string cmd =
      "chrt -r 80 fio --output-format=terse --terse-version=3 --thread --ioengine=sync --filename=" + dev +
      " --bs=" + kBlock + " --size=" + std::to_string(g_block_count) +
      "M --fadvise_hint=0 --zero_buffers --scramble_buffers=0 --invalidate=0 --direct=" +
      (c.mode[0] == 'D' ? "1" : "0");
  for (int i = 0; i < std::max(c.readers, c.writers); ++i) {
    std::string cpu = std::to_string(i % 4);
    if (i < c.readers)
      cmd += " --name=r" + std::to_string(i) + " --rw=read --offset=" + std::to_string(i * range_gb) +
             "G --cpus_allowed=" + cpu;
    if (i < c.writers)
      cmd += " --name=w" + std::to_string(i) + " --rw=write --offset=" + std::to_string(range_gb / 2 + i * range_gb) +
             "G --cpus_allowed=" + cpu;
  }
  Speeds s;
  std::istringstream jobs(output(cmd + " 2>/dev/null"));
  for (std::string line; std::getline(jobs, line);) {
    // Terse v3: fields 7 and 48 are the read and write bandwidths in KiB/s,
    // 16 and 57 the mean read and write completion times in us.
    constexpr double kBlockMiB = 1.0;
    int field = 1;
    for (const char* f = line.c_str(); f != nullptr; ++field) {
      if (field == 7) s.read += atof(f) / 1024;
      if (field == 48) s.write += atof(f) / 1024;
      if (field == 16 && atof(f) > 0) s.read_calls += kBlockMiB * 1e6 / atof(f);
      if (field == 57 && atof(f) > 0) s.write_calls += kBlockMiB * 1e6 / atof(f);
      f = strchr(f, ';');
      if (f != nullptr) ++f;
    }
  }
  return s;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// Each round's two runs are neighbours in time, so the ratio of a pair is
// steadier than the ratio of the medians on a shared machine.
std::vector<double> ratios(const std::vector<double>& ours, const std::vector<double>& fio) {
  std::vector<double> r;
  for (size_t i = 0; i < ours.size(); ++i)
    if (fio[i] > 0) r.push_back(ours[i] / fio[i]);
  if (r.empty()) r.push_back(0);
  return r;
}

double best(const std::vector<double>& v) { return *std::max_element(v.begin(), v.end()); }

// disk_perf divides bytes by the time spent inside its calls, so the
// like-for-like figure is fio's counted the same way; its bandwidth (which
// also counts the time between calls) is shown beside it. The best rounds
// give a second view: on a host whose runs fall at random to a fraction of
// their speed, each tool's fastest run is its undisturbed one.
void report(const char* mode, const char* threads, const char* dir, const std::vector<double>& ours,
            const std::vector<double>& fio, const std::vector<double>& fio_calls, const std::vector<double>& loop) {
  auto by_calls = ratios(ours, fio_calls);
  double agreement = median(by_calls);
  char yardstick[16] = "      -";
  if (!loop.empty()) snprintf(yardstick, sizeof yardstick, "%7.3f", median(ratios(ours, loop)));
  printf("%-4s %-7s %-5s %10.1f %10.1f %7.3f %7.3f..%-7.3f %7.3f %7.3f %s  %s\n", mode[0] == 'D' ? "DIO" : "BIO",
         threads, dir, median(ours), median(fio_calls), agreement, *std::min_element(by_calls.begin(), by_calls.end()),
         *std::max_element(by_calls.begin(), by_calls.end()), best(ours) / best(fio_calls), median(ratios(ours, fio)),
         yardstick, agreement >= 0.95 && agreement <= 1.05 ? "yes" : "no");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && strcmp(argv[1], "--run") == 0) return tav::disk_perf(argc - 1, argv + 1);
  if (argc == 7 && strcmp(argv[1], "--loop") == 0)
    return bare_loop(argv[2], argv[3][0] == 'D', argv[4][0] == 'w', atol(argv[5]), atol(argv[6]));
  if (argc > 1) g_block_count = atol(argv[1]);
  if (argc > 2) g_rounds = atoi(argv[2]);
  if (g_block_count <= 0 || g_rounds <= 0) {
    puts("usage: disk_perf_bench [MiB_per_thread [rounds]]");
    return 1;
  }
  if (geteuid() != 0) {
    puts("disk_perf_bench: skipped, attaching a loop device needs root");
    return 0;
  }
  if (first_line("command -v fio").empty()) {
    puts("disk_perf_bench: skipped, fio is not installed");
    return 0;
  }
  char file[] = "/dev/shm/disk_perf_benchXXXXXX";
  int fd = mkstemp(file);
  if (fd < 0 || ftruncate(fd, static_cast<off_t>(kFileGB) << 30) != 0) {
    puts("disk_perf_bench: skipped, no room for the backing file in /dev/shm");
    return 0;
  }
  close(fd);
  std::string dev = first_line(std::string("losetup -f --show ") + file + " 2>/dev/null");
  if (dev.empty()) {
    unlink(file);
    puts("disk_perf_bench: skipped, no free loop device (losetup -f)");
    return 0;
  }
  printf("loop device %s over a %ld GiB sparse file in /dev/shm; %s x %ld per thread; median of %d rounds\n",
         dev.c_str(), kFileGB, kBlock, g_block_count, g_rounds);
  printf(
      "MiB/s, medians. fio/call: fio's speed from its mean time per call, which is how disk_perf counts.\n"
      "ratio: disk_perf / fio/call, median and range of the rounds' pairs; best: ratio of each tool's\n"
      "fastest round; bw: ratio to fio's bandwidth, which also counts the time between calls;\n"
      "loop: disk_perf / a bare timed read or write loop (one-thread rows)\n");
  printf("%-4s %-7s %-5s %10s %10s %7s %-16s %7s %7s %7s  %s\n", "mode", "threads", "dir", "disk_perf", "fio/call",
         "ratio", "range", "best", "bw", "loop", "within 5%");
  for (const auto& c : kConfigs) {
    long range_gb = kFileGB / std::max(c.readers, c.writers);
    std::vector<double> ours_r, ours_w, fio_r, fio_w, fio_rc, fio_wc, loop;
    bool one_thread = c.readers + c.writers == 1;
    // An untimed pass first, so that every run finds the backing pages already
    // allocated; then the order rotates so that no one always goes first.
    run_disk_perf(dev, c);
    for (int round = 0; round < g_rounds; ++round) {
      Speeds a, b;
      for (int turn = 0; turn < 3; ++turn) {
        sync();
        switch ((round + turn) % 3) {
          case 0:
            a = run_disk_perf(dev, c);
            break;
          case 1:
            b = run_fio(dev, c, range_gb);
            break;
          default:
            if (one_thread) loop.push_back(run_bare_loop(dev, c, range_gb));
        }
      }
      ours_r.push_back(a.read);
      ours_w.push_back(a.write);
      fio_r.push_back(b.read);
      fio_w.push_back(b.write);
      fio_rc.push_back(b.read_calls);
      fio_wc.push_back(b.write_calls);
    }
    char threads[16];
    snprintf(threads, sizeof threads, "%dr%dw", c.readers, c.writers);
    if (c.readers > 0) report(c.mode, threads, "read", ours_r, fio_r, fio_rc, loop);
    if (c.writers > 0) report(c.mode, threads, "write", ours_w, fio_w, fio_wc, loop);
    fflush(stdout);
  }
  first_line("losetup -d " + dev);
  unlink(file);
  return 0;
}
