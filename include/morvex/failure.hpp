// Morvex: the one exception type of the library.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "morvex/export.h"

namespace morvex {

// Codes of a failure. They follow the classic run-time error numbers that a
// calculator's hosts know: a failure of a container or of arithmetic is not an
// error of the line (those are ErrNumber/ErrFirst/ErrLength), it is a fault
// that unwinds to the nearest handler of the calculator or reaches the host.
namespace failure_code {
inline constexpr int32_t InvalidCall = 5;          // log of 0, unknown key, ...
inline constexpr int32_t Overflow = 6;             // double range, 16-bit position, 32-bit exponent
inline constexpr int32_t SubscriptOutOfRange = 9;  // a position a chain or table does not hold
inline constexpr int32_t DivisionByZero = 11;      // a number other than 0 divided by 0
inline constexpr int32_t TypeMismatch = 13;        // text that is not a number where one is demanded
inline constexpr int32_t OutOfStackSpace = 28;     // nesting of formulas or files too deep
inline constexpr int32_t ObjectNotSet = 91;        // a missing object: no stored chain, no Initialize
inline constexpr int32_t KeyInUse = 457;           // a key added twice to a chain or table
}  // namespace failure_code

// Every failure that leaves the library is of this type: a code from the list
// above and a message that says what failed.
class MORVEX_API Failure : public std::runtime_error {
 public:
  Failure(int32_t code, const std::string& message) : std::runtime_error(message), code_(code) {}
  int32_t code() const noexcept { return code_; }

 private:
  int32_t code_;
};

}  // namespace morvex
