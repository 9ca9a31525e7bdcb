// disk_perf on the simulated board: usage, parsing, capacity, per-thread
// reports and sums, failing transfers, and the speed rule.
#include "items/storage/disk_perf.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "drivers/block.h"
#include "harness.h"
#include "items/items.h"
#include "sim/block.h"

namespace {

const char kStart[] = "硬盘读写性能测试开始\n";
const char kEnd[] = "硬盘读写性能测试完毕\n";

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
  std::shared_ptr<sim::BlockDevice> disk_;
};

TEST_F(DiskPerf, one_reader_is_pinned_timed_and_summed) {
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

// On a real block device: a loop device over a sparse 2 GiB file, through the
// Linux backend, where the machine lets the test attach one.
class DiskPerfLoop : public ::testing::Test {
 protected:
  void SetUp() override {
    sys::set_backend(nullptr);
    std::string why = tavtest::loop_unavailable();
    if (!why.empty()) GTEST_SKIP() << why;
    char name[] = "/var/tmp/tavloopXXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    file_ = name;
    ASSERT_EQ(ftruncate(fd, off_t{2} << 30), 0);
    ::close(fd);
    dev_ = tavtest::attach_loop(file_);
    if (dev_.empty()) GTEST_SKIP() << "losetup could not attach " << file_ << " here";
  }
  void TearDown() override {
    if (!dev_.empty()) tavtest::detach_loop(dev_);
    if (!file_.empty()) unlink(file_.c_str());
  }
  std::string file_;
  std::string dev_;
};

TEST_F(DiskPerfLoop, buffered_and_direct_readers_and_writers_on_a_loop_device) {
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
