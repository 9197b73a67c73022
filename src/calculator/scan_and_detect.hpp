// ScanAndDetect: from a line of text to a checked chain, and on to the result
// text. Its stages, in order: line cutting, the formula stage (which may name a
// formula file to run instead), folding, detection, hand-over.
#pragma once

#include <string_view>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Scans, checks and computes one line; leaves the outcome in ResultText,
// EchoText, gErr, gErrCode, gReport and the variables.
void ScanAndDetect(Calculator& c, std::string_view text);

// Hand-over: echo, commas, target, the silent and the loud run, the result.
void HandOver(Calculator& c);

}  // namespace morvex::detail
