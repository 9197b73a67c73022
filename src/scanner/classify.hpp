// The scanner's vocabulary: the class of a character and the code of a word.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "chain/type_codes.hpp"
#include "core/variable_table.hpp"

namespace morvex {

// Word codes of the reserved words (never stored in a cell's NameStr).
namespace word_code {
inline constexpr int16_t Sin = 21, Cos = 22, Tan = 23, Cot = 24, ArcSin = 25, ArcCos = 26, ArcTan = 27,
                         Log = 28, Ln = 29, Xp = 30, E = 31, Sqr = 32, Pi = 33, Ans = 34, ArcCot = 35,
                         Fix = 36, XVar = 37, YVar = 38, Sign = 39, ZrToOn = 40, Abs = 41, Int = 42;
}

namespace char_classes {
// 0 marks a character without a class of its own.
constexpr std::array<int16_t, 256> MakeCharClasses() {
  std::array<int16_t, 256> classes{};
  classes[','] = TypeComma;
  classes['='] = TypeEquals;
  for (int c = 'A'; c <= 'Z'; ++c) classes[static_cast<size_t>(c)] = TypeChar;
  for (int c = 'a'; c <= 'z'; ++c) classes[static_cast<size_t>(c)] = TypeChar;
  classes['.'] = TypeNumber;
  for (int c = '0'; c <= '9'; ++c) classes[static_cast<size_t>(c)] = TypeNumber;
  classes['+'] = TypePlus;
  classes['-'] = TypePlus;
  classes['*'] = TypeOper;
  classes['/'] = TypeOper;
  classes['^'] = TypePower;
  classes['('] = TypeStart;
  classes[')'] = TypeEnd;
  classes['!'] = TypeFactorial;
  classes['<'] = TypeLess;
  classes['>'] = TypeGreater;
  classes['?'] = TypeQuestion;
  classes['['] = TypeOpenBracket;
  classes[']'] = TypeCloseBracket;
  classes['#'] = TypeHash;
  classes['@'] = TypeAt;
  classes[':'] = TypeColon;
  classes['|'] = TypeBar;
  return classes;
}

inline constexpr std::array<int16_t, 256> kCharClasses = MakeCharClasses();
}  // namespace char_classes

// Sets gCharClass to the class of `c`; a character without a class of its own
// keeps the class of the character before it (of the previous line, at the
// start of a line).
void ClassifyChar(char c);
// The class of `c`, 0 for a character without a class of its own.
inline int16_t CharClass(char c) { return char_classes::kCharClasses[static_cast<unsigned char>(c)]; }

// The word code of a reserved word, 0 for none. A user variable (from the
// fourth on) of exactly this spelling hides the reserved word; XVar and YVar
// cannot be hidden.
int16_t ClassifyWord(std::string_view word, const VariableString& variables);
// Whether a user variable (from the fourth on) is spelled exactly `text`.
bool IsUserVariableName(const VariableString& variables, std::string_view text);

}  // namespace morvex
