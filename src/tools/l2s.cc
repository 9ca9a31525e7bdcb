// hil2s: cache hit ratios from the CPU's event counters, sampled on a timer
// signal until Ctrl-C.
#include <fcntl.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sys/sys.h"
#include "tools/access.h"
#include "tools/tools.h"

namespace tav {

namespace {

const char* const kUsage[] = {
    "L2 cache statistic usage like this:",
    "\thil2s [second=1,2,3...]",
    "\teg. hil2s 2",
};

constexpr off_t kPageBase = 0x20700000;
constexpr size_t kPageSize = 4096;
// The counters count down from all-ones; presetting restarts them, in this
// order.
constexpr size_t kPresetOrder[] = {0x700, 0x704, 0x708, 0x608, 0x60C, 0x610, 0x614, 0x618, 0x61C};
constexpr size_t kL2ReadHit = 0x608, kL2Read = 0x60C;
constexpr size_t kL2WriteHit = 0x610, kL2Write = 0x614;
constexpr size_t kL1InstrHit = 0x618, kL1Instr = 0x61C;
constexpr size_t kL1DataMiss = 0x704, kL1Data = 0x708;

// Shared with the signal handlers; all set before the timer is armed.
struct L2sState {
  long interval;
  volatile uint8_t* page;
  int fd;
  timer_t timer;
};
L2sState g_l2s;

void preset() {
  for (size_t off : kPresetOrder) store<uint32_t>(g_l2s.page + off, 0xFFFFFFFFu);
}

float count(size_t off) { return static_cast<float>(~load<uint32_t>(g_l2s.page + off)); }

void sample(int) {
  float l2_read = count(kL2ReadHit) / count(kL2Read) * 100.0f;
  float l2_write = count(kL2WriteHit) / count(kL2Write) * 100.0f;
  float l1_instr = count(kL1InstrHit) / count(kL1Instr) * 100.0f;
  float l1_data = (1.0f - count(kL1DataMiss) / count(kL1Data)) * 100.0f;
  printf("%0.2f%% %8.2f%% %8.2f%% %8.2f%%\n", l2_read, l2_write, l1_instr, l1_data);
  preset();
  // The process ends from a handler without flushing: nothing may wait.
  fflush(stdout);
}

// Unlike the DDR statistic, the counters are left running.
void stop(int) {
  sys::timer_delete(g_l2s.timer);
  sys::munmap(const_cast<uint8_t*>(g_l2s.page), kPageSize);
  sys::close(g_l2s.fd);
  sys::_exit(0);
}

int release(bool timer) {
  if (timer) sys::timer_delete(g_l2s.timer);
  sys::munmap(const_cast<uint8_t*>(g_l2s.page), kPageSize);
  sys::close(g_l2s.fd);
  return -1;
}

}  // namespace

int hil2s(int argc, char** argv) {
  g_l2s = L2sState{1, nullptr, -1, timer_t{}};
  if (argc == 2) {
    g_l2s.interval = strtol(argv[1], nullptr, 10);
  } else if (argc != 1) {
    for (const char* line : kUsage) puts(line);
    return -1;
  }
  g_l2s.fd = sys::open("/dev/mem", O_RDWR | O_SYNC);
  if (g_l2s.fd < 0) {
    perror("cache statistic open failed:");
    return -1;
  }
  void* page = sys::mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, g_l2s.fd, kPageBase);
  if (page == MAP_FAILED) {
    puts("cache statistic mmap failed.");
    sys::close(g_l2s.fd);
    return -1;
  }
  g_l2s.page = static_cast<volatile uint8_t*>(page);
  if (sys::set_handler(SIGUSR1, sample) != 0) {
    puts("cache statistic install signal failed.");
    return release(false);
  }
  struct sigevent sev;
  memset(&sev, 0, sizeof sev);
  sev.sigev_notify = SIGEV_SIGNAL;
  sev.sigev_signo = SIGUSR1;
  sev.sigev_value.sival_ptr = &g_l2s.timer;
  if (sys::timer_create(CLOCK_REALTIME, &sev, &g_l2s.timer) != 0) {
    puts("cache statistic timer create failed.");
    return release(false);
  }
  // An absolute time long past: the first sample comes at once, before the
  // counters are preset.
  struct itimerspec its;
  its.it_value.tv_sec = static_cast<time_t>(g_l2s.interval);
  its.it_value.tv_nsec = 0;
  its.it_interval = its.it_value;
  if (sys::timer_settime(g_l2s.timer, TIMER_ABSTIME, &its, nullptr) != 0) {
    puts("cache statistic set timer failed.");
    return release(true);
  }
  preset();
  puts("===== L2 cache statistic =====");
  printf("%s %10s %8s %8s\n", "L2 dr", "L2 dw", "L1 i", "L1 d");
  if (sys::set_handler(SIGINT, stop) != 0) {
    puts("cache statistic catch SIGINT signal failed.");
    return release(true);
  }
  fflush(stdout);
  for (;;) sys::sleep(1);
}

}  // namespace tav
