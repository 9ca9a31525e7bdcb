// Sums and differences of values a driver hands back. A broken device can
// return any bits, so the arithmetic wraps as the board's 32-bit integers do
// instead of overflowing, which C++ leaves undefined.
#pragma once

namespace tav {

inline int wrapping_add(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b)); }
inline int wrapping_sub(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b)); }

}  // namespace tav
