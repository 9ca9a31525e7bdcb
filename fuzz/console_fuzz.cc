// The console reader every item and tool answers through: any bytes, any
// sequence of reads; a read never runs past its buffer.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/console.h"
#include "input.h"

namespace {

const uint8_t* g_at;
size_t g_left;

int next_byte() {
  if (g_left == 0) return tav::ConsoleReader::kEnd;
  --g_left;
  return *g_at++;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // The first bytes choose the reads; the rest is what was typed.
  size_t ops = data[0] % 16 + 1;
  if (ops + 1 > size) ops = size - 1;
  fuzz::Input choices(data + 1, ops);
  g_at = data + 1 + ops;
  g_left = size - 1 - ops;
  tav::ConsoleReader reader(next_byte);
  while (!choices.empty()) {
    uint8_t op = choices.byte();
    size_t room = op / 6 % 9;  // buffers of 0 to 8 bytes catch every overrun
    std::vector<char> buf(room == 0 ? 1 : room);
    switch (op % 6) {
      case 0: {
        int n = reader.read_line(buf.data(), static_cast<int>(room));
        // Typed NULs count in the length, so only the terminator's place is checked.
        if (n > 0 && (static_cast<size_t>(n) >= buf.size() || buf[static_cast<size_t>(n)] != '\0')) abort();
        break;
      }
      case 1: {
        int v;
        reader.read_int(&v);
        break;
      }
      case 2: {
        unsigned long long v;
        reader.scan_hex(&v);
        break;
      }
      case 3:
        if (reader.read_word(buf.data(), room) && strlen(buf.data()) >= buf.size()) abort();
        break;
      case 4:
        reader.skip_line();
        break;
      default:
        reader.unget(reader.get());
        break;
    }
  }
  return 0;
}
