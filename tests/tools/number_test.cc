#include "tools/number.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct ParseCase {
  const char* text;
  int rc;
  uint64_t value;
};

TEST(StrToNumber, accepts_and_refuses_as_documented) {
  const ParseCase cases[] = {
      {"0x80040000", 0, 0x80040000},
      {"0X1f", 0, 31},
      {"0xFFFFFFFF", 0, 0xFFFFFFFF},
      {"0x0000000012", 0, 0x12},        // leading zeros are free
      {"0x100000000", -1, 0x10000000},  // ninth significant digit
      {"0xg", -1, 0},
      {"0x12g4", -1, 0x12},  // value reached so far is kept
      {"4294967295", 0, 4294967295u},
      {"4294967296", -1, 429496729},
      {"4294967300", -1, 429496730},
      {"42949672950", -1, 4294967295u},
      {"0", 0, 0},
      {"0123", 0, 123},  // never octal
      {"", 0, 0},
      {"-1", -1, 0},
      {" 1", -1, 0},
      {"12k", -1, 12},
      {"+5", -1, 0},
      {"0x", -1, 0xDEAD},  // a bare prefix leaves the result alone
      {"0X", -1, 0xDEAD},
  };
  for (const auto& c : cases) {
    uint64_t v = 0xDEAD;
    EXPECT_EQ(tav::str_to_number(c.text, &v), c.rc) << c.text;
    EXPECT_EQ(v, c.value) << c.text;
  }
}

}  // namespace
