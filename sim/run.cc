#include "run.h"

#include <signal.h>
#include <stdlib.h>
#include <time.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "board_state.h"
#include "devices.h"
#include "serial.h"
#include "shell_setup.h"

namespace sim {

namespace {

std::atomic<bool> g_ctrl_c{false};
void on_ctrl_c(int) { g_ctrl_c = true; }

uint64_t real_ns() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

// A real Ctrl-C reaches the tool as the board's SIGINT at the next step of
// virtual time (a second one ends the process as usual). With TAV_SIM_REALTIME
// set, virtual time does not run ahead of the wall clock, so a tool sampling
// every second prints every second instead of as fast as it can.
void connect_to_terminal(Board& board) {
  struct sigaction sa = {};
  sa.sa_handler = on_ctrl_c;
  sa.sa_flags = SA_RESETHAND | SA_RESTART;
  sigemptyset(&sa.sa_mask);
  ::sigaction(SIGINT, &sa, nullptr);
  const char* realtime = getenv("TAV_SIM_REALTIME");
  bool paced = realtime != nullptr && *realtime != '\0';
  uint64_t real_start = real_ns();
  uint64_t virtual_start = board.clock().now_ns();
  board.clock().on_advance([&board, paced, real_start, virtual_start](uint64_t now) {
    if (paced) {
      uint64_t ahead = now - virtual_start;
      uint64_t real = real_ns() - real_start;
      if (ahead > real) {
        struct timespec wait = {static_cast<time_t>((ahead - real) / 1000000000ull),
                                static_cast<long>((ahead - real) % 1000000000ull)};
        while (!g_ctrl_c && ::nanosleep(&wait, &wait) != 0) {
        }
      }
    }
    if (g_ctrl_c.exchange(false)) board.clock().signal_at(now, SIGINT);
  });
}

}  // namespace

int run_process(int argc, char** argv, int (*entry)(int, char**)) {
  auto board = make_default_board();
  if (const char* ports = getenv(kHostPortsEnv)) attach_host_ports(*board, ports);
  // A board the shell asked for but that cannot be read is not silently the default one.
  const char* state = getenv(kStateEnv);
  bool keeps_state = state != nullptr && *state != '\0';
  std::string error;
  if (keeps_state && !load_board_state(*board, state, &error)) {
    fprintf(stderr, "simulated board: %s (remove it to start from a board as shipped)\n", error.c_str());
    return 2;
  }
  if (!apply_shell_setup(*board)) return 2;
  install(board.get());
  connect_to_terminal(*board);
  int status;
  try {
    status = entry(argc, argv);
  } catch (const ProcessExit& e) {
    status = e.status;
  } catch (const Stuck& e) {
    fflush(stdout);
    fprintf(stderr, "simulated board: %s\n", e.what);
    status = 124;
  }
  fflush(stdout);
  if (keeps_state && !save_board_state(*board, state))
    fprintf(stderr, "simulated board: cannot keep the board's state in %s\n", state);
  install(nullptr);
  return status;
}

}  // namespace sim
