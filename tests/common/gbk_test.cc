// GBK bytes (written as escapes, whatever the build's character set) against
// their UTF-8 text.
#include "common/gbk.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(GbkToUtf8, decodes_gb2312_and_replaces_what_is_not_gbk) {
  struct Case {
    std::string gbk;
    std::string utf8;
  } cases[] = {
      {"", u8""},
      {"plain\tASCII\n", u8"plain\tASCII\n"},
      {std::string("a\0b", 3), std::string(u8"a\0b", 3)},
      {"\xD6\xD0\xCE\xC4", u8"中文"},
      {"\xB0\xA1\xF7\xFE", u8"啊齄"},               // first of level 1, last of level 2
      {"\xA1\xA1\xA3\xAC\xA8\xA2", u8"\u3000，á"},  // symbol rows
      {"ok:\xB1\xA8\xBE\xAF!", u8"ok:报警!"},
      {"\x80"
       "A",
       u8"\uFFFD"
       "A"},  // not a lead byte
      {"\xFF\xA1", u8"\uFFFD\uFFFD"},
      {"\xB1"
       "0",
       u8"\uFFFD"
       "0"},  // a trail that is not one is read again
      {"\xB1\x7F", u8"\uFFFD\x7F"},
      {"ab\xB1", u8"ab\uFFFD"},            // cut short
      {"\x81\x40x", u8"\uFFFDx"},          // GBK beyond GB2312: one character
      {"\xAA\xA1\xB0\xA1", u8"\uFFFD啊"},  // an empty row
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tav::gbk_to_utf8(c.gbk.data(), c.gbk.size()), c.utf8) << testing::PrintToString(c.gbk);
  }
}

}  // namespace
