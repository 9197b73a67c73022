// Detection: the folded chain is walked once and each cell compared with its
// predecessor through the successor flags. The first failing test gives the
// error with its place; a chain that passes has its open parentheses closed.
#include "scanner/detection.hpp"

#include <algorithm>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "scanner/folding.hpp"
#include "scanner/scanner.hpp"

namespace morvex::detail {
namespace {

using namespace flag;
namespace E = error_number;

// Rows that binding writes on a variable's cell, by TypeVar; BNumber stays.
constexpr Flags kBindingRows[5] = {
    0,
    BAns | BChar | BEnd | BFirst | BFunction | BLast | BOper | BPlus | BPower | BStart,
    BAns | BChar | BFirst | BSign | BStart,
    BAns | BChar | BEnd | BFunction | BLast | BOper | BPlus | BStart,
    BAns | BChar | BExtra | BSign | BStart,
};

void BindVariables(Calculator& c) {
  for (Cell& cell : c.WorkingChain) {
    const int32_t index = c.VariableIndex(cell.Value());
    if (index == 0) continue;
    const Class1& variable = c.Variables.Item(index);
    cell.Value(variable.Key);
    cell.NameStr(TypeWord);
    if (variable.TypeVar >= var_type::Plain && variable.TypeVar <= var_type::FormulaXY) {
      WriteRow(cell, FlagRow{kBindingRows[variable.TypeVar], All & ~BNumber});
    }
  }
}

}  // namespace

void RecountParentheses(dna& chain) {
  SharedState& g = Shared();
  g.gNext.StartNumber(0);
  // Every code is assigned again, as the template sees it; its depth, moved
  // by each parenthesis from 0, is then the count of the open ones.
  chain.ForEach(1, chain.Count(), [&g](const Cell& cell) { WriteSuccessorRow(g.gNext, cell.NameStr()); });
  g.gParenDepth = g.gNext.StartNumber();
  g.gParenDepth2 = g.gNext.StartNumber();
}

int32_t FindMultiplePoint(const dna& chain) {
  for (int32_t i = 1; i <= chain.Count(); ++i) {
    const Cell& cell = chain[i];
    // Numbers are short: counting beats searching, and one character holds one point at most.
    if (cell.NameStr() != TypeNumber || cell.Text().size() < 2) continue;
    const std::string_view text = cell.Value();
    if (std::count(text.begin(), text.end(), '.') > 1) return i;
  }
  return 0;
}

void ReportError(const dna& chain, int32_t number, int32_t index) {
  SharedState& g = Shared();
  g.gErrCode = number;
  g.gErr.NumError = number;
  g.gErr.DescError = std::string(ErrorName(number));
  g.gErr.FirstError = CellTextOffset(chain, index);
  g.gErr.LengthError = static_cast<int32_t>(chain[index].Text().size());
}

void CloseParentheses(dna& chain, int32_t count) {
  for (int32_t k = 0; k < count; ++k) {
    Cell& cell = chain.Add(AddPattern);
    cell.NameStr(TypeEnd);
    cell.Value(")");
  }
}

namespace {

// The test of the first cell; returns the error number or 0.
int32_t TestFirstCell(dna& chain, const NeighbourRules& rules) {
  Cell& cell = chain[1];
  if (!cell.BFirst()) {
    if (cell.NameStr() != TypePlus) return E::NotCreatable;
    cell.NameStr(TypeSign);  // a leading sign is unary
  }
  if (rules.factorialNeedsNumber && cell.NameStr() == TypeFactorial) return E::NotCreatable;
  if (chain.Count() == 1) {
    if (rules.loneExponentMark && (cell.Value() == "E" || cell.Value() == "e")) return E::NotCreatable;
    if (!cell.BLast()) return E::NotCreatable;
  }
  return 0;
}

// The test of a cell after the first against the cell before it; returns the error number or 0.
int32_t TestCell(Cell& cell, const Cell& previous, bool last, const NeighbourRules& rules) {
  if (rules.lastCellMustEnd && last && !cell.BLast()) return E::NotCreatable;
  switch (cell.NameStr()) {
    case TypeAns:
      return previous.BAns() ? 0 : E::Missmatch;
    case TypePower:
      if (previous.BPower()) return 0;
      if (!previous.BPowerNum()) return E::OperatorBadPosition;
      cell.NameStr(TypePowerNum);
      return 0;
    case TypeChar:
      return previous.BChar() ? 0 : E::StringBadPosition;
    case TypeFactorial:
      return !rules.factorialNeedsNumber || previous.NameStr() == TypeNumber ? 0 : E::NotCreatable;
    case TypeEnd:
      return previous.BEnd() && cell.BEnd() ? 0 : E::ParenthesisBadPosition;
    case TypeExtra:
      return previous.BExtra() ? 0 : E::PowerBadPosition;
    case TypeWord:
      return previous.BFunction() ? 0 : E::FunctionBadPosition;
    case TypeEquals:
      return !rules.equalsAndSign || previous.BLast() ? 0 : E::NotCreatable;
    case TypeNumber:
      return previous.BNumber() ? 0 : E::NumberBadPosition;
    case TypeOper:
      return previous.BOper() ? 0 : E::OperatorBadPosition;
    case TypePlus:
      if (previous.BPlus()) return 0;
      if (!previous.BSign()) return E::OperatorBadPosition;
      cell.NameStr(TypeSign);
      return 0;
    case TypeSign:
      return !rules.equalsAndSign || previous.BSign() ? 0 : E::OperatorBadPosition;
    default:
      return 0;
  }
}

}  // namespace

int32_t FindNeighbourError(dna& chain, const NeighbourRules& rules) {
  const int32_t count = chain.Count();  // the tests change codes, never the cells
  for (int32_t i = 1; i <= count; ++i) {
    const int32_t error = i == 1 ? TestFirstCell(chain, rules) : TestCell(chain[i], chain[i - 1], i == count, rules);
    if (error != 0) {
      ReportError(chain, error, i);
      return i;
    }
  }
  return 0;
}

void DetectChain(Calculator& c, bool rowsOfChain) {
  dna& chain = c.WorkingChain;
  if (rowsOfChain) {
    Shared().gParenDepth = Shared().gNext.StartNumber();
    Shared().gParenDepth2 = Shared().gNext.StartNumber();
  } else {
    RecountParentheses(chain);
  }
  if (int32_t at = FindMultiplePoint(chain); at != 0) {
    ReportError(chain, E::MultiplePoint, at);
    return;
  }
  if (c.StringVariable.empty()) BindVariables(c);
  if (FindNeighbourError(chain, kLineNeighbours) != 0) return;
  if (Shared().gParenDepth > 0) CloseParentheses(chain, Shared().gParenDepth);
}

}  // namespace morvex::detail
