// What the library uses of C++20 and the libc++ of Debian's Emscripten does
// not have yet: floating-point std::to_chars and std::from_chars, and
// std::make_unique_for_overwrite. The web build force-includes this header into
// every source file, so the library builds unchanged; with a standard library
// that has them this header adds nothing.
//
// The floating-point conversions go through the C library's correctly rounded
// printf and strtod, in the "C" locale that a WebAssembly program always runs
// in:
//  - to_chars without precision gives the shortest text that reads back as the
//    same double (for the format chosen, or the shorter of fixed and scientific);
//    with a precision it prints like printf's %e, %f or %g.
//  - from_chars takes exactly what std::from_chars takes (an optional '-', no
//    blanks, no '+', no hex prefix) and reports result_out_of_range where a
//    text overflows or underflows to zero.
// chars_format::hex is not provided (nothing in Morvex uses it): it gives
// invalid_argument.
#pragma once

#include <charconv>
#include <memory>
#include <type_traits>
#include <version>

#if !defined(__cpp_lib_smart_ptr_for_overwrite)
namespace std {
// Arrays of unknown bound only: the one form the library uses.
template <class T>
  requires is_unbounded_array_v<T>
unique_ptr<T> make_unique_for_overwrite(size_t n) {
  return unique_ptr<T>(new remove_extent_t<T>[n]);
}
}  // namespace std
#endif

// libc++ numbers its versions 13000 for 13.0 up to 15, and 160000 for 16.0 on.
// It has floating-point to_chars from 14, and from_chars from 20.
#if defined(_LIBCPP_VERSION) && _LIBCPP_VERSION < 200000
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

namespace morvex::compat {

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

inline bool StartsWithWord(const char* p, const char* last, const char* word) {
  for (; *word; ++p, ++word) {
    if (p == last || (*p | 0x20) != *word) return false;
  }
  return true;
}

// The end of the number text at `p` that std::from_chars would read, or
// nullptr when there is none.
inline const char* NumberTextEnd(const char* p, const char* last, std::chars_format fmt) {
  const bool digits_first = p < last && IsDigit(*p);
  while (p < last && IsDigit(*p)) ++p;
  bool digits = digits_first;
  if (p < last && *p == '.') {
    ++p;
    digits = digits || (p < last && IsDigit(*p));
    while (p < last && IsDigit(*p)) ++p;
  }
  if (!digits) return nullptr;
  bool exponent = false;
  if (fmt != std::chars_format::fixed && p < last && (*p == 'e' || *p == 'E')) {
    const char* q = p + 1;
    if (q < last && (*q == '+' || *q == '-')) ++q;
    if (q < last && IsDigit(*q)) {
      while (q < last && IsDigit(*q)) ++q;
      p = q;
      exponent = true;
    }
  }
  if (fmt == std::chars_format::scientific && !exponent) return nullptr;
  return p;
}

// printf into [first, last) without its terminating NUL.
inline std::to_chars_result Print(char* first, char* last, char conversion, int precision, double value) {
  const char format[] = {'%', '.', '*', conversion, '\0'};
  const int length = std::snprintf(nullptr, 0, format, precision, value);
  if (length < 0 || length > last - first) return {last, std::errc::value_too_large};
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), format, precision, value);
  std::char_traits<char>::copy(first, text.data(), static_cast<size_t>(length));
  return {first + length, std::errc()};
}

inline bool ReadsBack(const char* text, double value) { return std::strtod(text, nullptr) == value; }

// The fewest significant digits that read back as `value` (finite), and the
// decimal exponent of the first of them.
inline void ShortestDigits(double value, int& digits, int& exponent) {
  char text[40];
  for (digits = 1; digits < 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
    if (ReadsBack(text, value)) break;
  }
  std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
  const char* e = text;
  while (*e != 'e') ++e;
  exponent = std::atoi(e + 1);
}

inline std::to_chars_result Shortest(char* first, char* last, double value, std::chars_format fmt,
                                     bool either) {
  if (!std::isfinite(value)) return Print(first, last, 'e', 0, value);
  int digits = 0;
  int exponent = 0;
  ShortestDigits(value, digits, exponent);
  const int fixed_places = digits - 1 - exponent > 0 ? digits - 1 - exponent : 0;
  if (either) {
    // The shorter of the two forms; fixed when they are as long.
    const int fixed_length = std::snprintf(nullptr, 0, "%.*f", fixed_places, value);
    const int scientific_length = std::snprintf(nullptr, 0, "%.*e", digits - 1, value);
    fmt = fixed_length <= scientific_length ? std::chars_format::fixed : std::chars_format::scientific;
  }
  switch (fmt) {
    case std::chars_format::fixed: return Print(first, last, 'f', fixed_places, value);
    case std::chars_format::scientific: return Print(first, last, 'e', digits - 1, value);
    case std::chars_format::general: return Print(first, last, 'g', digits, value);
    default: return {first, std::errc::invalid_argument};
  }
}

}  // namespace morvex::compat

namespace std {

#if _LIBCPP_VERSION < 14000
inline to_chars_result to_chars(char* first, char* last, double value) {
  return morvex::compat::Shortest(first, last, value, chars_format::general, true);
}

inline to_chars_result to_chars(char* first, char* last, double value, chars_format fmt) {
  return morvex::compat::Shortest(first, last, value, fmt, false);
}

inline to_chars_result to_chars(char* first, char* last, double value, chars_format fmt, int precision) {
  if (precision < 0) precision = 6;
  switch (fmt) {
    case chars_format::fixed: return morvex::compat::Print(first, last, 'f', precision, value);
    case chars_format::scientific: return morvex::compat::Print(first, last, 'e', precision, value);
    case chars_format::general: return morvex::compat::Print(first, last, 'g', precision, value);
    default: return {first, errc::invalid_argument};
  }
}
#endif

inline from_chars_result from_chars(const char* first, const char* last, double& value,
                                    chars_format fmt = chars_format::general) {
  using morvex::compat::StartsWithWord;
  if (fmt == chars_format::hex) return {first, errc::invalid_argument};
  const char* p = first;
  const bool negative = p < last && *p == '-';
  if (negative) ++p;
  if (StartsWithWord(p, last, "inf")) {
    value = negative ? -HUGE_VAL : HUGE_VAL;
    return {p + (StartsWithWord(p, last, "infinity") ? 8 : 3), errc()};
  }
  if (StartsWithWord(p, last, "nan")) {
    p += 3;
    if (p < last && *p == '(') {
      const char* q = p + 1;
      while (q < last && (morvex::compat::IsDigit(*q) || ((*q | 0x20) >= 'a' && (*q | 0x20) <= 'z') || *q == '_')) ++q;
      if (q < last && *q == ')') p = q + 1;
    }
    value = negative ? -NAN : NAN;
    return {p, errc()};
  }
  const char* end = morvex::compat::NumberTextEnd(p, last, fmt);
  if (end == nullptr) return {first, errc::invalid_argument};
  const std::string text(first, end);
  errno = 0;
  const double read = std::strtod(text.c_str(), nullptr);
  if (errno == ERANGE && (read == 0 || std::isinf(read))) return {end, errc::result_out_of_range};
  value = read;
  return {end, errc()};
}

}  // namespace std
#endif
