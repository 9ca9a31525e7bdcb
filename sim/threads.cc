#include "threads.h"

#include <memory>

#include "outcomes.h"

namespace sim {

namespace {
std::atomic<uint64_t> g_sets{0};
// The thread set that started the calling thread, if one did.
thread_local uint64_t t_started_by = 0;
}  // namespace

struct ThreadSet::Start {
  ThreadSet* set;
  void* (*fn)(void*);
  void* arg;
};

ThreadSet::ThreadSet(Clock& clock) : clock_(clock), id_(++g_sets) {}

ThreadSet::~ThreadSet() { close(); }

void* ThreadSet::run(void* p) {
  std::unique_ptr<Start> start(static_cast<Start*>(p));
  ThreadSet* set = start->set;
  t_started_by = set->id_;
  set->clock_.thread_begins_here();
  void* result = nullptr;
  try {
    result = start->fn(start->arg);
  } catch (const BoardGone&) {
  } catch (const ProcessExit&) {
  } catch (const Stuck&) {
  }
  set->clock_.thread_ended();
  set->ended();
  return result;
}

void ThreadSet::ended() {
  std::lock_guard<std::mutex> lock(mu_);
  if (--live_ == 0) none_left_.notify_all();
}

int ThreadSet::start(pthread_t* thread, void* (*fn)(void*), void* arg, size_t stack_size, bool detached) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  if (stack_size != 0) pthread_attr_setstacksize(&attr, stack_size);
  if (detached) pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  auto start = std::make_unique<Start>(Start{this, fn, arg});
  std::lock_guard<std::mutex> lock(mu_);
  clock_.thread_starting();
  ++live_;
  int rc = pthread_create(thread, &attr, run, start.get());
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    --live_;
    clock_.thread_ended();
    return rc;
  }
  start.release();
  if (!detached) joinable_.push_back(*thread);
  return 0;
}

int ThreadSet::join(pthread_t thread, void** result) {
  {
    std::lock_guard<std::mutex> lock(mu_);
    auto it = joinable_.begin();
    while (it != joinable_.end() && !pthread_equal(*it, thread)) ++it;
    if (it == joinable_.end()) return ESRCH;
    joinable_.erase(it);
  }
  // A thread of ours joining another must not stop time meanwhile.
  Clock::Aside aside(clock_);
  return pthread_join(thread, result);
}

bool ThreadSet::must_end_here() const { return closing_.load() && t_started_by == id_; }

void ThreadSet::close() {
  std::vector<pthread_t> threads;
  {
    std::lock_guard<std::mutex> lock(mu_);
    closing_ = true;
    threads.swap(joinable_);
  }
  clock_.close();
  for (pthread_t t : threads) pthread_join(t, nullptr);
  std::unique_lock<std::mutex> lock(mu_);
  none_left_.wait(lock, [&] { return live_ == 0; });
}

void AffinityTable::set_here(const cpu_set_t& set) {
  std::lock_guard<std::mutex> lock(mu_);
  sets_[std::this_thread::get_id()] = set;
}

cpu_set_t AffinityTable::get_here() const {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int cpu = 0; cpu < 4; ++cpu) CPU_SET(cpu, &set);
  std::lock_guard<std::mutex> lock(mu_);
  auto it = sets_.find(std::this_thread::get_id());
  if (it != sets_.end()) set = it->second;
  return set;
}

}  // namespace sim
