// disk_perf on the simulated board: usage, parsing, capacity, per-thread
// reports and sums, failing transfers, and the speed rule.
#include "items/storage/disk_perf.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "harness.h"
#include "items/storage/blkdev.h"
#include "sim/block.h"

namespace {

const char kStart[] = "硬盘读写性能测试开始\n";
const char kEnd[] = "硬盘读写性能测试完毕\n";
const char kUsage[] =
    "Please use the tool like this:\n"
    "Cmd path B(IO)/D(IO) read_threads write_threadsblock_size(K/M) block_count(K/M)\n"
    "Sample: cmd /dev/sda B 1 0 1M 1K\n";
const char kAllOnes[] = "18446744073709551615.18446744073709551615";

std::string header(const char* mode, int readers, int writers, long bs, long count) {
  char buf[512];
  snprintf(buf, sizeof buf,
           "mode                   = %s\nread_threads           = %d\nwrite_threads          = %d\n"
           "block_size             = %ld\nblock_count            = %ld\n",
           mode, readers, writers, bs, count);
  return std::string(kStart) + buf;
}

std::string capacity(const char* path, int mb, long range) {
  char buf[256];
  snprintf(buf, sizeof buf, "capacity of %s = %dMB\n%srange_GB               = %ld\n\n", path, mb,
           range == 22 ? "Invalid argument \n" : "", range);
  return buf;
}

std::string read_offset(int index, long gb) {
  char buf[128];
  snprintf(buf, sizeof buf, "\033[0;32m[Read thread  %3d]\033[0m: Read_offset  = %6ldGB\n", index, gb);
  return buf;
}

std::string write_offset(int index, long gb) {
  char buf[128];
  snprintf(buf, sizeof buf, "\033[0;31m[Write thread %3d]\033[0m: Write_offset = %6ldGB\n", index, gb);
  return buf;
}

std::string complete(bool writing, int index, const std::string& min, const std::string& max, const std::string& avg) {
  char buf[512];
  snprintf(buf, sizeof buf,
           "\033[0;3%cm[%s thread %3d] Complete.\n\033[0m Min_speed=%sM/s, \n Max_speed=%sM/s,\n Avg_speed=%sM/s\n\n",
           writing ? '1' : '2', writing ? "Write" : "Read", index, min.c_str(), max.c_str(), avg.c_str());
  return buf;
}

std::string read_sum(const std::string& v) { return "\033[0;34mRead_Avg_speed(sum)  = " + v + "M/s\033[0m\n\n"; }
std::string write_sum(const std::string& v) { return "\033[0;34mWrite_Avg_speed(sum) = " + v + "M/s\033[0m\n\n"; }

std::vector<std::string> sorted_lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t at = 0;
  while (at < text.size()) {
    size_t nl = text.find('\n', at);
    if (nl == std::string::npos) nl = text.size();
    lines.push_back(text.substr(at, nl - at));
    at = nl + 1;
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

// Threads print in whatever order they run: the controller's lines must be
// exact at both ends, the threads' lines in between in any order.
void expect_threads_between(const std::string& out, const std::string& before, const std::string& threads,
                            const std::string& after) {
  ASSERT_GE(out.size(), before.size() + after.size()) << out;
  EXPECT_EQ(out.substr(0, before.size()), before);
  EXPECT_EQ(out.substr(out.size() - after.size()), after);
  EXPECT_EQ(sorted_lines(out.substr(before.size(), out.size() - before.size() - after.size())), sorted_lines(threads));
}

class DiskPerf : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    disk_ = std::static_pointer_cast<sim::BlockDevice>(board().device("/dev/sdc"));
    ASSERT_NE(disk_, nullptr);
  }
  tavtest::Outcome perf(const std::vector<std::string>& args) {
    std::vector<std::string> words = {"disk_perf"};
    words.insert(words.end(), args.begin(), args.end());
    return run(tav::disk_perf, words);
  }
  size_t sched_calls(const char* what) {
    size_t n = 0;
    for (const auto& r : board().log_of(sim::Call::Sched)) n += r.path == what;
    return n;
  }
  std::shared_ptr<sim::BlockDevice> disk_;
};

TEST_F(DiskPerf, UsageWithTooFewArgumentsOrABadMode) {
  std::string out, err;
  int rc = 0;
  tavtest::run_capture([&] { rc = tav::disk_perf(0, nullptr); }, &out, &err);
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(out, std::string(kStart) + kUsage);

  struct Case {
    std::vector<std::string> args;
    int usages;
  };
  const Case cases[] = {
      {{}, 1},
      {{"/dev/sdc", "B", "1", "0", "1M"}, 1},
      {{"/dev/sdc", "X", "1", "0", "1M", "1"}, 2},
      {{"/dev/sdc", "", "1", "0", "1M", "1"}, 2},
      {{"/dev/sdc", "IO", "1", "0", "1M", "1"}, 2},
  };
  for (const auto& c : cases) {
    auto r = perf(c.args);
    EXPECT_EQ(r.result, -1);
    std::string expected = kStart;
    for (int i = 0; i < c.usages; ++i) expected += kUsage;
    EXPECT_EQ(r.out, expected) << c.args.size();
    EXPECT_TRUE(r.requests.empty());
  }
}

TEST_F(DiskPerf, ModeAndSizeWordsAreParsed) {
  struct Case {
    const char* mode;
    const char* size;
    const char* count;
    const char* shown_mode;
    long bs;
    long n;
  };
  const Case cases[] = {
      {"d", "4K", "1", "DIO", 4096, 1},      {"B", "1M", "1K", "BIO", 1048576, 1024},
      {"b", "10", "3m", "BIO", 10, 3145728}, {"Direct", "4kB", "7", "DIO", 4096, 7},
      {"BIO", "12Q", "5x", "BIO", 12, 5},    {"D", "x", "-", "DIO", 0, 0},
  };
  for (const auto& c : cases) {
    // No threads: the run shows the parsed record and ends.
    auto r = perf({"/dev/sdc", c.mode, "0", "0", c.size, c.count});
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, header(c.shown_mode, 0, 0, c.bs, c.n) + capacity("/dev/sdc", 2097152, 22) + kEnd) << c.mode;
  }
  // Thread counts are kept in 16 bits.
  auto r = perf({"/dev/sdc", "B", "65536", "131072", "1", "1"});
  EXPECT_EQ(r.out, header("BIO", 0, 0, 1, 1) + capacity("/dev/sdc", 2097152, 22) + kEnd);
}

TEST_F(DiskPerf, CapacityFailures) {
  board().fail(sim::Fault{sim::Call::Ioctl, "/dev/sdc", tav::BLKGETSIZE, 0, ENOTTY});
  auto r = perf({"/dev/sdc", "B", "0", "0", "1M", "1"});
  EXPECT_EQ(r.out, header("BIO", 0, 0, 1048576, 1) + capacity("/dev/sdc", 2097152, 22) + kEnd)
      << "the byte count answers when the sector count does not";

  board().fail(sim::Fault{sim::Call::Ioctl, "/dev/sdc", tav::BLKGETSIZE64, 0, ENOTTY});
  r = perf({"/dev/sdc", "B", "1", "0", "1M", "1"});
  EXPECT_EQ(r.result, -22);
  EXPECT_EQ(r.out, header("BIO", 1, 0, 1048576, 1) + "读取硬盘[/dev/sdc]容量失败!\n");
  EXPECT_EQ(r.open_descriptors, 0u);

  r = perf({"/dev/nosuch", "D", "1", "1", "1M", "1"});
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.out, header("DIO", 1, 1, 1048576, 1) + "打开硬盘[/dev/nosuch]容量失败!\n");
}

TEST_F(DiskPerf, OneReaderIsPinnedTimedAndSummed) {
  auto r = perf({"/dev/sdc", "B", "1", "0", "4K", "4"});
  EXPECT_EQ(r.result, 0);
  // 4 KiB at 200 MiB/s is 19.53 us: the calls take 19, 20, 19 and 20 us.
  EXPECT_EQ(r.out, header("BIO", 1, 0, 4096, 4) + capacity("/dev/sdc", 2097152, 2048) + read_offset(0, 0) +
                       "total_size = 16384\n" + complete(false, 0, "195.312500", "205.592105", "200.320512") +
                       read_sum("200.320512") + kEnd);
  EXPECT_EQ(disk_->bytes_read(), 16384u);
  EXPECT_EQ(r.open_descriptors, 0u);
  auto sched = board().log_of(sim::Call::Sched);
  ASSERT_EQ(sched.size(), 3u);
  EXPECT_EQ(sched[0].path, "setaffinity");
  EXPECT_EQ(sched[0].request, 1u);
  EXPECT_EQ(sched[0].length, 128u);
  EXPECT_EQ(sched[2].path, "setscheduler");
  EXPECT_EQ(sched[2].request, static_cast<unsigned long>(SCHED_RR));
  EXPECT_EQ(sched[2].length, 80u);
  auto opens = board().log_of(sim::Call::Open);
  ASSERT_EQ(opens.size(), 2u);
  EXPECT_EQ(opens[0].request, static_cast<unsigned long>(O_RDONLY));
  EXPECT_EQ(opens[1].request, static_cast<unsigned long>(O_RDWR));
}

TEST_F(DiskPerf, TwoReadersTakeTheirOwnRegionsAndCPUs) {
  disk_->hold_first_transfers(2);
  auto r = perf({"/dev/sdc", "D", "2", "0", "1M", "3"});
  EXPECT_EQ(r.result, 0);
  std::string each = "total_size = 3145728\n";
  expect_threads_between(r.out, header("DIO", 2, 0, 1048576, 3) + capacity("/dev/sdc", 2097152, 1024),
                         read_offset(0, 0) + read_offset(1, 1024) + each + each +
                             complete(false, 0, "200.000000", "200.000000", "200.000000") +
                             complete(false, 1, "200.000000", "200.000000", "200.000000"),
                         read_sum("400.000000") + kEnd);
  std::vector<unsigned long> masks, seeks;
  for (const auto& q : board().log_of(sim::Call::Sched))
    if (q.path == "setaffinity") masks.push_back(q.request);
  for (const auto& q : board().log_of(sim::Call::Lseek)) seeks.push_back(q.request);
  std::sort(masks.begin(), masks.end());
  std::sort(seeks.begin(), seeks.end());
  EXPECT_EQ(masks, (std::vector<unsigned long>{1, 2}));
  EXPECT_EQ(seeks, (std::vector<unsigned long>{0, 1024ul << 30}));
  // The capacity is read through a read-only open; the readers open for direct I/O.
  for (const auto& q : board().log_of(sim::Call::Open)) {
    if (q.request != O_RDONLY) {
      EXPECT_EQ(q.request, static_cast<unsigned long>(O_RDWR | O_DIRECT));
    }
  }
  EXPECT_EQ(disk_->bytes_read(), 6u << 20);
}

TEST_F(DiskPerf, WritersStartHalfARegionInAndReportTheReadSumSoFar) {
  disk_->hold_first_transfers(4);
  disk_->set_rate(400u << 20);
  auto r = perf({"/dev/sdc", "B", "2", "2", "1M", "2"});
  EXPECT_EQ(r.result, 0);
  // What the read sum holds when a writer ends depends on who ran first.
  std::string out = r.out;
  for (size_t at = out.find(" r_avg_speed="); at != std::string::npos; at = out.find(" r_avg_speed=", at + 1))
    out.replace(at, out.find('\n', at) - at, " r_avg_speed=?");
  std::string each = "total_size = 2097152\n";
  std::string speed = "400.000000";
  expect_threads_between(out, header("BIO", 2, 2, 1048576, 2) + capacity("/dev/sdc", 2097152, 1024),
                         read_offset(0, 0) + read_offset(1, 1024) + write_offset(0, 512) + write_offset(1, 1536) +
                             each + each + each + each + complete(false, 0, speed, speed, speed) +
                             complete(false, 1, speed, speed, speed) + " r_avg_speed=?\n\n r_avg_speed=?\n\n" +
                             complete(true, 0, speed, speed, speed) + complete(true, 1, speed, speed, speed),
                         read_sum("800.000000") + write_sum("800.000000") + kEnd);
  EXPECT_EQ(disk_->bytes_written(), 4u << 20);
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(DiskPerf, NoBlocksGiveErrorLinesAndAllOnesSpeeds) {
  auto r = perf({"/dev/sdc", "B", "1", "0", "1M", "0"});
  EXPECT_EQ(r.result, 0);
  // The fastest call starts at 0xFFFFFFFFFF us, which is no error but no speed
  // either; the carry into the sum wraps.
  EXPECT_EQ(r.out, header("BIO", 1, 0, 1048576, 0) + capacity("/dev/sdc", 2097152, 2048) + read_offset(0, 0) +
                       "get_integer, 226, ERROR !\ntotal_size = 0\nget_demical, 237, ERROR !\n"
                       "get_integer, 226, ERROR !\nget_demical, 237, ERROR !\n" +
                       complete(false, 0, kAllOnes, "0.000000", kAllOnes) + read_sum("18446744073708.551615") + kEnd);
}

TEST_F(DiskPerf, ASmallDiskGetsTwentyTwoGigabyteRegions) {
  board().add("/dev/sdd", std::make_shared<sim::BlockDevice>(board().clock(), uint64_t{512} << 20));
  auto r = perf({"/dev/sdd", "B", "1", "1", "1M", "2"});
  EXPECT_EQ(r.result, 0);
  // The writer's region starts at 11 GiB, past the end: it gives up, and says so.
  expect_threads_between(r.out, header("BIO", 1, 1, 1048576, 2) + capacity("/dev/sdd", 512, 22),
                         read_offset(0, 0) + write_offset(0, 11) + "total_size = 2097152\n" +
                             complete(false, 0, "200.000000", "200.000000", "200.000000"),
                         read_sum("200.000000") + write_sum("0.000000") + kEnd);
  EXPECT_EQ(r.err, "lseek64 ERROR!!!! : Invalid argument\n");
  EXPECT_EQ(r.open_descriptors, 0u);
}

TEST_F(DiskPerf, FailingOrShortTransfersEndTheThreadWithoutSpeeds) {
  struct Case {
    const char* mode;
    const char* readers;
    const char* writers;
    const char* size;
    sim::Call call;
    int nth;
    long short_len;
    const char* message;
  };
  const Case cases[] = {
      {"B", "1", "0", "1M", sim::Call::Read, 2, -1, "read error\n"},
      {"B", "1", "0", "1M", sim::Call::Read, 3, 4096, "read_size not equal to cmd->block_size \n"},
      {"D", "0", "1", "1M", sim::Call::Write, 1, -1, "write error\n"},
      {"B", "0", "1", "1M", sim::Call::Write, 3, 0, "write_size not equal to cmd->block_size \n"},
      // Direct transfers must be whole sectors.
      {"D", "1", "0", "1000", sim::Call::Any, 0, -1, "read error\n"},
  };
  for (const auto& c : cases) {
    board().clear_faults();
    if (c.call != sim::Call::Any) {
      sim::Fault f;
      f.call = c.call;
      f.path = "/dev/sdc";
      f.nth = c.nth;
      f.short_len = c.short_len;
      board().fail(f);
    }
    auto r = perf({"/dev/sdc", c.mode, c.readers, c.writers, c.size, "4"});
    bool writing = c.writers[0] == '1';
    long bs = strtol(c.size, nullptr, 10) << (c.size[strlen(c.size) - 1] == 'M' ? 20 : 0);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, header(c.mode[0] == 'D' ? "DIO" : "BIO", !writing, writing, bs, 4) +
                         capacity("/dev/sdc", 2097152, 2048) + (writing ? write_offset(0, 1024) : read_offset(0, 0)) +
                         c.message + (writing ? write_sum("0.000000") : read_sum("0.000000")) + kEnd)
        << c.message;
    EXPECT_EQ(r.open_descriptors, 0u);
  }
}

TEST_F(DiskPerf, AThreadThatCannotBePinnedRunsUnpinned) {
  sim::Fault f;
  f.call = sim::Call::Sched;
  f.path = "setaffinity";
  board().fail(f);
  auto r = perf({"/dev/sdc", "B", "1", "0", "1M", "1"});
  EXPECT_EQ(r.out, header("BIO", 1, 0, 1048576, 1) + capacity("/dev/sdc", 2097152, 2048) +
                       "Combine process to cpu0 failed.\n" + read_offset(0, 0) + "total_size = 1048576\n" +
                       complete(false, 0, "200.000000", "200.000000", "200.000000") + read_sum("200.000000") + kEnd);
  EXPECT_EQ(sched_calls("getaffinity") + sched_calls("setscheduler"), 0u);
}

TEST(DiskSpeed, IntegerAndMicroPartsWrapIn64Bits) {
  struct Case {
    uint64_t bytes;
    uint64_t usec;
    uint64_t integer;
    uint64_t micro;
  };
  const Case cases[] = {
      {1 << 20, 5000, 200, 0},
      {1 << 20, 3, 333333, 333333},
      {1 << 20, 1, 1000000, 0},
      {1, 1, 0, 953674},
      {uint64_t{100} << 30, 30000000, 3413, 333333},
      // Beyond about 17.6 s the micro product wraps: 3413.333333 would be exact.
      {uint64_t{200} << 30, 60000000, 3413, 40130},
      // Bytes times a million wraps too: 33554432000.000000 would be exact.
      {uint64_t{1} << 45, 1000, 15962245955, 584000},
      // The time shifted by 20 wraps to zero: no division by zero.
      {uint64_t{1} << 44, uint64_t{1} << 44, 0, 0},
  };
  for (const auto& c : cases) {
    std::string out, err;
    uint64_t integer = 0, micro = 0;
    tavtest::run_capture(
        [&] {
          integer = tav::disk_speed_integer(c.bytes, c.usec);
          micro = tav::disk_speed_micro(c.bytes, c.usec);
        },
        &out, &err);
    EXPECT_EQ(integer, c.integer) << c.bytes << " " << c.usec;
    EXPECT_EQ(micro, c.micro) << c.bytes << " " << c.usec;
    EXPECT_EQ(out, "");
  }
  std::string out, err;
  tavtest::run_capture(
      [&] {
        EXPECT_EQ(tav::disk_speed_integer(1 << 20, 0), ~uint64_t{0});
        EXPECT_EQ(tav::disk_speed_micro(1 << 20, 0), ~uint64_t{0});
      },
      &out, &err);
  EXPECT_EQ(out, "get_integer, 226, ERROR !\nget_demical, 237, ERROR !\n");
}

// On a real block device: a loop device over a sparse 2 GiB file, through the
// Linux backend, where the machine lets the test attach one.
class DiskPerfLoop : public ::testing::Test {
 protected:
  void SetUp() override {
    sys::set_backend(nullptr);
    if (geteuid() != 0) GTEST_SKIP() << "attaching a loop device needs root";
    if (!shell("losetup -f 2>/dev/null").size()) GTEST_SKIP() << "no free loop device (losetup -f)";
    char name[] = "/var/tmp/tavloopXXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    file_ = name;
    ASSERT_EQ(ftruncate(fd, off_t{2} << 30), 0);
    ::close(fd);
    dev_ = shell("losetup -f --show " + file_ + " 2>/dev/null");
    if (dev_.empty()) GTEST_SKIP() << "losetup could not attach " << file_ << " here";
  }
  void TearDown() override {
    if (!dev_.empty()) shell("losetup -d " + dev_);
    if (!file_.empty()) unlink(file_.c_str());
  }
  // First line of what a command prints.
  static std::string shell(const std::string& cmd) {
    std::string line;
    FILE* p = popen(cmd.c_str(), "r");
    if (p == nullptr) return line;
    char buf[256];
    if (fgets(buf, sizeof buf, p) != nullptr) line = buf;
    pclose(p);
    line.erase(line.find_last_not_of("\n") + 1);
    return line;
  }
  std::string file_;
  std::string dev_;
};

TEST_F(DiskPerfLoop, BufferedAndDirectReadersAndWritersOnALoopDevice) {
  for (const char* mode : {"B", "D"}) {
    std::vector<std::string> words = {"disk_perf", dev_, mode, "1", "1", "1M", "8"};
    std::vector<char*> argv;
    for (auto& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    std::string out, err;
    int rc = -100;
    tavtest::run_capture([&] { rc = tav::disk_perf(7, argv.data()); }, &out, &err);
    EXPECT_EQ(rc, 0) << out;
    EXPECT_EQ(err, "");
    std::string before = header(mode[0] == 'D' ? "DIO" : "BIO", 1, 1, 1048576, 8) + capacity(dev_.c_str(), 2048, 2);
    ASSERT_GE(out.size(), before.size());
    EXPECT_EQ(out.substr(0, before.size()), before);
    for (const std::string& part :
         {read_offset(0, 0), write_offset(0, 1),
          std::string("\033[0;32m[Read thread   0] Complete.\n\033[0m Min_speed="),
          std::string("\033[0;31m[Write thread   0] Complete.\n\033[0m Min_speed="), std::string(" r_avg_speed=")})
      EXPECT_NE(out.find(part), std::string::npos) << part << "\n" << out;
    size_t first = out.find("total_size = 8388608\n");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(out.find("total_size = 8388608\n", first + 1), std::string::npos);
    // Both sums are there, in order, and are real speeds.
    size_t r = out.find("\033[0;34mRead_Avg_speed(sum)  = ");
    size_t w = out.find("\033[0;34mWrite_Avg_speed(sum) = ");
    ASSERT_NE(r, std::string::npos);
    ASSERT_NE(w, std::string::npos);
    EXPECT_LT(r, w);
    unsigned long long ri = 0, rm = 0, wi = 0, wm = 0;
    EXPECT_EQ(sscanf(out.c_str() + r, "\033[0;34mRead_Avg_speed(sum)  = %llu.%6lluM/s", &ri, &rm), 2);
    EXPECT_EQ(sscanf(out.c_str() + w, "\033[0;34mWrite_Avg_speed(sum) = %llu.%6lluM/s", &wi, &wm), 2);
    EXPECT_GT(ri * 1000000 + rm, 0u);
    EXPECT_GT(wi * 1000000 + wm, 0u);
    EXPECT_LT(ri, 1000000u);
    std::string after = "M/s\033[0m\n\n" + std::string(kEnd);
    EXPECT_EQ(out.substr(out.size() - after.size()), after);
  }
}

}  // namespace
