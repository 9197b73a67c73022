// The silent run: a line without a target is reduced once without a single
// event, on a copy that the scanner throws away, so that a failure is known
// before the calculation run raises its first event. What survives it is
// error 13, XVar and YVar at 0, and what the formula scans left.
#pragma once

#include <cstdint>
#include <string_view>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Reduces the working chain silently.
void EvaluateChain(Calculator& c);
// True when the silent run of the working chain can leave nothing that the
// calculation run does not leave on its own (see the definition for why), so
// that the hand-over may pass it over.
bool SilentRunIsRedundant(Calculator& c);
// Per thread: whether the hand-over passes over a redundant silent run. On by
// default; the tests run lines both ways and compare.
bool& PassOverRedundantSilentRun();
// Reduces first..last (first 0: the whole chain) silently; both follow the cells.
void EvaluateReduce(Calculator& c, int32_t& first, int32_t& last);
// The reduced twin for the group of a rewritten word power.
void EvaluateReduce2(Calculator& c, int32_t& first, int32_t& last);
// Tidies the whole working chain after a formula's text was spliced into it.
void PreReduceChain(Calculator& c);
// Scans the text of the formula word `formula` onto the second chain (and
// tidies the working chain).
void ScanSubExpression2(Calculator& c, std::string_view text, std::string_view formula);

}  // namespace morvex::detail
