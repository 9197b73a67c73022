// The stages of the line scanner that work on the chain alone: line cutting,
// folding and detection. The formula stage (variables/) runs between cutting
// and folding; the hand-over (calculator/) follows detection.
#pragma once

#include <string>
#include <string_view>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// What line cutting tells the later stages about the chain it made.
struct LineCut {
  // A cell is a letter: the formula stage and folding work on letters alone
  // (names, words, exponent marks), so a line of plain arithmetic passes over both.
  bool letters = false;
  // No character stands behind the cut: the template holds the rows of the
  // chain's codes, written in chain order from depth 0.
  bool rowsOfChain = false;
};

// Line cutting: one cell per character (one per run of digits), the target
// name, the trailing text; the chain is left spelling the expression alone.
LineCut CutLine(Calculator& c, std::string_view text);
// The name at the start of `text`; the rest of it goes to gEndText.
std::string SplitTargetName(std::string_view text);

// Folding: exponent marks, words.
void FoldChain(Calculator& c);
// Detection: the first error with its place, or the chain closed. When the
// template holds the rows of the chain's codes already (a line of plain
// arithmetic as it was cut), the open parentheses are read off its depth
// instead of walked again.
void DetectChain(Calculator& c, bool rowsOfChain = false);

// Copies the template's flags onto the cell after position i (if any).
void ApplyTemplate(dna& chain, int32_t i);

}  // namespace morvex::detail
