// Signal handlers a tool installs on the board, run as the kernel would.
#pragma once

#include <signal.h>

#include <map>
#include <mutex>

namespace sim {

class SignalTable {
 public:
  // As sigaction, for a signal already checked.
  void set(int sig, const struct sigaction* act, struct sigaction* old);
  // Runs the handler for sig: the signal is blocked while its handler runs,
  // and raised again then it is delivered after the handler returns. A
  // default action that ends the process throws ProcessExit.
  void deliver(int sig);

 private:
  struct sigaction action(int sig);
  // False when sig is already being handled (it is then marked raised again).
  bool block(int sig);
  // True when sig was raised again while blocked.
  bool unblock(int sig);
  std::mutex mu_;
  std::map<int, struct sigaction> handlers_;
  std::map<int, int> in_handler_;  // signal -> raised again while handled
};

}  // namespace sim
