#include "scanner/classify.hpp"

#include <array>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"

namespace morvex {
namespace {

// A word of at most six characters as one number: its upper-cased bytes and
// its length, so that two words are equal without regard to case exactly when
// their numbers are. Case folding maps no other byte onto an ASCII letter.
constexpr uint64_t WordKey(std::string_view word) {
  uint64_t key = word.size();
  for (char ch : word) key = key << 8 | UpperChar(static_cast<unsigned char>(ch));
  return key;
}

struct ReservedWord {
  uint64_t key;
  int16_t code;
};

// In the order of the look-up.
constexpr std::array<ReservedWord, 20> kReservedWords = {{
    {WordKey("SIN"), word_code::Sin},       {WordKey("COS"), word_code::Cos},
    {WordKey("TAN"), word_code::Tan},       {WordKey("COT"), word_code::Cot},
    {WordKey("ARCSIN"), word_code::ArcSin}, {WordKey("ARCTAN"), word_code::ArcTan},
    {WordKey("ARCCOS"), word_code::ArcCos}, {WordKey("LOG"), word_code::Log},
    {WordKey("LN"), word_code::Ln},         {WordKey("XP"), word_code::Xp},
    {WordKey("E"), word_code::E},           {WordKey("SQR"), word_code::Sqr},
    {WordKey("PI"), word_code::Pi},         {WordKey("ANS"), word_code::Ans},
    {WordKey("ARCCOT"), word_code::ArcCot}, {WordKey("FIX"), word_code::Fix},
    {WordKey("INT"), word_code::Int},       {WordKey("SIGN"), word_code::Sign},
    {WordKey("ZRTOON"), word_code::ZrToOn}, {WordKey("ABS"), word_code::Abs},
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
  if (word.size() > 6) return 0;  // longer than any reserved word
  const uint64_t key = WordKey(word);
  if (key == WordKey("XVAR")) return word_code::XVar;
  if (key == WordKey("YVAR")) return word_code::YVar;
  for (const ReservedWord& reserved : kReservedWords) {
    if (key != reserved.key) continue;
    // The table is asked only about a reserved word, the one thing a user variable can hide.
    return IsUserVariableName(variables, word) ? 0 : reserved.code;
  }
  return 0;
}

}  // namespace morvex
