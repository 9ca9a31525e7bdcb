// Boot environment test (list, rewrite serverip, refuse to empty the rest,
// switch the serial pass-through) and the environment password tool.
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "drivers/env.h"
#include "items/factory_network.h"
#include "items/items.h"
#include "sys/sys.h"

namespace tav {

namespace {

constexpr EnvTransMode kTty1 = {1, 9600, 0x108, 1};
constexpr EnvTransMode kConsole = {0, 115200, 0x108, 0};
constexpr EnvTransMode kTty5 = {1, 115200, 0x108, 3};

constexpr int kDriverFailed = -EIO;
constexpr int kFailed = -1;
constexpr int kGoOn = 1;  // from rewrite(): on to the next variable
constexpr const char* kGetFailed = "设置UBOOT_ENV_GET失败!";
constexpr const char* kTotalFailed = "设置UBOOT_ENV_TOTAL失败!";
constexpr const char* kModeFailed = "设置UBOOT_ENV_TRANS_MODE失败!";
constexpr const char* kCountChanged = "erro :env_tmp != env_total";
constexpr const char* kEmptyBootargs = "erro :strlen(keyvalue.value) <= 0";

// KEPT: the records live as long as the process, as the driver's test had them.
EnvKey g_key;
EnvVariable g_a, g_b, g_c;

void copy_name(EnvVariable& to, const char* name) { strncpy(to.name, name, sizeof to.name); }

void print_variable(unsigned index, const EnvVariable& v) {
  printf("[%02u]: %.*s: %.*s\n", index, static_cast<int>(sizeof v.name), v.name, static_cast<int>(sizeof v.value),
         v.value);
}

// Over the name and its terminator, at most 9 bytes: exact for these names.
bool named(const EnvVariable& v, const char* name) {
  size_t n = std::min<size_t>(strnlen(v.name, sizeof v.name) + 1, 9);
  return strncmp(v.name, name, n) == 0;
}

// Over the shorter value and its terminator.
bool same_value(const EnvVariable& x, const EnvVariable& y) {
  size_t n = std::min(strnlen(x.value, sizeof x.value), strnlen(y.value, sizeof y.value)) + 1;
  return strncmp(x.value, y.value, std::min(n, sizeof x.value)) == 0;
}

// One test run over an open driver; the result as the station reads it.
class EnvTest {
 public:
  explicit EnvTest(int fd) : fd_(fd) {}

  int run() {
    if (sys::ioctl(fd_, UBOOT_ENV_TOTAL, &total_) != 0) return fail("获取环境变量个数并遍历打印失败!", kDriverFailed);
    if (total_ == 0) return fail("erro: env_total = 0", kFailed);
    for (uint32_t i = 0; i < total_; ++i) {
      if (!read_variable(i)) return kDriverFailed;
      print_variable(i, g_a);
    }
    printf("\n");
    fflush(stdout);
    sys::sleep(1);
    puts("test cmd 'UBOOT_ENV_SET':");
    uint32_t count = 0;
    if (sys::ioctl(fd_, UBOOT_ENV_TOTAL, &count) != 0) return fail(kTotalFailed, kDriverFailed);
    if (count != total_) return fail("error: env_tmp != env_total", kDriverFailed);
    for (uint32_t i = 0; i < count; ++i) {
      if (int r = rewrite(i); r != kGoOn) return r;
      uint32_t now = 0;
      if (sys::ioctl(fd_, UBOOT_ENV_TOTAL, &now) != 0) return fail(kTotalFailed, kFailed);
      if (now != total_) return fail(kCountChanged, kFailed);
    }
    printf("\n");
    puts("测试设置透传模式: 'console=ttyS0,115200n8'");
    if (int r = switch_mode(kConsole, kTotalFailed, kModeFailed)) return r;
    if (int r = show_bootargs(kGetFailed)) return r;
    puts("测试设置透传模式: tty5");
    if (int r = switch_mode(kTty5, "设置UBOOT_ENV_TOTAL!", "设置UBOOT_ENV_TRANS_MODE!")) return r;
    return show_bootargs("设置UBOOT_ENV_GET!");
  }

 private:
  static int fail(const char* message, int result) {
    puts(message);
    return result;
  }

  // Name of variable i into A, then its value.
  bool read_variable(uint32_t i) {
    g_key.index = i;
    if (sys::ioctl(fd_, UBOOT_ENV_GET_KEY, &g_key) != 0) {
      puts("设置UBOOT_ENV_GET_KEY失败!");
      return false;
    }
    copy_name(g_a, g_key.name);
    if (sys::ioctl(fd_, UBOOT_ENV_GET, &g_a) != 0) {
      puts(kGetFailed);
      return false;
    }
    return true;
  }

  bool read_back(const char* name) {
    copy_name(g_c, name);
    if (sys::ioctl(fd_, UBOOT_ENV_GET, &g_c) == 0) return true;
    puts(kGetFailed);
    return false;
  }

  // kGoOn, or the test's result when it ends here.
  int rewrite(uint32_t i) {
    if (!read_variable(i)) return kDriverFailed;
    copy_name(g_b, g_a.name);
    bool serverip = named(g_b, "serverip");
    bool bootargs = named(g_b, "bootargs");
    if (serverip) {
      snprintf(g_b.value, sizeof g_b.value, "%s", kFactoryServerIp);
      printf("测试设置serverip: '%s'\n", kFactoryServerIp);
      if (sys::ioctl(fd_, UBOOT_ENV_SET, &g_b) != 0) return fail("设置UBOOT_ENV_SET失败!", kDriverFailed);
    } else if (bootargs) {
      puts("测试设置透传模式: tty1");
      EnvTransMode mode = kTty1;
      if (sys::ioctl(fd_, UBOOT_ENV_TRANS_MODE, &mode) != 0) return fail(kModeFailed, kDriverFailed);
    }
    if (serverip || bootargs) {
      if (!read_back(g_b.name)) return kDriverFailed;
      // A changed serverip is what the test wanted: it ends here, passed.
      if (!same_value(g_a, g_c)) return serverip ? 0 : kDriverFailed;
      print_variable(i, g_c);
      return kGoOn;
    }
    // The driver must refuse to empty any other variable.
    memset(g_b.value, 0, sizeof g_b.value);
    if (sys::ioctl(fd_, UBOOT_ENV_SET, &g_b) == 0) return fail("设置UBOOT_ENV_SET失败!", kDriverFailed);
    if (!read_back(g_b.name)) return kDriverFailed;
    if (!same_value(g_a, g_c)) return fail("相等", kFailed);
    return kGoOn;
  }

  int switch_mode(EnvTransMode mode, const char* total_failed, const char* mode_failed) {
    uint32_t count = 0;
    if (sys::ioctl(fd_, UBOOT_ENV_TOTAL, &count) != 0) return fail(total_failed, kFailed);
    if (sys::ioctl(fd_, UBOOT_ENV_TRANS_MODE, &mode) != 0) return fail(mode_failed, kFailed);
    if (count != total_) return fail(kCountChanged, kFailed);
    return 0;
  }

  int show_bootargs(const char* get_failed) {
    memset(&g_a, 0, sizeof g_a);
    copy_name(g_a, "bootargs");
    if (sys::ioctl(fd_, UBOOT_ENV_GET, &g_a) != 0) return fail(get_failed, kFailed);
    if (g_a.value[0] == '\0') return fail(kEmptyBootargs, kFailed);
    printf("bootargs:%.*s\n", static_cast<int>(sizeof g_a.value), g_a.value);
    return 0;
  }

  int fd_;
  uint32_t total_ = 0;
};

}  // namespace

// item: uboot_env
int uboot_env_test(int, char**) {
  puts("\nUBOOT环境变量模块测试");
  memset(&g_key, 0, sizeof g_key);
  memset(&g_a, 0, sizeof g_a);
  memset(&g_b, 0, sizeof g_b);
  memset(&g_c, 0, sizeof g_c);
  int fd = sys::open(kEnvPath, O_RDWR);
  if (fd < 0) {
    puts("文件打开失败!");
    return -1;
  }
  int result = EnvTest(fd).run();
  if (sys::close(fd) != 0) {
    puts("关闭文件失败!");
    return -1;
  }
  puts("UBOOT环境变量模块测试完毕");
  return result;
}

// item: encrypto_test
int encrypto_test(int argc, char** argv) {
  EnvPassword record = {};
  if (argc < 2 || argv == nullptr || argv[1] == nullptr) {
    puts("delete the passwd");
  } else {
    const char* word = argv[1];
    size_t n = strlen(word);
    // Any leading part of "-h" asks for help, the empty word too.
    if (strncmp("-h", word, n) == 0) {
      puts("\nusage: ./encrypto_test [passwd] ---- delete the passwd if no argument");
      return 0;
    }
    if (n + 1 > sizeof record.text) {
      puts("passwd too large");
      return -EINVAL;
    }
    memcpy(record.text, word, n + 1);
  }
  record.length = static_cast<uint32_t>(strlen(record.text));
  int fd = sys::open(kEnvPath, O_RDWR);
  if (fd < 0) {
    printf("open %s failed errro %d\n", kEnvPath, errno);
    return -ENOENT;
  }
  int ret = sys::ioctl(fd, UBOOT_ENV_PASSWD, &record);
  if (ret < 0) {
    printf("ioctl %s failed, errro %d\n", kEnvPath, errno);
    sys::close(fd);
    return ret;
  }
  puts("successful!");
  sys::close(fd);
  return 0;
}

}  // namespace tav
