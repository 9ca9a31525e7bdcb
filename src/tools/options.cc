#include "tools/options.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tav {

namespace {

bool is_end(const OptionSpec& row) { return row.kind > OPT_RESERVED; }

// '-' and '/' differ only in the bit of value 2.
// KEPT: a path given as an argument is taken as an option.
bool is_option_word(const char* word) { return (static_cast<unsigned char>(word[0]) & ~2u) == '-'; }

}  // namespace

int store_option_value(OptionSpec* row, const char* word) {
  switch (row->kind) {
    case OPT_STRING:
    case OPT_STRING2:
      // Cut to the destination; a row without room keeps nothing.
      if (row->value != nullptr && row->value_size > 0)
        snprintf(static_cast<char*>(row->value), row->value_size, "%s", word);
      break;
    case OPT_CHAR:
      if (row->value != nullptr) *static_cast<char*>(row->value) = word[0];
      break;
    case OPT_INT:
      if (row->value != nullptr) *static_cast<int32_t*>(row->value) = static_cast<int32_t>(strtol(word, nullptr, 10));
      break;
    case OPT_REAL:
      if (row->value != nullptr) *static_cast<float*>(row->value) = static_cast<float>(strtod(word, nullptr));
      break;
    case OPT_END:
      row->set = 0;
      return 0;
    default:  // a flag, the reserved kind, or no kind at all
      row->set = 0;
      return SCAN_VALUE_REFUSED;
  }
  row->set = 1;
  return 0;
}

int scan_options(int argc, char** argv, OptionSpec* table) {
  if (argc < 2) return SCAN_OK;
  OptionSpec* pending = nullptr;
  bool positional_taken = false;
  for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
    const char* word = argv[i];
    if (is_option_word(word)) {
      if (word[1] == '\0') {
        printf("Wrong Args x: %s\n", word);
        return SCAN_BAD_OPTION;
      }
      OptionSpec* found = nullptr;
      for (OptionSpec* row = table; !is_end(*row); ++row)
        if (strcmp(row->name, word + 1) == 0) {
          found = row;
          break;
        }
      if (found == nullptr) {
        printf("Wrong Args y: %s\n", word);
        return SCAN_BAD_OPTION;
      }
      if (found->kind == OPT_FLAG) {
        found->set = 1;
        pending = nullptr;
      } else {
        pending = found;
      }
      continue;
    }
    OptionSpec* target = pending;
    if (target == nullptr) {
      for (OptionSpec* row = table; !is_end(*row); ++row)
        if (row->kind == OPT_STRING) {
          target = row;
          break;
        }
      if (target == nullptr) return SCAN_NO_POSITIONAL;
      if (positional_taken) return SCAN_SECOND_POSITIONAL;
      positional_taken = true;
    }
    int rc = store_option_value(target, word);
    if (rc != 0) return rc;
    pending = nullptr;
  }
  return SCAN_OK;
}

void print_option_usage(const OptionSpec* table) {
  for (const OptionSpec* row = table; !is_end(*row); ++row) {
    printf("\t-%s\t%s\n", row->name, row->help);
    fflush(stdout);
  }
}

const BoardToolEntry* find_board_tool(const char* name, const BoardToolEntry* table) {
  if (name == nullptr || table == nullptr || name[0] == '\0') return nullptr;
  for (const BoardToolEntry* row = table; row->name != nullptr; ++row)
    if (strcmp(row->name, name) == 0) return row;
  return nullptr;
}

void split_words(char* text, int* count, char** words, int max) {
  int n = 0;
  bool in_word = false;
  for (char* p = text; *p != '\0'; ++p) {
    if (*p == ' ') {
      if (in_word) *p = '\0';
      in_word = false;
    } else if (!in_word) {
      in_word = true;
      if (n == max) break;
      words[n++] = p;
    }
  }
  *count = n;
}

int run_command_line(const char* line, const BoardToolEntry* table) {
  if (line == nullptr) {
    puts("null");
    return -1;
  }
  constexpr int kMaxWords = 16;
  char buffer[128];
  snprintf(buffer, sizeof buffer, "%s", line);
  char* words[kMaxWords + 1] = {};
  int count = 0;
  split_words(buffer, &count, words, kMaxWords);
  if (count == 0) return -1;
  const BoardToolEntry* row = find_board_tool(words[0], table);
  if (row == nullptr) return -1;
  if (row->handler == nullptr) return 3;
  return row->handler(count, words);
}

}  // namespace tav
