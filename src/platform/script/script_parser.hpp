// Parses the tokens of a script into a Program whose names are not yet bound.
#pragma once

#include <string_view>

#include "platform/script/script_ast.hpp"

namespace morvex::script {

// Throws ScriptError (with the line) for a text that is no script this engine
// takes: a syntax error, a construct it refuses (classes, objects, With, On
// Error, ...), or nesting deeper than its limits.
void ParseScript(std::string_view text, Program& program);

}  // namespace morvex::script
