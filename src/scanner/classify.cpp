#include "scanner/classify.hpp"

#include <array>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"

namespace morvex {
namespace {

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

void ClassifyChar(char c) {
  const int16_t cls = CharClass(c);
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
