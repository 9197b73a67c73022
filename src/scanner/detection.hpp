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

// Appends `count` closing parentheses to the chain.
void CloseParentheses(dna& chain, int32_t count);

}  // namespace morvex::detail
