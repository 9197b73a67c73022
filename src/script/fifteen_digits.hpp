// The 15-digit text of a double: the one number writer of the script engine's
// CStr and of the calculator's cells. It needs nothing but the standard
// library, and the script engine is a unit that every layer may include.
//
// The magnitude is rounded to nearest with 15 significant digits from its exact
// binary value, trailing zeros dropped. Plain form ("0.5", "999999999999999",
// "0.000000000000015") unless the exponent of the first digit is 15 or more, or
// a plain form below 1 would need more than 15 decimals; then the exponent form
// "1.5E-15", "1E+15", "8.33333333333333E-02". Zero of either sign is "0".
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace morvex::digits {

// The longest text is 22 characters ("-1.79769313486232E+308").
inline constexpr int kFifteenDigitsBuffer = 32;

// Writes the text of a finite `x` at `out` (room for kFifteenDigitsBuffer
// characters) and returns the end of it. Never allocates.
inline char* WriteFifteenDigits(char* out, double x) {
  char* p = out;
  if (x == 0) {
    *p++ = '0';
    return p;
  }
  if (x < 0) {
    *p++ = '-';
    x = -x;
  }
  // A whole number below 10^15 is its own 15-digit rounding and always takes
  // the plain form: its integer digits, without the detour through the
  // scientific text. Most results of a line are such numbers.
  if (x < 1e15 && x == static_cast<double>(static_cast<int64_t>(x))) {
    return std::to_chars(p, out + kFifteenDigitsBuffer, static_cast<int64_t>(x)).ptr;
  }

  // "d.dddddddddddddde+XX". The shortest text that reads back as x is the
  // 15-digit rounding whenever it has 15 digits or fewer: x lies within half a
  // unit of its last binary place of it, far inside half a step of the 15-digit
  // grid. Only longer shortest texts, and subnormal values (whose last binary
  // place is coarse), need the slower rounding of the exact value.
  char scientific[32];
  auto converted = std::to_chars(scientific, scientific + sizeof scientific, x, std::chars_format::scientific);
  int significant = 0;
  for (const char* q = scientific; q < converted.ptr && *q != 'e'; ++q) significant += *q != '.';
  if (x < std::numeric_limits<double>::min() || significant > 15) {
    converted = std::to_chars(scientific, scientific + sizeof scientific, x, std::chars_format::scientific, 14);
  }
  const char* const scientific_end = converted.ptr;

  char digits[15];
  int count = 0;
  const char* q = scientific;
  digits[count++] = *q++;
  if (q < scientific_end && *q == '.') ++q;
  while (q < scientific_end && *q != 'e' && count < 15) digits[count++] = *q++;
  while (q < scientific_end && *q != 'e') ++q;
  int exponent = 0;
  if (q < scientific_end) {
    ++q;  // the 'e'
    std::from_chars(q + (*q == '+' ? 1 : 0), scientific_end, exponent);
  }
  while (count > 1 && digits[count - 1] == '0') --count;

  const bool exponent_form = exponent >= 15 || (exponent < 0 && count - exponent - 1 > 15);
  if (exponent_form) {
    *p++ = digits[0];
    if (count > 1) {
      *p++ = '.';
      for (int i = 1; i < count; ++i) *p++ = digits[i];
    }
    *p++ = 'E';
    *p++ = exponent < 0 ? '-' : '+';
    const int magnitude = std::abs(exponent);
    if (magnitude < 10) *p++ = '0';
    return std::to_chars(p, out + kFifteenDigitsBuffer, magnitude).ptr;
  }
  if (exponent >= 0) {
    const int whole_places = exponent + 1;
    for (int i = 0; i < whole_places; ++i) *p++ = i < count ? digits[i] : '0';
    if (count > whole_places) {
      *p++ = '.';
      for (int i = whole_places; i < count; ++i) *p++ = digits[i];
    }
    return p;
  }
  *p++ = '0';
  *p++ = '.';
  for (int i = 0; i < -exponent - 1; ++i) *p++ = '0';
  for (int i = 0; i < count; ++i) *p++ = digits[i];
  return p;
}

}  // namespace morvex::digits
