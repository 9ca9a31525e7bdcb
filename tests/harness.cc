#include "harness.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "common/gbk.h"
#include "common/process_state.h"

namespace tavtest {

namespace {

std::string slurp_fd(int fd) {
  std::string s;
  lseek(fd, 0, SEEK_SET);
  char buf[65536];
  ssize_t n;
  while ((n = ::read(fd, buf, sizeof buf)) > 0) s.append(buf, static_cast<size_t>(n));
  return s;
}

int temp_fd() {
  char name[] = "/tmp/tavcapXXXXXX";
  int fd = mkstemp(name);
  if (fd >= 0) unlink(name);
  return fd;
}

// Bytes from i that a terminal shows as one character in the build's
// character set; 0 where they must be escaped.
size_t character_length(const std::string& s, size_t i) {
  auto byte = [&](size_t k) { return static_cast<unsigned char>(s[k]); };
#if defined(TAV_CHARSET_GBK)
  if (i + 1 >= s.size() || byte(i) < 0x81 || byte(i) == 0xFF) return 0;
  return byte(i + 1) >= 0x40 && byte(i + 1) != 0x7F && byte(i + 1) != 0xFF ? 2 : 0;
#else
  unsigned char b = byte(i);
  size_t n = b >= 0xF0 && b <= 0xF4 ? 4 : b >= 0xE0 && b <= 0xEF ? 3 : b >= 0xC2 && b <= 0xDF ? 2 : 0;
  if (n == 0 || i + n > s.size()) return 0;
  for (size_t k = 1; k < n; ++k)
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
  return n;
#endif
}

#if defined(TAV_CHARSET_GBK)
// Failure messages hold GBK throughout: the expressions as written, the
// values printed and whatever a test streams in. Shown as UTF-8.
class Utf8Printer : public testing::TestEventListener {
 public:
  explicit Utf8Printer(testing::TestEventListener* inner) : inner_(inner) {}
  void OnTestPartResult(const testing::TestPartResult& r) override {
    std::string text = tav::gbk_to_utf8(r.message(), strlen(r.message()));
    inner_->OnTestPartResult(testing::TestPartResult(r.type(), r.file_name(), r.line_number(), text.c_str()));
  }
  void OnTestProgramStart(const testing::UnitTest& u) override { inner_->OnTestProgramStart(u); }
  void OnTestIterationStart(const testing::UnitTest& u, int i) override { inner_->OnTestIterationStart(u, i); }
  void OnEnvironmentsSetUpStart(const testing::UnitTest& u) override { inner_->OnEnvironmentsSetUpStart(u); }
  void OnEnvironmentsSetUpEnd(const testing::UnitTest& u) override { inner_->OnEnvironmentsSetUpEnd(u); }
  void OnTestSuiteStart(const testing::TestSuite& s) override { inner_->OnTestSuiteStart(s); }
  void OnTestCaseStart(const testing::TestCase& s) override { inner_->OnTestCaseStart(s); }
  void OnTestStart(const testing::TestInfo& t) override { inner_->OnTestStart(t); }
  void OnTestDisabled(const testing::TestInfo& t) override { inner_->OnTestDisabled(t); }
  void OnTestEnd(const testing::TestInfo& t) override { inner_->OnTestEnd(t); }
  void OnTestSuiteEnd(const testing::TestSuite& s) override { inner_->OnTestSuiteEnd(s); }
  void OnTestCaseEnd(const testing::TestCase& s) override { inner_->OnTestCaseEnd(s); }
  void OnEnvironmentsTearDownStart(const testing::UnitTest& u) override { inner_->OnEnvironmentsTearDownStart(u); }
  void OnEnvironmentsTearDownEnd(const testing::UnitTest& u) override { inner_->OnEnvironmentsTearDownEnd(u); }
  void OnTestIterationEnd(const testing::UnitTest& u, int i) override { inner_->OnTestIterationEnd(u, i); }
  void OnTestProgramEnd(const testing::UnitTest& u) override { inner_->OnTestProgramEnd(u); }

 private:
  std::unique_ptr<testing::TestEventListener> inner_;
};

// Wraps whichever printer the command line chose, once flags are parsed.
class Utf8Failures : public testing::Environment {
  void SetUp() override {
    auto& listeners = testing::UnitTest::GetInstance()->listeners();
    if (testing::TestEventListener* printer = listeners.Release(listeners.default_result_printer()))
      listeners.Append(new Utf8Printer(printer));
  }
};
const testing::Environment* const kUtf8Failures = testing::AddGlobalTestEnvironment(new Utf8Failures);
#endif

}  // namespace

std::string quoted_text(const std::string& bytes) {
  std::string q = "\"";
  for (size_t i = 0; i < bytes.size();) {
    unsigned char c = static_cast<unsigned char>(bytes[i]);
    size_t n = c >= 0x80 ? character_length(bytes, i) : 0;
    if (n > 0) {
      q.append(bytes, i, n);
      i += n;
      continue;
    }
    ++i;
    switch (c) {
      case '\n':
        q += "\\n";
        break;
      case '\r':
        q += "\\r";
        break;
      case '\t':
        q += "\\t";
        break;
      case '"':
        q += "\\\"";
        break;
      case '\\':
        q += "\\\\";
        break;
      default:
        if (c >= 0x20 && c < 0x7F) {
          q += static_cast<char>(c);
        } else {
          char esc[8];
          snprintf(esc, sizeof esc, "\\x%02X", c);
          q += esc;
        }
    }
  }
  return q + "\"";
}

void PrintTo(const Text& text, std::ostream* os) { *os << quoted_text(text); }

void run_capture(const std::function<void()>& fn, std::string* out, std::string* err) {
  fflush(stdout);
  fflush(stderr);
  int out_fd = temp_fd();
  int err_fd = temp_fd();
  int saved_out = dup(1);
  int saved_err = dup(2);
  dup2(out_fd, 1);
  dup2(err_fd, 2);
  auto restore = [&] {
    fflush(stdout);
    fflush(stderr);
    dup2(saved_out, 1);
    dup2(saved_err, 2);
    close(saved_out);
    close(saved_err);
    *out = slurp_fd(out_fd);
    *err = slurp_fd(err_fd);
    close(out_fd);
    close(err_fd);
  };
  try {
    fn();
  } catch (...) {
    restore();
    throw;
  }
  restore();
}

Outcome run(sim::Board& board, Entry entry, const std::vector<std::string>& words) {
  // Every run is a new process: what the last one kept (the mapping registry
  // and its /dev/mem descriptor, the repeat count, ...) is gone. Kept until
  // now so that a test can look at it.
  tav::reset_process_state();
  Outcome r;
  std::vector<std::string> copy = words;
  std::vector<char*> argv;
  for (auto& w : copy) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  size_t log_start = board.log().size();
  run_capture(
      [&] {
        try {
          r.result = entry(static_cast<int>(words.size()), argv.data());
        } catch (const sim::ProcessExit& e) {
          r.exited = true;
          r.status = e.status;
        }
      },
      &r.out, &r.err);
  auto log = board.log();
  r.requests.assign(log.begin() + static_cast<long>(log_start), log.end());
  r.open_descriptors = board.open_descriptors();
  return r;
}

std::vector<const sim::Request*> requests_of(const Outcome& o, sim::Call call, const std::string& path) {
  std::vector<const sim::Request*> r;
  for (const auto& q : o.requests)
    if (q.call == call && (path.empty() || q.path == path)) r.push_back(&q);
  return r;
}

void BoardTest::SetUp() {
  char cwd[4096];
  old_cwd_ = getcwd(cwd, sizeof cwd) ? cwd : "/";
  char tmpl[] = "/tmp/tavtestXXXXXX";
  dir_ = mkdtemp(tmpl);
  ASSERT_EQ(chdir(dir_.c_str()), 0);
  fresh_board();
}

sim::Board& BoardTest::fresh_board() {
  tav::reset_process_state();
  board_.reset();
  board_ = sim::make_default_board();
  // Tests never read the real standard input: the console starts empty.
  board_->set_console("");
  sim::install(board_.get());
  return *board_;
}

void BoardTest::TearDown() {
  tav::reset_process_state();
  board_.reset();
  sim::install(nullptr);
  ASSERT_EQ(chdir(old_cwd_.c_str()), 0);
  std::string cmd = "rm -rf '" + dir_ + "'";
  ASSERT_EQ(system(cmd.c_str()), 0);
}

std::string read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary);
  f << bytes;
}

TempDir::TempDir() {
  char tmpl[] = "/tmp/tavprocXXXXXX";
  path_ = mkdtemp(tmpl);
}

TempDir::~TempDir() { EXPECT_EQ(system(("rm -rf '" + path_ + "'").c_str()), 0); }

void TempDir::link(const std::string& name, const std::string& target) const {
  EXPECT_EQ(::symlink(target.c_str(), (*this / name).c_str()), 0) << name;
}

int spawn(const TempDir& dir, const std::string& name, const std::vector<std::string>& args,
          const std::vector<std::string>& env, int in, int out, int err) {
  const std::string emulator = TAV_EMULATOR;
  std::vector<std::string> words =
      emulator.empty() ? std::vector<std::string>{name} : std::vector<std::string>{emulator, "-0", name, dir / name};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<std::string> env_words = env;
  // The process tests again with station records on: every byte they assert
  // must stay the same.
  if (getenv("TAVTEST_STATION") != nullptr) {
    static const TempDir records;
    env_words.push_back("TAV_RESULTS=" + (records / "r.jsonl"));
    env_words.push_back("TAV_JUNIT=" + (records / "j.xml"));
  }
  std::vector<char*> argv, envp;
  for (auto& w : words) argv.push_back(&w[0]);
  for (auto& w : env_words) envp.push_back(&w[0]);
  argv.push_back(nullptr);
  envp.push_back(nullptr);
  posix_spawn_file_actions_t fa;
  posix_spawn_file_actions_init(&fa);
  posix_spawn_file_actions_adddup2(&fa, in, 0);
  posix_spawn_file_actions_adddup2(&fa, out, 1);
  posix_spawn_file_actions_adddup2(&fa, err, 2);
  posix_spawn_file_actions_addchdir_np(&fa, dir.path().c_str());
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t all;
  sigfillset(&all);
  posix_spawnattr_setsigdefault(&attr, &all);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF);
  const std::string path = emulator.empty() ? dir / name : emulator;
  pid_t pid = -1;
  int rc = posix_spawn(&pid, path.c_str(), &fa, &attr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&fa);
  posix_spawnattr_destroy(&attr);
  EXPECT_EQ(rc, 0) << path << ": " << strerror(rc);
  return rc == 0 ? pid : -1;
}

int wait_status(int pid) {
  int st = 0;
  if (pid < 0 || waitpid(pid, &st, 0) != pid) return -1;
  return WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
}

Proc run_process(const TempDir& dir, const std::string& name, const std::vector<std::string>& args,
                 const std::vector<std::string>& env, const std::string& input) {
  write_file(dir / ".in", input);
  int in = ::open((dir / ".in").c_str(), O_RDONLY | O_CLOEXEC);
  int out = ::open((dir / ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  int err = ::open((dir / ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  Proc p;
  p.status = wait_status(spawn(dir, name, args, env, in, out, err));
  ::close(in);
  ::close(out);
  ::close(err);
  p.out = read_file(dir / ".out");
  p.err = read_file(dir / ".err");
  return p;
}

Proc shell(const std::string& cmd) {
  Proc p;
  FILE* f = popen(cmd.c_str(), "r");
  if (f == nullptr) return p;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) p.out.append(buf, n);
  int st = pclose(f);
  p.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  return p;
}

std::string first_line(const std::string& cmd) {
  std::string s = shell(cmd).out;
  return s.substr(0, s.find('\n'));
}

std::string loop_unavailable() {
  if (geteuid() != 0) return "attaching a loop device needs root";
  if (first_line("losetup -f 2>/dev/null").empty()) return "no free loop device (losetup -f)";
  return "";
}

std::string attach_loop(const std::string& image) { return first_line("losetup -f --show " + image + " 2>/dev/null"); }

void detach_loop(const std::string& dev) { shell("losetup -d " + dev + " 2>/dev/null"); }

void FactoryDirTest::SetUp() {
  dir_.link("tav_factory", TAV_FACTORY_PATH);
  dir_.link("tav_factory_sim", TAV_FACTORY_SIM_PATH);
}

}  // namespace tavtest
