#include "scanner/classify.hpp"

#include <array>

#include "chain/cell.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"

namespace morvex {
namespace {

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

constexpr std::array<int16_t, 256> kCharClasses = MakeCharClasses();

struct ReservedWord {
  std::string_view upper;
  int16_t code;
};

// In the order of the look-up.
constexpr std::array<ReservedWord, 20> kReservedWords = {{
    {"SIN", word_code::Sin},       {"COS", word_code::Cos},       {"TAN", word_code::Tan},
    {"COT", word_code::Cot},       {"ARCSIN", word_code::ArcSin}, {"ARCTAN", word_code::ArcTan},
    {"ARCCOS", word_code::ArcCos}, {"LOG", word_code::Log},       {"LN", word_code::Ln},
    {"XP", word_code::Xp},         {"E", word_code::E},           {"SQR", word_code::Sqr},
    {"PI", word_code::Pi},         {"ANS", word_code::Ans},       {"ARCCOT", word_code::ArcCot},
    {"FIX", word_code::Fix},       {"INT", word_code::Int},       {"SIGN", word_code::Sign},
    {"ZRTOON", word_code::ZrToOn}, {"ABS", word_code::Abs},
}};

}  // namespace

int16_t CharClass(char c) { return kCharClasses[static_cast<unsigned char>(c)]; }

void ClassifyChar(char c) {
  int16_t cls = kCharClasses[static_cast<unsigned char>(c)];
  if (cls != 0) Shared().gCharClass = cls;
}

bool IsUserVariableName(const VariableString& variables, std::string_view text) {
  const int32_t index = variables.IndexOfKey(text);
  return index >= var_index::FirstUser && variables.Item(index).Key == text;
}

int16_t ClassifyWord(std::string_view word, const VariableString& variables) {
  if (EqualsIgnoreCase(word, "XVAR")) return word_code::XVar;
  if (EqualsIgnoreCase(word, "YVAR")) return word_code::YVar;
  if (IsUserVariableName(variables, word)) return 0;
  if (word.size() > 6) return 0;  // longer than any reserved word
  for (const ReservedWord& reserved : kReservedWords) {
    if (EqualsIgnoreCase(word, reserved.upper)) return reserved.code;
  }
  return 0;
}

}  // namespace morvex
