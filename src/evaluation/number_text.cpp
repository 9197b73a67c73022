#include "evaluation/number_text.hpp"

#include <charconv>
#include <cmath>
#include <limits>
#include <cstddef>
#include <cstdlib>
#include <system_error>

#include "script/fifteen_digits.hpp"

namespace morvex {
namespace {

// Significant digits a decimal needs so that its nearest double is decided:
// 767 for the worst halfway cases between two doubles. The reader keeps 768 and
// stands for any further non-zero digit with one more "1", so that a text of
// thousands of digits is read exactly as it is, from a buffer on the stack.
constexpr int kKeptDigits = 768;
// Beyond a decimal exponent of this size a number with at most 769 significant
// digits is certainly outside the double range (or certainly reads as 0).
constexpr int64_t kExponentLimit = 100000;
// Exponent digits stop adding up here; the result is the same as for any larger
// exponent, and the sum cannot overflow.
constexpr int64_t kExponentCap = 1'000'000'000'000;

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A number for a message, also a value that FormatNumber refuses.
std::string Describe(double x) {
  if (std::isnan(x)) return "not a number";
  if (std::isinf(x)) return x > 0 ? "infinity" : "-infinity";
  return std::string(FormatNumber(x).view());
}

// A text for a message: quoted, and cut short when it is long.
std::string Quote(std::string_view text) {
  constexpr std::size_t kShown = 40;
  std::string quoted = "\"";
  if (text.size() <= kShown) {
    quoted.append(text);
  } else {
    quoted.append(text.substr(0, kShown));
    quoted.append("...");
  }
  quoted += '"';
  return quoted;
}

[[noreturn]] void FailOverflow(const std::string& what) {
  throw Failure(failure_code::Overflow, "overflow: " + what + " exceeds the range of a number");
}

[[noreturn]] void FailInvalidCall(const std::string& what) {
  throw Failure(failure_code::InvalidCall, "invalid call: " + what);
}

[[noreturn]] void FailDivisionByZero(double a) {
  throw Failure(failure_code::DivisionByZero, "division by zero: " + Describe(a) + "/0");
}

[[noreturn]] void FailNotANumber(std::string_view text) {
  throw Failure(failure_code::TypeMismatch, "type mismatch: " + Quote(text) + " is not a number");
}

// The reading of ReadNumber and ReadNumberStrict. `strict` allows blanks only
// around the number and demands that the number fills the text.
double Read(std::string_view text, bool strict) {
  const char* p = text.data();
  const char* const end = p + text.size();
  auto skip_blanks = [&] {
    while (p < end && IsBlank(*p)) ++p;
  };
  auto skip_inner_blanks = [&] {
    if (!strict) skip_blanks();
  };

  skip_blanks();
  bool negative = false;
  if (p < end && (*p == '+' || *p == '-')) {
    negative = *p == '-';
    ++p;
    skip_inner_blanks();
  }

  // Mantissa: the significant digits (leading zeros left out), the count of them
  // before the point, and the zeros between the point and the first of them.
  char digits[kKeptDigits];
  int kept = 0;
  bool dropped_non_zero = false;
  bool any_digit = false;
  bool point = false;
  int64_t whole_digits = 0;
  int64_t zeros_after_point = 0;
  while (p < end) {
    const char c = *p;
    if (IsDigit(c)) {
      any_digit = true;
      if (kept == 0 && c == '0') {
        if (point) ++zeros_after_point;
      } else {
        if (!point) ++whole_digits;
        if (kept < kKeptDigits) {
          digits[kept++] = c;
        } else if (c != '0') {
          dropped_non_zero = true;
        }
      }
    } else if (c == '.' && !point) {
      point = true;
    } else {
      break;
    }
    ++p;
    skip_inner_blanks();
  }

  // Exponent: taken only when a digit follows the mark and its sign; "2E" and
  // "2E+" end before the mark.
  int64_t exponent = 0;
  if (any_digit && p < end && (*p == 'E' || *p == 'e')) {
    const char* const mark = p;
    ++p;
    skip_inner_blanks();
    bool exponent_negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
      exponent_negative = *p == '-';
      ++p;
      skip_inner_blanks();
    }
    if (p < end && IsDigit(*p)) {
      while (p < end && IsDigit(*p)) {
        if (exponent < kExponentCap) exponent = exponent * 10 + (*p - '0');
        ++p;
        skip_inner_blanks();
      }
      if (exponent_negative) exponent = -exponent;
    } else {
      p = mark;
    }
  }

  if (strict) {
    skip_blanks();
    if (!any_digit || p != end) FailNotANumber(text);
  }
  if (kept == 0) return 0.0;  // no digits, or only zeros

  // Decimal exponent of the first significant digit.
  int64_t first_exponent = whole_digits > 0 ? whole_digits - 1 : -(zeros_after_point + 1);
  first_exponent += exponent;
  if (first_exponent > kExponentLimit) first_exponent = kExponentLimit;
  if (first_exponent < -kExponentLimit) first_exponent = -kExponentLimit;

  // Up to 15 significant digits make a whole number below 2^53, and 10^22 is
  // the largest power of ten a double holds exactly: then one multiplication
  // or division of two exact values is the correctly rounded reading, the
  // same double that from_chars gives, at a fraction of its cost.
  constexpr int kExactDigits = 15;
  constexpr int kExactPower = 22;
  const int64_t scale = first_exponent - (kept - 1);
  if (kept <= kExactDigits && !dropped_non_zero && scale >= -kExactPower && scale <= kExactPower) {
    static constexpr double kPowers[kExactPower + 1] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                         1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                         1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    int64_t whole = 0;
    for (int i = 0; i < kept; ++i) whole = whole * 10 + (digits[i] - '0');
    const double mantissa = static_cast<double>(whole);
    const double value = scale >= 0 ? mantissa * kPowers[scale] : mantissa / kPowers[-scale];
    return negative ? -value : value;
  }

  // "d.ddd...e<exponent>" on the stack, read by from_chars.
  char buffer[kKeptDigits + 24];
  int n = 0;
  buffer[n++] = digits[0];
  if (kept > 1 || dropped_non_zero) {
    buffer[n++] = '.';
    for (int i = 1; i < kept; ++i) buffer[n++] = digits[i];
    if (dropped_non_zero) buffer[n++] = '1';
  }
  buffer[n++] = 'e';
  const auto written = std::to_chars(buffer + n, buffer + sizeof buffer, first_exponent);
  n = static_cast<int>(written.ptr - buffer);

  double value = 0.0;
  const auto result = std::from_chars(buffer, buffer + n, value);
  if (result.ec == std::errc::result_out_of_range) {
    if (first_exponent > 0) FailOverflow("the number " + Quote(text));
    return 0.0;  // too small for a double
  }
  if (result.ec != std::errc() || result.ptr != buffer + n) FailNotANumber(text);
  return negative ? -value : value;
}

}  // namespace

NumberText FormatNumber(double x) {
  if (!std::isfinite(x)) {
    if (std::isnan(x)) FailInvalidCall("a result that is not a number has no text");
    FailOverflow(Describe(x));
  }
  static_assert(sizeof(NumberText::chars) >= digits::kFifteenDigitsBuffer);
  NumberText out;
  out.length = static_cast<uint8_t>(digits::WriteFifteenDigits(out.chars, x) - out.chars);
  return out;
}

std::string NumberToText(double x) { return std::string(FormatNumber(x).view()); }

namespace {

// The text of nearly every cell: an optional minus, at most 15 digits and at
// most one point. Its digits make a whole number below 2^53 and the point a
// division by an exact power of ten: the value that Read gives (0 for zeros of
// either sign), without its general walk. Both readings take such a text.
[[gnu::always_inline]] inline bool ReadPlainNumber(std::string_view text, double& value) {
  static constexpr double kPowers[16] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const char* p = text.data();
  const char* const end = p + text.size();
  const bool negative = p != end && *p == '-';
  p += negative;
  const std::ptrdiff_t length = end - p;
  if (length == 0 || length > 16) return false;
  const char* point = nullptr;
  int64_t whole = 0;
  for (; p != end; ++p) {
    const unsigned digit = static_cast<unsigned char>(*p) - unsigned{'0'};
    if (digit < 10) {
      whole = whole * 10 + digit;
    } else if (*p == '.' && point == nullptr) {
      point = p;
    } else {
      return false;
    }
  }
  const std::ptrdiff_t digits = length - (point != nullptr);
  if (digits == 0 || digits > 15) return false;
  const std::ptrdiff_t decimals = point != nullptr ? end - point - 1 : 0;
  const double magnitude = static_cast<double>(whole) / kPowers[decimals];
  value = whole == 0 ? 0.0 : negative ? -magnitude : magnitude;
  return true;
}

}  // namespace

bool IsOwnNumberText(std::string_view text) {
  size_t i = !text.empty() && text[0] == '-' ? 1 : 0;
  const bool negative = i == 1;
  const size_t wholeStart = i;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
  const size_t wholeDigits = i - wholeStart;
  if (wholeDigits == 0 || (wholeDigits > 1 && text[wholeStart] == '0')) return false;
  size_t fractionDigits = 0;
  if (i < text.size()) {
    if (text[i] != '.') return false;
    for (++i; i < text.size(); ++i, ++fractionDigits) {
      if (text[i] < '0' || text[i] > '9') return false;
    }
    if (fractionDigits == 0 || text.back() == '0') return false;
  }
  if (wholeDigits + fractionDigits > 15) return false;
  // "-0" reads as 0, whose text has no minus.
  return !(negative && fractionDigits == 0 && text[wholeStart] == '0');
}

double ReadNumber(std::string_view text) {
  double value;
  return ReadPlainNumber(text, value) ? value : Read(text, false);
}

double ReadNumberStrict(std::string_view text) {
  double value;
  return ReadPlainNumber(text, value) ? value : Read(text, true);
}

double WholePart(double x) { return std::floor(x); }

int32_t RoundToLong(double x) {
  if (std::isnan(x)) FailOverflow("a value that is not a number as a 32-bit whole number");
  double whole = std::floor(x);
  if (std::isfinite(x)) {
    const double fraction = x - whole;  // exact: both share the scale of x
    if (fraction > 0.5 || (fraction == 0.5 && std::fmod(whole, 2.0) != 0.0)) whole += 1.0;
  }
  if (!(whole >= -2147483648.0 && whole <= 2147483647.0)) {
    FailOverflow(Describe(x) + " as a 32-bit whole number");
  }
  return static_cast<int32_t>(whole);
}

double CheckedAdd(double a, double b) {
  const double result = a + b;
  if (!std::isfinite(result)) FailOverflow(Describe(a) + "+" + Describe(b));
  return result;
}

double CheckedSubtract(double a, double b) {
  const double result = a - b;
  if (!std::isfinite(result)) FailOverflow(Describe(a) + "-" + Describe(b));
  return result;
}

double CheckedMultiply(double a, double b) {
  const double result = a * b;
  if (!std::isfinite(result)) FailOverflow(Describe(a) + "*" + Describe(b));
  return result;
}

double CheckedDivide(double a, double b) {
  if (b == 0) {
    if (a == 0) throw Failure(failure_code::Overflow, "overflow: 0/0 has no value that a number can hold");
    FailDivisionByZero(a);
  }
  const double result = a / b;
  if (!std::isfinite(result)) FailOverflow(Describe(a) + "/" + Describe(b));
  return result;
}

double CheckedPower(double base, double exponent) {
  if (base == 0 && exponent < 0) {
    throw Failure(failure_code::DivisionByZero,
                  "division by zero: 0^" + Describe(exponent) + " is 1 divided by 0");
  }
  const double result = std::pow(base, exponent);
  if (std::isnan(result)) {
    FailInvalidCall(Describe(base) + "^" + Describe(exponent) + " has no real value");
  }
  if (std::isinf(result)) FailOverflow(Describe(base) + "^" + Describe(exponent));
  return result;
}

double CheckedExp(double x) {
  const double result = std::exp(x);
  if (std::isnan(result)) FailInvalidCall("e^" + Describe(x) + " has no value");
  if (std::isinf(result)) FailOverflow("e^" + Describe(x));
  return result;
}

double CheckedLog(double x) {
  if (!(x > 0)) FailInvalidCall("the logarithm of " + Describe(x) + " is not defined");
  const double result = std::log(x);
  if (!std::isfinite(result)) FailOverflow("the logarithm of " + Describe(x));
  return result;
}

double CheckedSqrt(double x) {
  if (!(x >= 0)) FailInvalidCall("the square root of " + Describe(x) + " is not defined");
  const double result = std::sqrt(x);
  if (!std::isfinite(result)) FailOverflow("the square root of " + Describe(x));
  return result;
}

}  // namespace morvex
