// Table-driven scanning of command-line words, the usage printer for such a
// table, and the board-tool table lookup and command-line interpreter.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

enum OptionKind : uint8_t {
  OPT_STRING = 0,  // also the positional row
  OPT_CHAR = 1,
  OPT_STRING2 = 2,
  OPT_INT = 3,
  OPT_REAL = 4,
  OPT_FLAG = 5,
  OPT_RESERVED = 6,
  OPT_END = 7,
};

struct OptionSpec {
  const char* name;
  uint8_t kind;
  uint8_t set;
  const char* help;
  void* value;
  size_t value_size = 0;  // bytes at value for the string kinds, with the terminator
};

using ToolHandler = int (*)(int argc, char** argv);

// BoardToolEntry::enabled: shown in the help listing.
constexpr uint64_t kListed = 1;

struct BoardToolEntry {
  const char* name;
  uint64_t enabled;  // kListed or 0
  ToolHandler handler;
  const char* description;
};

// Scan results.
constexpr int SCAN_OK = 0;
constexpr int SCAN_BAD_OPTION = 2;
constexpr int SCAN_VALUE_REFUSED = 3;
constexpr int SCAN_NO_POSITIONAL = 4;
constexpr int SCAN_SECOND_POSITIONAL = 5;

int scan_options(int argc, char** argv, OptionSpec* table);
int store_option_value(OptionSpec* row, const char* word);
void print_option_usage(const OptionSpec* table);

const BoardToolEntry* find_board_tool(const char* name, const BoardToolEntry* table);
// Splits text in place at blanks; at most max words are kept.
void split_words(char* text, int* count, char** words, int max);
int run_command_line(const char* line, const BoardToolEntry* table);

}  // namespace tav
