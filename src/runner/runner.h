// The factory test runner: options, usage, version banner, the numbered
// menu and running an item by name, over a table of test items.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tav {

// The version the banner prints.
constexpr const char* kRunnerVersion = "1.1.0";

using ItemRun = int (*)(int argc, char** argv);

// TestItem::flag values. Either one gets the item a link.
constexpr uint64_t kRunAll = 1;      // also listed in the usage and run by run-all
constexpr uint64_t kByNameOnly = 2;  // run only when named

struct TestItem {
  const char* name;  // command and link name
  uint64_t flag;     // kRunAll or kByNameOnly
  ItemRun run;       // null: an item not built yet, never linked or run
  const char* description;
};

// Enters the runner; returns 0, or -1 when the first argument names no item.
int run_tests(int argc, char** argv, const char* program, const TestItem* items);
void print_runner_usage(const char* program, const TestItem* items);
int print_version(const char* program);

// Told of every item run (by name, from the menu or by run-all), for records
// kept beside the console.
class ItemObserver {
 public:
  virtual void item_starting(const TestItem& item, int argc, char** argv) = 0;
  virtual void item_finished(const TestItem& item, int result) = 0;

 protected:
  ~ItemObserver() = default;
};
// Null stops the telling.
void set_item_observer(ItemObserver* observer);

// Process-wide repeat count set by -c, for the items.
uint32_t repeat_count();
void set_repeat_count(uint32_t n);

// Reads at most n - 1 keys from standard input without the terminal's line
// editing, echoing them itself. Returns the number read, or -1 when input
// ended (or failed) before a tab or newline closed the answer.
int read_key_line(char* buf, size_t n);

}  // namespace tav
