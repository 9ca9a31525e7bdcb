#include "tools/dump.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "sys/sys.h"
#include "tools/access.h"

namespace tav {

namespace {

constexpr char kHex[] = "0123456789abcdef";

// Per-byte pieces of a row, looked up rather than formatted.
struct Tables {
  char pair[256][2];    // "%02x"
  char spaced[256][4];  // " %02x" and one spare byte, for whole-word copies
  char shown[256];      // the ASCII column: printable and not a tab, else '.'
  constexpr Tables() : pair(), spaced(), shown() {
    for (int b = 0; b < 256; ++b) {
      pair[b][0] = kHex[b >> 4];
      pair[b][1] = kHex[b & 0xF];
      spaced[b][0] = ' ';
      spaced[b][1] = pair[b][0];
      spaced[b][2] = pair[b][1];
      spaced[b][3] = ' ';
      shown[b] = (b >= 0x20 && b < 0x7F) ? static_cast<char>(b) : '.';
    }
  }
};
constexpr Tables kTables;

// Whole rows are formatted into this and written in large pieces: a listing
// of many megabytes must not cost one printf per byte.
class RowWriter {
 public:
  explicit RowWriter(FILE* stream) : stream_(stream), buf_(new char[kSize]) {}
  ~RowWriter() { flush(); }
  RowWriter(const RowWriter&) = delete;
  RowWriter& operator=(const RowWriter&) = delete;
  // Room for at least n more bytes.
  char* reserve(size_t n) {
    if (used_ + n > kSize) flush();
    return buf_.get() + used_;
  }
  void commit(size_t n) { used_ += n; }
  void flush() {
    if (used_ > 0) fwrite(buf_.get(), 1, used_, stream_);
    used_ = 0;
  }

 private:
  // Large enough that a listing of many megabytes costs few writes.
  static constexpr size_t kSize = 256 << 10;
  FILE* stream_;
  size_t used_ = 0;
  std::unique_ptr<char[]> buf_;
};

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "rows are assembled in little-endian words");

// The eight hexadecimal digits of v as text in one word, most significant
// digit at the lowest address.
uint64_t hex8_text(uint32_t v) {
  uint64_t x = v;
  x = (x | (x << 16)) & 0x0000FFFF0000FFFFull;
  x = (x | (x << 8)) & 0x00FF00FF00FF00FFull;
  x = (x | (x << 4)) & 0x0F0F0F0F0F0F0F0Full;  // nibble i in byte i
  x = __builtin_bswap64(x);
  uint64_t letters = ((x + 0x0606060606060606ull) >> 4) & 0x0101010101010101ull;
  return x + 0x3030303030303030ull + letters * ('a' - '0' - 10);
}

// "%0*x" of a row's offset: at least min_digits hexadecimal digits. The
// digits above the last two change once in many rows and are kept as text.
class OffsetText {
 public:
  // Stores eight bytes; what lies past the digits is overwritten by the rest of the row.
  char* put(char* out, uint32_t value, int min_digits) {
    if (value >> 8 != high_) {
      high_ = value >> 8;
      high_text_ = hex8_text(high_) >> 16;
    }
    uint16_t pair;
    memcpy(&pair, kTables.pair[value & 0xFF], 2);
    uint64_t text = high_text_ | uint64_t{pair} << 48;
    int digits = (32 - __builtin_clz(value | 1) + 3) / 4;
    if (digits < min_digits) digits = min_digits;
    text >>= 8 * (8 - digits);
    memcpy(out, &text, 8);
    return out + digits;
  }

 private:
  uint32_t high_ = ~0u;  // no offset has this above its last two digits
  uint64_t high_text_ = 0;
};

char* put_hex8(char* out, uint32_t v) {
  memcpy(out, kTables.pair[v >> 24], 2);
  memcpy(out + 2, kTables.pair[(v >> 16) & 0xFF], 2);
  memcpy(out + 4, kTables.pair[(v >> 8) & 0xFF], 2);
  memcpy(out + 6, kTables.pair[v & 0xFF], 2);
  return out + 8;
}

// The common full row of sixteen, with a fixed trip count the compiler unrolls.
char* put_row16_plain(char* p, const uint8_t* row) {
  for (int i = 0; i < 16; ++i) memcpy(p + 3 * i, kTables.spaced[row[i]], 4);  // the spare byte is overwritten next
  memcpy(p + 48, "  |", 3);
  for (int i = 0; i < 16; ++i) p[51 + i] = kTables.shown[row[i]];
  return p + 67;
}

// One full row of sixteen after its offset: columns, "  |", the ASCII column, "|\n".
constexpr size_t kRow16 = 48 + 3 + 16 + 2;
// Offset (eight digits and spare bytes of its last store), ": ", the rest.
constexpr size_t kRow16Max = 16 + 2 + kRow16;

#if defined(__x86_64__)
// Shuffles placing the digit pairs of byte i (the high and low digits
// interleaved, pair i at 2i of 32) at 3i+1 of the 48 hexadecimal columns, the
// three blocks of sixteen drawn from pairs 0..7, 5..12 and 8..15; 0x80 yields
// zero where the space goes.
struct Spread {
  static constexpr int kFirst[3] = {0, 10, 16};  // first pair byte each block draws from
  alignas(16) uint8_t pick[3][16];
  alignas(16) uint8_t spaces[3][16];
  constexpr Spread() : pick(), spaces() {
    for (int k = 0; k < 48; ++k) {
      int i = k / 3, part = k % 3;
      pick[k / 16][k % 16] = part == 0 ? 0x80 : static_cast<uint8_t>(2 * i + part - 1 - kFirst[k / 16]);
      spaces[k / 16][k % 16] = part == 0 ? ' ' : 0;
    }
  }
};
constexpr Spread kSpread;

__m128i load(const uint8_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }

// A full row of sixteen after its offset, in a few vector operations.
__attribute__((target("ssse3"), always_inline)) inline char* put_row16_ssse3(char* p, const uint8_t* row) {
  const __m128i digits = _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f');
  const __m128i nibble = _mm_set1_epi8(0x0F);
  __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
  __m128i high = _mm_shuffle_epi8(digits, _mm_and_si128(_mm_srli_epi16(v, 4), nibble));
  __m128i low = _mm_shuffle_epi8(digits, _mm_and_si128(v, nibble));
  __m128i pairs0 = _mm_unpacklo_epi8(high, low), pairs1 = _mm_unpackhi_epi8(high, low);
  static_assert(Spread::kFirst[1] == 10, "the middle block's shift is an immediate");
  __m128i block[3] = {pairs0, _mm_alignr_epi8(pairs1, pairs0, 10), pairs1};
  for (int k = 0; k < 3; ++k) {
    __m128i cols = _mm_or_si128(_mm_shuffle_epi8(block[k], load(kSpread.pick[k])), load(kSpread.spaces[k]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 16 * k), cols);
  }
  memcpy(p + 48, "  |", 3);
  // Printable is 0x20..0x7E; as signed bytes, 0x80 and up are below 0x20.
  __m128i shown = _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8(0x1F)), _mm_cmplt_epi8(v, _mm_set1_epi8(0x7F)));
  __m128i text = _mm_or_si128(_mm_and_si128(shown, v), _mm_andnot_si128(shown, _mm_set1_epi8('.')));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 51), text);
  memcpy(p + 67, "|\n", 2);
  return p + kRow16;
}

// A listing of tens of megabytes is bound by this loop. Rows go out in
// batches so that the writer's fill level is not a dependency from row to row.
__attribute__((target("ssse3"))) void list_rows16_ssse3(RowWriter& out, const uint8_t* src, unsigned long rows,
                                                        OffsetText& offsets) {
  constexpr unsigned long kBatch = 256;
  for (unsigned long r = 0; r < rows;) {
    unsigned long last = rows - r < kBatch ? rows : r + kBatch;
    char* const start = out.reserve((last - r) * kRow16Max);
    char* p = start;
    for (; r < last; ++r) {
      // Memory being listed is read once: ask for it well ahead.
      _mm_prefetch(reinterpret_cast<const char*>(src + r * 16 + 2048), _MM_HINT_NTA);
      p = offsets.put(p, static_cast<uint32_t>(r * 16), 5);
      memcpy(p, ": ", 2);
      p = put_row16_ssse3(p + 2, src + r * 16);
    }
    out.commit(static_cast<size_t>(p - start));
  }
}
#endif

// Full rows of sixteen with the fastest code this processor runs; the number listed.
unsigned long list_rows16(RowWriter& out, const uint8_t* src, unsigned long rows, OffsetText& offsets) {
#if defined(__x86_64__)
  static const bool vector = __builtin_cpu_supports("ssse3");
  if (vector) {
    list_rows16_ssse3(out, src, rows, offsets);
    return rows;
  }
#endif
  return 0;
}

}  // namespace

int dump_bytes(FILE* stream, const volatile void* buffer, unsigned long length, unsigned width) {
  if (width == 0 || length == 0) return fflush(stream);
  unsigned long rows = length / width + (length % width != 0 ? 1 : 0);
  // Plain reads: a listing only reads, and byte order of reads does not matter to it.
  const auto* src = const_cast<const uint8_t*>(static_cast<const volatile uint8_t*>(buffer));
  // offset (up to 16 digits) ": ", 3 per column, "  |", 1 per column, "|\n"
  const size_t row_max = 16 + 2 + 4ul * width + 5;
  if (row_max > 32 * 1024) return fflush(stream);  // no caller asks for rows this wide
  {
    RowWriter out(stream);
    OffsetText offsets;
    unsigned long r = width == 16 ? list_rows16(out, src, length / 16, offsets) : 0;
    for (unsigned long offset = r * width; r < rows; ++r, offset += width) {
      char* start = out.reserve(row_max);
      char* p = offsets.put(start, static_cast<uint32_t>(offset), 5);
      *p++ = ':';
      *p++ = ' ';
      unsigned long left = length - offset;
      unsigned n = left < width ? static_cast<unsigned>(left) : width;
      const uint8_t* row = src + offset;
      if (n == 16 && width == 16) {
        p = put_row16_plain(p, row);
      } else {
        for (unsigned i = 0; i < n; ++i, p += 3) {
          p[0] = ' ';
          memcpy(p + 1, kTables.pair[row[i]], 2);
        }
        for (unsigned i = n; i < width; ++i, p += 3) p[0] = p[1] = p[2] = ' ';
        memcpy(p, "  |", 3);
        p += 3;
        for (unsigned i = 0; i < n; ++i) *p++ = kTables.shown[row[i]];
        for (unsigned i = n; i < width; ++i) *p++ = ' ';
      }
      *p++ = '|';
      *p++ = '\n';
      out.commit(static_cast<size_t>(p - start));
    }
  }
  return fflush(stream);
}

int dump_words(FILE* stream, const volatile void* buffer, unsigned long length, unsigned width) {
  if (width == 0) return fflush(stream);
  unsigned long rows = length / width + (length % width != 0 ? 1 : 0);
  if (rows > 0x8000000ul) return puts("error:Input param(len) is greater than 2GB!");
  const auto* src = static_cast<const volatile uint8_t*>(buffer);
  {
    RowWriter out(stream);
    OffsetText offsets;
    for (unsigned long r = 0; r < rows; ++r) {
      char* p = out.reserve(64);
      char* start = p;
      unsigned long offset = r * 16;
      p = offsets.put(p, static_cast<uint32_t>(offset), 4);
      *p++ = ':';
      *p++ = ' ';
      for (int w = 0; w < 4; ++w) {
        uint32_t v = load<uint32_t>(src + offset + 4ul * static_cast<unsigned>(w));
        *p++ = ' ';
        p = put_hex8(p, v);
      }
      *p++ = '\n';
      out.commit(static_cast<size_t>(p - start));
    }
  }
  return fflush(stream);
}

int dump_to_fd(const volatile void* buffer, unsigned long length, int fd) {
  if (buffer == nullptr) return 1;
  ssize_t written = sys::write(fd, const_cast<const void*>(buffer), length);
  if (written < 0 || static_cast<unsigned long>(written) < length)
    printf("Dump memory error!wish len: %lu, dump len:%u\n", length, static_cast<unsigned>(written));
  return 0;
}

int dump_to_file(const volatile void* buffer, unsigned long length, const char* header, const char* path) {
  if (buffer == nullptr || path == nullptr) return 1;
  int fd = sys::open(path, O_WRONLY | O_CREAT | O_APPEND, 0666);
  if (fd < 0) {
    printf("Open File %s to dump memory error.\n", path);
    return 1;
  }
  auto write_all = [fd](const void* data, unsigned long n) {
    const auto* p = static_cast<const char*>(data);
    while (n > 0) {
      ssize_t k = sys::write(fd, p, n);
      if (k < 0 && errno == EINTR) continue;  // a signal must not cut the dump short
      if (k <= 0) return;
      p += k;
      n -= static_cast<unsigned long>(k);
    }
  };
  if (header != nullptr) write_all(header, strlen(header));
  write_all(const_cast<const void*>(buffer), length);
  sys::close(fd);
  return 0;
}

}  // namespace tav
