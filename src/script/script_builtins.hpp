// The built-in functions and constants of the script language.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "script/script_values.hpp"

namespace morvex::script {

// Arguments arrive evaluated, by value, their count already checked.
using BuiltinFunction = Value (*)(const Value* args, size_t count, Budget& budget);

struct Builtin {
  std::string_view name;  // lower case
  int32_t min_args;
  int32_t max_args;
  BuiltinFunction function;
};

// The built-in of a lower-case name, or -1.
int32_t FindBuiltin(std::string_view lower);
const Builtin& BuiltinAt(int32_t index);

// A named constant such as vbCrLf.
bool FindBuiltinConstant(std::string_view lower, Value& value);

}  // namespace morvex::script
