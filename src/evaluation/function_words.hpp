// Function words: what a word cell and the number cell behind it become.
//
// The words are recognised by the word cell's Value. Sign, ZrToOn, ABS, Fix, Int,
// Sin, Cos, Tan, Cot, ArcSin, ArcCos, ArcTan and ArcCot are compared without
// regard to case; Exp, Sqr, Ln, Log and e exactly, in the canonical spelling the
// scanner gives them.
//
// The trigonometric words do not trust the floating-point result where an exact
// answer is known: they test the argument first and answer "0" or a pole. The
// tests are written for arguments that have been through the 15-digit number
// text (pi is "3.14159265358979") and include their own round trips through
// text, so the order of the operations below is part of the result.
#pragma once

#include <string_view>

#include "evaluation/number_text.hpp"

namespace morvex {

enum class WordOutcome {
  Value,         // the word cell takes `text` and becomes a number; the argument cell goes
  ArgumentText,  // the word cell takes the argument's own text unchanged (ZrToOn of a
                 // non-zero number); `text` is left empty, the caller holds that text
  Pole,          // the word, its argument and a number cell before the word are given up
  Domain,        // the word and its argument are given up
  None,          // no rule: the word stays and the scan goes on
};

struct WordResult {
  WordOutcome outcome;
  NumberText text;
};

// word: the word cell's Value; argument: the Value of the number cell after it;
// angleUnit: "Degree" or "Radian". With any other unit Sin, Cos, Tan and Cot have
// no rule (None), and the inverse words work in radians.
// Failures of the arithmetic (the overflow of e 710, Ln 0, an argument that is
// not a number where a word reads it strictly) propagate as morvex::Failure.
WordResult ApplyWordRule(std::string_view word, std::string_view argument, std::string_view angleUnit);

// True for the words that have a rule, under the case rules above.
bool IsFunctionWord(std::string_view word);
// True for the words whose rule answers every number with a value or a refusal
// (the cells given up) and fails by overflow alone: all but Ln, for which the
// logarithm of 0 is a failure of its own.
bool IsTotalFunctionWord(std::string_view word);

}  // namespace morvex
