// The formula stage of a scan: while each character of the expression still
// stands in a cell of its own, user variable names are gathered into cells,
// a line that is the whole name of a text file runs that file, and unknown
// words are put to the host.
#pragma once

#include <optional>
#include <string>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// The formula stage of a scan. When the whole line names a formula file, the
// chain is that name alone and the result is the file's path for the caller to
// run (a path of "" is the start-up file); otherwise there is no result.
std::optional<std::string> RunFormulaStage(Calculator& c);

// Gathers the letters of each user variable name (longest names first, names
// of equal length in table order, with no test of word boundaries) into one
// cell of code 99. Only the names that occur in the line are tried, so a
// line's cost does not grow with the table. The search for a name ends at an
// occurrence that lies over a cell that is no letter; returns false when one did.
bool MarkVariables(Calculator& c);
// Asks the host (InputBox) for the value of each unknown word of the line and
// makes a plain variable of each answer; returns whether a word was asked.
bool ResolveUnknownWords(Calculator& c);
// The name of the text file of the program's folder that the whole line names,
// or ""; the chain is then the one cell of code 98.
std::string FindFormulaFile(Calculator& c);
// The path of the formula file of that name: the listed file whose name is the
// name and ".txt", compared without regard to case.
std::string FormulaFilePath(const Calculator& c, const std::string& name);

}  // namespace morvex::detail
