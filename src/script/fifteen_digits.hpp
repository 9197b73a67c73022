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
#include <cstring>
#include <limits>
#include <utility>

namespace morvex::digits {

// The longest text is 22 characters ("-1.79769313486232E+308").
inline constexpr int kFifteenDigitsBuffer = 32;

// A positive magnitude rounded to 15 significant digits: the digits without
// trailing zeros, and the decimal exponent of the first of them.
struct Rounded {
  char digits[15];
  int count = 0;
  int exponent = 0;
};

// The rounding by one multiplication or division by an exact power of ten,
// which covers the results of nearly every line. For `magnitude` from 2^-24 to
// 2^120 the power 10^k (|k| <= 22) is exact and p = magnitude * 10^k, scaled
// into [10^14, 10^15), is correctly rounded: it lies within half of its last
// binary place (at most 1/16) of the exact product. Its fraction is a multiple
// of that place, so unless it is exactly one half it sits on the same side of
// one half as the exact product, and rounding p to a whole number is the
// 15-digit rounding of the exact value. A product that falls a hair under
// 10^14 belongs one decimal place lower, where the grid is ten times finer,
// but it still lies within that grid's half step of 10^14: the rounding is the
// same. Returns false, leaving the work to RoundByText, outside that range and
// on a fraction of exactly one half.
inline bool RoundByScaling(double magnitude, Rounded& out) {
  static constexpr double kPowers[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  uint64_t bits = 0;
  std::memcpy(&bits, &magnitude, sizeof bits);  // the binary exponent's field
  const int binary = static_cast<int>((bits >> 52) & 0x7ff) - 1023;
  if (binary < -24 || binary > 119) return false;
  // floor(binary * log10(2)): the decimal exponent of the magnitude or one less.
  int exponent = (binary * 78913) >> 18;
  auto scaled = [magnitude](int k) { return k >= 0 ? magnitude * kPowers[k] : magnitude / kPowers[-k]; };
  double p = scaled(14 - exponent);
  if (p >= 1e15) p = scaled(14 - ++exponent);
  const auto whole = static_cast<int64_t>(p);  // p is positive: the cut is its floor
  const double fraction = p - static_cast<double>(whole);  // exact: both share the scale of p
  if (fraction == 0.5) return false;
  int64_t r = whole + (fraction > 0.5 ? 1 : 0);
  if (r == 1'000'000'000'000'000) {  // the rounding carried into a new digit
    r /= 10;
    ++exponent;
  }
  // At most 14 trailing zeros: dropped eight, four, two and one at a time.
  int count = 15;
  for (const auto& [zeros, unit] : {std::pair{8, 100'000'000}, {4, 10'000}, {2, 100}, {1, 10}}) {
    if (r % unit == 0) {
      r /= unit;
      count -= zeros;
    }
  }
  for (int i = count; i-- > 0; r /= 10) out.digits[i] = static_cast<char>('0' + r % 10);
  out.count = count;
  out.exponent = exponent;
  return true;
}

// The rounding of any positive finite magnitude, through the standard library's
// scientific text. The shortest text that reads back as the magnitude is its
// 15-digit rounding whenever it has 15 digits or fewer: the magnitude lies
// within half a unit of its last binary place of it, far inside half a step of
// the 15-digit grid. Only longer shortest texts, and subnormal values (whose
// last binary place is coarse), need the slower rounding of the exact value.
inline Rounded RoundByText(double magnitude) {
  char scientific[32];
  auto converted = std::to_chars(scientific, scientific + sizeof scientific, magnitude, std::chars_format::scientific);
  int significant = 0;
  for (const char* q = scientific; q < converted.ptr && *q != 'e'; ++q) significant += *q != '.';
  if (magnitude < std::numeric_limits<double>::min() || significant > 15) {
    converted = std::to_chars(scientific, scientific + sizeof scientific, magnitude, std::chars_format::scientific, 14);
  }
  const char* const scientific_end = converted.ptr;

  Rounded out;
  const char* q = scientific;
  out.digits[out.count++] = *q++;
  if (q < scientific_end && *q == '.') ++q;
  while (q < scientific_end && *q != 'e' && out.count < 15) out.digits[out.count++] = *q++;
  while (q < scientific_end && *q != 'e') ++q;
  if (q < scientific_end) {
    ++q;  // the 'e'
    std::from_chars(q + (*q == '+' ? 1 : 0), scientific_end, out.exponent);
  }
  while (out.count > 1 && out.digits[out.count - 1] == '0') --out.count;
  return out;
}

// Writes the plain or the exponent form of `rounded` at `p`.
inline char* LayOut(char* p, const Rounded& rounded) {
  const char* const digits = rounded.digits;
  const int count = rounded.count;
  const int exponent = rounded.exponent;
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
    return std::to_chars(p, p + 3, magnitude).ptr;
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
  // the plain form: its integer digits, without a detour through the rounding.
  if (x < 1e15 && x == static_cast<double>(static_cast<int64_t>(x))) {
    return std::to_chars(p, out + kFifteenDigitsBuffer, static_cast<int64_t>(x)).ptr;
  }
  Rounded rounded;
  if (!RoundByScaling(x, rounded)) rounded = RoundByText(x);
  return LayOut(p, rounded);
}

}  // namespace morvex::digits
