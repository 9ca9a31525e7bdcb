// The board's time, signals, scheduling and threads.
#include <errno.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "board.h"

namespace sim {

int Board::nanosleep(const struct timespec* req, struct timespec* rem) {
  if (req == nullptr || req->tv_nsec < 0 || req->tv_nsec >= 1000000000L || req->tv_sec < 0) return fail_with(EINVAL);
  if (int err = enter(Call::Sleep, "", 0, to_ns(*req), nullptr)) {
    if (rem != nullptr) *rem = *req;
    return fail_with(err);
  }
  clock_.sleep_ns(to_ns(*req));
  return 0;
}

int Board::clock_gettime(clockid_t clock, struct timespec* ts) {
  if (int err = enter(Call::Clock, "", static_cast<unsigned long>(clock), 0, nullptr)) return fail_with(err);
  uint64_t now = clock_.now_ns() + clock_.spent_here();
  if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) now += clock_.realtime_base_ns();
  *ts = to_ts(now);
  return 0;
}

int Board::timer_create(clockid_t clock, struct sigevent* sev, timer_t* id) {
  if (int err = enter(Call::Timer, "create", static_cast<unsigned long>(clock), 0, nullptr)) return fail_with(err);
  int signo = (sev == nullptr) ? SIGALRM : sev->sigev_signo;
  return clock_.timer_create(signo, id, clock);
}

int Board::timer_settime(timer_t id, int flags, const struct itimerspec* value, struct itimerspec* old) {
  Request* req = nullptr;
  if (int err = enter(Call::Timer, "settime", static_cast<unsigned long>(flags), 0, &req)) return fail_with(err);
  if (value == nullptr) return fail_with(EFAULT);
  const auto* p = reinterpret_cast<const uint8_t*>(value);
  req->bytes.assign(p, p + sizeof *value);
  for (const struct timespec* ts : {&value->it_value, &value->it_interval})
    if (ts->tv_sec < 0 || ts->tv_nsec < 0 || ts->tv_nsec >= 1000000000L) return fail_with(EINVAL);
  bool due_now = false;
  int rc = clock_.timer_settime(id, value, old, flags, &due_now);
  if (rc < 0) return fail_with(-rc);
  // The kernel signals an overdue timer before the call returns.
  if (due_now) clock_.sleep_ns(0);
  return 0;
}

int Board::timer_delete(timer_t id) {
  if (int err = enter(Call::Timer, "delete", 0, 0, nullptr)) return fail_with(err);
  int rc = clock_.timer_delete(id);
  return rc < 0 ? fail_with(-rc) : 0;
}

int Board::sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
  if (int err = enter(Call::Sigaction, "", static_cast<unsigned long>(sig), 0, nullptr)) return fail_with(err);
  if (sig <= 0 || sig >= NSIG || sig == SIGKILL || sig == SIGSTOP) return fail_with(EINVAL);
  signals_.set(sig, act, old);
  return 0;
}

int Board::raise(int sig) {
  if (int err = enter(Call::Raise, "", static_cast<unsigned long>(sig), 0, nullptr)) return fail_with(err);
  deliver_signal(sig);
  return 0;
}

int Board::pause() {
  if (int err = enter(Call::Pause, "", 0, 0, nullptr)) return fail_with(err);
  if (!clock_.run_next_event()) throw Stuck{"pause with no timer or signal pending"};
  return fail_with(EINTR);
}

// Scheduling requests are logged (a mask's first word and size, or the policy
// and priority) and succeed.
int Board::sched_setaffinity(pid_t pid, size_t size, const cpu_set_t* mask) {
  uint64_t first = 0;
  if (mask != nullptr) memcpy(&first, mask, std::min(size, sizeof first));
  if (int err = enter(Call::Sched, "setaffinity", first, size, nullptr)) return fail_with(err);
  if (mask == nullptr || pid != 0) return fail_with(mask == nullptr ? EFAULT : ESRCH);
  cpu_set_t set;
  CPU_ZERO(&set);
  memcpy(&set, mask, std::min(size, sizeof set));
  affinity_.set_here(set);
  return 0;
}

int Board::sched_getaffinity(pid_t pid, size_t size, cpu_set_t* mask) {
  if (int err = enter(Call::Sched, "getaffinity", 0, size, nullptr)) return fail_with(err);
  if (mask == nullptr || pid != 0) return fail_with(mask == nullptr ? EFAULT : ESRCH);
  cpu_set_t set = affinity_.get_here();
  memset(mask, 0, size);
  memcpy(mask, &set, std::min(size, sizeof set));
  return 0;
}

int Board::sched_setscheduler(pid_t pid, int policy, const struct sched_param* param) {
  int prio = param != nullptr ? param->sched_priority : -1;
  if (int err =
          enter(Call::Sched, "setscheduler", static_cast<unsigned long>(policy), static_cast<uint64_t>(prio), nullptr))
    return fail_with(err);
  if (param == nullptr || pid != 0) return fail_with(param == nullptr ? EINVAL : ESRCH);
  return 0;
}

int Board::thread_create(pthread_t* thread, void* (*fn)(void*), void* arg) {
  if (int err = enter(Call::Thread, "create", 0, 0, nullptr)) return err;
  return threads_.start(thread, fn, arg);
}

int Board::thread_join(pthread_t thread, void** result) {
  if (int err = enter(Call::Thread, "join", 0, 0, nullptr)) return err;
  return threads_.join(thread, result);
}

pid_t Board::gettid() { return static_cast<pid_t>(::syscall(SYS_gettid)); }

void Board::exit(int status) {
  fflush(stdout);
  fflush(stderr);
  throw ProcessExit{status & 0xFF};
}

void Board::_exit(int status) {
  // The harness takes what was printed either way; a tool that must not
  // lose its output flushes it itself.
  throw ProcessExit{status & 0xFF};
}

}  // namespace sim
