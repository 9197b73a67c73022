// The fourteen successor flags that say what may stand next to a cell, and the
// shared successor template gNext that carries a row of them from the
// successor table to the cells the scanner makes.
#pragma once

#include <cstdint>

namespace morvex {

// The fourteen successor flags, as bits of one word.
using Flags = uint16_t;
namespace flag {
inline constexpr Flags BNumber = 1u << 0;
inline constexpr Flags BFirst = 1u << 1;
inline constexpr Flags BOper = 1u << 2;
inline constexpr Flags BSign = 1u << 3;
inline constexpr Flags BPower = 1u << 4;
inline constexpr Flags BLast = 1u << 5;
inline constexpr Flags BStart = 1u << 6;
inline constexpr Flags BEnd = 1u << 7;
inline constexpr Flags BFunction = 1u << 8;
inline constexpr Flags BPlus = 1u << 9;
inline constexpr Flags BAns = 1u << 10;
inline constexpr Flags BExtra = 1u << 11;
inline constexpr Flags BChar = 1u << 12;
inline constexpr Flags BPowerNum = 1u << 13;
inline constexpr Flags All = (1u << 14) - 1;
// The pattern that callers pass to Add when they go on to overwrite the flags.
inline constexpr Flags AddPattern = BFirst | BSign | BLast | BEnd | BChar | BPowerNum;
}  // namespace flag

// The successor template: the row of the code last assigned to any cell, and
// the depth of open parentheses those assignments have counted (StartNumber).
class SuccessorTemplate {
 public:
  Flags GetFlags() const noexcept { return flags_; }
  void SetFlags(Flags flags) noexcept { flags_ = flags & flag::All; }
  bool Has(Flags f) const noexcept { return (flags_ & f) != 0; }
  int16_t StartNumber() const noexcept { return startNumber_; }
  void StartNumber(int16_t depth) noexcept { startNumber_ = depth; }

 private:
  Flags flags_ = 0;
  int16_t startNumber_ = 0;
};

}  // namespace morvex
