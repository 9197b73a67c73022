#include "evaluation/formula_scan.hpp"

#include <algorithm>

#include "calculator/shared_state.hpp"
#include "chain/text_case.hpp"
#include "evaluation/number_text.hpp"
#include "scanner/classify.hpp"
#include "scanner/detection.hpp"
#include "scanner/folding.hpp"
#include "scanner/scanner.hpp"

namespace morvex::detail {
namespace {

using namespace flag;
namespace E = error_number;

// The first word pass: exponent marks and words, "!" cells, folded letters.
void FirstWordPass(dna& chain, const Calculator& c) {
  bool changed = true;
  while (changed) {
    changed = false;
    for (int32_t i = 1; i < chain.Count() && !changed; ++i) {
      Cell& cell = chain[i];
      if (cell.NameStr() != TypeWord && (cell.Value() == "E" || EqualsIgnoreCase(cell.Value(), "EXP"))) {
        cell.NameStr(TypeWord);
        ApplyTemplate(chain, i - 1);
        changed = true;
      } else if (chain[i + 1].Value() == "!" && chain[i + 1].NameStr() != TypeFactorial) {
        chain[i + 1].NameStr(TypeFactorial);
        ApplyTemplate(chain, i);
        chain[i + 1].Set(BPlus, true);
        chain[i + 1].Set(BSign, false);
        changed = true;
      } else if (cell.NameStr() == TypeChar && chain[i + 1].NameStr() == TypeChar) {
        FoldPair(chain, i);
        CloseWord(chain, i, c.Variables, WordStyle::FormulaFirstPass);
        changed = true;
      }
    }
  }
  for (Cell& cell : chain) {
    if (cell.NameStr() == TypeVariable) cell.NameStr(TypeChar);
  }
}

// The second word pass: "!" cells get their own row, letters fold as in a line.
void SecondWordPass(dna& chain, const Calculator& c) {
  bool changed = true;
  while (changed) {
    changed = false;
    for (int32_t i = 1; i < chain.Count() && !changed; ++i) {
      if (chain[i + 1].Value() == "!" && chain[i + 1].NameStr() != TypeFactorial) {
        chain[i + 1].NameStr(TypeFactorial);
        chain[i + 1].SetFlags(BAns | BChar | BEnd | BFunction | BLast | BOper | BPlus | BPower);
        changed = true;
      } else if (chain[i].NameStr() == TypeChar && chain[i + 1].NameStr() == TypeChar) {
        FoldPair(chain, i);
        CloseWord(chain, i, c.Variables, WordStyle::FormulaSecondPass);
        changed = true;
      }
    }
  }
}

int32_t TestFirstFormulaCell(dna& chain) {
  Cell& cell = chain[1];
  if (!cell.BFirst()) {
    if (cell.NameStr() != TypePlus) return E::NotCreatable;
    cell.NameStr(TypeSign);
  }
  if (chain.Count() == 1 && !cell.BLast()) return E::NotCreatable;
  return 0;
}

int32_t TestFormulaCell(dna& chain, int32_t i) {
  Cell& cell = chain[i];
  const Cell& previous = chain[i - 1];
  switch (cell.NameStr()) {
    case TypeAns: return previous.BAns() ? 0 : E::Missmatch;
    case TypePower:
      if (previous.BPower()) return 0;
      if (!previous.BPowerNum()) return E::OperatorBadPosition;
      cell.NameStr(TypePowerNum);
      return 0;
    case TypeChar: return previous.BChar() ? 0 : E::StringBadPosition;
    case TypeEnd: return previous.BEnd() && cell.BEnd() ? 0 : E::ParenthesisBadPosition;
    case TypeExtra: return previous.BExtra() ? 0 : E::PowerBadPosition;
    case TypeWord: return previous.BFunction() ? 0 : E::FunctionBadPosition;
    case TypeEquals: return previous.BLast() ? 0 : E::NotCreatable;
    case TypeNumber: return previous.BNumber() ? 0 : E::NumberBadPosition;
    case TypeOper: return previous.BOper() ? 0 : E::OperatorBadPosition;
    case TypePlus:
      if (previous.BPlus()) return 0;
      if (!previous.BSign()) return E::OperatorBadPosition;
      cell.NameStr(TypeSign);
      return 0;
    case TypeSign: return previous.BSign() ? 0 : E::OperatorBadPosition;
    default: return 0;
  }
}

}  // namespace

bool ScanFormulaText(Calculator& c, std::string_view text, std::string_view formula) {
  SharedState& g = Shared();
  g.gErr = CErrOcur();
  c.SecondChain = dna();
  g.gNext.StartNumber(0);
  g.gParenDepth2 = 0;
  dna& chain = c.SecondChain;
  for (char ch : text) {
    ClassifyChar(ch);
    Cell& cell = chain.Add(AddPattern);
    cell.NameStr(g.gCharClass);
    cell.SetFlags(g.gNext.GetFlags());
    cell.Value(std::string_view(&ch, 1));
  }
  FirstWordPass(chain, c);
  FoldDigits(chain);
  MarkExponents(chain);
  SecondWordPass(chain, c);
  RecountParentheses(chain);
  RemoveCommas(chain);
  if (int32_t at = FindMultiplePoint(chain); at != 0) {
    ReportError(chain, E::MultiplePoint, at);
    g.gErr.Formula = formula;
    return false;
  }
  for (int32_t i = 1; i <= chain.Count(); ++i) {
    int32_t error = i == 1 ? TestFirstFormulaCell(chain) : TestFormulaCell(chain, i);
    if (error != 0) {
      ReportError(chain, error, i);
      g.gErr.Formula = formula;
      c.ErrFirst = CheckedInt16(i);
      return false;
    }
  }
  if (g.gParenDepth2 > 0) CloseParentheses(chain, g.gParenDepth);
  return true;
}

FormulaWord FindFormulaWord(const Reduction& r, int32_t top, bool formulasOnly) {
  const VariableString& variables = r.c.Variables;
  for (int32_t i = std::min(top, r.chain.Count()); i >= r.first + 1; --i) {
    for (int32_t k = 4; k <= variables.Count(); ++k) {
      const Class1& variable = variables.Item(k);
      if (formulasOnly && variable.TypeVar <= var_type::Plain) continue;
      if (EqualsIgnoreCase(variable.Key, r.chain[i].Value())) return {i, k};
    }
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
    const Class1& variable = c.Variables.Item(word.variable);
    const int32_t removed = TakeOperands(r, word.at, variable);
    budget.Spend();
    expand(r, word.at, removed, variable.Key, c.StoredChain(word.variable).Join());
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
