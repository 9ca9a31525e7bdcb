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

TEST_F(VideoDump, writes_luma_then_second_then_first_chroma_samples) {
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

}  // namespace

namespace {

// A chroma plane just below 4 GiB, after a luma plane at 0: its range wraps
// in 32 bits and must still be read from its own mapping.
TEST_F(VideoDump, plane_below_four_gib_is_read_from_its_own_mapping) {
  poke(0x0, 1);
  poke(0x1, 2);
  poke(0x10, 3);
  poke(0x11, 4);
  poke(0xFFFFFFF0, 'p');
  poke(0xFFFFFFF1, 'q');
  Outcome r = run(tav::tav_tool_main, {"hivd", "0", "0xfffffff0", "16", "16", "2", "2", "w.yuv"});
  EXPECT_FALSE(r.exited);
  EXPECT_EQ(tavtest::read_file("w.yuv"), bytes({1, 2, 3, 4, 'q', 'p'}));
  EXPECT_EQ(board().log_of(sim::Call::Mmap).size(), 2u);
}

}  // namespace
