#include "station/station.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/verdict_note.h"
#include "runner/runner.h"
#include "station/judge.h"
#include "station/limits.h"
#include "station/record.h"
#include "sys/host.h"

namespace tav {

namespace station {

namespace {

// Standard output is replaced by a stream that writes what the original
// would have written, in the same buffering, and keeps a copy for the record.
struct Tee {
  FILE* original = nullptr;
  std::string copy;
};

struct Session {
  const char* program = "";
  const char* version = "";
  const char* results = nullptr;  // null: no JSON lines
  const char* junit = nullptr;
  bool strict = false;
  std::vector<Limit> limits;
  std::vector<ItemRecord> runs;
  Tee tee;
  // The item running now.
  bool running = false;
  const TestItem* item = nullptr;
  int argc = 0;
  char** argv = nullptr;
  size_t out_from = 0;
  int64_t start_mono = 0;
  ItemRecord current;
  std::unique_ptr<VerdictNotes> notes;
  bool finished = false;
};

Session* g_session = nullptr;

ssize_t tee_write(void* cookie, const char* data, size_t n) {
  auto* tee = static_cast<Tee*>(cookie);
  tee->copy.append(data, n);
  long w = sys::host::write_all(1, data, n);
  return w < 0 ? -1 : static_cast<ssize_t>(w);
}

bool install_tee(Tee* tee) {
  cookie_io_functions_t io = {};
  io.write = tee_write;
  FILE* f = fopencookie(tee, "w", io);
  if (f == nullptr) return false;
  size_t block = sys::host::preferred_block(1);
  setvbuf(f, nullptr, sys::host::is_terminal(1) ? _IOLBF : _IOFBF, block);
  tee->original = stdout;
  stdout = f;
  return true;
}

// What the item printed so far: written out, and still in the buffer.
std::string printed_since(const Session& s) {
  std::string all = s.tee.copy;
  FILE* f = stdout;
  if (f->_IO_write_ptr > f->_IO_write_base) all.append(f->_IO_write_base, f->_IO_write_ptr);
  return s.out_from < all.size() ? all.substr(s.out_from) : std::string();
}

void warn(const char* what, const char* path, int err) {
  fprintf(stderr, "%s: cannot write %s to %s: %s\n", g_session->program, what, path, strerror(err));
}

// One clear line, once, and the records stop.
void put_results(const std::string& line) {
  Session& s = *g_session;
  if (s.results == nullptr) return;
  int err = 0;
  if (strcmp(s.results, "-") == 0) {
    fflush(stderr);
    if (sys::host::write_all(2, line.data(), line.size()) < 0) err = errno;
  } else {
    err = sys::host::append_file(s.results, line.data(), line.size());
  }
  if (err != 0) {
    warn("results", s.results, err);
    s.results = nullptr;
  }
}

void item_done(int result, bool ended_process) {
  Session& s = *g_session;
  if (!s.running) return;
  s.running = false;
  std::string out = printed_since(s);
  RunFacts facts;
  facts.item = s.item->name;
  facts.argc = s.argc;
  facts.argv = s.argv;
  facts.result = result;
  facts.ended_process = ended_process;
  facts.out = out;
  if (s.notes != nullptr) facts.notes = s.notes->lines();
  s.notes.reset();
  Findings f = judge(facts);
  ItemRecord& r = s.current;
  r.verdict = f.verdict;
  r.result = result;
  r.seconds = static_cast<double>(sys::host::monotonic_ns() - s.start_mono) / 1e9;
  r.measurements = f.measurements;
  for (const std::string& line : f.failures) r.failures.push_back(to_utf8(line));
  r.output = to_utf8(out);
  apply_limits(s.limits, &r);
  put_results(json_line(s.program, s.version, r));
  s.runs.push_back(r);
}

class Recorder final : public ItemObserver {
 public:
  void item_starting(const TestItem& item, int argc, char** argv) override {
    Session& s = *g_session;
    s.running = true;
    s.item = &item;
    s.argc = argc;
    s.argv = argv;
    s.current = ItemRecord();
    s.current.item = item.name;
    for (int i = 1; i < argc && argv != nullptr && argv[i] != nullptr; ++i) s.current.args.push_back(to_utf8(argv[i]));
    s.current.start_ns = sys::host::realtime_ns();
    s.start_mono = sys::host::monotonic_ns();
    s.notes.reset();
    s.notes.reset(new VerdictNotes());
    s.out_from = s.tee.copy.size();
    FILE* f = stdout;
    // Bytes still buffered from before belong to no item.
    if (f->_IO_write_ptr > f->_IO_write_base) s.out_from += static_cast<size_t>(f->_IO_write_ptr - f->_IO_write_base);
  }
  void item_finished(const TestItem&, int result) override { item_done(result, false); }
};

Recorder g_recorder;

int worst_status() {
  int worst = 0;
  for (const ItemRecord& r : g_session->runs) worst = std::max(worst, verdict_status(r.verdict));
  return worst;
}

void write_junit() {
  Session& s = *g_session;
  if (s.junit == nullptr) return;
  std::string doc = junit_document(s.program, s.runs);
  if (int err = sys::host::write_file(s.junit, doc.data(), doc.size())) warn("the JUnit report", s.junit, err);
}

// An item that ends the process itself still gets its record.
void at_process_exit() {
  if (g_session == nullptr || g_session->finished) return;
  item_done(0, true);
  g_session->finished = true;
  write_junit();
  if (g_session->strict && !g_session->runs.empty()) {
    fflush(nullptr);
    sys::host::exit_now(worst_status());
  }
}

const char* env(const char* name) {
  const char* v = getenv(name);
  return v != nullptr && *v != '\0' ? v : nullptr;
}

// A path that cannot be written is said once, at the start.
const char* usable(const char* path, const char* what, bool truncate) {
  if (path == nullptr || strcmp(path, "-") == 0) return path;
  int err = truncate ? sys::host::write_file(path, "", 0) : sys::host::append_file(path, "", 0);
  if (err == 0) return path;
  warn(what, path, err);
  return nullptr;
}

}  // namespace

bool start(const char* program, const char* version) {
  const char* results = env(kResultsEnv);
  const char* junit = env(kJunitEnv);
  const char* limits = env(kLimitsEnv);
  const char* strict = env(kStrictExitEnv);
  if (results == nullptr && junit == nullptr && limits == nullptr && strict == nullptr) return true;
  if (g_session != nullptr) return true;  // one session a process
  static Session session;
  g_session = &session;
  session.program = program;
  session.version = version;
  if (limits != nullptr) {
    char* text = nullptr;
    size_t n = 0;
    std::string error;
    if (!sys::host::read_text(limits, &text, &n)) {
      fprintf(stderr, "%s: cannot read limits %s: %s\n", program, limits, strerror(errno));
      return false;
    }
    bool ok = parse_limits(text, &session.limits, &error);
    free(text);
    if (!ok) {
      fprintf(stderr, "%s: %s: %s\n", program, limits, error.c_str());
      return false;
    }
  }
  session.results = usable(results, "results", false);
  session.junit = usable(junit, "the JUnit report", false);
  session.strict = strict != nullptr && strcmp(strict, "1") == 0;
  if (!install_tee(&session.tee)) return true;
  set_item_observer(&g_recorder);
  atexit(at_process_exit);
  return true;
}

int finish(int status) {
  if (g_session == nullptr || g_session->finished) return status;
  item_done(0, true);
  g_session->finished = true;
  write_junit();
  if (g_session->strict && !g_session->runs.empty()) return worst_status();
  return status;
}

}  // namespace station
}  // namespace tav
