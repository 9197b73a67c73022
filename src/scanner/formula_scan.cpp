#include "scanner/formula_scan.hpp"

#include <algorithm>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
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

}  // namespace

bool ScanFormulaText(Calculator& c, std::string_view text, std::string_view formula) {
  SharedState& g = Shared();
  g.gErr = CErrOcur();
  c.SecondChain.Clear();
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
  if (const int32_t at = FindNeighbourError(chain, kFormulaNeighbours); at != 0) {
    g.gErr.Formula = formula;
    c.ErrFirst = CheckedInt16(at);
    return false;
  }
  if (g.gParenDepth2 > 0) CloseParentheses(chain, g.gParenDepth);
  return true;
}

}  // namespace morvex::detail
