// The byte and word listings against a plain printf formatter.
#include "tools/dump.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

std::string listing(int (*fn)(FILE*, const volatile void*, unsigned long, unsigned), const void* buf, unsigned long len,
                    unsigned width) {
  char* text = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&text, &size);
  fn(f, buf, len, width);
  fclose(f);
  std::string s(text, size);
  free(text);
  return s;
}

TEST(DumpBytes, pads_the_last_row_and_its_ascii_column) {
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

TEST(DumpWords, rounds_up_to_whole_rows_of_four_words) {
  uint32_t words[8] = {0x11223344, 0xAABBCCDD, 0, 0xFFFFFFFF, 5, 6, 7, 8};
  EXPECT_EQ(listing(tav::dump_words, words, 20, 16),
            "0000:  11223344 aabbccdd 00000000 ffffffff\n"
            "0010:  00000005 00000006 00000007 00000008\n");
}

std::string reference_bytes(const uint8_t* data, unsigned long length, unsigned width) {
  std::string s;
  char piece[32];
  for (unsigned long offset = 0; offset < length; offset += width) {
    snprintf(piece, sizeof piece, "%05lx: ", offset);
    s += piece;
    for (unsigned i = 0; i < width; ++i) {
      if (offset + i < length) {
        snprintf(piece, sizeof piece, " %02x", data[offset + i]);
        s += piece;
      } else {
        s += "   ";
      }
    }
    s += "  |";
    for (unsigned i = 0; i < width; ++i) {
      if (offset + i >= length) {
        s += ' ';
      } else {
        uint8_t b = data[offset + i];
        s += b >= 0x20 && b < 0x7F ? static_cast<char>(b) : '.';
      }
    }
    s += "|\n";
  }
  return s;
}

std::string reference_words(const uint8_t* data, unsigned long length) {
  std::string s;
  char piece[32];
  for (unsigned long offset = 0; offset < length; offset += 16) {
    snprintf(piece, sizeof piece, "%04lx: ", offset);
    s += piece;
    for (int w = 0; w < 4; ++w) {
      const uint8_t* p = data + offset + 4 * w;
      snprintf(piece, sizeof piece, " %08x", p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24);
      s += piece;
    }
    s += '\n';
  }
  return s;
}

// Random contents at every alignment, with lengths around row boundaries,
// offsets crossing digit-count and 4 KiB boundaries, and odd widths.
TEST(DumpListing, matches_plain_formatter_for_random_shapes) {
  std::mt19937 rng(7);
  std::vector<uint8_t> memory((1u << 20) + 64);
  for (auto& b : memory) b = static_cast<uint8_t>(rng());
  // Every byte value, printable or not, in one place.
  for (unsigned b = 0; b < 256; ++b) memory[64 + b] = static_cast<uint8_t>(b);
  const unsigned long lengths[] = {1,   15,   16,   17,   31,    32,    255,   256,
                                   257, 4095, 4096, 4097, 65535, 65536, 65552, (1u << 20) + 3};
  const unsigned widths[] = {16, 1, 7, 8, 32};
  for (unsigned long length : lengths) {
    for (unsigned width : widths) {
      if (length > 70000 && width != 16) continue;
      size_t start = rng() % 64;
      SCOPED_TRACE("length " + std::to_string(length) + " width " + std::to_string(width) + " start " +
                   std::to_string(start));
      const uint8_t* data = memory.data() + start;
      ASSERT_EQ(listing(tav::dump_bytes, data, length, width), reference_bytes(data, length, width));
      if (width == 16 && length % 16 == 0) {
        ASSERT_EQ(listing(tav::dump_words, data, length, 16), reference_words(data, length));
      }
    }
  }
  for (int i = 0; i < 200; ++i) {
    unsigned long length = 1 + rng() % 3000;
    const uint8_t* data = memory.data() + 64 + rng() % 300;
    ASSERT_EQ(listing(tav::dump_bytes, data, length, 16), reference_bytes(data, length, 16)) << length;
    unsigned long words = (length + 15) & ~15ul;
    ASSERT_EQ(listing(tav::dump_words, data, words, 16), reference_words(data, words)) << length;
  }
}

}  // namespace
