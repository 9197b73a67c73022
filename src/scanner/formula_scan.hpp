// The scan of a formula's stored text onto the second chain: the line scanner
// without a line around it (no target, no trailing text, no end marker, no
// formula stage), with passes and neighbour tests of its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Cuts, folds and checks `text`, the text of the formula word `formula`, on a
// new second chain; closes its open parentheses. Returns false when it found
// an error (in gErr, gErrCode and ErrFirst; gErr names the formula, as the
// place lies in its text), true otherwise.
bool ScanFormulaText(Calculator& c, std::string_view text, std::string_view formula);

}  // namespace morvex::detail
