#pragma once

#include <string>

#include "calculator/calculator.hpp"

namespace morvex::detail {

// The one door of the calculator: a script call, a command or an expression.
std::string Calculate(Calculator& c, std::string& TText);

// Gives the host's event loop a turn.
void HostTurn(const Calculator& c);

}  // namespace morvex::detail
