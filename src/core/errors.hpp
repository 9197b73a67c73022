// The error of a line (CErrOcur), the side texts of a line (Report), the names
// of the error numbers, and the failures of counters and containers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "morvex/failure.hpp"

namespace morvex {

// The error of the current line: number, name and the 1-based place of the
// offending cell in the text that the chain spelled when the error was found.
// That text is the line's, or, when Formula names a formula word, the text of
// that formula as the second chain spelled it.
struct CErrOcur {
  int32_t FirstError = 0;
  int32_t LengthError = 0;
  int32_t NumError = 0;
  std::string DescError;
  std::string Formula;  // the formula word whose text holds the place; "" for the line

  // Clears number, length and place (and gErrCode); the description stays.
  void Reset();
};

// Side texts of a line.
struct Report {
  std::string StrVariable;  // the target name of the line
  std::string StrEnd;       // the trailing text of the line
  std::string StrInput;     // emptied only
  std::string StrOutput;    // emptied only
};

// Error numbers of a line.
namespace error_number {
inline constexpr int32_t NotCreatable = 1;
inline constexpr int32_t MultiplePoint = 2;
inline constexpr int32_t Missmatch = 3;
inline constexpr int32_t StringBadPosition = 4;
inline constexpr int32_t OperatorBadPosition = 5;
inline constexpr int32_t PowerBadPosition = 6;
inline constexpr int32_t ParenthesisBadPosition = 7;
inline constexpr int32_t NumberBadPosition = 8;
inline constexpr int32_t FunctionBadPosition = 9;
inline constexpr int32_t Unfinished = 13;
}  // namespace error_number

// The name of an error number; "" for any number without a name (0, 13, ...).
std::string_view ErrorName(int32_t number);

// 16-bit positions and counts: beyond the range is the overflow failure.
int16_t CheckedInt16(int64_t value);

[[noreturn]] void FailOverflow(std::string_view what);
[[noreturn]] void Fail(int32_t code, std::string_view what);

}  // namespace morvex
