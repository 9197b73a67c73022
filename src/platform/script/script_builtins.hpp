// The built-in functions and constants of the script language, and the names
// the engine refuses because they would reach outside the calculator.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/script/script_budget.hpp"
#include "platform/script/script_value.hpp"

namespace morvex::script {

// Arguments arrive evaluated, by value.
using BuiltinFunction = Value (*)(const Value* args, size_t count, Budget& budget);

struct Builtin {
  std::string_view name;  // lower case
  int32_t min_args;
  int32_t max_args;  // -1: any number
  BuiltinFunction function;
};

// The built-in of a lower-case name, or -1.
int32_t FindBuiltin(std::string_view lower);
const Builtin& BuiltinAt(int32_t index);

// A named constant such as vbCrLf or vbTextCompare.
bool FindBuiltinConstant(std::string_view lower, Value& value);

// Names of VBScript that this engine refuses: objects, dynamic code, the
// clock and calendar, dialogs. Empty when the name is not one of them, else
// why it is refused.
std::string_view RefusedName(std::string_view lower);

}  // namespace morvex::script
