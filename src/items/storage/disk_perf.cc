#include "items/storage/disk_perf.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/block.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr size_t kStackSize = 0x100000;
constexpr size_t kBufferSize = 0xA00000;
constexpr size_t kBufferAlign = 4096;
constexpr uint64_t kSmallestStart = 0xFFFFFFFFFF;
constexpr uint64_t kNoSpeed = ~uint64_t{0};
constexpr uint64_t kMicro = 1000000;
constexpr int kCpus = 4;
constexpr int kPriority = 80;
constexpr uint64_t kBadRangeGB = 22;

// One run's state, shared by the controller and its threads. Only the
// semaphores order the threads; the counters and sums are atomics merely so
// that their unlocked updates are not data races.
struct RunState {
  DiskPerfCmd cmd;
  std::atomic<int32_t> readers{0};
  std::atomic<int32_t> writers{0};
  sem_t read_done;
  sem_t write_done;
  std::atomic<uint64_t> read_int{0};
  std::atomic<uint64_t> read_micro{0};
  std::atomic<uint64_t> write_int{0};
  std::atomic<uint64_t> write_micro{0};

  // Each run starts from nothing: no count or sum is carried over from an
  // earlier run in the same process.
  void start() {
    readers = 0;
    writers = 0;
    read_int = 0;
    read_micro = 0;
    write_int = 0;
    write_micro = 0;
    sem_init(&read_done, 0, 0);
    sem_init(&write_done, 0, 0);
    if (cmd.read_threads == 0) sem_post(&read_done);
    if (cmd.write_threads == 0) sem_post(&write_done);
  }
};
RunState g_run;

void usage() {
  puts("Please use the tool like this:");
  printf("Cmd path B(IO)/D(IO) read_threads write_threadsblock_size(K/M) block_count(K/M)\n");
  printf("Sample: cmd /dev/sda B 1 0 1M 1K\n");
}

uint64_t parse_size(const char* text) {
  char* end = nullptr;
  uint64_t v = strtoull(text, &end, 10);
  int suffix = *end & ~0x20;
  if (suffix == 'K')
    v <<= 10;
  else if (suffix == 'M')
    v <<= 20;
  return v;
}

// Wall-clock microseconds between two readings, as seconds and microseconds.
struct Stamp {
  long sec;
  long usec;
};

Stamp stamp() {
  struct timespec ts = {0, 0};
  sys::clock_gettime(CLOCK_REALTIME, &ts);
  return Stamp{static_cast<long>(ts.tv_sec), ts.tv_nsec / 1000};
}

uint64_t micros_between(const Stamp& a, const Stamp& b) {
  return static_cast<uint64_t>((b.sec - a.sec) * 1000000L + (b.usec - a.usec));
}

void wait_for(sem_t* sem) {
  while (sem_wait(sem) != 0 && errno == EINTR) {
  }
}

struct Side {
  bool writing;
  std::atomic<int32_t>& counter;
  sem_t& done;
  std::atomic<uint64_t>& sum_int;
  std::atomic<uint64_t>& sum_micro;
};

// Decrements the running count; the last thread out tells the controller.
void leave(const Side& side) {
  if (side.counter.fetch_sub(1) == 1) sem_post(&side.done);
}

// Pins the calling thread to a CPU by its index, at real-time priority.
void bind_to_cpu(int32_t index) {
  int cpu = index % kCpus;
  cpu_set_t mask;
  CPU_ZERO(&mask);
  CPU_SET(cpu, &mask);
  if (sys::sched_setaffinity(0, sizeof mask, &mask) < 0) {
    printf("Combine process to cpu%d failed.\n", cpu);
    return;
  }
  sys::sched_getaffinity(0, sizeof mask, &mask);
  struct sched_param param;
  memset(&param, 0, sizeof param);
  param.sched_priority = kPriority;
  sys::sched_setscheduler(0, SCHED_RR, &param);
}

// Positions fd at the side's region: readers from 0, writers half a range on.
bool seek_region(const Side& side, int32_t index, int fd) {
  const DiskPerfCmd& cmd = g_run.cmd;
  long long offset_gb;
  if (side.writing) {
    offset_gb = static_cast<long long>(cmd.range_GB / 2 + static_cast<uint64_t>(index) * cmd.range_GB);
    printf("\033[0;31m[Write thread %3ld]\033[0m: Write_offset = %6lldGB\n", static_cast<long>(index), offset_gb);
  } else {
    offset_gb = static_cast<long long>(static_cast<uint64_t>(index) * cmd.range_GB);
    printf("\033[0;32m[Read thread  %3ld]\033[0m: Read_offset  = %6lldGB\n", static_cast<long>(index), offset_gb);
  }
  if (sys::lseek(fd, static_cast<off_t>(static_cast<uint64_t>(offset_gb) << 30), SEEK_SET) >= 0) return true;
  perror(side.writing ? "lseek64 ERROR!!!! " : "lseek64 ERROR! ");
  return false;
}

// Times of single transfers, in microseconds.
struct Timing {
  uint64_t total = 0;
  uint64_t largest = 0;
  uint64_t smallest = kSmallestStart;
};

// Every block of the run, timed; false after a failed or short transfer.
bool time_blocks(const Side& side, int fd, void* buf, Timing* t) {
  const DiskPerfCmd& cmd = g_run.cmd;
  for (uint64_t i = 0; i < cmd.block_count; ++i) {
    Stamp before = stamp();
    ssize_t done = side.writing ? sys::write(fd, buf, cmd.block_size) : sys::read(fd, buf, cmd.block_size);
    Stamp after = stamp();
    uint64_t us = micros_between(before, after);
    t->total += us;
    t->largest = std::max(t->largest, us);
    t->smallest = std::min(t->smallest, us);
    if (done < 0) {
      puts(side.writing ? "write error" : "read error");
      return false;
    }
    if (static_cast<uint64_t>(done) != cmd.block_size) {
      puts(side.writing ? "write_size not equal to cmd->block_size " : "read_size not equal to cmd->block_size ");
      return false;
    }
  }
  return true;
}

// The thread's speeds, added to its side's sums.
void report_side(const Side& side, int32_t index, const Timing& t) {
  const DiskPerfCmd& cmd = g_run.cmd;
  uint64_t total_size = cmd.block_count * cmd.block_size;
  uint64_t avg_int = disk_speed_integer(total_size, t.total);
  printf("total_size = %llu\n", static_cast<unsigned long long>(total_size));
  uint64_t avg_micro = disk_speed_micro(total_size, t.total);
  uint64_t min_int = disk_speed_integer(cmd.block_size, t.largest);
  uint64_t min_micro = disk_speed_micro(cmd.block_size, t.largest);
  uint64_t max_int = disk_speed_integer(cmd.block_size, t.smallest);
  uint64_t max_micro = disk_speed_micro(cmd.block_size, t.smallest);
  side.sum_int += avg_int;
  side.sum_micro += avg_micro;
  const char* format;
  if (side.writing) {
    printf(" r_avg_speed=%llu.%06lluM/s\n\n", static_cast<unsigned long long>(g_run.read_int.load()),
           static_cast<unsigned long long>(g_run.read_micro.load()));
    format =
        "\033[0;31m[Write thread %3ld] Complete.\n\033[0m Min_speed=%llu.%06lluM/s, \n Max_speed=%llu.%06lluM/s,\n"
        " Avg_speed=%llu.%06lluM/s\n\n";
  } else {
    format =
        "\033[0;32m[Read thread %3ld] Complete.\n\033[0m Min_speed=%llu.%06lluM/s, \n Max_speed=%llu.%06lluM/s,\n"
        " Avg_speed=%llu.%06lluM/s\n\n";
  }
  printf(format, static_cast<long>(index), static_cast<unsigned long long>(min_int),
         static_cast<unsigned long long>(min_micro), static_cast<unsigned long long>(max_int),
         static_cast<unsigned long long>(max_micro), static_cast<unsigned long long>(avg_int),
         static_cast<unsigned long long>(avg_micro));
}

void* run_side(const Side& side) {
  const DiskPerfCmd& cmd = g_run.cmd;
  int32_t index = side.counter.fetch_add(1);
  bind_to_cpu(index);
  int fd = sys::open(cmd.path, cmd.direct ? (O_RDWR | O_DIRECT) : O_RDWR);
  if (fd < 0) {
    printf("open %s ERROR!\n", cmd.path);
    return reinterpret_cast<void*>(-1L);
  }
  // Larger blocks than the usual buffer get a buffer of their own size
  // rather than a transfer past its end.
  size_t buffer_size = std::max<uint64_t>(kBufferSize, cmd.block_size);
  void* buf = nullptr;
  bool ready = seek_region(side, index, fd);
  if (ready && posix_memalign(&buf, kBufferAlign, buffer_size) != 0) {
    puts("Malloc temp buffer ERROR!");
    ready = false;
  }
  if (!ready) {
    sys::close(fd);
    // KEPT: only a writer reports itself done here; a reader that cannot
    // start leaves the controller waiting.
    if (!side.writing) return reinterpret_cast<void*>(-1L);
    leave(side);
    return reinterpret_cast<void*>(-5L);
  }
  // What the writers write does not matter, but it must not be uninitialised.
  memset(buf, 0, buffer_size);
  Timing t;
  if (time_blocks(side, fd, buf, &t)) report_side(side, index, t);
  sys::close(fd);
  free(buf);
  leave(side);
  return nullptr;
}

void* reader(void*) { return run_side(Side{false, g_run.readers, g_run.read_done, g_run.read_int, g_run.read_micro}); }
void* writer(void*) {
  return run_side(Side{true, g_run.writers, g_run.write_done, g_run.write_int, g_run.write_micro});
}

void print_sum(const char* format, uint64_t integer, uint64_t micro) {
  integer += micro / kMicro;
  micro %= kMicro;
  printf(format, static_cast<unsigned long long>(integer), static_cast<unsigned long long>(micro));
}

}  // namespace

uint64_t disk_speed_integer(uint64_t bytes, uint64_t usec) {
  if (usec == 0) {
    printf("%s, %d, ERROR !\n", "get_integer", 226);
    return kNoSpeed;
  }
  return (bytes * kMicro / usec) >> 20;
}

uint64_t disk_speed_micro(uint64_t bytes, uint64_t usec) {
  if (usec == 0) {
    printf("%s, %d, ERROR !\n", "get_demical", 237);
    return kNoSpeed;
  }
  uint64_t scaled = bytes * kMicro;
  uint64_t unit = usec << 20;
  // Once usec << 20 wraps to 0, the board's divide yields 0 and so the
  // remainder is the dividend; mirror that instead of dividing by zero.
  uint64_t rest = unit != 0 ? scaled % unit : scaled;
  return (rest * kMicro / usec) >> 20;
}

namespace {

// The words after the item's name; false after the usage has been shown.
bool parse_command(int argc, char** argv, DiskPerfCmd* cmd) {
  if (argc < 7 || argv == nullptr) {
    usage();
    return false;
  }
  memset(cmd, 0, sizeof *cmd);
  snprintf(cmd->path, sizeof cmd->path, "%s", argv[1]);
  int mode = argv[2][0] & ~0x20;
  if (mode == 'D') {
    cmd->direct = 1;
  } else if (mode != 'B') {
    // KEPT: a bad mode shows the usage twice.
    usage();
    usage();
    return false;
  }
  cmd->read_threads = static_cast<uint16_t>(strtol(argv[3], nullptr, 10));
  cmd->write_threads = static_cast<uint16_t>(strtol(argv[4], nullptr, 10));
  cmd->block_size = parse_size(argv[5]);
  cmd->block_count = parse_size(argv[6]);
  printf("mode                   = %s\n", cmd->direct ? "DIO" : "BIO");
  printf("read_threads           = %d\n", cmd->read_threads);
  printf("write_threads          = %d\n", cmd->write_threads);
  printf("block_size             = %ld\n", static_cast<long>(cmd->block_size));
  printf("block_count            = %ld\n", static_cast<long>(cmd->block_count));
  return true;
}

// The device's size in bytes into *bytes: 0, or the item's result when the
// device cannot be opened or sized.
int read_capacity(const DiskPerfCmd& cmd, uint64_t* bytes) {
  int fd = sys::open(cmd.path, O_RDONLY);
  if (fd < 0) {
    printf("打开硬盘[%s]容量失败!\n", cmd.path);
    return fd;
  }
  // KEPT: descriptor 0 counts as opened but is never asked or closed.
  if (fd >= 1) {
    unsigned long sectors = 0;
    if (sys::ioctl(fd, BLKGETSIZE, &sectors) >= 0) {
      *bytes = static_cast<uint64_t>(sectors) * kBlkSectorSize;
    } else if (sys::ioctl(fd, BLKGETSIZE64, bytes) < 0) {
      printf("读取硬盘[%s]容量失败!\n", cmd.path);
      sys::close(fd);
      return -EINVAL;
    }
    sys::close(fd);
  }
  return 0;
}

// Starts the readers and writers in turn, until all are started or a side
// cannot start any more.
void start_threads(const DiskPerfCmd& cmd) {
  // One stack size for every thread, and nobody joins them: detached, they
  // leave nothing behind. The size is handed over, not read back from an
  // attribute object, so there is no read-back failure left to report.
  const sys::ThreadOptions options{kStackSize, true};
  int readers = cmd.read_threads;
  int writers = cmd.write_threads;
  while (readers > 0 || writers > 0) {
    pthread_t id;
    if (readers > 0) {
      if (sys::thread_create(&id, reader, nullptr, options) != 0) {
        puts("Create read thread ERROR!");
        readers = 0;
        if (writers == 0) break;
      } else {
        --readers;
      }
    }
    if (writers > 0) {
      int rc = sys::thread_create(&id, writer, nullptr, options);
      if (rc != 0) {
        errno = rc;
        perror("Create write thread error!");
        writers = 0;
        if (readers == 0) break;
      } else {
        --writers;
      }
    }
  }
}

}  // namespace

// item: disk_perf
int disk_perf(int argc, char** argv) {
  puts("硬盘读写性能测试开始");
  DiskPerfCmd& cmd = g_run.cmd;
  if (!parse_command(argc, argv, &cmd)) return -1;
  g_run.start();
  uint64_t bytes = 0;
  if (int rc = read_capacity(cmd, &bytes); rc != 0) return rc;
  int32_t capacity_mb = static_cast<int32_t>(bytes >> 20);
  printf("capacity of %s = %dMB\n", cmd.path, capacity_mb);
  int32_t whole_gb = capacity_mb >> 10;
  int most = std::max(cmd.read_threads, cmd.write_threads);
  if (whole_gb == 0 || most == 0) {
    puts("Invalid argument ");
    cmd.range_GB = kBadRangeGB;
  } else {
    cmd.range_GB = static_cast<uint64_t>(whole_gb / most);
  }
  printf("range_GB               = %ld\n\n", static_cast<long>(cmd.range_GB));
  start_threads(cmd);
  wait_for(&g_run.write_done);
  wait_for(&g_run.read_done);
  if (cmd.read_threads > 0)
    print_sum("\033[0;34mRead_Avg_speed(sum)  = %llu.%06lluM/s\033[0m\n\n", g_run.read_int, g_run.read_micro);
  if (cmd.write_threads > 0)
    print_sum("\033[0;34mWrite_Avg_speed(sum) = %llu.%06lluM/s\033[0m\n\n", g_run.write_int, g_run.write_micro);
  puts("硬盘读写性能测试完毕");
  return 0;
}

}  // namespace tav
