#include "core/errors.hpp"

#include <array>

#include "core/shared_state.hpp"

namespace morvex {

void CErrOcur::Reset() {
  NumError = 0;
  LengthError = 0;
  FirstError = 0;
  Formula.clear();
  Shared().gErrCode = 0;
}

std::string_view ErrorName(int32_t number) {
  // The names are the system's own texts; 8 starts with a blank, 9 ends with one.
  static constexpr std::array<std::string_view, 10> kNames = {
      "",
      "NotCreatable",
      "MultiplePoint",
      "Missmatch",
      "StringBadPosition",
      "OperatorBadPosition",
      "PowerBadPosition",
      "ParenthesisBadPosition",
      " NumberBadPosition",
      "FunctionBadPosition ",
  };
  if (number < 0 || number >= static_cast<int32_t>(kNames.size())) return "";
  return kNames[static_cast<size_t>(number)];
}

int16_t CheckedInt16(int64_t value) {
  if (value > INT16_MAX || value < INT16_MIN) {
    FailOverflow("a position or count exceeds 32,767");
  }
  return static_cast<int16_t>(value);
}

void FailOverflow(std::string_view what) { Fail(failure_code::Overflow, what); }

void Fail(int32_t code, std::string_view what) { throw Failure(code, std::string(what)); }

}  // namespace morvex
