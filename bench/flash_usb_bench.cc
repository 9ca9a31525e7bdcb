// The eMMC and USB items' reported speeds beside fio's on loop devices over
// files in /dev/shm, with the same block size and I/O mode, in the same run:
// eMMC, O_DSYNC writes each followed by a flush, then buffered reads, over
// the 10 MiB before the last MiB; USB, a 25 MiB file written and read with
// O_DIRECT on a file system mounted on /mnt. The kernel may lack FAT, so the
// stick is ext2, mounted on /mnt in a private mount namespace beforehand:
// the item's own mount fails and it tests what /mnt holds. Needs root.
#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "host_util.h"
#include "items/io/usb.h"
#include "items/items.h"
#include "items/storage/emmc.h"

namespace {

using bench::drop_caches;
using bench::first_line;

constexpr long kEmmcMiB = 64;
constexpr long kStickMiB = 128;
int g_rounds = 9;

// What an item prints on standard output, run as a process of its own as a
// station would start it (see main's --run).
std::string capture(const char* item) { return bench::output(bench::self_path() + " --run " + item); }

// The figures before each "(M/S)", in order (the labels' charset aside).
std::vector<double> speeds(const std::string& out) {
  std::vector<double> v;
  for (size_t at = out.find("(M/S)"); at != std::string::npos; at = out.find("(M/S)", at + 1)) {
    size_t colon = out.rfind(':', at);
    v.push_back(colon == std::string::npos ? 0 : atof(out.c_str() + colon + 1));
  }
  return v;
}

double number_after(const std::string& text, size_t from, const char* key) {
  size_t at = text.find(key, from);
  return at == std::string::npos ? 0 : atof(text.c_str() + at + strlen(key));
}

// Calls and mean time per call (ns) of one section of fio's JSON report.
double section_ns(const std::string& json, const char* section) {
  size_t at = json.find(section);
  if (at == std::string::npos) return 0;
  size_t lat = json.find("\"lat_ns\" : {", at);
  return number_after(json, at, "\"total_ios\" : ") * number_after(json, lat, "\"mean\" : ");
}

// fio's speed in MiB/s counted as the items count: the time spent in the
// transfer calls and, for writes, the flushes after them, not fio's start-up.
double fio(const std::string& args, bool reading, double mib) {
  std::string cmd = "fio --output-format=json --ioengine=sync --bs=1M --name=j " + args + " 2>/dev/null";
  std::string json = bench::output(cmd);
  double ns =
      reading ? section_ns(json, "\"read\" : {") : section_ns(json, "\"write\" : {") + section_ns(json, "\"sync\" : {");
  return ns > 0 ? mib * 1e9 / ns : 0;
}

// Seconds for ten buffer flushes (BLKFLSBUF) of the device: fio has no such
// request, so its write figure gets the item's flushes added to compare like
// with like.
double ten_flushes(const std::string& dev) {
  int fd = open(dev.c_str(), O_RDWR);
  if (fd < 0) return 0;
  struct timespec a, b;
  clock_gettime(CLOCK_MONOTONIC, &a);
  for (int i = 0; i < 10; ++i) ioctl(fd, 0x1261, 0);
  clock_gettime(CLOCK_MONOTONIC, &b);
  close(fd);
  return static_cast<double>(b.tv_sec - a.tv_sec) + static_cast<double>(b.tv_nsec - a.tv_nsec) / 1e9;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

void report(const char* item, const char* dir, const std::vector<double>& ours, const std::vector<double>& theirs) {
  std::vector<double> r;
  for (size_t i = 0; i < ours.size(); ++i)
    if (theirs[i] > 0) r.push_back(ours[i] / theirs[i]);
  if (r.empty()) r.push_back(0);
  printf("%-5s %-5s %10.1f %10.1f %7.3f %7.3f..%-7.3f\n", item, dir, median(ours), median(theirs), median(r),
         *std::min_element(r.begin(), r.end()), *std::max_element(r.begin(), r.end()));
  fflush(stdout);
}

std::string attach(const char* what, long mib, std::string* file) {
  char name[] = "/dev/shm/flash_usb_benchXXXXXX";
  int fd = mkstemp(name);
  if (fd < 0) return "";
  *file = name;
  // Written out, so neither tool pays for allocating the backing pages.
  std::vector<char> block(1 << 20, 0);
  for (long i = 0; i < mib; ++i)
    if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) break;
  close(fd);
  std::string dev = first_line("losetup -f --show " + *file + " 2>/dev/null");
  if (dev.empty()) printf("flash_usb_bench: no free loop device for the %s\n", what);
  return dev;
}

bool mount_stick(const std::string& dev) { return mount(dev.c_str(), "/mnt", "ext2", 0, nullptr) == 0; }

// Write and read speeds over the rounds, the item's and fio's.
struct Figures {
  std::vector<double> item_w, item_r, fio_w, fio_r;
};

// One round: the item and fio once each, which goes first alternating with
// the round so neither always does on a shared machine. before() readies
// each run (false ends the round there), after() tidies up behind it.
void one_round(int round, const char* item, Figures* f, const std::function<bool()>& before,
               const std::function<void()>& after, const std::function<void(double* w, double* r)>& fio_run) {
  std::vector<double> s;
  double w = 0, r = 0;
  for (int turn = 0; turn < 2; ++turn) {
    if (!before()) break;
    if ((turn == 0) == (round % 2 == 0))
      s = speeds(capture(item));
    else
      fio_run(&w, &r);
    after();
  }
  f->fio_w.push_back(w);
  f->fio_r.push_back(r);
  f->item_w.push_back(s.size() == 2 ? s[0] : 0);
  f->item_r.push_back(s.size() == 2 ? s[1] : 0);
}

// The eMMC item beside fio on the same 10 MiB region.
void emmc_rounds(const std::string& emmc) {
  const std::string region = " --filename=" + emmc + " --size=10M --offset=" + std::to_string(kEmmcMiB - 11) + "M";
  Figures f;
  std::vector<double> wf;
  // An untimed pass of each first.
  capture("emmc");
  fio("--rw=write --sync=dsync --fsync=1" + region, false, 10);
  for (int round = 0; round < g_rounds; ++round)
    one_round(
        round, "emmc", &f,
        [] {
          drop_caches();
          return true;
        },
        [] {},
        [&](double* w, double* r) {
          *w = fio("--rw=write --sync=dsync --fsync=1" + region, false, 10);
          wf.push_back(*w > 0 ? 10 / (10 / *w + ten_flushes(emmc)) : 0);
          drop_caches();
          *r = fio("--rw=read" + region, true, 10);
        });
  report("emmc", "write", f.item_w, f.fio_w);
  report("emmc", "w+fl", f.item_w, wf);
  report("emmc", "read", f.item_r, f.fio_r);
}

// The USB item beside fio on a 25 MiB direct-I/O file of the stick on /mnt.
void usb_rounds(const std::string& stick) {
  const std::string file = " --filename=/mnt/fio.dat --size=25M --direct=1";
  Figures f;
  for (int round = 0; round < g_rounds; ++round)
    one_round(
        round, "usb", &f, [&] { return mount_stick(stick); },
        [] { umount("/mnt"); },  // the item unmounts itself but for its failure paths
        [&](double* w, double* r) {
          *w = fio("--rw=write" + file, false, 25);
          *r = fio("--rw=read" + file, true, 25);
          unlink("/mnt/fio.dat");
        });
  report("usb", "write", f.item_w, f.fio_w);
  report("usb", "read", f.item_r, f.fio_r);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && strcmp(argv[1], "--run") == 0)
    return (strcmp(argv[2], "usb") == 0 ? tav::usb_test : tav::emmc_test)(0, nullptr);
  if (argc > 1) g_rounds = atoi(argv[1]);
  if (g_rounds <= 0) {
    puts("usage: flash_usb_bench [rounds]");
    return 1;
  }
  if (geteuid() != 0) {
    puts("flash_usb_bench: skipped, loop devices and mounts need root");
    return 0;
  }
  if (first_line("command -v fio").empty() || first_line("command -v mkfs.ext2").empty()) {
    puts("flash_usb_bench: skipped, fio or mkfs.ext2 is not installed");
    return 0;
  }
  // /mnt is this process's own from here on.
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    puts("flash_usb_bench: skipped, no private mount namespace");
    return 0;
  }
  std::string emmc_file, stick_file;
  std::string emmc = attach("eMMC", kEmmcMiB, &emmc_file);
  std::string stick = emmc.empty() ? "" : attach("stick", kStickMiB, &stick_file);
  if (!stick.empty() && first_line("mkfs.ext2 -q -F " + stick + " >/dev/null 2>&1; echo $?") == "0") {
    char map[] = "/tmp/flash_usb_mapXXXXXX";
    int fd = mkstemp(map);
    std::string lines = "/dev/mmcblk0=" + emmc + "\n/dev/h_msa=" + stick + "\n";
    if (fd >= 0 && write(fd, lines.data(), lines.size()) == static_cast<ssize_t>(lines.size())) {
      close(fd);
      setenv("TAV_DEVMAP", map, 1);
      bool dropped = drop_caches();
      printf(
          "loop devices over files in /dev/shm: eMMC %s (%ld MiB), stick %s (%ld MiB, ext2 on /mnt); 1 MiB blocks;"
          " median of %d rounds%s\n",
          emmc.c_str(), kEmmcMiB, stick.c_str(), kStickMiB, g_rounds,
          dropped ? ", page cache dropped before every run" : "");
      printf(
          "MiB/s; ratio = item / fio, median and range of the rounds' pairs; w+fl: fio's writes plus ten\n"
          "BLKFLSBUF requests timed beside them, as the item flushes after each block\n");
      printf("%-5s %-5s %10s %10s %7s %-16s\n", "item", "dir", "item", "fio", "ratio", "range");
      emmc_rounds(emmc);
      usb_rounds(stick);
    }
    unlink(map);
  } else {
    puts("flash_usb_bench: skipped, could not set up the loop devices");
  }
  if (!stick.empty()) first_line("losetup -d " + stick);
  if (!emmc.empty()) first_line("losetup -d " + emmc);
  if (!stick_file.empty()) unlink(stick_file.c_str());
  if (!emmc_file.empty()) unlink(emmc_file.c_str());
  return 0;
}
