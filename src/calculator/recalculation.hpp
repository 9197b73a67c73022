// The recalculation after a plain assignment: every plain user variable is
// computed again from its stored chain, in table order, with UpdateVariables
// for each.
#pragma once

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Runs the recalculation if the line asked for one (gRecalculate), and clears
// the request.
//
// A definition whose inputs are as they were at its last computation (the
// variables it reads, their values and kinds, the names that can be found in
// its letters, the angle unit) would give what it gave, so it is passed over:
// the cost follows what depends on the change, not the table. Everything a
// host can see stays as a computation of every definition gives it: the last
// plain variable is always computed (it leaves Ans, the chains and the scanner
// state), UpdateVariables comes for every variable in order, and a definition
// that asks the host, uses a formula word, may name a file or once failed is
// always computed. With a Change or Change2 handler, after a change of the
// angle unit or of the table other than an append, or while
// c.Definitions.alwaysFull is set, every definition is computed.
void RecalculateVariables(Calculator& c);

}  // namespace morvex::detail
