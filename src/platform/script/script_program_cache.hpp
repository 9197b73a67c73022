// Parsed programs of recent script texts, per thread. The calculator hands the
// same text to a new engine for every line; a text seen before is not parsed
// again. A program is read-only once made, so engines share it.
#pragma once

#include <memory>
#include <string_view>

#include "platform/script/script_ast.hpp"

namespace morvex::script {

// The program of `text`, parsed and resolved, from the cache or made now. A
// text that cannot be parsed throws the same ScriptError every time.
std::shared_ptr<const Program> CompiledProgram(std::string_view text);

// Forgets the programs of this thread.
void ClearProgramCache();

}  // namespace morvex::script
