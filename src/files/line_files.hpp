#pragma once

#include <string>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Runs a text file line by line through `calculate` (the dispatcher); an empty path means
// StartUp.txt in the program's folder. Raises Progress before each line,
// Wait at a pause line "$", and Change(0, 1) after each line.
void LoadHText(Calculator& c, std::string& path, LineCalculation calculate);

}  // namespace morvex::detail
