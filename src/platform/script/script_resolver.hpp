// Binds the names of a parsed program: variables to slots of the top level or
// of a procedure's frame, calls to procedures and built-ins, constants to their
// values. Checks what can be checked before the script runs: unknown
// functions, refused names, argument counts, names declared twice, assignments
// to constants and procedures.
#pragma once

#include "platform/script/script_ast.hpp"

namespace morvex::script {

// Throws ScriptError with the line of the offending name.
void ResolveProgram(Program& program);

}  // namespace morvex::script
