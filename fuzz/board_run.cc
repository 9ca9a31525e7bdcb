#include "board_run.h"

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include "common/process_state.h"
#include "items/storage/spi_switch.h"
#include "sim/devices.h"
#include "sim/outcomes.h"
#include "sim/tavio.h"

namespace fuzz {

namespace {

// Every run starts in one scratch directory: whatever a tool writes (dumps,
// links) stays there.
bool enter_scratch_directory() {
  char tmpl[] = "/tmp/tavfuzzXXXXXX";
  return mkdtemp(tmpl) != nullptr && chdir(tmpl) == 0;
}
const bool g_in_scratch = enter_scratch_directory();

constexpr uint64_t kSecond = 1000000000;
constexpr unsigned kVariants[] = {0x20, 0x30, 0x50, 0x04, 0x00, 0x1FC};
constexpr int kErrnos[] = {EIO, EINVAL, ENOENT, EAGAIN, EINTR, ENOMEM, EBUSY, ENODEV};
constexpr sim::Call kCalls[] = {sim::Call::Any,  sim::Call::Open,  sim::Call::Ioctl,
                                sim::Call::Read, sim::Call::Write, sim::Call::Mmap};

}  // namespace

std::string contained_word(std::string w) {
  if (w.compare(0, 5, "/dev/") == 0 || w.compare(0, 6, "/proc/") == 0 || w.compare(0, 5, "/sys/") == 0) {
    if (w.find("..") == std::string::npos) return w;
  }
  for (char& c : w)
    if (c == '/') c = '_';
  return w;
}

void choose_board(Input& in, BoardRun* run) {
  uint8_t v = in.byte();
  run->variant = v < 0xC0 ? kVariants[v % (sizeof kVariants / sizeof kVariants[0])] : (v & 0x7F) << 2;
  uint8_t f = in.byte();
  run->fault = f >= 0x80;
  if (run->fault) {
    run->injected.call = kCalls[f % (sizeof kCalls / sizeof kCalls[0])];
    run->injected.nth = in.byte() % 12;
    run->injected.err = kErrnos[in.byte() % (sizeof kErrnos / sizeof kErrnos[0])];
    if (f & 0x40) run->injected.short_len = in.byte() % 8;
  }
}

void run_on_board(Entry entry, const BoardRun& run) {
  if (!g_in_scratch) abort();
  tav::reset_process_state();
  // Its threads copy a megabyte to and fro with no virtual time passing, so a
  // Ctrl-C would never come: two rounds, as the suite runs it.
  tav::set_spi_switch_rounds(2);
  auto board = sim::make_default_board();
  board->set_console(run.console);
  sim::set_board_variant(*board, run.variant);
  if (run.prepare) run.prepare(*board);
  if (run.fault) board->fail(run.injected);
  // An operator stops what runs until stopped: Ctrl-C, again, then a kill,
  // at virtual times no item needs to finish in.
  uint64_t now = board->clock().now_ns();
  board->clock().signal_at(now + 300 * kSecond, SIGINT);
  board->clock().signal_at(now + 400 * kSecond, SIGINT);
  board->clock().signal_at(now + 500 * kSecond, SIGKILL);
  sim::install(board.get());
  std::vector<std::string> copy = run.words;
  std::vector<char*> argv;
  for (auto& w : copy) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  try {
    entry(static_cast<int>(copy.size()), argv.data());
  } catch (const sim::ProcessExit&) {
  } catch (const sim::Stuck&) {
  }
  fflush(stdout);
  tav::reset_process_state();
  board.reset();
  sim::install(nullptr);
}

}  // namespace fuzz
