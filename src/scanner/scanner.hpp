// ScanAndDetect: from a line of text to a checked chain, and on to the result
// text. Its stages, in order: line cutting (with the formula stage), folding,
// detection, hand-over.
#pragma once

#include <string>
#include <string_view>

#include "calculator/calculator.hpp"

namespace morvex::detail {

// Scans, checks and computes one line; leaves the outcome in ResultText,
// EchoText, gErr, gErrCode, gReport and the variables.
void ScanAndDetect(Calculator& c, std::string_view text);

// Line cutting: one cell per character, the target name, the trailing text;
// the chain is left spelling the expression alone.
void CutLine(Calculator& c, std::string_view text);
// The name at the start of `text`; the rest of it goes to gEndText.
std::string SplitTargetName(std::string_view text);
// The formula stage; true when the line named a formula file, which has run.
bool RunFormulaStage(Calculator& c);

// Folding: numbers, exponent marks, words.
void FoldChain(Calculator& c);
// Detection: the first error with its place, or the chain closed.
void DetectChain(Calculator& c);
// Hand-over: echo, commas, target, the silent and the loud run, the result.
void HandOver(Calculator& c);

// Copies the template's flags onto the cell after position i (if any).
void ApplyTemplate(dna& chain, int32_t i);

}  // namespace morvex::detail
