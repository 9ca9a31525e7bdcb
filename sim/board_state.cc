#include "board_state.h"

#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "block.h"
#include "board.h"
#include "drivers/block.h"
#include "env.h"
#include "i2c.h"
#include "mtd.h"
#include "net_drivers.h"
#include "peripherals.h"

namespace sim {

namespace {

constexpr const char* kFile = "/board.txt";
constexpr size_t kNandPage = 4096;
// The chips whose registers a command can change: bus, 7-bit address.
constexpr int kChips[][2] = {{0, 0x50}, {1, 0x50}, {1, 0x2b}};

std::string hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 0xF];
  }
  return out.empty() ? "-" : out;
}

int nibble(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool unhex(const std::string& text, std::string* out) {
  out->clear();
  if (text == "-") return true;
  if (text.size() % 2 != 0) return false;
  out->reserve(text.size() / 2);
  for (size_t i = 0; i < text.size(); i += 2) {
    int high = nibble(text[i]), low = nibble(text[i + 1]);
    if (high < 0 || low < 0) return false;
    *out += static_cast<char>(high << 4 | low);
  }
  return true;
}

int64_t host_seconds() { return static_cast<int64_t>(::time(nullptr)); }

}  // namespace

bool save_board_state(Board& board, const std::string& dir) {
  ::mkdir(dir.c_str(), 0755);
  std::ofstream out(dir + kFile, std::ios::trunc);
  if (!out) return false;
  out << "fan " << fan(board)->duty << "\n";
  out << "rtc " << rtc(board)->seconds() << " " << host_seconds() << "\n";
  EnvDevice* e = env(board);
  out << "env-password " << hex(e->password()) << "\n";
  out << "env-clear\n";  // the variables below are all there are, even none
  for (const auto& [name, value] : e->variables()) out << "env " << hex(name) << " " << hex(value) << "\n";
  for (const auto& chip : kChips) {
    I2cChip* c = i2c_chip(board, chip[0], static_cast<uint16_t>(chip[1]));
    if (c == nullptr) continue;
    const auto& regs = c->regs();
    out << "i2c " << chip[0] << " " << chip[1] << " " << hex(std::string(regs.begin(), regs.end())) << "\n";
  }
  // The eMMC's written pieces, and the NAND pages that are not erased.
  if (auto emmc = std::dynamic_pointer_cast<BlockDevice>(board.device(tav::kEmmcNode))) {
    std::string piece(BlockDevice::kChunk, '\0');
    for (uint64_t off : emmc->written_offsets()) {
      emmc->peek(off, &piece[0], piece.size());
      // Written back to zeros is as unwritten.
      if (std::all_of(piece.begin(), piece.end(), [](char b) { return b == 0; })) continue;
      out << "emmc " << off << " " << hex(piece) << "\n";
    }
  }
  if (auto flash = nand_flash(board)) {
    std::lock_guard<std::mutex> lock(flash->mu);
    for (size_t n = 0; n < flash->parts.size(); ++n) {
      const auto& data = flash->parts[n].data;
      for (size_t off = 0; off < data.size(); off += kNandPage) {
        size_t len = std::min(kNandPage, data.size() - off);
        if (std::all_of(data.begin() + off, data.begin() + off + len, [](uint8_t b) { return b == 0xFF; })) continue;
        out << "nand " << n << " " << off << " " << hex(std::string(data.begin() + off, data.begin() + off + len))
            << "\n";
      }
    }
  }
  return static_cast<bool>(out);
}

bool load_board_state(Board& board, const std::string& dir, std::string* error) {
  std::ifstream in(dir + kFile);
  if (!in) return true;  // nothing kept yet
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    std::istringstream words(line);
    std::string key;
    words >> key;
    bool ok = true;
    if (key == "fan") {
      ok = static_cast<bool>(words >> fan(board)->duty);
    } else if (key == "rtc") {
      int64_t seconds = 0, at = 0;
      ok = static_cast<bool>(words >> seconds >> at);
      // The chip ran on while no command ran.
      if (ok) rtc(board)->set_time(seconds + (host_seconds() > at ? host_seconds() - at : 0));
    } else if (key == "env-password") {
      std::string text, password;
      ok = static_cast<bool>(words >> text) && unhex(text, &password);
      if (ok) env(board)->set_password(password);
    } else if (key == "env") {
      std::string n, v, name, value;
      ok = static_cast<bool>(words >> n >> v) && unhex(n, &name) && unhex(v, &value);
      if (ok) env(board)->set(name, value);
    } else if (key == "env-clear") {
      env(board)->clear();
    } else if (key == "i2c") {
      int bus = 0, addr = 0;
      std::string text, regs;
      ok = static_cast<bool>(words >> bus >> addr >> text) && unhex(text, &regs);
      I2cChip* c = ok ? i2c_chip(board, bus, static_cast<uint16_t>(addr)) : nullptr;
      ok = c != nullptr && regs.size() == c->regs().size();
      if (ok) c->regs().assign(regs.begin(), regs.end());
    } else if (key == "emmc") {
      uint64_t off = 0;
      std::string text, piece;
      ok = static_cast<bool>(words >> off >> text) && unhex(text, &piece);
      auto emmc = ok ? std::dynamic_pointer_cast<BlockDevice>(board.device(tav::kEmmcNode)) : nullptr;
      ok = emmc != nullptr && off + piece.size() <= static_cast<uint64_t>(emmc->size());
      if (ok) emmc->poke(off, piece.data(), piece.size());
    } else if (key == "nand") {
      size_t part = 0, off = 0;
      std::string text, page;
      ok = static_cast<bool>(words >> part >> off >> text) && unhex(text, &page);
      auto flash = ok ? nand_flash(board) : nullptr;
      ok = flash != nullptr && part < flash->parts.size() && off + page.size() <= flash->parts[part].data.size();
      if (ok) std::copy(page.begin(), page.end(), flash->parts[part].data.begin() + static_cast<long>(off));
    } else {
      ok = key.empty();
    }
    if (!ok) {
      *error = dir + kFile + ":" + std::to_string(number) + ": cannot be read: " + line;
      return false;
    }
  }
  return true;
}

}  // namespace sim
