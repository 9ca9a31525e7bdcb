// The data-encryption driver (/dev/tavded): records.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kDedPath = "/dev/tavded";

constexpr size_t kWorkkeyMax = 256;

// Encrypted or decrypted in place; the length is a multiple of 8.
struct DedCrypt {
  uint8_t data[kWorkkeyMax];
  uint32_t length;
  uint32_t zero;
  uint8_t unused[24];
};
static_assert(sizeof(DedCrypt) == 288);
static_assert(offsetof(DedCrypt, length) == 256);

// A stored work key: the header's first word is the data length.
struct DedStoredKey {
  uint32_t length;
  uint8_t header_rest[28];
  uint8_t data[kWorkkeyMax];
};
static_assert(sizeof(DedStoredKey) == 288);
static_assert(offsetof(DedStoredKey, data) == 32);
constexpr size_t kStoredKeyHeader = offsetof(DedStoredKey, data);

}  // namespace tav
