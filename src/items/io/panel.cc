// Front panel items. The panel test opens the panel's port, starts the
// heartbeat and leaves both running; the key test, later in the same process,
// listens on that port.
#include <fcntl.h>
#include <termios.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "items/io/tavio.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr unsigned kHeartbeatSeconds = 10;
constexpr unsigned kRebootPauseSeconds = 2;
constexpr useconds_t kLedStepUs = 500000;
constexpr long kKeyWaitSeconds = 5;
constexpr size_t kReceiveSize = 512;

constexpr uint8_t kStart = 0xFF;
constexpr uint8_t kTypeKey = 0x20;
constexpr uint8_t kTypeControlPanel = 0x21;
constexpr uint8_t kTypeMainKeyboard = 0x22;
constexpr uint8_t kTypeHeartbeat = 0x30;
constexpr uint8_t kMinFrame = 5;
constexpr uint8_t kMaxFrame = 14;

struct Message {
  uint32_t length;
  uint8_t payload[8];
};

// The panel's protocol table; a message that carries a parameter is copied
// and the copy completed, so every run sends what the first one did.
const Message kMessages[12] = {
    {4, {0x30, 0x01, 0x00, 0x00}}, {4, {0x30, 0x01, 0x01, 0x00}}, {4, {0x30, 0x02, 0x00, 0x00}},
    {4, {0x30, 0x03, 0x00, 0x00}}, {4, {0x30, 0x04, 0x00, 0x00}}, {4, {0x30, 0x05, 0x00, 0x00}},
    {4, {0x30, 0x06, 0x00, 0x00}}, {4, {0x30, 0x07, 0x00, 0x00}}, {4, {0x30, 0x08, 0x00, 0x00}},
    {4, {0x30, 0x09, 0x00, 0x00}}, {4, {0x30, 0x0A, 0x00, 0x00}}, {4, {0x30, 0x0B, 0x00, 0x00}},
};
constexpr size_t kReboot = 1;
constexpr size_t kReady = 9;
const Message& kHeartbeat = kMessages[11];

const char* const kKeyNames[] = {
    "AN0",  "AN1",  "AN2",  "AN3",  "AN4",  "AN5",  "AN6", "AN7", "AN8",   "AN9",   "MENU",  "ESC",  "EDIT",
    "A",    "VOIP", "PLAY", "REC",  "PAN",  "INFO", "#",   "UP",  "DOWN",  "LEFT",  "RIGHT", "AN10", "AN11",
    "AN12", "AN13", "AN14", "AN15", "AN16", "",     "",    "",    "ENTER", "POWER", "F1",    "F2",
};
constexpr unsigned kKeyCount = sizeof kKeyNames / sizeof kKeyNames[0];
static_assert(kKeyCount == 38);

// Shared by the two items and the heartbeat thread for the life of the
// process; the reply count is also read by the SIGINT handler.
struct PanelState {
  std::atomic<int> fd{-1};
  pthread_t heartbeat{};
  std::atomic<uint32_t> replies_low{0};
  std::atomic<uint32_t> replies_high{0};
  std::atomic<int> exit_flag{0};
};
PanelState g_panel;

uint8_t checksum(const uint8_t* p, size_t n) {
  uint8_t sum = 0;
  for (size_t i = 0; i < n; ++i) sum = static_cast<uint8_t>(sum + p[i]);
  return sum;
}

// One write per frame: the heartbeat thread writes to the same port unlocked.
void send_frame(int fd, const uint8_t* payload, size_t n) {
  uint8_t frame[16];
  frame[0] = kStart;
  frame[1] = static_cast<uint8_t>(n + 3);
  memcpy(frame + 2, payload, n);
  frame[n + 2] = checksum(frame, n + 2);
  sys::write(fd, frame, n + 3);
}

void send_message(int fd, const Message& m) { send_frame(fd, m.payload, m.length); }

void send_led(int fd, uint8_t command, uint8_t p1, uint8_t p2) {
  const uint8_t payload[] = {0x30, command, p1, p2};
  send_frame(fd, payload, sizeof payload);
}

void send_command(int fd, int request) {
  switch (request) {
    case 1:
      for (int i = 0; i < 6; ++i) send_led(fd, 0x09, 0x00, 'O');
      break;
    case 2:
      send_led(fd, 0x09, 0x00, 0x04);
      break;
    case 3:
      send_led(fd, 0x05, 0xFF, 0xFF);
      break;
    case 4:
      send_led(fd, 0x05, 0x00, 0x00);
      break;
    case 5:
      for (int i = 0; i < 8; ++i) {
        send_led(fd, 0x05, 0x00, static_cast<uint8_t>(1u << i));
        sys::usleep(kLedStepUs);
      }
      for (int i = 0; i < 8; ++i) {
        send_led(fd, 0x05, static_cast<uint8_t>(1u << i), 0x00);
        sys::usleep(kLedStepUs);
      }
      break;
    default:
      break;
  }
}

int send_heartbeat() {
  send_message(g_panel.fd.load(), kHeartbeat);
  return 1;
}

void* heartbeat_loop(void*) {
  for (;;) {
    sys::sleep(kHeartbeatSeconds);
    send_heartbeat();
  }
  return nullptr;
}

int start_heartbeat() {
  // Never joined: it beats until the process ends.
  if (sys::thread_create(&g_panel.heartbeat, heartbeat_loop, nullptr, sys::ThreadOptions{0, true}) != 0) {
    puts("can not creat HB thread");
    return -1;
  }
  puts("已创建心跳守护进程!");
  return 0;
}

void count_reply() {
  uint32_t low = g_panel.replies_low.load() + 1;
  if (low == 0xFFFFFFFFu) {
    low = 0;
    g_panel.replies_high.fetch_add(1);
  }
  g_panel.replies_low.store(low);
}

void on_interrupt(int sig) {
  printf("receive %u:%u replies\n", g_panel.replies_high.load(), g_panel.replies_low.load());
  // The process dies by the signal next, which would drop buffered output.
  fflush(stdout);
  sys::raise(sig);
  sys::set_handler(sig, SIG_DFL);
}

void on_key(int fd, uint8_t code) {
  if (code >= kKeyCount) {
    puts("unknow key");
    return;
  }
  const char* name = kKeyNames[code];
  if (strcmp(name, "A") == 0 || strcmp(name, "UP") == 0) {
    send_command(fd, 1);
  } else if (strcmp(name, "#") == 0 || strcmp(name, "DOWN") == 0) {
    send_command(fd, 2);
  } else if (strcmp(name, "ENTER") == 0) {
    send_command(fd, 5);
  } else if (strcmp(name, "ESC") == 0) {
    g_panel.exit_flag.store(1);
  }
}

void dispatch(int fd, const uint8_t* frame) {
  switch (frame[2]) {
    case kTypeKey:
      on_key(fd, frame[3]);
      break;
    case kTypeControlPanel:
      puts("control pannel is pressed");
      break;
    case kTypeMainKeyboard:
      puts("main control keyboard is pressed");
      break;
    case kTypeHeartbeat:
      count_reply();
      break;
    default:
      puts("other messages is received");
      break;
  }
}

// As select on the port, but a port the panel test never opened reads as a
// bad descriptor instead of reaching past the descriptor set.
int wait_readable(int fd) {
  if (fd < 0 || fd >= FD_SETSIZE) {
    errno = EBADF;
    return -1;
  }
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(fd, &readable);
  struct timeval wait = {kKeyWaitSeconds, 0};
  return sys::select(fd + 1, &readable, nullptr, nullptr, &wait);
}

// 0 when ESC or five quiet seconds end it, -1 when the port cannot be waited on.
int receive_loop(int fd) {
  if (sys::set_handler(SIGINT, on_interrupt) != 0) {
    puts("signal failed");
    sys::exit(255);
  }
  uint8_t buf[kReceiveSize];
  size_t fill = 0;
  size_t pos = 0;
  for (;;) {
    int ready = wait_readable(fd);
    printf("select return %d \n", ready);
    if (ready < 1) return ready < 0 ? -1 : 0;
    // A full buffer would ask for nothing forever: keep only the unparsed
    // tail, which is shorter than one frame.
    if (fill == kReceiveSize) {
      memmove(buf, buf + pos, fill - pos);
      fill -= pos;
      pos = 0;
      if (fill == kReceiveSize) fill = 0;
    }
    ssize_t n = sys::read(fd, buf + fill, kReceiveSize - fill);
    if (n < 1) {
      puts("read front board failed");
      continue;
    }
    fill += static_cast<size_t>(n);
    while (pos < fill) {
      if ((buf[pos] & 0x7F) == 0) {
        if (++pos == fill) fill = pos = 0;
        continue;
      }
      if (pos + 1 >= fill) break;
      uint8_t length = buf[pos + 1];
      if (length > fill - pos) break;
      if (length < kMinFrame || length > kMaxFrame) {
        ++pos;
        continue;
      }
      dispatch(fd, buf + pos);
      if (pos + length == fill) {
        fill = pos = 0;
      } else {
        pos += length;
      }
      if (g_panel.exit_flag.load() == 1) return 0;
    }
  }
}

// Ends the panel test after /dev/tavio was opened.
int finish(int tavio, int result) {
  sys::close(tavio);
  puts("面板测试完毕");
  return result;
}

int init_failed(int tavio) {
  puts("pannel init failed !");
  return finish(tavio, -EINVAL);
}

}  // namespace

// item: panel
int panel_test(int, char**) {
  puts("面板测试开始");
  int tavio;
  HardwareInfo info;
  switch (open_hardware_info(&tavio, &info)) {
    case RecordRead::kUnopened:
      return -1;
    case RecordRead::kFailed:
      return finish(tavio, -EINVAL);
    case RecordRead::kValid:
      break;
  }
  unsigned variant = board_variant(info);
  const char* port = "/dev/ttyS2";
  if (variant == kVariantPanelTtyS3A || variant == kVariantPanelTtyS3B) {
    port = "/dev/ttyS3";
  } else if (variant == kVariantFullDuplex485) {
    port = "/dev/ttyS4";
  }
  int fd = sys::open(port, O_RDWR | O_NOCTTY | O_NONBLOCK);
  g_panel.fd.store(fd);
  if (fd < 0) {
    printf("open %s failed\n", port);
    return init_failed(tavio);
  }
  // Built from nothing on purpose: whatever the port held before is dropped.
  struct termios t;
  memset(&t, 0, sizeof t);
  cfsetispeed(&t, B9600);
  cfsetospeed(&t, B9600);
  t.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXON | ICRNL | IGNCR | INLCR);
  t.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  t.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB);
  t.c_cflag |= CS8 | CREAD | CLOCAL;
  t.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
  if (sys::tcsetattr(fd, TCSANOW, &t) != 0) {
    puts("tcsetattr failed");
    return init_failed(tavio);
  }
  Message ready = kMessages[kReady];
  ready.payload[3] |= 0x04;
  send_message(fd, ready);
  puts("发送ready信号");
  if (start_heartbeat() != 0) {
    puts("创建面板心跳守护进程失败 !");
    return finish(tavio, -EINVAL);
  }
  Message reboot = kMessages[kReboot];
  reboot.payload[3] = 0x0A;
  for (int i = 1; i <= 3; ++i) {
    sys::sleep(kRebootPauseSeconds);
    send_message(fd, reboot);
    printf("\nsend reboot command %d\n", i);
  }
  return finish(tavio, 0);
}

// item: keys
int keys_test(int, char**) {
  g_panel.exit_flag.store(0);
  puts("面板输入ESC退出测试");
  return receive_loop(g_panel.fd.load());
}

}  // namespace tav
