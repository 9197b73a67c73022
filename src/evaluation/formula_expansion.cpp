#include "evaluation/formula_expansion.hpp"

#include <algorithm>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/number_text.hpp"

namespace morvex::detail {

FormulaWord FindFormulaWord(const Reduction& r, int32_t top, bool formulasOnly) {
  // Every record of a calculator's table is kept under its own name, and names
  // are unique without regard to case: the hashed look-up of a cell's text
  // finds the one record that a walk over the table would, at a cost that does
  // not grow with the table.
  const VariableString& variables = r.c.Variables;
  if (variables.Count() < var_index::FirstUser) return {};  // a table of Ans, XVar and YVar alone
  for (int32_t i = std::min(top, r.chain.Count()); i >= r.first + 1; --i) {
    const int32_t k = variables.IndexOfKey(r.chain[i].Value());
    if (k < var_index::FirstUser) continue;
    if (formulasOnly && variables.Item(k).TypeVar <= var_type::Plain) continue;
    return {i, k};
  }
  return {};
}

StageOutcome ExpandFormulaWords(Reduction& r, int32_t belowLast, FormulaExpansion expand) {
  Calculator& c = r.c;
  ExpansionBudget budget(r.chain.Count());
  for (;;) {
    c.XVar().Value = 0;
    c.YVar().Value = 0;
    FormulaWord word = FindFormulaWord(r, r.last - belowLast, false);
    if (word.at == 0) return StageOutcome::Nothing;
    const int32_t removed = TakeOperands(r, word.at, c.Variables.Item(word.variable));
    budget.Spend();
    // A copy of the name: the expansion runs lines that may grow tables.
    const std::string name = c.Variables.Item(word.variable).Key;
    expand(r, word.at, removed, name, c.StoredChain(word.variable).Join());
  }
}

void ExpansionBudget::Spend() {
  if (++spent_ > limit_) {
    Fail(failure_code::OutOfStackSpace,
         "out of stack space: formula words expanded more than " + std::to_string(limit_) +
             " times in one line (a definition that names itself?)");
  }
}

int32_t TakeOperands(Reduction& r, int32_t& at, const Class1& variable) {
  Calculator& c = r.c;
  dna& chain = r.chain;
  int32_t removed = 0;
  auto takeRight = [&] {
    if (at != chain.Count() && chain[at + 1].NameStr() == TypeNumber) {
      c.XVar().Value = ReadNumberStrict(chain[at + 1].Value());
      chain.Remove(at + 1);
      ++removed;
    } else {
      c.XVar().Value = 0;
    }
  };
  auto takeLeft = [&] {
    if (at > 1 && chain[at - 1].NameStr() == TypeNumber) {
      c.YVar().Value = ReadNumberStrict(chain[at - 1].Value());
      chain.Remove(at - 1);
      --at;
      ++removed;
    } else {
      c.YVar().Value = 0;
    }
  };
  switch (variable.TypeVar) {
    case var_type::Plain: {
      r.Notify(1, at);
      NumberText value = FormatNumber(variable.Value);
      chain[at].Value(value.view());
      chain[at].NameStr(TypeNumber);
      break;
    }
    case var_type::FormulaX:
      takeRight();
      break;
    case var_type::FormulaY:
      takeLeft();
      break;
    case var_type::FormulaXY:
      takeRight();
      takeLeft();
      break;
    default:
      break;
  }
  return removed;
}

}  // namespace morvex::detail
