// The fields of a memory block's attribute word, as the MMZ item packs them.
#pragma once

#include <cstdint>

#include "drivers/mmz.h"

namespace tav {

constexpr uint32_t mmb_prot(uint32_t attr) { return attr & 0xFF; }
constexpr uint32_t mmb_flags(uint32_t attr) { return (attr >> 8) & 0xFFF; }
constexpr bool mmb_cached(uint32_t attr) { return (attr >> 29) & 1; }
constexpr uint32_t mmb_attr(uint32_t prot, uint32_t flags, bool cached) {
  return (prot & 0xFF) | (flags & 0xFFF) << 8 | static_cast<uint32_t>(cached) << 29;
}

}  // namespace tav
