// Thread options through both backends: the stack size a thread gets, and a
// detached thread that no tool can join.
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>

#include "harness.h"
#include "sys/sys.h"

namespace {

struct Seen {
  sem_t done;
  size_t stack = 0;
  int detach_state = -1;
};

void* look(void* p) {
  auto* seen = static_cast<Seen*>(p);
  pthread_attr_t attr;
  if (pthread_getattr_np(pthread_self(), &attr) == 0) {
    pthread_attr_getstacksize(&attr, &seen->stack);
    pthread_attr_getdetachstate(&attr, &seen->detach_state);
    pthread_attr_destroy(&attr);
  }
  sem_post(&seen->done);
  return nullptr;
}

struct Case {
  const char* name;
  sys::ThreadOptions options;
};
const Case kCases[] = {
    {"defaults", {}},
    {"one_mib_stack", {0x100000, false}},
    {"detached_with_stack", {0x100000, true}},
};

// Returns what the thread saw of itself; joins it unless it was detached.
Seen start_and_look(sys::Backend& backend, const sys::ThreadOptions& options, int* join_rc) {
  Seen seen;
  sem_init(&seen.done, 0, 0);
  pthread_t id;
  EXPECT_EQ(backend.thread_create(&id, look, &seen, options), 0);
  while (sem_wait(&seen.done) != 0) {
  }
  *join_rc = options.detached ? -1 : backend.thread_join(id, nullptr);
  sem_destroy(&seen.done);
  return seen;
}

TEST(ThreadOptions, linux_backend_gives_the_stack_size_and_detached_state_asked_for) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    int join_rc = 0;
    Seen seen = start_and_look(sys::linux_backend(), c.options, &join_rc);
    if (c.options.stack_size != 0) {
      EXPECT_EQ(seen.stack, c.options.stack_size);
    }
    EXPECT_EQ(seen.detach_state, c.options.detached ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE);
    if (!c.options.detached) {
      EXPECT_EQ(join_rc, 0);
    }
  }
}

class BoardThreadOptions : public tavtest::BoardTest {};

TEST_F(BoardThreadOptions, board_gives_the_stack_size_and_keeps_detached_threads_from_tools) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    int join_rc = 0;
    Seen seen = start_and_look(board(), c.options, &join_rc);
    if (c.options.stack_size != 0) {
      EXPECT_EQ(seen.stack, c.options.stack_size);
    }
    if (!c.options.detached) {
      EXPECT_EQ(join_rc, 0);
    }
  }
  // A tool cannot join a detached thread; the board reaps it when it ends.
  Seen seen;
  sem_init(&seen.done, 0, 0);
  pthread_t id;
  ASSERT_EQ(board().thread_create(&id, look, &seen, sys::ThreadOptions{0, true}), 0);
  while (sem_wait(&seen.done) != 0) {
  }
  EXPECT_NE(board().thread_join(id, nullptr), 0);
  fresh_board();
  sem_destroy(&seen.done);
}

}  // namespace
