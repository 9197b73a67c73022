// The scanner's vocabulary: the class of a character and the code of a word.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/variable_table.hpp"

namespace morvex {

// Word codes of the reserved words (never stored in a cell's NameStr).
namespace word_code {
inline constexpr int16_t Sin = 21, Cos = 22, Tan = 23, Cot = 24, ArcSin = 25, ArcCos = 26, ArcTan = 27,
                         Log = 28, Ln = 29, Xp = 30, E = 31, Sqr = 32, Pi = 33, Ans = 34, ArcCot = 35,
                         Fix = 36, XVar = 37, YVar = 38, Sign = 39, ZrToOn = 40, Abs = 41, Int = 42;
}

// Sets gCharClass to the class of `c`; a character without a class of its own
// keeps the class of the character before it (of the previous line, at the
// start of a line).
void ClassifyChar(char c);
// The class of `c`, 0 for a character without a class of its own.
int16_t CharClass(char c);

// The word code of a reserved word, 0 for none. A user variable (from the
// fourth on) of exactly this spelling hides the reserved word; XVar and YVar
// cannot be hidden.
int16_t ClassifyWord(std::string_view word, const VariableString& variables);
// Whether a user variable (from the fourth on) is spelled exactly `text`.
bool IsUserVariableName(const VariableString& variables, std::string_view text);

}  // namespace morvex
