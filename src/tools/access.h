// Single accesses of a stated width to mapped device memory. An address the
// width does not divide is still accessed once, without undefined behaviour.
#pragma once

#include <cstdint>
#include <cstring>

namespace tav {

template <typename T>
inline T load(const volatile void* at) {
  if (reinterpret_cast<uintptr_t>(at) % sizeof(T) == 0) return *static_cast<const volatile T*>(at);
  T v;
  memcpy(&v, const_cast<const void*>(at), sizeof v);
  return v;
}

template <typename T>
inline void store(volatile void* at, T v) {
  if (reinterpret_cast<uintptr_t>(at) % sizeof(T) == 0) {
    *static_cast<volatile T*>(at) = v;
    return;
  }
  memcpy(const_cast<void*>(at), &v, sizeof v);
}

}  // namespace tav
