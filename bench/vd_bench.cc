// hivd dumping a 3840x2160 frame on the simulated board, beside the bound of
// copying the same bytes with memcpy and writing them to the same file, in
// the same run. Figures are medians over the runs.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "sim/board.h"
#include "sim/devices.h"
#include "tools/memmap.h"
#include "tools/tools.h"

namespace {

constexpr unsigned kWidth = 3840;
constexpr unsigned kHeight = 2160;
constexpr uint64_t kY = 0x63010000;
constexpr uint64_t kC = 0x64000000;
constexpr size_t kLuma = size_t{kWidth} * kHeight;
constexpr size_t kChroma = kLuma / 2;
constexpr int kRuns = 15;

double now_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// The tool as started: its own mappings, its own file, its lines on stdout.
double run_hivd(const char* file) {
  std::string w = std::to_string(kWidth), h = std::to_string(kHeight);
  std::vector<std::string> words = {"hivd", "0x63010000", "0x64000000", w, w, w, h, file};
  std::vector<char*> argv;
  for (auto& s : words) argv.push_back(&s[0]);
  argv.push_back(nullptr);
  double t0 = now_ms();
  tav::hivd(static_cast<int>(words.size()), argv.data());
  fflush(stdout);
  double t1 = now_ms();
  tav::memmap_reset();  // as the process's end would
  return t1 - t0;
}

// The bound: map the same memory, memcpy the frame's bytes, write them.
double run_bound(sim::Board& board, const char* file, uint8_t* buffer) {
  double t0 = now_ms();
  int err = 0;
  void* y = board.mem().map(kY, kLuma, PROT_READ, &err);
  void* c = board.mem().map(kC, kChroma, PROT_READ, &err);
  memcpy(buffer, y, kLuma);
  memcpy(buffer + kLuma, c, kChroma);
  int fd = ::open(file, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (fd < 0 || ::write(fd, buffer, kLuma + kChroma) != static_cast<ssize_t>(kLuma + kChroma)) perror(file);
  ::close(fd);
  double t1 = now_ms();
  munmap(y, kLuma);
  munmap(c, kChroma);
  return t1 - t0;
}

}  // namespace

int main() {
  auto board = sim::make_default_board();
  sim::install(board.get());
  std::vector<uint8_t> pattern(kLuma);
  uint32_t seed = 12345;
  for (auto& b : pattern) {
    seed = seed * 1103515245 + 12345;
    b = static_cast<uint8_t>(seed >> 16);
  }
  board->mem().write(kY, pattern.data(), kLuma);
  board->mem().write(kC, pattern.data() + 1, kChroma);

  char dir[] = "/tmp/vdbenchXXXXXX";
  if (mkdtemp(dir) == nullptr) return 1;
  std::string file = std::string(dir) + "/frame.yuv";
  std::vector<uint8_t> buffer(kLuma + kChroma, 1);

  // The tool's lines go nowhere; the figures go to the terminal.
  int terminal = dup(1);
  int null_fd = ::open("/dev/null", O_WRONLY);
  dup2(null_fd, 1);
  std::vector<double> tool, bound;
  run_hivd(file.c_str());  // warm the page cache of the file
  for (int i = 0; i < kRuns; ++i) {
    tool.push_back(run_hivd(file.c_str()));
    bound.push_back(run_bound(*board, file.c_str(), buffer.data()));
  }
  // The dump must hold the frame in planar form.
  run_hivd(file.c_str());
  fflush(stdout);
  dup2(terminal, 1);
  FILE* f = fopen(file.c_str(), "rb");
  std::vector<uint8_t> got(kLuma + kChroma + 1);
  size_t n = f ? fread(got.data(), 1, got.size(), f) : 0;
  if (f) fclose(f);
  bool ok = n == kLuma + kChroma && memcmp(got.data(), pattern.data(), kLuma) == 0 && got[kLuma] == pattern[1 + 1] &&
            got[kLuma + kChroma / 2] == pattern[1];
  sim::install(nullptr);
  unlink(file.c_str());
  rmdir(dir);

  double t = median(tool), b = median(bound);
  printf("hivd %ux%u frame, %zu bytes, median of %d runs\n", kWidth, kHeight, kLuma + kChroma, kRuns);
  printf("  hivd                 %8.2f ms  (%.0f MB/s)\n", t, (kLuma + kChroma) / t / 1e3);
  printf("  memcpy + write bound %8.2f ms  (%.0f MB/s)\n", b, (kLuma + kChroma) / b / 1e3);
  printf("  ratio                %8.2f  (target <= 2.00)%s\n", t / b, ok ? "" : "  DUMP WRONG");
  return ok ? 0 : 1;
}
