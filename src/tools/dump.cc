#include "tools/dump.h"

#include <cstdint>
#include <cstring>
#include <memory>

#include "sys/sys.h"
#include "tools/access.h"

namespace tav {

namespace {

constexpr char kHex[] = "0123456789abcdef";

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

// "%0*x": at least min_digits hexadecimal digits.
char* put_hex(char* out, uint64_t value, int min_digits) {
  char tmp[16];
  int n = 0;
  do {
    tmp[n++] = kHex[value & 0xF];
    value >>= 4;
  } while (value != 0);
  while (n < min_digits) tmp[n++] = '0';
  while (n > 0) *out++ = tmp[--n];
  return out;
}

char* put_hex8(char* out, uint32_t v) {
  for (int shift = 28; shift >= 0; shift -= 4) *out++ = kHex[(v >> shift) & 0xF];
  return out;
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
      uint8_t bytes[256];
      const uint8_t* row;
      if (n <= sizeof bytes) {
        for (unsigned i = 0; i < n; ++i) bytes[i] = src[offset + i];
        row = bytes;
      } else {
        row = const_cast<const uint8_t*>(src + offset);
      }
      for (unsigned i = 0; i < width; ++i) {
        if (i < n) {
          p[0] = ' ';
          p[1] = kHex[row[i] >> 4];
          p[2] = kHex[row[i] & 0xF];
        } else {
          p[0] = p[1] = p[2] = ' ';
        }
        p += 3;
      }
      *p++ = ' ';
      *p++ = ' ';
      *p++ = '|';
      for (unsigned i = 0; i < width; ++i) {
        if (i >= n) {
          *p++ = ' ';
        } else {
          uint8_t c = row[i];
          *p++ = (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '.';
        }
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
