#include "tools/sampler.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstring>

#include "sys/owners.h"
#include "sys/sys.h"

namespace tav {

namespace {

// Shared with the signal handlers; all set before the timer is armed.
struct SamplerState {
  const SamplerSetup* setup;
  volatile uint8_t* area;
  int fd;
  timer_t timer;
};
SamplerState g_sampler;

void on_tick(int) {
  g_sampler.setup->sample(g_sampler.area);
  // The process ends from a handler without flushing: nothing may wait.
  fflush(stdout);
}

void on_interrupt(int) {
  if (g_sampler.setup->stopping != nullptr) g_sampler.setup->stopping(g_sampler.area);
  sys::timer_delete(g_sampler.timer);
  sys::munmap(const_cast<uint8_t*>(g_sampler.area), g_sampler.setup->size);
  sys::close(g_sampler.fd);
  sys::_exit(0);
}

// Says what failed; the caller's owners unmap and close on the way out.
int fail(const char* what, bool timer) {
  printf("%s %s\n", g_sampler.setup->name, what);
  if (timer) sys::timer_delete(g_sampler.timer);
  return -1;
}

}  // namespace

int run_sampler(const SamplerSetup& setup) {
  g_sampler = SamplerState{&setup, nullptr, -1, timer_t{}};
  sys::Fd fd(sys::open("/dev/mem", O_RDWR | O_SYNC));
  if (!fd.ok()) {
    char what[64];
    snprintf(what, sizeof what, "%s open failed:", setup.name);
    perror(what);
    return -1;
  }
  // Declared after the descriptor: unmapped before it is closed.
  sys::Mapping area(sys::mmap(nullptr, setup.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), setup.base),
                    setup.size);
  if (!area.ok()) {
    setup.map_failed();
    return -1;
  }
  g_sampler.area = static_cast<volatile uint8_t*>(area.get());
  g_sampler.fd = fd.get();
  if (sys::set_handler(SIGUSR1, on_tick) != 0) return fail("install signal failed.", false);
  struct sigevent sev;
  memset(&sev, 0, sizeof sev);
  sev.sigev_notify = SIGEV_SIGNAL;
  sev.sigev_signo = SIGUSR1;
  sev.sigev_value.sival_ptr = &g_sampler.timer;
  if (sys::timer_create(CLOCK_REALTIME, &sev, &g_sampler.timer) != 0) return fail("timer create failed.", false);
  if (setup.before_arm != nullptr) setup.before_arm(g_sampler.area);
  // An absolute time long past: the first sample comes at once.
  struct itimerspec its;
  its.it_value.tv_sec = static_cast<time_t>(setup.interval);
  its.it_value.tv_nsec = 0;
  its.it_interval = its.it_value;
  if (sys::timer_settime(g_sampler.timer, TIMER_ABSTIME, &its, nullptr) != 0) return fail("set timer failed.", true);
  if (setup.after_arm != nullptr) setup.after_arm(g_sampler.area);
  setup.heading();
  if (sys::set_handler(SIGINT, on_interrupt) != 0) return fail("catch SIGINT signal failed.", true);
  // KEPT: left open and mapped for the Ctrl-C handler, which ends the process.
  area.release();
  fd.release();
  fflush(stdout);
  for (;;) sys::sleep(1);
}

}  // namespace tav
