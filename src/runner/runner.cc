#include "runner/runner.h"

#include <getopt.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/basename.h"
#include "common/process_state.h"
#include "sys/sys.h"
#include "tools/options.h"

namespace tav {

namespace {

constexpr size_t kLinkBufferSize = 120;
constexpr useconds_t kMenuPauseUs = 100000;

constexpr uint32_t kDefaultRepeatCount = 1;
uint32_t g_repeat_count = kDefaultRepeatCount;
[[maybe_unused]] const bool g_repeat_count_resets = register_state_reset([] { g_repeat_count = kDefaultRepeatCount; });

// Only printed: the scanning below goes through getopt_long.
// KEPT: the usage names -V while the scanner takes -v, and -c shows -u's text.
const OptionSpec kRunnerOptions[] = {
    {"m", OPT_FLAG, 0, "\t查看可测试选项(菜单式)\n", nullptr},
    {"i", OPT_FLAG, 0, "\t创建软连接\n", nullptr},
    {"u", OPT_FLAG, 0, "\t删除软连接\n", nullptr},
    {"c", OPT_INT, 0, "\t删除软连接\n", nullptr},
    {"V", OPT_FLAG, 0, "\t打印版本信息\n", nullptr},
    {"END", OPT_END, 0, "\t结束测试\n", nullptr},
};

const struct option kLongOptions[] = {
    {"menu", no_argument, nullptr, 'm'},
    {"count", required_argument, nullptr, 'c'},
    {"install", no_argument, nullptr, 'i'},
    {"unstall", no_argument, nullptr, 'u'},
    {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};
// '+': stop at the first word that is not an option, so an item's own
// options reach it untouched.
constexpr const char* kShortOptions = "+mc:iuvh";

void install_links(const char* program, const TestItem* items) {
  for (const TestItem* it = items; it->name != nullptr; ++it) {
    if (it->run == nullptr || it->flag == 0) continue;
    int rc = sys::symlink(program, it->name);
    // KEPT: the result (0 or -1) is compared with EEXIST, so an existing link is a failure.
    if (rc != 0 && rc != EEXIST) printf("install %s fail\n", it->name);
  }
}

void uninstall_links(const char* program, const TestItem* items) {
  for (const TestItem* it = items; it->name != nullptr; ++it) {
    if (it->run == nullptr) continue;
    char target[kLinkBufferSize];
    memset(target, 0, sizeof target);
    ssize_t n = sys::readlink(it->name, target, sizeof target);
    if (n < 1 || n >= static_cast<ssize_t>(sizeof target)) continue;
    if (strcmp(target, program) != 0) continue;
    if (sys::unlink(it->name) != 0) printf("uninstall %s fail\n", it->name);
  }
}

ItemObserver* g_observer = nullptr;

void run_item(const TestItem& it, int argc, char** argv) {
  if (g_observer != nullptr) g_observer->item_starting(it, argc, argv);
  int result = it.run(argc, argv);
  if (g_observer != nullptr) g_observer->item_finished(it, result);
}

void run_all(const TestItem* items) {
  // Index 0 stays out of run-all: tables put the board-resetting item there.
  if (items[0].name == nullptr) return;
  for (const TestItem* it = items + 1; it->name != nullptr; ++it)
    if (it->flag == kRunAll && it->run != nullptr) run_item(*it, 0, nullptr);
}

void menu(const char* program, const TestItem* items) {
  char answer[4] = "0";
  for (;;) {
    int count = 0;
    for (const TestItem* it = items; it->name != nullptr; ++it, ++count) printf("\t[%d] %s\n", count, it->description);
    printf("\t[h] %s\n", "打印帮助信息");
    printf("\t[q] %s\n", "退出测试");
    printf("\n请选择测试选项(默认值=0):");
    fflush(stdout);
    sys::usleep(kMenuPauseUs);
    int got = read_key_line(answer, sizeof answer);
    putchar('\n');
    // KEPT: end of input with nothing typed leaves the menu, so a closed
    // console cannot keep it asking forever.
    if (got < 0 && answer[0] == '\0') return;
    unsigned char first = static_cast<unsigned char>(answer[0]);
    if (first == '\0' || first == '\n' || first == '\r' || !isalnum(first)) continue;
    if (first == 'h') {
      print_runner_usage(program, items);
      return;
    }
    if (first == 'q') {
      puts("退出测试");
      return;
    }
    long choice = strtol(answer, nullptr, 10);
    if (choice == 0) {  // KEPT: any other leading letter also means run-all
      run_all(items);
      return;
    }
    if (choice < count) {
      const TestItem& it = items[choice];
      if (it.run != nullptr) run_item(it, 0, nullptr);
      continue;
    }
    puts("输入有误！请重新选择测试");
  }
}

}  // namespace

void set_item_observer(ItemObserver* observer) { g_observer = observer; }

uint32_t repeat_count() { return g_repeat_count; }
void set_repeat_count(uint32_t n) { g_repeat_count = n; }

int print_version(const char* program) {
  printf("*** %s %s %s %s ***\n", program, kRunnerVersion, __DATE__, __TIME__);
  return 0;
}

void print_runner_usage(const char* program, const TestItem* items) {
  fputs("\r\n", stdout);
  printf("./%s\t--help:\n", program);
  fputs("\r\n", stdout);
  printf("用法:   ./%s [-m][-i][-u][-V][测试项][参数][...][-c测试次数]\n", program);
  fputs("\r\n", stdout);
  puts("选项:");
  fputs("\r\n", stdout);
  print_option_usage(kRunnerOptions);
  fputs("\r\n", stdout);
  puts("测试项:");
  fputs("\r\n", stdout);
  for (const TestItem* it = items; it->name != nullptr; ++it) {
    if (it->flag != kRunAll) continue;
    printf("\t%-20s", it->name);
    fputs("\r\n", stdout);
  }
}

int run_tests(int argc, char** argv, const char* program, const TestItem* items) {
  if (argc < 1 || argv == nullptr || argv[0] == nullptr) return 0;
  if (strncmp(base_name(argv[0]), program, strlen(program)) != 0) return 0;
  // Several runs may share one process.
  optind = 0;
  opterr = 1;
  optopt = 0;
  optarg = nullptr;
  int opt;
  while ((opt = getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr)) != -1) {
    switch (opt) {
      case 'c':
        g_repeat_count = static_cast<uint32_t>(strtoul(optarg, nullptr, 0));
        break;
      case 'h':
        print_runner_usage(program, items);
        break;
      case 'v':
        print_version(program);
        break;
      case 'i':
        install_links(program, items);
        break;
      case 'u':
        uninstall_links(program, items);
        break;
      case 'm': {
        // Items that scan their own options reset the scanner; the runner's
        // scan goes on where it was.
        int resume = optind;
        menu(program, items);
        optind = resume;
        opterr = 1;
        break;
      }
      default:  // the scanner has said what was wrong
        break;
    }
  }
  if (argc < 2 || argv[1][0] == '-') return 0;
  const char* word = argv[1];
  for (const TestItem* it = items; it->name != nullptr; ++it) {
    if (it->run == nullptr) continue;
    if (strncmp(word, it->name, strlen(it->name)) != 0) continue;
    // The item sees its own name as argv[0]; the remaining words follow.
    run_item(*it, argc - 1, argv + 1);
    return 0;
  }
  // KEPT: the name is shown one character short.
  size_t len = strlen(word);
  printf("输入参数 %.*s 有误!\n", static_cast<int>(len > 0 ? len - 1 : 0), word);
  print_runner_usage(program, items);
  return -1;
}

}  // namespace tav
