// Number text: the only doors between the text of a cell and a double, and the
// checked arithmetic that every reduction step uses.
//
// A value lives in a cell as text between two reduction steps. Each step reads
// its operands from text, computes in double precision and writes the result
// back with at most 15 significant digits, so the text form decides what the
// next step sees (the text of pi is "3.14159265358979", not the double nearest
// to pi). All conversions are locale-free and do not touch the heap, except
// NumberToText, which returns a std::string, and the messages of failures.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "morvex/failure.hpp"

namespace morvex {

// Text of a number, held inline: NumberToText never allocates through this form.
// The longest text is 22 characters ("-1.79769313486232E+308").
struct NumberText {
  char chars[32];
  uint8_t length = 0;
  std::string_view view() const { return {chars, length}; }
};

// The text of `x`: the magnitude rounded to nearest with 15 significant digits
// from its exact binary value, trailing zeros dropped. Plain form ("0.5",
// "999999999999999", "0.000000000000015") unless the exponent of the first digit
// is 15 or more, or a plain form below 1 would need more than 15 decimals; then
// the exponent form "1.5E-15", "1E+15", "8.33333333333333E-02". Zero of either
// sign is "0". Infinities fail with code 6, not-a-number values with code 5:
// neither ever stands in a cell.
NumberText FormatNumber(double x);
std::string NumberToText(double x);  // FormatNumber as a string

// Lenient reading: blanks, tabs and line feeds are skipped wherever they stand;
// then an optional sign, digits with at most one point, and optionally "E" or "e"
// with an optional sign and at least one digit. Reading stops at the first
// character that cannot continue the number and keeps what it has ("12abc" is
// 12, "1.2.3" is 1.2, "2E" is 2); no digits give 0. A number beyond the double
// range fails with code 6; one too small for a double reads as a denormal or 0.
double ReadNumber(std::string_view text);

// Strict reading: the same syntax, blanks allowed only around the number, and
// the text must be a number from end to end, else failure 13 ("", "2 3",
// "1.2.3", "2E", "abc"). Beyond the double range: failure 6.
double ReadNumberStrict(std::string_view text);

// True when `text` is the text that FormatNumber gives for the number it reads
// as: a minus only before a number other than 0, no leading zeros, no zeros
// ending a fraction, no exponent, at most 15 digits ("0", "-12", "0.25").
bool IsOwnNumberText(std::string_view text);

// The largest whole number not above x: -2.5 gives -3.
double WholePart(double x);

// x rounded to the nearest whole number, a tie to the even one (2.5 gives 2,
// 3.5 gives 4). Failure 6 outside the 32-bit signed range and for NaN.
int32_t RoundToLong(double x);

// Checked arithmetic. Each operation raises morvex::Failure:
//   6  overflow: the result exceeds the double range;
//   11 division by zero: a number other than 0 divided by 0;
//   5  invalid call: the logarithm of 0 or less, the square root of a negative
//      number, a power without a real result (negative base, fractional exponent).
// A result too small for a double is no failure: it becomes a denormal or 0.
double CheckedAdd(double a, double b);
double CheckedSubtract(double a, double b);
double CheckedMultiply(double a, double b);
// 0 / 0 has no value at all; it fails as an overflow (code 6), the answer of the
// calculator's arithmetic to a result that no number can hold. Only a non-zero
// number divided by 0 is the division by zero (code 11).
double CheckedDivide(double a, double b);
// base ^ exponent. Overflow is code 6; a negative base with a fractional exponent
// is code 5; 0 to a negative power is 1 divided by 0, code 11.
double CheckedPower(double base, double exponent);
double CheckedExp(double x);   // e to the power x; overflow is code 6
double CheckedLog(double x);   // natural logarithm; x <= 0 is code 5
double CheckedSqrt(double x);  // x < 0 is code 5

}  // namespace morvex
