// Folding primitives, shared by the line scanner and the scanners of a
// formula's text: digits into numbers, exponent marks, letters into words.
#pragma once

#include <cstdint>

#include "chain/dna.hpp"
#include "core/variable_table.hpp"

namespace morvex::detail {

// Flag rows that folding writes on a cell (a flag outside `mask` keeps what the cell had).
struct FlagRow {
  Flags value;
  Flags mask;
};
namespace fold_row {
using namespace flag;
// The exponent mark "E" of a number: a number or sign must follow.
inline constexpr FlagRow CapitalMark{BFirst | BSign, All & ~BNumber};
// The function "e": opens a line, takes no further word, may not end one.
inline constexpr FlagRow SmallMark{BAns | BChar | BFirst | BFunction | BSign | BStart, All & ~BNumber};
// A word that stands for a value (PI, Ans).
inline constexpr FlagRow ValueWord{BAns | BChar | BEnd | BFirst | BFunction | BLast | BOper | BPlus | BPower | BStart,
                                   All & ~BNumber};
inline constexpr FlagRow XYVar{BAns | BChar | BEnd | BFirst | BFunction | BLast | BNumber | BOper | BPlus | BPower |
                                   BStart,
                               All};
}  // namespace fold_row

inline void WriteRow(Cell& cell, FlagRow row) {
  cell.SetFlags((cell.GetFlags() & ~row.mask) | (row.value & row.mask));
}

// Folds the cell at i into the cell at i + 1 (which receives both texts) and removes cell i.
void FoldPair(dna& chain, int32_t i);

// Digits: neighbouring number cells fold into one (each fold assigns code 1).
void FoldDigits(dna& chain);
// Exponent marks: every "E" and "e" cell not yet a word becomes one, with its mark row.
void MarkExponents(dna& chain);

// How a folded word is closed, by its word code.
enum class WordClosing { Open, FunctionWord, ValueWord, XVar, YVar, ExpWord };
struct ClosedWord {
  WordClosing closing;
  std::string_view canonical;  // the reserved spelling
};
ClosedWord CloseWordByCode(int16_t wordCode);

// How a folded word is closed: in a line, or in a pass over a formula's text.
enum class WordStyle { Line, FormulaFirstPass, FormulaSecondPass };
// Closes the word folded at position i by the code of its text.
void CloseWord(dna& chain, int32_t i, const VariableString& variables, WordStyle style);

// Words: neighbouring letter cells fold until they spell a reserved word.
void FoldWords(dna& chain, const VariableString& variables);

// Commas vanish before any value is computed; a sign after a comma is unary.
// The last cell is left out of the test. A removal leaves the cells before it
// as they were, so the sweep goes on where it stands.
void RemoveCommas(dna& chain);

}  // namespace morvex::detail
