// The formula words of a range: finding them, taking their operands into XVar
// and YVar, and the rounds that put their definitions in their place, shared
// by the silent run and the calculation run.
#pragma once

#include <cstdint>
#include <string>

#include "evaluation/reducer.hpp"
#include "evaluation/reduction.hpp"

namespace morvex::detail {

// The formula stage's action on the variable whose name stands at `at`: a
// plain one writes its value; a formula takes the number on its right into
// XVar and/or the one on its left into YVar (removing those cells; `at` then
// follows the word). Returns the number of operand cells removed.
int32_t TakeOperands(Reduction& r, int32_t& at, const Class1& variable);

// A formula word of the range: the first cell from `top` down to first + 1
// whose text is the name of a variable from the fourth on (of a formula
// variable only, when `formulasOnly`), compared without regard to case.
struct FormulaWord {
  int32_t at = 0;  // 0 when there is none
  int32_t variable = 0;
};
FormulaWord FindFormulaWord(const Reduction& r, int32_t top, bool formulasOnly);

// Puts the cells of a definition (the stored text of the formula word
// `formula`) in the place of the word at `at`, after `removed` operand cells went.
using FormulaExpansion = void (*)(Reduction& r, int32_t at, int32_t removed, const std::string& formula,
                                  const std::string& text);

// The rounds of the formula stage that the silent run and the calculation run
// share: XVar and YVar go to 0; the first formula word from `belowLast` cells
// under the end of the range down takes its operands, and `expand` puts its
// definition in its place; a round that finds no word ends the stage.
StageOutcome ExpandFormulaWords(Reduction& r, int32_t belowLast, FormulaExpansion expand);

// Counts the expansions of one formula stage. A definition that names itself
// expands without end (each expansion brings its word back), while an honest
// line expands each of its formula words, and the words of their texts, a
// bounded number of times. The budget is a fixed 500 plus two for every cell
// of the chain when the stage begins; past it the stage ends with failure 28,
// out of stack space.
class ExpansionBudget {
 public:
  static constexpr int32_t kBaseExpansions = 500;
  explicit ExpansionBudget(int32_t cells) : limit_(kBaseExpansions + 2 * cells) {}
  void Spend();

 private:
  int32_t limit_;
  int32_t spent_ = 0;
};

}  // namespace morvex::detail
