// The memory tools through their entry points on the simulated board.
#include <gtest/gtest.h>

#include "harness.h"
#include "tools/front.h"
#include "tools/tools.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kBase = 0x80040000;

class MemoryTools : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    // Recognisable contents: byte i of the region holds i.
    std::string bytes(0x400, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i);
    board().mem().write(kBase, bytes.data(), bytes.size());
  }
  std::string mem(uint64_t phys, size_t n) {
    std::string s(n, '\0');
    board().mem().read(phys, &s[0], n);
    return s;
  }
};

std::string report(const char* reason, const char* path, int line) {
  return std::string(reason) + " exit:0XFFFFFFFFFFFFFFFF.{" + path + ":" + std::to_string(line) + "}\n[END]\n";
}

struct EndCase {
  tavtest::Entry entry;
  std::vector<std::string> words;
  std::string out;
  int status;
};

TEST_F(MemoryTools, argument_errors_end_the_process) {
  const std::string himc_usage =
      " clear(set) memory. \nusage: himc <address> <length> [value]. \nAddress: Phy address. 0x80040000 \n"
      "Length: the length to set \nValue: default 0 \nsample: himc 0x80040000 100 1\n"
      "Clear memory from 0x80040000, to 0x80040064\n";
  const EndCase cases[] = {
      {tav::himc, {"himc"}, himc_usage + report("", "tools/mc", 45), 255},
      {tav::himc, {"himc", "0x80040000"}, himc_usage + report("", "tools/mc", 45), 255},
      {tav::himc, {"himc", "0x80040000", "3"}, "length 0X3 is invalid.must 2 byte aligned\n", 1},
      {tav::himc, {"himc", "0x80040000", "0"}, "length is invalid.\n", 1},
      {tav::himc, {"himc", "0x80040000", "1k"}, "length is invalid.\n", 1},
      {tav::himc, {"himc", "0x80040000", "4", "zz"}, "value (null) is invalid.\n", 1},
      {tav::himd,
       {"/usr/bin/himd"},
       "usage: /usr/bin/himd <address>. sample: /usr/bin/himd 0x80040000\n" + report("", "tools/md", 90),
       255},
      {tav::himd_l,
       {"himd.l"},
       "usage: himd.l <address> [length]. sample: himd.l 0x80040000 0x100\n" + report("", "tools/md", 33),
       255},
      {tav::himdb,
       {"himdb", "0x80040000"},
       "usage: himdb <address> <len> [filename]. sample: himdb 0x80040000 \n" + report("", "tools/md", 165),
       255},
      {tav::himm,
       {"himm"},
       "usage: himm <address> <Value>. sample: himm 0x80040000 0x123\n" + report("", "tools/mm", 35),
       255},
      {tav::himd,
       {"himd", "0x80040000", "0"},
       "====dump memory 0X80040000====\nmemmap():size can't be zero!\n" + report("Memory Map error.", "tools/md", 123),
       255},
  };
  for (const auto& c : cases) {
    Outcome r = run(c.entry, c.words);
    EXPECT_TRUE(r.exited) << c.words[0];
    EXPECT_EQ(r.status, c.status) << c.words[0];
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, "");
  }
}

TEST_F(MemoryTools, himc_fills_halfwords_and_shows_the_range) {
  Outcome r = run(tav::himc, {"himc", "0x80040000", "100", "1"});
  ASSERT_FALSE(r.exited);
  EXPECT_EQ(r.result, 0);
  std::string want = "====clear memory 0X80040000, length 100====\n";
  for (int row = 0; row < 7; ++row) {
    char head[16];
    snprintf(head, sizeof head, "%05x: ", row * 16);
    want += head;
    int n = row < 6 ? 16 : 4;
    for (int i = 0; i < 16; ++i) want += i < n ? (i % 2 == 0 ? " 01" : " 00") : "   ";
    want += "  |";
    for (int i = 0; i < 16; ++i) want += i < n ? "." : " ";
    want += "|\n";
  }
  EXPECT_EQ(r.out, want);
  std::string expect_mem;
  for (int i = 0; i < 50; ++i) expect_mem += std::string("\x01\x00", 2);
  EXPECT_EQ(mem(kBase, 100), expect_mem);
  EXPECT_EQ(mem(kBase + 100, 1), std::string(1, '\x64'));  // untouched past the range
}

TEST_F(MemoryTools, himd_shows_bytes_with_length_fallbacks) {
  struct Case {
    std::vector<std::string> words;
    size_t rows;
  } cases[] = {
      {{"himd", "0x80040000"}, 16},
      {{"himd", "0x80040000", "0x20"}, 2},
      {{"himd", "0x80040000", "bad"}, 16},
      {{"himd", "0x80040000", "0x20", "extra"}, 16},
  };
  for (const auto& c : cases) {
    Outcome r = run(tav::himd, c.words);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), static_cast<long>(c.rows + 1));
  }
  Outcome r = run(tav::himd, {"himd", "0x80040041", "17"});
  EXPECT_EQ(r.out,
            "====dump memory 0X80040041====\n"
            "00000:  41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50  |ABCDEFGHIJKLMNOP|\n"
            "00010:  51                                               |Q               |\n");
}

TEST_F(MemoryTools, himd_l_shows_whole_rows_of_words) {
  Outcome r = run(tav::himd_l, {"himd.l", "0x80040000", "20"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out,
            "====dump memory 0x80040000====\n"
            "0000:  03020100 07060504 0b0a0908 0f0e0d0c\n"
            "0010:  13121110 17161514 1b1a1918 1f1e1d1c\n");
  // The mapped length covers every word shown.
  auto maps = board().log_of(sim::Call::Mmap);
  ASSERT_FALSE(maps.empty());
  EXPECT_EQ(maps.back().length, 4096u);
}

TEST_F(MemoryTools, himdb_appends_to_the_named_or_derived_file) {
  Outcome r = run(tav::himdb, {"himdb", "0x80040000", "0x100"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "====dump memory:<0X80040000><256> to file:<md_0x80040000-0x100>====\n");
  EXPECT_EQ(tavtest::read_file("md_0x80040000-0x100"), mem(kBase, 256));
  run(tav::himdb, {"himdb", "0x80040000", "0x100"});
  EXPECT_EQ(tavtest::read_file("md_0x80040000-0x100"), mem(kBase, 256) + mem(kBase, 256));

  r = run(tav::himdb, {"himdb", "0x80040010", "junk", "out.bin"});
  EXPECT_EQ(r.out, "====dump memory:<0X80040010><256> to file:<out.bin>====\n");
  EXPECT_EQ(tavtest::read_file("out.bin"), mem(kBase + 16, 256));
}

TEST_F(MemoryTools, himm_writes_the_value_given_on_the_command_line) {
  board().mem().write32(kBase + 8, 0x12345678);
  Outcome r = run(tav::himm, {"himm", "0x80040008", "0xCAFE"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "0x80040008: 0x12345678 --> 0x0000CAFE \n");
  EXPECT_EQ(board().mem().read32(kBase + 8), 0xCAFEu);
  EXPECT_EQ(board().mem().read32(kBase + 12), 0x0F0E0D0Cu);
}

}  // namespace
