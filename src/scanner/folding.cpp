// Folding: digits into numbers, exponent marks, letters into words. Each pass
// sweeps from the first cell; after a fold the sweep goes on at the folded
// cell, which finds exactly what a new sweep from the front would find, as no
// cell before it can have changed.
#include "scanner/folding.hpp"

#include "core/shared_state.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"

namespace morvex::detail {

void FoldPair(dna& chain, int32_t i) {
  chain[i + 1].Text().prepend(chain[i].Value());
  chain.Remove(i);
}

void FoldDigits(dna& chain) {
  // A run of number cells folds at once: the last cell takes the whole text
  // and keeps its flags, as folding the pairs one by one leaves it; the cells
  // before it are marked and go in one sweep. Each fold assigned the code of
  // a number, which writes the same row every time.
  constexpr int16_t kFolded = -1;
  thread_local std::string run;
  bool folded = false;
  for (int32_t i = 1; i < chain.Count(); ++i) {
    if (chain[i].NameStr() != TypeNumber || chain[i + 1].NameStr() != TypeNumber) continue;
    int32_t last = i + 1;
    while (last < chain.Count() && chain[last + 1].NameStr() == TypeNumber) ++last;
    run.clear();
    for (int32_t k = i; k <= last; ++k) {
      run.append(chain[k].Value());
      if (k < last) chain[k].SetNameStrQuietly(kFolded);
    }
    chain[last].Value(run);
    chain[last].NameStr(TypeNumber);
    folded = true;
    i = last;
  }
  if (folded) chain.RemoveWhere([](const Cell& cell) { return cell.NameStr() == kFolded; });
}

void MarkExponents(dna& chain) {
  for (Cell& cell : chain) {
    if (cell.NameStr() == TypeWord) continue;
    if (cell.Value() == "E") {
      cell.NameStr(TypeWord);
      WriteRow(cell, fold_row::CapitalMark);
    } else if (cell.Value() == "e") {
      cell.NameStr(TypeWord);
      WriteRow(cell, fold_row::SmallMark);
    }
  }
}

ClosedWord CloseWordByCode(int16_t wordCode) {
  using W = WordClosing;
  switch (wordCode) {
    case word_code::Sin: return {W::FunctionWord, "Sin"};
    case word_code::Cos: return {W::FunctionWord, "Cos"};
    case word_code::Tan: return {W::FunctionWord, "Tan"};
    case word_code::Cot: return {W::FunctionWord, "Cot"};
    case word_code::ArcSin: return {W::FunctionWord, "ArcSin"};
    case word_code::ArcCos: return {W::FunctionWord, "ArcCos"};
    case word_code::ArcTan: return {W::FunctionWord, "ArcTan"};
    case word_code::ArcCot: return {W::FunctionWord, "ArcCot"};
    case word_code::Log: return {W::FunctionWord, "Log"};
    case word_code::Ln: return {W::FunctionWord, "Ln"};
    case word_code::Sqr: return {W::FunctionWord, "Sqr"};
    case word_code::Fix: return {W::FunctionWord, "Fix"};
    case word_code::Int: return {W::FunctionWord, "Int"};
    case word_code::Sign: return {W::FunctionWord, "Sign"};
    case word_code::ZrToOn: return {W::FunctionWord, "ZrToOn"};
    case word_code::Abs: return {W::FunctionWord, "ABS"};
    case word_code::Pi: return {W::ValueWord, "PI"};
    case word_code::Ans: return {W::ValueWord, "Ans"};
    case word_code::XVar: return {W::XVar, "XVar"};
    case word_code::YVar: return {W::YVar, "YVar"};
    case word_code::Xp: return {W::ExpWord, "xp"};
    default: return {W::Open, ""};
  }
}

void CloseWord(dna& chain, int32_t i, const VariableString& variables, WordStyle style) {
  Cell& word = chain[i];
  ClosedWord closed = CloseWordByCode(ClassifyWord(word.Value(), variables));
  switch (closed.closing) {
    case WordClosing::Open:
      // In a formula's text a user variable's name stands apart for the rest of
      // the pass, so that no further letter folds into it.
      if (style == WordStyle::FormulaFirstPass && IsUserVariableName(variables, word.Value())) {
        word.NameStr(TypeVariable);
      }
      return;
    case WordClosing::FunctionWord:
      word.Value(closed.canonical);
      word.NameStr(TypeWord);
      ApplyTemplate(chain, i - 1);
      return;
    case WordClosing::ValueWord: {
      const bool pi = closed.canonical == "PI";
      word.NameStr(TypeWord);
      if (style == WordStyle::FormulaFirstPass) {
        // The first pass of a formula's text spells PI "Pi" and lets both words take operators.
        word.Value(pi ? std::string_view("Pi") : closed.canonical);
        ApplyTemplate(chain, i - 1);
        word.Set(flag::BPlus, true);
        word.Set(pi ? flag::BOper : flag::BPower, true);
      } else {
        word.Value(closed.canonical);
        WriteRow(word, fold_row::ValueWord);
      }
      return;
    }
    case WordClosing::XVar:
    case WordClosing::YVar:
      word.Value(closed.canonical);
      word.NameStr(closed.closing == WordClosing::XVar ? TypeXVar : TypeYVar);
      WriteRow(word, fold_row::XYVar);
      return;
    case WordClosing::ExpWord:
      // "xp" after an exponent mark makes the word Exp, an exponent mark of a number.
      if (i > 1 && (chain[i - 1].Value() == "E" || chain[i - 1].Value() == "e")) {
        Cell& mark = chain[i - 1];
        mark.Value("Exp");
        mark.NameStr(TypeWord);
        ApplyTemplate(chain, i - 2);
        WriteRow(mark, fold_row::CapitalMark);
        chain.Remove(i);
      } else {
        word.Value("xp");
        word.NameStr(TypeChar);
        ApplyTemplate(chain, i - 1);
      }
      return;
  }
}


// Letters fold pair by pair, and the word is closed after each fold; a fold
// that leaves the word open changes nothing but its text. So the letters up to
// the first that closes a word (or to the end of their run) fold at once: the
// last keeps its cell and takes the whole text, as the pairs left it.
void FoldWords(dna& chain, const VariableString& variables) {
  thread_local std::string word;
  for (int32_t i = 1; i < chain.Count();) {
    if (chain[i].NameStr() != TypeChar || chain[i + 1].NameStr() != TypeChar) {
      ++i;
      continue;
    }
    word.assign(chain[i].Value());
    int32_t last = i + 1;
    for (;; ++last) {
      word.append(chain[last].Value());
      if (last == chain.Count() || chain[last + 1].NameStr() != TypeChar) break;
      if (CloseWordByCode(ClassifyWord(word, variables)).closing != WordClosing::Open) break;
    }
    chain[last].Value(word);
    chain.Remove(i, last - i);
    CloseWord(chain, i, variables, WordStyle::Line);
  }
}

void RemoveCommas(dna& chain) {
  for (int32_t i = 1; i < chain.Count();) {
    if (chain[i].NameStr() != TypeComma) {
      ++i;
      continue;
    }
    if (chain[i + 1].NameStr() == TypePlus) chain[i + 1].NameStr(TypeSign);
    chain.Remove(i);
  }
}

// The digits of a line were cut into their numbers already.
void FoldChain(Calculator& c) {
  MarkExponents(c.WorkingChain);
  FoldWords(c.WorkingChain, c.Variables);
}

}  // namespace morvex::detail
