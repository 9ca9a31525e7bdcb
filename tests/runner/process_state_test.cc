// One call puts the process-wide state back as a new process finds it.
#include "common/process_state.h"

#include <gtest/gtest.h>

#include "harness.h"
#include "runner/runner.h"
#include "tools/memmap.h"

namespace {

class ProcessState : public tavtest::BoardTest {};

TEST_F(ProcessState, reset_forgets_mappings_and_the_repeat_count) {
  tav::set_repeat_count(7);
  std::string out, err;
  tavtest::run_capture([] { tav::memmap(0x80040000, 16); }, &out, &err);
  ASSERT_EQ(tav::memmap_node_count(), 1);
  ASSERT_EQ(board().open_descriptors(), 1u);
  tav::reset_process_state();
  EXPECT_EQ(tav::repeat_count(), 1u);
  EXPECT_EQ(tav::memmap_node_count(), 0);
  EXPECT_EQ(board().open_descriptors(), 0u);
}

}  // namespace
