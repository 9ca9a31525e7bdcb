// hivd: save a semi-planar 4:2:0 frame lying in physical memory to a file in
// planar form: luma, then the second chroma samples, then the first.
#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "sys/owners.h"
#include "sys/sys.h"
#include "tools/memmap.h"
#include "tools/number.h"
#include "tools/report.h"
#include "tools/tools.h"

namespace tav {

namespace {
constexpr const char* kUsage =
    "usage: %s <YAddr> <CAddr> <YStirde> <CStride> <width> <height> <savefile>\n"
    "sample: %s 0x63010000 0x63020000 1024 1024 352 288 dump.cif\n";
constexpr const char* kDefaultFile = "vdump.cif";

// Arguments 3 to 6, with their defaults, complaints and echoes.
struct SizeArg {
  uint64_t fallback;
  const char* complaint;
  const char* echo;
};
constexpr SizeArg kSizeArgs[] = {
    {1024, "Please input Y_stride like 0x100 or 256", "ulYStride = %lu\n"},
    {1024, "Please input C_stride like 0x100 or 256", "ulCStride = %lu\n"},
    {352, "Please input width like 0x100 or 256", "ulWidth = %lu\n"},
    {288, "Please input height like 0x100 or 256", "ulHeight = %lu\n"},
};
enum { kYStride, kCStride, kWidth, kHeight };

// The file is written in large pieces: a 4K frame is twelve megabytes, and
// the chroma planes are gathered a byte at a time.
uint8_t g_buffer[256 * 1024];

class FileWriter {
 public:
  explicit FileWriter(int fd) : fd_(fd) {}
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;
  // Room for up to n bytes at the end of the buffer; *room says how many.
  uint8_t* reserve(size_t n, size_t* room) {
    if (kSize - used_ < n && kSize - used_ < kMinRoom) flush();
    *room = kSize - used_ < n ? kSize - used_ : n;
    return g_buffer + used_;
  }
  void commit(size_t n) { used_ += n; }
  void put(const uint8_t* p, size_t n) {
    if (n == 0) return;
    if (n >= kSize / 2) {
      flush();
      write_all(p, n);
      return;
    }
    size_t room;
    uint8_t* at = reserve(n, &room);
    memcpy(at, p, room);
    commit(room);
    if (room < n) put(p + room, n - room);
  }
  void flush() {
    write_all(g_buffer, used_);
    used_ = 0;
  }
  bool failed() const { return failed_; }

 private:
  static constexpr size_t kSize = sizeof g_buffer;
  static constexpr size_t kMinRoom = 4096;
  void write_all(const uint8_t* p, size_t n) {
    while (n > 0 && !failed_) {
      ssize_t k = sys::write(fd_, p, n);
      if (k < 0 && errno == EINTR) continue;
      if (k <= 0) {
        failed_ = true;
        return;
      }
      p += k;
      n -= static_cast<size_t>(k);
    }
  }
  int fd_;
  bool failed_ = false;
  size_t used_ = 0;
};

// Bytes a mapping of size bytes at phys gives from its first byte on.
uint64_t mapped_bytes(uint64_t phys, uint32_t size) {
  uint64_t in_page = phys & 0xFFF;
  return ((uint64_t{size} + in_page - 1) & ~uint64_t{0xFFF}) + 4096 - in_page;
}

// The plane mapped with height x stride bytes (cut to 32 bits), as the tool
// has always mapped it. Where that does not cover the span actually read (a
// cut size, a stride below the width), the span itself is mapped too. Null,
// after a message, when the plane cannot be read.
const uint8_t* map_plane(uint64_t phys, uint64_t size, uint64_t span) {
  auto* p = static_cast<const uint8_t*>(memmap(static_cast<uint32_t>(phys), static_cast<uint32_t>(size)));
  if (span == 0 || (p != nullptr && mapped_bytes(phys, static_cast<uint32_t>(size)) >= span)) return p;
  if (p == nullptr) return nullptr;
  if (span > UINT32_MAX) {
    printf("memmap():size %#lx too large!\n", static_cast<unsigned long>(span));
    return nullptr;
  }
  return static_cast<const uint8_t*>(memmap(static_cast<uint32_t>(phys), static_cast<uint32_t>(span)));
}

// Bytes from the first read to the last of rows rows of row_bytes.
uint64_t span_of(uint64_t rows, uint64_t row_bytes, uint64_t stride) {
  return rows == 0 || row_bytes == 0 ? 0 : (rows - 1) * stride + row_bytes;
}

// One chroma plane: every second byte of each row, from byte first.
void put_chroma(FileWriter& out, const uint8_t* c, uint64_t rows, uint64_t samples, uint64_t stride, int first) {
  if (samples == 0) return;  // nothing is read, so c may be null
  for (uint64_t r = 0; r < rows; ++r) {
    const uint8_t* src = c + r * stride + first;
    for (uint64_t done = 0; done < samples;) {
      size_t room;
      uint8_t* dst = out.reserve(samples - done, &room);
      for (size_t i = 0; i < room; ++i) dst[i] = src[2 * (done + i)];
      out.commit(room);
      done += room;
    }
  }
}

}  // namespace

int hivd(int argc, char** argv) {
  if (argc < 3) {
    printf(kUsage, argv[0], argv[0]);
    exit_report("", ExitAt::VdUsage);
  }
  const char* file = argc >= 8 ? argv[7] : kDefaultFile;
  uint64_t v[4];
  for (int i = 0; i < 4; ++i) v[i] = kSizeArgs[i].fallback;
  for (int pos = argc - 1 < 6 ? argc - 1 : 6; pos >= 3; --pos) {
    const SizeArg& arg = kSizeArgs[pos - 3];
    if (str_to_number(argv[pos], &v[pos - 3]) != 0) {
      puts(arg.complaint);
      return 0;
    }
    printf(arg.echo, static_cast<unsigned long>(v[pos - 3]));
  }
  uint64_t y_addr = 0;
  uint64_t c_addr = 0;
  if (str_to_number(argv[1], &y_addr) != 0 || str_to_number(argv[2], &c_addr) != 0) {
    puts(kBadAddress);
    return 0;
  }
  printf("ulYAddress = %#lx\n", static_cast<unsigned long>(y_addr));
  printf("ulCAddress = %#lx\n", static_cast<unsigned long>(c_addr));

  const uint64_t width = v[kWidth];
  const uint64_t height = v[kHeight];
  const uint64_t y_stride = v[kYStride];
  const uint64_t c_stride = v[kCStride];
  // Chroma is read only for whole pairs of rows and of samples.
  const uint64_t c_rows = height > 1 ? height / 2 : 0;
  const uint64_t c_samples = width / 2;
  const uint8_t* y = map_plane(y_addr, height * y_stride, span_of(height, width, y_stride));
  const uint8_t* c = map_plane(c_addr, height * c_stride, span_of(c_rows, 2 * c_samples, c_stride));
  // The mapping has said why; reading through it is not an option.
  if ((y == nullptr && span_of(height, width, y_stride) != 0) ||
      (c == nullptr && span_of(c_rows, 2 * c_samples, c_stride) != 0))
    return 0;

  sys::Fd fd(sys::open(file, O_WRONLY | O_CREAT | O_TRUNC, 0666));
  if (!fd.ok()) {
    printf("open file %s error!\n", file);
    return 0;
  }
  printf("\nBegin to dump video image to file :%s\n", file);
  FileWriter out(fd.get());
  // Rows that lie end to end go out in one piece.
  if (y_stride == width)
    out.put(y, height * width);
  else if (width != 0)
    for (uint64_t r = 0; r < height; ++r) out.put(y + r * y_stride, width);
  put_chroma(out, c, c_rows, c_samples, c_stride, 1);
  put_chroma(out, c, c_rows, c_samples, c_stride, 0);
  out.flush();
  bool failed = out.failed();
  fd.close();
  if (failed) {
    printf("write file %s error!\n", file);
    return 0;
  }
  puts("Dump done!");
  return 0;
}

}  // namespace tav
