// The bits of a double, to tell two values apart exactly (0 from -0, one NaN
// from another) where == would not. Copied rather than cast: the compilers of
// every build, the web build's among them, know std::memcpy.
#pragma once

#include <cstdint>
#include <cstring>

namespace morvex::detail {

inline uint64_t BitsOf(double x) noexcept {
  uint64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}

inline double DoubleOf(uint64_t bits) noexcept {
  double x;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

}  // namespace morvex::detail
