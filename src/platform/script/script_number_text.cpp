#include "platform/script/script_number_text.hpp"

#include <charconv>
#include <cmath>
#include <cstring>

namespace morvex::script {

void AppendInteger(std::string& out, int64_t value) {
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

void AppendDouble(std::string& out, double value) {
  if (value == 0 || !std::isfinite(value)) {
    // Arithmetic fails before it makes an infinity; a zero of either sign is "0".
    out += value == 0 ? "0" : (std::isnan(value) ? "NaN" : (value > 0 ? "Infinity" : "-Infinity"));
    return;
  }
  // 15 significant digits, rounded from the exact binary value.
  char buffer[40];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value), std::chars_format::scientific, 14);
  // buffer: d.dddddddddddddde[+-]xx
  char digits[16];
  int count = 0;
  const char* p = buffer;
  for (; p < result.ptr && *p != 'e'; ++p) {
    if (*p != '.') digits[count++] = *p;
  }
  int exponent = 0;
  std::from_chars(p + 1 + (p[1] == '+' ? 1 : 0), result.ptr, exponent);
  while (count > 1 && digits[count - 1] == '0') --count;

  if (value < 0) out += '-';
  int decimals = count - exponent - 1;
  if (exponent >= 15 || (exponent < 0 && decimals > 15)) {
    out += digits[0];
    if (count > 1) {
      out += '.';
      out.append(digits + 1, digits + count);
    }
    out += 'E';
    out += exponent < 0 ? '-' : '+';
    int magnitude = exponent < 0 ? -exponent : exponent;
    if (magnitude < 10) out += '0';
    AppendInteger(out, magnitude);
    return;
  }
  if (exponent >= 0) {
    if (count <= exponent + 1) {
      out.append(digits, digits + count);
      out.append(static_cast<size_t>(exponent + 1 - count), '0');
    } else {
      out.append(digits, digits + exponent + 1);
      out += '.';
      out.append(digits + exponent + 1, digits + count);
    }
    return;
  }
  out += "0.";
  out.append(static_cast<size_t>(-exponent - 1), '0');
  out.append(digits, digits + count);
}

namespace {

constexpr size_t kMaxNumberText = 4096;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

NumberParse ParseRadix(std::string_view digits, int radix, double& value) {
  if (digits.empty()) return NumberParse::NotANumber;
  bool force_long = false;
  if (digits.back() == '&') {
    force_long = true;
    digits.remove_suffix(1);
  }
  uint64_t magnitude = 0;
  auto result = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, radix);
  if (result.ec == std::errc::result_out_of_range) return NumberParse::Overflow;
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) return NumberParse::NotANumber;
  if (magnitude > 0xFFFFFFFFull) return NumberParse::Overflow;
  // Up to 16 bits the digits are an Integer's bit pattern, up to 32 a Long's.
  if (!force_long && magnitude <= 0xFFFFu) {
    value = static_cast<int16_t>(static_cast<uint16_t>(magnitude));
  } else {
    value = static_cast<int32_t>(static_cast<uint32_t>(magnitude));
  }
  return NumberParse::Ok;
}

// Whether a decimal text out of the double range lies below it (a value that
// becomes zero) rather than above it.
bool IsTiny(const char* text, size_t n) {
  const char* end = text + n;
  const char* e = static_cast<const char*>(std::memchr(text, 'e', n));
  const char* mantissa_end = e != nullptr ? e : end;
  int64_t decimal_exponent = 0;
  bool seen_point = false;
  bool found = false;
  int64_t integer_digits = 0;
  int64_t leading_fraction_zeros = 0;
  for (const char* p = text; p < mantissa_end && !found; ++p) {
    if (*p == '.') {
      seen_point = true;
    } else if (*p != '0') {
      found = true;
      if (!seen_point) {
        for (const char* q = p; q < mantissa_end && *q != '.'; ++q) ++integer_digits;
      }
    } else if (seen_point) {
      ++leading_fraction_zeros;
    }
  }
  if (!found) return true;
  decimal_exponent = integer_digits > 0 ? integer_digits - 1 : -(leading_fraction_zeros + 1);
  if (e != nullptr) {
    const char* p = e + 1;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';
    int64_t written = 0;
    for (; p < end; ++p) {
      if (written < 100000000) written = written * 10 + (*p - '0');
    }
    decimal_exponent += negative ? -written : written;
  }
  return decimal_exponent < 0;
}

}  // namespace

NumberParse ParseNumber(std::string_view text, double& value) {
  // No number needs this many characters; refusing longer texts at once keeps
  // every conversion cheap.
  if (text.size() > kMaxNumberText) return NumberParse::NotANumber;
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  text = text.substr(begin, end - begin);
  if (text.empty()) return NumberParse::NotANumber;

  if (text.size() >= 2 && text[0] == '&') {
    char kind = static_cast<char>(text[1] | 0x20);
    if (kind == 'h') return ParseRadix(text.substr(2), 16, value);
    if (kind == 'o') return ParseRadix(text.substr(2), 8, value);
    return ParseRadix(text.substr(1), 8, value);
  }

  // Check the shape first: from_chars would accept "inf", "nan" and hex floats.
  char buffer[64];
  std::string long_copy;
  char* copy = buffer;
  if (text.size() >= sizeof buffer) {
    long_copy.resize(text.size());
    copy = long_copy.data();
  }
  size_t n = 0;
  size_t i = 0;
  bool negative = false;
  if (text[i] == '+' || text[i] == '-') {
    negative = text[i] == '-';
    ++i;
  }
  size_t mantissa_digits = 0;
  bool point = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    if (c >= '0' && c <= '9') {
      ++mantissa_digits;
      copy[n++] = c;
    } else if (c == '.' && !point) {
      point = true;
      copy[n++] = c;
    } else {
      break;
    }
  }
  if (mantissa_digits == 0) return NumberParse::NotANumber;
  if (i < text.size()) {
    char c = static_cast<char>(text[i] | 0x20);
    if (c != 'e' && c != 'd') return NumberParse::NotANumber;
    copy[n++] = 'e';
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) copy[n++] = text[i++];
    size_t exponent_digits = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
      copy[n++] = text[i];
      ++exponent_digits;
    }
    if (exponent_digits == 0 || i != text.size()) return NumberParse::NotANumber;
  }
  double parsed = 0;
  auto result = std::from_chars(copy, copy + n, parsed, std::chars_format::general);
  if (result.ec == std::errc::result_out_of_range) {
    // Too small is zero; too large is an overflow.
    if (!IsTiny(copy, n)) return NumberParse::Overflow;
    parsed = 0;
  } else if (result.ec != std::errc() || result.ptr != copy + n) {
    return NumberParse::NotANumber;
  }
  if (!std::isfinite(parsed)) return NumberParse::Overflow;
  value = negative ? -parsed : parsed;
  return NumberParse::Ok;
}

}  // namespace morvex::script
