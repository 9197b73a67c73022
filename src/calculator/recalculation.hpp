// The recalculation of plain variables after a plain assignment.
#pragma once

#include <cstdint>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Computes every plain user variable again from its stored chain, in table
// order, as a line of the form expression, "=", name; raises UpdateVariables
// for each and once more with 1. A definition whose computation would read
// exactly what it read last time is passed over, and what it left then is
// put back: the values, Ans, ResultText, the properties and the events are
// those of computing every definition.
void RecalculateVariables(Calculator& c);

// Variable `index` received a new stored chain (by a line or by its own
// computation): its record no longer holds, and its readers are looked at.
void NoteDefinitionStored(Calculator& c, int32_t index);

// Whether the recalculations of this thread (nested calculators included)
// may pass definitions over. On by default; off, every definition is
// computed every time, which is what the pass-over must always agree with.
bool& FastRecalculation();

}  // namespace morvex::detail
