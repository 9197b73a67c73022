// The successor table: for each type code, the row of flags that says what may
// follow a cell of that code. Assigning a code to any cell writes its row into
// the shared template gNext; the scanner then copies the template onto cells.
#pragma once

#include <cstdint>

#include "chain/cell.hpp"

namespace morvex {

// Writes the row of `code` into gNext, with the depth bookkeeping of the open
// and close parenthesis. Codes without a row leave gNext as it is.
void WriteSuccessorRow(int16_t code);

// The row of a code as the table gives it, for a template depth above 0 or not
// (the only thing BEnd of rows 1, 8, 9, 11 depends on). Returns false for codes
// without a row.
bool SuccessorRow(int16_t code, bool depthAboveZero, Flags& row);

}  // namespace morvex
