#include "tools/dump.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

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
  explicit RowWriter(FILE* stream) : stream_(stream) {}
  ~RowWriter() { flush(); }
  RowWriter(const RowWriter&) = delete;
  RowWriter& operator=(const RowWriter&) = delete;
  // Room for at least n more bytes.
  char* reserve(size_t n) {
    if (used_ + n > sizeof buf_) flush();
    return buf_ + used_;
  }
  void commit(size_t n) { used_ += n; }
  void flush() {
    if (used_ > 0) fwrite(buf_, 1, used_, stream_);
    used_ = 0;
  }

 private:
  FILE* stream_;
  size_t used_ = 0;
  char buf_[64 * 1024];
};

// "%0*x" of a 32-bit offset: at least min_digits hexadecimal digits. Called
// once a row, so it works in digit pairs rather than a digit at a time.
char* put_hex(char* out, uint32_t value, int min_digits) {
  // The eight digits sit at [8, 16); one fixed-size copy moves the wanted
  // ones, and what it carries past them is overwritten by the rest of the row.
  char all[24] = {};
  memcpy(all + 8, kTables.pair[value >> 24], 2);
  memcpy(all + 10, kTables.pair[(value >> 16) & 0xFF], 2);
  memcpy(all + 12, kTables.pair[(value >> 8) & 0xFF], 2);
  memcpy(all + 14, kTables.pair[value & 0xFF], 2);
  int digits = value == 0 ? 1 : (32 - __builtin_clz(value) + 3) / 4;
  if (digits < min_digits) digits = min_digits;
  memcpy(out, all + 16 - digits, 8);
  return out + digits;
}

char* put_hex8(char* out, uint32_t v) {
  memcpy(out, kTables.pair[v >> 24], 2);
  memcpy(out + 2, kTables.pair[(v >> 16) & 0xFF], 2);
  memcpy(out + 4, kTables.pair[(v >> 8) & 0xFF], 2);
  memcpy(out + 6, kTables.pair[v & 0xFF], 2);
  return out + 8;
}

// The common full row of sixteen, with a fixed trip count the compiler unrolls.
char* put_row16(char* p, const uint8_t* row) {
  for (int i = 0; i < 16; ++i) memcpy(p + 3 * i, kTables.spaced[row[i]], 4);  // the spare byte is overwritten next
  memcpy(p + 48, "  |", 3);
  for (int i = 0; i < 16; ++i) p[51 + i] = kTables.shown[row[i]];
  return p + 67;
}

}  // namespace

int dump_bytes(FILE* stream, const volatile void* buffer, unsigned long length, unsigned width) {
  if (width == 0 || length == 0) return fflush(stream);
  unsigned long rows = length / width + (length % width != 0 ? 1 : 0);
  const auto* src = static_cast<const volatile uint8_t*>(buffer);
  // offset (up to 16 digits) ": ", 3 per column, "  |", 1 per column, "|\n"
  const size_t row_max = 16 + 2 + 4ul * width + 5;
  if (row_max > 32 * 1024) return fflush(stream);  // no caller asks for rows this wide
  {
    RowWriter out(stream);
    unsigned long offset = 0;
    for (unsigned long r = 0; r < rows; ++r, offset += width) {
      char* p = out.reserve(row_max);
      char* start = p;
      p = put_hex(p, static_cast<uint32_t>(offset), 5);
      *p++ = ':';
      *p++ = ' ';
      unsigned long left = length - offset;
      unsigned n = left < width ? static_cast<unsigned>(left) : width;
      // Plain reads: a listing only reads, and byte order of reads does not matter to it.
      const uint8_t* row = const_cast<const uint8_t*>(src) + offset;
      if (n == 16 && width == 16) {
        p = put_row16(p, row);
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
    for (unsigned long r = 0; r < rows; ++r) {
      char* p = out.reserve(64);
      char* start = p;
      unsigned long offset = r * 16;
      p = put_hex(p, static_cast<uint32_t>(offset), 4);
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
