// The kernel's request-number encoding: direction in bits 30-31, record
// size in 16-29, type in 8-15, number in 0-7.
#pragma once

#include <cstddef>

namespace tav {

constexpr unsigned kIocNone = 0;
constexpr unsigned kIocWrite = 1;
constexpr unsigned kIocRead = 2;
constexpr unsigned kIocReadWrite = 3;

constexpr unsigned long ioc(unsigned dir, unsigned type, unsigned nr, unsigned size) {
  return (static_cast<unsigned long>(dir) << 30) | (static_cast<unsigned long>(size) << 16) | (type << 8) | nr;
}
// The record size a request number carries.
constexpr size_t ioc_size(unsigned long request) { return (request >> 16) & 0x3FFF; }

}  // namespace tav
