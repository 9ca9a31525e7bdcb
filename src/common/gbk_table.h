// The table behind gbk_to_utf8, written by scripts/gen-gbk-table from this
// machine's iconv: 81 rows of 94 code points, about 15 KB.
#pragma once

#include <cstdint>

namespace tav::gbk {

constexpr int kRows = 9 + 72;  // lead bytes A1..A9 and B0..F7
constexpr int kCells = 94;     // trail bytes A1..FE
extern const uint16_t kTable[kRows][kCells];

}  // namespace tav::gbk
