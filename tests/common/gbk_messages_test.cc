// Every message in the program's sources, as the compiler encoded it for the
// console, converts back to the text it was written as: the station records
// show the console's own words.
#include <gtest/gtest.h>

#include <string>

#include "common/gbk.h"

#if defined(TAV_MESSAGE_CASES)
namespace {

struct Message {
  const char* console;
  const char* text;
  const char* where;
};

const Message kMessages[] = {
#include "message_cases.inc"
};

TEST(GbkToUtf8, every_message_in_the_sources_reads_back_as_written) {
  EXPECT_GT(sizeof kMessages / sizeof kMessages[0], 200u);  // the table really was filled
  for (const Message& m : kMessages) {
    std::string console(m.console);
    ASSERT_NE(console, m.text) << m.where << ": not compiled to the console's character set";
    EXPECT_EQ(tav::gbk_to_utf8(console.data(), console.size()), m.text) << m.where;
  }
}

}  // namespace
#endif
