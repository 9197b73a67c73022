// Conversions of Values as VBScript makes them: to numbers, to Boolean and to
// text (the rules of CDbl, CLng, CInt, CBool and CStr).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/script/script_budget.hpp"
#include "platform/script/script_value.hpp"

namespace morvex::script {

// Rounds to the nearest whole number, a tie to the even one.
double RoundHalfEven(double x);

// A string read as a number: type mismatch when it is none, overflow beyond the double range.
double TextToDouble(std::string_view text);
// Whether the value can be read as a number (IsNumeric).
bool IsNumericValue(const Value& value);

// CDbl: Empty is 0, True is -1; Null is "invalid use of Null"; arrays and non-numeric text are type mismatch.
double ToDouble(const Value& value);
// CLng and CInt: rounded half to even; overflow outside the type's range.
int32_t ToLong(const Value& value);
int16_t ToInteger(const Value& value);
// CBool: numbers are True unless 0; text is "True", "False" or a number.
bool ToBool(const Value& value);

// CStr: Empty is "", Booleans are "True" and "False", numbers as AppendDouble.
void AppendText(std::string& out, const Value& value);
std::string ToText(const Value& value);

// A string value made by the script: refused beyond the string limit, and
// charged to the run's budget by its length.
Value MakeString(std::string text, Budget& budget);
// Fails with "out of string space" if a string of `length` would be too long.
void CheckStringLength(size_t length);

}  // namespace morvex::script
