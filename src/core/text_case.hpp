// Case folding of line text. Lines are bytes, one character a byte, in the
// calculator's single-byte code page (Windows-1252), so case-blind comparison
// folds ASCII letters and the accented letters of that page alike.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace morvex {

namespace text_case {
constexpr unsigned char FoldUpper(unsigned char c) noexcept {
  if (c >= 'a' && c <= 'z') return static_cast<unsigned char>(c - 32);
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<unsigned char>(c - 32);
  switch (c) {
    case 0x9A: return 0x8A;  // s caron
    case 0x9C: return 0x8C;  // oe
    case 0x9E: return 0x8E;  // z caron
    case 0xFF: return 0x9F;  // y diaeresis
    default: return c;
  }
}
// Every byte's upper case, looked up: names are compared and hashed a byte at a time on every line.
inline constexpr std::array<unsigned char, 256> kUpper = [] {
  std::array<unsigned char, 256> upper{};
  for (int c = 0; c < 256; ++c) upper[static_cast<size_t>(c)] = FoldUpper(static_cast<unsigned char>(c));
  return upper;
}();
}  // namespace text_case

constexpr unsigned char UpperChar(unsigned char c) noexcept { return text_case::kUpper[c]; }

// A character can be part of a target name when its code is 65 to 90, 97 to
// 172: letters, and the characters of codes 123 to 172 alike.
constexpr bool IsNameChar(unsigned char c) noexcept { return !(c < 65 || (c >= 91 && c <= 96) || c > 172); }

inline std::string ToUpper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(UpperChar(static_cast<unsigned char>(c)));
  return upper;
}

inline bool EqualsIgnoreCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (UpperChar(static_cast<unsigned char>(a[i])) != UpperChar(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

}  // namespace morvex
