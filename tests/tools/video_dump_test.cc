// hivd on the simulated board: the planar file it writes from a semi-planar
// frame in physical memory, its echoes and its refusals.
#include <gtest/gtest.h>
#include <unistd.h>

#include "harness.h"
#include "tools/front.h"
#include "tools/tools.h"

namespace {

using tavtest::Outcome;

constexpr uint64_t kY = 0x63010000;
constexpr uint64_t kC = 0x63020000;

class VideoDump : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    // Luma byte = row * 16 + column; chroma pairs are 'a'+n (first) and 'A'+n (second).
    for (unsigned r = 0; r < 16; ++r)
      for (unsigned x = 0; x < 16; ++x) poke(kY + r * 16 + x, static_cast<uint8_t>(r * 16 + x));
    for (unsigned r = 0; r < 8; ++r)
      for (unsigned n = 0; n < 8; ++n) {
        poke(kC + r * 16 + 2 * n, static_cast<uint8_t>('a' + r * 8 + n));
        poke(kC + r * 16 + 2 * n + 1, static_cast<uint8_t>('A' + r * 8 + n));
      }
  }
  void poke(uint64_t at, uint8_t v) { board().mem().write(at, &v, 1); }
};

std::string bytes(std::initializer_list<int> list) {
  std::string s;
  for (int b : list) s += static_cast<char>(b);
  return s;
}

const std::string kAddresses = "ulYAddress = 0x63010000\nulCAddress = 0x63020000\n";

TEST_F(VideoDump, WritesLumaThenSecondThenFirstChromaSamples) {
  struct Case {
    std::vector<std::string> words;
    std::string echo;
    std::string file;
    std::string bytes;
  } cases[] = {
      // Width 3, height 4: twelve luma bytes, then one sample of each of two
      // chroma rows, second samples before first.
      {{"hivd", "0x63010000", "0x63020000", "16", "16", "3", "4", "a.yuv"},
       "ulHeight = 4\nulWidth = 3\nulCStride = 16\nulYStride = 16\n",
       "a.yuv",
       bytes({0x00, 0x01, 0x02, 0x10, 0x11, 0x12, 0x20, 0x21, 0x22, 0x30, 0x31, 0x32, 'A', 'I', 'a', 'i'})},
      // Strides of their own: every second luma row, every chroma row.
      {{"hivd", "0x63010000", "0x63020000", "32", "16", "4", "4", "b.yuv"},
       "ulHeight = 4\nulWidth = 4\nulCStride = 16\nulYStride = 32\n",
       "b.yuv",
       bytes({0x00, 0x01, 0x02, 0x03, 0x20, 0x21, 0x22, 0x23, 0x40, 0x41, 0x42, 0x43, 0x60, 0x61, 0x62, 0x63,  //
              'A',  'B',  'I',  'J',  'a',  'b',  'i',  'j'})},
      // Rows end to end, odd height: the last luma row has no chroma row.
      {{"hivd", "0x63010000", "0x63020000", "2", "16", "2", "3", "c.yuv"},
       "ulHeight = 3\nulWidth = 2\nulCStride = 16\nulYStride = 2\n",
       "c.yuv",
       bytes({0, 1, 2, 3, 4, 5, 'A', 'a'})},
      // Height 1: one luma row and no chroma at all.
      {{"hivd", "0x63010000", "0x63020000", "16", "16", "5", "1", "d.yuv"},
       "ulHeight = 1\nulWidth = 5\nulCStride = 16\nulYStride = 16\n",
       "d.yuv",
       bytes({0, 1, 2, 3, 4})},
      // Width 1: luma only, as no chroma pair is whole.
      {{"hivd", "0x63010000", "0x63020000", "16", "16", "1", "2", "e.yuv"},
       "ulHeight = 2\nulWidth = 1\nulCStride = 16\nulYStride = 16\n",
       "e.yuv",
       bytes({0x00, 0x10})},
  };
  tavtest::write_file("a.yuv", std::string(1000, 'x'));  // replaced, not appended to
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    Outcome r = run(tav::tav_tool_main, c.words);
    EXPECT_FALSE(r.exited);
    EXPECT_EQ(r.out,
              "\n" + c.echo + kAddresses + "\nBegin to dump video image to file :" + c.file + "\nDump done!\n[END]\n");
    EXPECT_EQ(tavtest::read_file(c.file), c.bytes);
  }
}

TEST_F(VideoDump, MissingArgumentsTakeTheDefaults) {
  // Two words: 1024, 1024, 352 x 288 into vdump.cif, and no echoes.
  poke(kY + 1024, 0x77);
  Outcome r = run(tav::hivd, {"hivd", "0x63010000", "0x63020000"});
  EXPECT_EQ(r.out, kAddresses + "\nBegin to dump video image to file :vdump.cif\nDump done!\n");
  std::string file = tavtest::read_file("vdump.cif");
  ASSERT_EQ(file.size(), 152064u);
  EXPECT_EQ(file.substr(0, 3), bytes({0x00, 0x01, 0x02}));
  EXPECT_EQ(file.substr(352, 1), bytes({0x77}));  // row 1 starts a stride further
  EXPECT_EQ(file.substr(352 * 288, 2), "AB");
  EXPECT_EQ(file.substr(352 * 288 + 176 * 144, 2), "ab");

  // Six words: still vdump.cif; the echoes run from the last word down.
  r = run(tav::hivd, {"hivd", "0x63010000", "0x63020000", "16", "16", "2"});
  EXPECT_EQ(r.out, "ulWidth = 2\nulCStride = 16\nulYStride = 16\n" + kAddresses +
                       "\nBegin to dump video image to file :vdump.cif\nDump done!\n");
  EXPECT_EQ(tavtest::read_file("vdump.cif").size(), 2u * 288 + 2 * 144);

  // Words past the file name are ignored.
  r = run(tav::hivd, {"hivd", "0x63010000", "0x63020000", "16", "16", "2", "2", "f.yuv", "extra"});
  EXPECT_EQ(tavtest::read_file("f.yuv"), bytes({0, 1, 0x10, 0x11, 'A', 'a'}));
}

TEST_F(VideoDump, BadWordsAreRefusedWithoutAFile) {
  const std::string usage =
      "usage: hivd <YAddr> <CAddr> <YStirde> <CStride> <width> <height> <savefile>\n"
      "sample: hivd 0x63010000 0x63020000 1024 1024 352 288 dump.cif\n"
      " exit:0XFFFFFFFFFFFFFFFF.{tools/vd:57}\n[END]\n";
  struct Case {
    std::vector<std::string> words;
    std::string out;
    bool exited;
  } cases[] = {
      {{"hivd"}, usage, true},
      {{"hivd", "0x63010000"}, usage, true},
      {{"hivd", "0x63010000", "0x63020000", "16", "16", "4", "4x", "h.yuv"},
       "Please input height like 0x100 or 256\n",
       false},
      {{"hivd", "0x63010000", "0x63020000", "16", "16", "-4", "4", "h.yuv"},
       "ulHeight = 4\nPlease input width like 0x100 or 256\n",
       false},
      {{"hivd", "0x63010000", "0x63020000", "16", "0x"}, "Please input C_stride like 0x100 or 256\n", false},
      {{"hivd", "0x63010000", "0x63020000", " 16"}, "Please input Y_stride like 0x100 or 256\n", false},
      {{"hivd", "0x63010000", "C", "16"}, "ulYStride = 16\nPlease input address like 0x12345\n", false},
      {{"hivd", "0x1630100000", "0x63020000"}, "Please input address like 0x12345\n", false},
      // A zero stride maps nothing: the map's own complaint, then nothing is read.
      {{"hivd", "0x63010000", "0x63020000", "0", "16", "4", "4", "h.yuv"},
       "ulHeight = 4\nulWidth = 4\nulCStride = 16\nulYStride = 0\n" + kAddresses + "memmap():size can't be zero!\n",
       false},
      {{"hivd", "0x63010000", "0x63020000", "16", "16", "4", "4", "no/such/dir.yuv"},
       "ulHeight = 4\nulWidth = 4\nulCStride = 16\nulYStride = 16\n" + kAddresses +
           "open file no/such/dir.yuv error!\n",
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    Outcome r = run(tav::hivd, c.words);
    EXPECT_EQ(r.exited, c.exited);
    EXPECT_EQ(r.status, c.exited ? 255 : 0);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(tavtest::read_file("h.yuv"), "");
  }
}

TEST_F(VideoDump, HeightZeroMakesAnEmptyFileAfterTheMapComplaints) {
  Outcome r = run(tav::hivd, {"hivd", "0x63010000", "0x63020000", "16", "16", "4", "0", "z.yuv"});
  EXPECT_EQ(r.out, "ulHeight = 0\nulWidth = 4\nulCStride = 16\nulYStride = 16\n" + kAddresses +
                       "memmap():size can't be zero!\nmemmap():size can't be zero!\n"
                       "\nBegin to dump video image to file :z.yuv\nDump done!\n");
  EXPECT_EQ(::access("z.yuv", F_OK), 0);
  EXPECT_EQ(tavtest::read_file("z.yuv"), "");
}

// A stride below the width reads past the map the design asks for; the span
// read is mapped instead of reading outside any mapping.
TEST_F(VideoDump, RowsReachingPastTheMapAreStillRead) {
  Outcome r = run(tav::hivd, {"hivd", "0x6300FFF8", "0x63020000", "8", "16", "4096", "3", "w.yuv"});
  std::string file = tavtest::read_file("w.yuv");
  ASSERT_EQ(file.size(), 3u * 4096 + 2 * 2048);
  EXPECT_EQ(file.substr(8, 2), bytes({0x00, 0x01}));
  EXPECT_EQ(file.substr(4096 + 8, 2), bytes({0x08, 0x09}));  // each row starts 8 bytes on
  EXPECT_EQ(file.substr(8192 + 8, 2), bytes({0x10, 0x11}));
  EXPECT_EQ(file.substr(12288, 2), "AB");
  EXPECT_EQ(file.substr(12288 + 2048, 2), "ab");
  EXPECT_NE(r.out.find("Dump done!"), std::string::npos);
  size_t maps = 0;
  for (const auto& q : r.requests) maps += q.call == sim::Call::Mmap;
  EXPECT_EQ(maps, 3u);
}

}  // namespace
