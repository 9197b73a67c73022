// The runs of a formula's text: each occurrence of a formula word is worked
// out afresh from its stored text on the second chain, with Change2 events; a
// formula word inside a formula's text is computed by a nested calculator.
#pragma once

#include <cstdint>
#include <string_view>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Scans the text of the formula word `formula` onto the second chain and, if
// it has no error, reduces it. The text is its stored text, or the answer
// that a nested calculator gave for the second chain in which it stood.
void ScanSubExpression(Calculator& c, std::string_view text, std::string_view formula);
// Reduces the second chain to a number.
void RunSubChain(Calculator& c);
// Reduces first..last of the second chain (first 0: the whole chain) with Change2 events.
void RunSubReduce(Calculator& c, int32_t& first, int32_t& last);
// The reducer of the group of a rewritten word power on the second chain.
void ReduceSubRange(Calculator& c, int32_t& first, int32_t& last);

}  // namespace morvex::detail
