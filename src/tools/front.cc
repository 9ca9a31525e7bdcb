#include "tools/front.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/basename.h"
#include "common/process_state.h"
#include "sys/sys.h"
#include "tools/tools.h"

namespace tav {

// Rows whose tools are not built yet keep their place with no handler.
const BoardToolEntry kBoardTools[] = {
    {"himc", kListed, himc, "memory clear"},
    {"himd", kListed, himd, "memory display (8bit)"},
    {"himd.l", kListed, himd_l, "memory display (32bit)"},
    {"himm", kListed, himm, "memory modify"},
    {"hivd", kListed, hivd, "video dump"},
    {"himdb", kListed, himdb, "video dump"},
    {"hiddrs", kListed, hiddrs, "ddr statistic"},
    {"hil2s", kListed, hil2s, "l2 cache statistic"},
    {"hiew", kListed, hiew, "extend device write"},
    {"hier", kListed, hier, "extend device read"},
    {"i2c_read", kListed, i2c_read, "i2c device read"},
    {"i2c_write", kListed, i2c_write, "i2c device write"},
    {"i2c_recv", kListed, i2c_recv, "i2c device recv"},
    {"i2c_send", kListed, i2c_send, "i2c device send"},
    {"himii.r", kListed, himii_r, "phy device read"},
    {"himii.w", kListed, himii_w, "phy device write"},
    {nullptr, 0, nullptr, nullptr},
};

namespace {

OptionSpec g_front_options[] = {
    {"h", OPT_FLAG, 0, "\tprint help msg\n", nullptr},
    {"i", OPT_FLAG, 0, "\tinstall board tools\n", nullptr},
    {"u", OPT_FLAG, 0, "\tuninstall board tools\n", nullptr},
    {"END", OPT_END, 0, "\tEND\n", nullptr},
};
OptionSpec& g_help = g_front_options[0];
OptionSpec& g_install = g_front_options[1];
OptionSpec& g_uninstall = g_front_options[2];

void clear_front_options() {
  for (OptionSpec* row = g_front_options; row->kind != OPT_END; ++row) row->set = 0;
}
[[maybe_unused]] const bool g_front_options_resets = register_state_reset(clear_front_options);

void print_help() {
  print_option_usage(g_front_options);
  puts("------------------------------------------------------");
  for (const BoardToolEntry* row = kBoardTools; row->name != nullptr; ++row)
    if (row->enabled == kListed) printf(" %-10s : %s\n", row->name, row->description);
}

void install_links() {
  for (const BoardToolEntry* row = kBoardTools; row->name != nullptr; ++row) {
    int rc = sys::symlink(kToolProgramName, row->name);
    // KEPT: the result (0 or -1) is compared with EEXIST, so an existing
    // name gets the error line, never the "exist" line.
    if (rc == 0)
      printf(" install <%s> ok.\n", row->name);
    else if (rc == EEXIST)
      printf(" <%s> exist.\n", row->name);
    else
      perror(" install error!");
  }
}

void uninstall_links() {
  for (const BoardToolEntry* row = kBoardTools; row->name != nullptr; ++row) {
    char target[120];
    memset(target, 0, sizeof target);
    ssize_t n = sys::readlink(row->name, target, sizeof target);
    if (n < 1) {
      perror(" read link error");
      continue;
    }
    if (n >= static_cast<ssize_t>(sizeof target)) {
      printf(" buffer is too small, %d\n", static_cast<int>(n));
      continue;
    }
    target[n] = '\0';
    // KEPT: said before the link is judged, so a refused link is "ok" too.
    printf(" uninstall <%s>  ok.\n", row->name);
    if (strcmp(target, kToolProgramName) != 0) {
      printf(" %s not link to me(%s)\n", target, kToolProgramName);
      continue;
    }
    if (sys::unlink(row->name) != 0) perror(" uninstall error");
  }
}

void tav_tool_personality(int argc, char** argv) {
  clear_front_options();
  if (scan_options(argc, argv, g_front_options) != SCAN_OK || g_help.set)
    print_help();
  else if (g_install.set)
    install_links();
  else if (g_uninstall.set)
    uninstall_links();
  else
    print_help();
}

}  // namespace

int tav_tool_main(int argc, char** argv) {
  putchar('\n');
  const char* name = base_name(argc > 0 ? argv[0] : nullptr);
  if (strcmp(name, kToolProgramName) == 0) {
    tav_tool_personality(argc, argv);
    fflush(stdout);
    return 0;
  }
  const BoardToolEntry* row = find_board_tool(name, kBoardTools);
  int result = row == nullptr ? -1 : row->handler == nullptr ? 3 : row->handler(argc, argv);
  if (result != 0) puts("\ndo errro");
  puts("[END]");
  fflush(stdout);
  return 0;
}

}  // namespace tav
