// RS485 test: a full-duplex loop-back of 26 characters, or six frames sent
// half-duplex to a fixture whose lamp the operator watches.
#include <fcntl.h>
#include <termios.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "items/io/tavio.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr useconds_t kTurnaroundUs = 10000;
constexpr useconds_t kPairGapUs = 1000000;
constexpr useconds_t kEnableSettleUs = 100000;
constexpr long kEchoWaitUs = 500000;
constexpr int kLoopCharacters = 26;
// KEPT: reported as the byte count whatever was sent; stations match the line.
constexpr int kReportedBytes = 32;

constexpr uint8_t kFrames[6][8] = {
    {0xB5, 0x01, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBE}, {0xB5, 0x01, 0x14, 0x00, 0x00, 0x00, 0x00, 0xCA},
    {0xB5, 0x01, 0x09, 0x00, 0x03, 0x00, 0x00, 0xC2}, {0xB5, 0x01, 0x14, 0x00, 0x00, 0x00, 0x00, 0xCA},
    {0xB5, 0x01, 0x08, 0x00, 0x01, 0x00, 0x00, 0xBF}, {0xB5, 0x01, 0x14, 0x00, 0x00, 0x00, 0x00, 0xCA},
};

void enable(unsigned long request, const char* name, int32_t flag) {
  int fd = sys::open(kTavioPath, O_RDWR);
  if (fd < 0) {
    puts("open TAVIO failed");
    return;
  }
  int ret = sys::ioctl(fd, request, &flag);
  if (ret != 0) printf("%s ret:%d errno:%d\n", name, ret, errno);
  if (sys::close(fd) != 0) puts("文件关闭失败!");
}

void receiver(int32_t on) { enable(TAVIO_ENABLE_485_RECEIVE, "enable485Receive", on); }
void driver(int32_t on) { enable(TAVIO_ENABLE_485_SEND, "enable485Send", on); }

int set_speed(int fd) {
  struct termios t;
  if (sys::tcgetattr(fd, &t) != 0) {
    printf("tcgetattr %s\n", strerror(errno));
    return -ECHILD;
  }
  sys::tcflush(fd, TCIOFLUSH);
  cfsetispeed(&t, B9600);
  cfsetospeed(&t, B9600);
  sys::tcsetattr(fd, TCSANOW, &t);
  sys::tcflush(fd, TCIOFLUSH);
  return 0;
}

// The format arguments are taken and ignored: the port always runs 8N1.
int set_raw(int fd, int /*data_bits*/, int /*stop_bits*/, int /*parity*/) {
  struct termios t;
  int ret = sys::tcgetattr(fd, &t);
  if (ret != 0) {
    printf("tcgetattr %s\n", strerror(errno));
    return ret;
  }
  t.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXON | ICRNL | IGNCR | INLCR | INPCK);
  t.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  t.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB);
  t.c_cflag |= CS8;
  t.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
  t.c_cc[VTIME] = 50;
  t.c_cc[VMIN] = 0;
  sys::tcflush(fd, TCIFLUSH);
  sys::tcsetattr(fd, TCSANOW, &t);
  return 0;
}

// 8 when the frame went out whole; -1 otherwise (a failed write leaves the
// driver on).
int send_half_duplex(int fd, const uint8_t* frame) {
  receiver(0);
  driver(1);
  sys::usleep(kTurnaroundUs);
  ssize_t n = sys::write(fd, frame, 8);
  int err = errno;
  sys::fdatasync(fd);
  sys::usleep(kTurnaroundUs);
  if (n < 0) {
    if (err == EINTR) {
      printf("errno = EINTR, error = %s\n", strerror(err));
    } else {
      printf("write error: %s\n", strerror(err));
    }
    return -1;
  }
  driver(0);
  if (n < 8) {
    printf("write RS485 error:[%s]\n", strerror(err));
    return -1;
  }
  return 8;
}

void half_duplex(const char* path) {
  if (path == nullptr) {
    puts("devname is NULL");
    return;
  }
  int fd = sys::open(path, O_RDWR);
  if (fd < 0) {
    printf("设备 %s 不存在\n", path);
    return;
  }
  if (set_speed(fd) != 0) puts("set_speed error!");
  if (set_raw(fd, 8, 1, 'n') != 0) puts("set_parity error!");
  for (int pair = 0; pair < 3; ++pair) {
    if (send_half_duplex(fd, kFrames[2 * pair]) == 8) {
      sys::usleep(kPairGapUs);
      send_half_duplex(fd, kFrames[2 * pair + 1]);
    }
  }
  sys::close(fd);
}

void full_duplex(const char* path) {
  driver(1);
  receiver(1);
  sys::usleep(kEnableSettleUs);
  int fd = sys::open(path, O_RDWR);
  if (fd < 0) {
    printf("%s设备不存在\n", path);
    return;
  }
  set_speed(fd);
  set_raw(fd, 8, 1, 'n');
  char sent = 'a';
  int errors = 0;
  for (int i = 0; i < kLoopCharacters; ++i) {
    sys::usleep(kTurnaroundUs);
    ssize_t n = sys::write(fd, &sent, 1);
    int err = errno;
    sys::usleep(kTurnaroundUs);
    if (n != 1) {
      ++errors;
      printf("RS485发送失败,0x%x,%s\n", static_cast<unsigned>(n), strerror(err));
      continue;
    }
    fd_set readable;
    FD_ZERO(&readable);
    if (fd < FD_SETSIZE) FD_SET(fd, &readable);
    struct timeval wait = {0, kEchoWaitUs};
    int ready = sys::select(fd + 1, &readable, nullptr, nullptr, &wait);
    if (ready < 0) {
      printf("select RS485[%s]\n", strerror(errno));
      putchar('\n');
      break;
    }
    if (ready == 0) {
      ++errors;
      puts("timeout");
      continue;
    }
    if (fd >= FD_SETSIZE || !FD_ISSET(fd, &readable)) {
      ++errors;
      puts("fd not set");
      continue;
    }
    unsigned char received = 0;
    n = sys::read(fd, &received, 1);
    if (n != 1) {
      ++errors;
      printf("RS485接收失败,%s\n", strerror(errno));
    } else if (received != static_cast<unsigned char>(sent)) {
      ++errors;
      printf("%s接收数据错误,send=%c(%02d), recv=%c(%02d)\n", path, sent, sent, received, received);
    }
    sys::usleep(kTurnaroundUs);
    // KEPT: 'z' is never sent; the cycle runs 'a' to 'y'.
    if (++sent == 'z') sent = 'a';
    putchar('#');
    fflush(stdout);
  }
  putchar('\n');
  if (sys::close(fd) != 0) {
    puts("文件关闭失败!");
    return;
  }
  receiver(0);
  driver(0);
  printf("%s发送接收%d字节完成, 错误次数%d", path, kReportedBytes, errors);
  fflush(stderr);
}

int finish(int tavio) {
  sys::close(tavio);
  return 0;
}

}  // namespace

// item: rs485
int rs485_test(int, char**) {
  puts("RS485测试开始");
  int tavio;
  HardwareInfo info;
  switch (open_hardware_info(&tavio, &info)) {
    case RecordRead::kUnopened:
      return -1;
    case RecordRead::kFailed:
      return finish(tavio);
    case RecordRead::kValid:
      break;
  }
  if (((info.serial_attr >> 9) & 0xF) == 0) {
    puts("CPLD中没有485接口");
    return finish(tavio);
  }
  if (((info.serial_attr >> 13) & 0xF) != 0) {
    uint8_t absent = 0;
    if (sys::ioctl(tavio, TAVIO_RS485_DETECT, &absent) != 0) {
      puts("获取TAVIO_RS485_DETECT失败!");
      return finish(tavio);
    }
    if (absent != 0) {
      puts("RS485小板没有接入!");
      return finish(tavio);
    }
    puts("开始RS485半双工测试, 观察小灯是否闪烁:");
    half_duplex("/dev/ttyS1");
    puts("RS485测试完毕");
    return finish(tavio);
  }
  puts("开始RS485全双工测试:");
  full_duplex(board_variant(info) == kVariantFullDuplex485 ? "/dev/ttyS3" : "/dev/ttyS1");
  puts("RS485测试完毕");
  return finish(tavio);
}

}  // namespace tav
