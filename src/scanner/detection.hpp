// Detection primitives, shared by the line scanner and the scanners of a
// formula's text.
#pragma once

#include <cstdint>

#include "chain/dna.hpp"

namespace morvex::detail {

// Assigns every cell's code to itself from a zero template depth, and counts
// the chain's parentheses into gParenDepth and gParenDepth2 (both from 0), so
// that they are the surplus of open parentheses of the chain.
void RecountParentheses(dna& chain);

// The first number cell with a second decimal point, 0 when there is none.
int32_t FindMultiplePoint(const dna& chain);

// Records error `number` at cell `index` of `chain` in gErrCode and gErr.
void ReportError(const dna& chain, int32_t number, int32_t index);

// How the test of each cell against the one before it differs between a line
// and a formula's text.
struct NeighbourRules {
  bool lastCellMustEnd;       // the last cell must be one that may end (in a formula: a lone cell only)
  bool factorialNeedsNumber;  // "!" follows a number, and does not open the chain
  bool loneExponentMark;      // the mark "E" or "e" alone is no expression
  bool equalsAndSign;         // "=" follows a cell that may end, a sign one that takes a sign
};
inline constexpr NeighbourRules kLineNeighbours{
    .lastCellMustEnd = true, .factorialNeedsNumber = true, .loneExponentMark = true, .equalsAndSign = false};
inline constexpr NeighbourRules kFormulaNeighbours{
    .lastCellMustEnd = false, .factorialNeedsNumber = false, .loneExponentMark = false, .equalsAndSign = true};

// Tests each cell against the one before it (a plus that may only be a sign,
// and a power that may only be a word power, take those codes on the way).
// Records the first error (ReportError) and returns its cell, or 0.
int32_t FindNeighbourError(dna& chain, const NeighbourRules& rules);

// Appends `count` closing parentheses to the chain.
void CloseParentheses(dna& chain, int32_t count);

}  // namespace morvex::detail
