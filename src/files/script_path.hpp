#pragma once

#include <string>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Whether "vbscript.txt" stands in the program's folder.
bool ScriptFileExists(const Calculator& c);

// Offers the line to the procedures of the script file: computes the call's
// arguments through `calculate` (the dispatcher), runs the procedure and
// returns its result, or "" when the line is no call (gScriptDeclined then
// stays true).
std::string RunScriptLine(Calculator& c, const std::string& text, LineCalculation calculate);

}  // namespace morvex::detail
