#pragma once

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Raises GetFunctions for each user variable, in table order, with the text
// of its stored chain. The end of the walk is fixed at its start.
void FetchFunctions(Calculator& c);

}  // namespace morvex::detail
