#include "signals.h"

#include <cstdio>
#include <cstring>

#include "outcomes.h"

namespace sim {

void SignalTable::set(int sig, const struct sigaction* act, struct sigaction* old) {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = handlers_.find(sig);
  if (old != nullptr) {
    if (it != handlers_.end()) {
      *old = it->second;
    } else {
      memset(old, 0, sizeof *old);
      old->sa_handler = SIG_DFL;
    }
  }
  if (act != nullptr) handlers_[sig] = *act;
}

struct sigaction SignalTable::action(int sig) {
  struct sigaction act;
  std::lock_guard<std::mutex> lock(mu_);
  auto it = handlers_.find(sig);
  if (it == handlers_.end()) {
    memset(&act, 0, sizeof act);
    act.sa_handler = SIG_DFL;
  } else {
    act = it->second;
  }
  return act;
}

bool SignalTable::block(int sig) {
  std::lock_guard<std::mutex> lock(mu_);
  auto it = in_handler_.find(sig);
  if (it != in_handler_.end()) {
    it->second = 1;
    return false;
  }
  in_handler_[sig] = 0;
  return true;
}

bool SignalTable::unblock(int sig) {
  std::lock_guard<std::mutex> lock(mu_);
  bool again = in_handler_[sig] != 0;
  in_handler_.erase(sig);
  return again;
}

void SignalTable::deliver(int sig) {
  struct sigaction act = action(sig);
  if (act.sa_flags & SA_SIGINFO) {
    siginfo_t info;
    memset(&info, 0, sizeof info);
    info.si_signo = sig;
    act.sa_sigaction(sig, &info, nullptr);
    return;
  }
  if (act.sa_handler == SIG_IGN) return;
  if (act.sa_handler == SIG_DFL) {
    if (sig == SIGCHLD || sig == SIGURG || sig == SIGWINCH || sig == SIGCONT) return;
    fflush(stdout);
    throw ProcessExit{128 + sig};
  }
  if (act.sa_flags & SA_NODEFER) {
    act.sa_handler(sig);
    return;
  }
  if (!block(sig)) return;
  try {
    act.sa_handler(sig);
  } catch (...) {
    // Left by a simulated exit: the signal is unblocked all the same.
    unblock(sig);
    throw;
  }
  if (unblock(sig)) deliver(sig);
}

}  // namespace sim
