#pragma once

#include <string>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// The one door of the calculator: a script call, a command or an expression.
std::string Calculate(Calculator& c, std::string& TText);

}  // namespace morvex::detail
