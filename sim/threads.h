// Threads the board starts for a tool, and the CPU sets threads give
// themselves.
#pragma once

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "clock.h"

namespace sim {

// A thread started here runs at its own virtual times (the clock counts it)
// until its function returns or the set closes.
class ThreadSet {
 public:
  explicit ThreadSet(Clock& clock);
  ~ThreadSet();
  ThreadSet(const ThreadSet&) = delete;
  ThreadSet& operator=(const ThreadSet&) = delete;
  // As pthread_create: 0 or an error number. stack_size 0 takes the default.
  int start(pthread_t* thread, void* (*fn)(void*), void* arg, size_t stack_size = 0, bool detached = false);
  // As pthread_join, for a joinable thread started here: ESRCH otherwise.
  int join(pthread_t thread, void** result);
  // True in a thread started here once the set is closing: it must end.
  bool must_end_here() const;
  // Ends the clock's waits (sleeping threads get BoardGone) and waits for
  // every thread started here.
  void close();

 private:
  struct Start;
  static void* run(void* p);
  void ended();
  Clock& clock_;
  std::mutex mu_;
  std::condition_variable none_left_;
  std::vector<pthread_t> joinable_;
  int live_ = 0;
  std::atomic<bool> closing_{false};
  const uint64_t id_;
};

// Each thread reads back the CPU set it last gave itself (every CPU of a
// four-core board before that).
class AffinityTable {
 public:
  void set_here(const cpu_set_t& set);
  cpu_set_t get_here() const;

 private:
  mutable std::mutex mu_;
  std::map<std::thread::id, cpu_set_t> sets_;
};

}  // namespace sim
