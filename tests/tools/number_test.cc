#include "tools/number.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tools/dump.h"

namespace {

struct ParseCase {
  const char* text;
  int rc;
  uint64_t value;
};

TEST(StrToNumber, AcceptsAndRefusesAsDocumented) {
  const ParseCase cases[] = {
      {"0x80040000", 0, 0x80040000},
      {"0X1f", 0, 31},
      {"0xFFFFFFFF", 0, 0xFFFFFFFF},
      {"0x0000000012", 0, 0x12},       // leading zeros are free
      {"0x100000000", -1, 0x10000000}, // ninth significant digit
      {"0xg", -1, 0},
      {"0x12g4", -1, 0x12},            // value reached so far is kept
      {"4294967295", 0, 4294967295u},
      {"4294967296", -1, 429496729},
      {"4294967300", -1, 429496730},
      {"42949672950", -1, 4294967295u},
      {"0", 0, 0},
      {"0123", 0, 123},                // never octal
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

std::string listing(int (*fn)(FILE*, const volatile void*, unsigned long, unsigned), const void* buf,
                    unsigned long len, unsigned width) {
  char* text = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&text, &size);
  fn(f, buf, len, width);
  fclose(f);
  std::string s(text, size);
  free(text);
  return s;
}

TEST(DumpBytes, PadsTheLastRowAndItsAsciiColumn) {
  unsigned char buf[20];
  for (int i = 0; i < 20; ++i) buf[i] = static_cast<unsigned char>(0x41 + i);
  buf[1] = '\t';
  buf[2] = 0x7F;
  buf[3] = 0x00;
  buf[4] = ' ';
  buf[5] = 0xC8;
  std::string want =
      "00000:  41 09 7f 00 20 c8 47 48 49 4a 4b 4c 4d 4e 4f 50  |A... .GHIJKLMNOP|\n"
      "00010:  51 52 53 54                                      |QRST            |\n";
  EXPECT_EQ(listing(tav::dump_bytes, buf, 20, 16), want);
}

TEST(DumpWords, RoundsUpToWholeRowsOfFourWords) {
  uint32_t words[8] = {0x11223344, 0xAABBCCDD, 0, 0xFFFFFFFF, 5, 6, 7, 8};
  EXPECT_EQ(listing(tav::dump_words, words, 20, 16),
            "0000:  11223344 aabbccdd 00000000 ffffffff\n"
            "0010:  00000005 00000006 00000007 00000008\n");
}

}  // namespace
