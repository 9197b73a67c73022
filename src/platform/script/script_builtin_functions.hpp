// The built-in functions, grouped by the files that define them. Each takes
// its evaluated arguments; the registry has already checked their count.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/script/script_budget.hpp"
#include "platform/script/script_value.hpp"

namespace morvex::script::builtins {

#define MORVEX_SCRIPT_BUILTIN(name) Value name(const Value* args, size_t count, Budget& budget)

// Numbers and conversions (script_builtins_math.cpp).
MORVEX_SCRIPT_BUILTIN(Abs);
MORVEX_SCRIPT_BUILTIN(Atn);
MORVEX_SCRIPT_BUILTIN(Cos);
MORVEX_SCRIPT_BUILTIN(Exp);
MORVEX_SCRIPT_BUILTIN(Fix);
MORVEX_SCRIPT_BUILTIN(Int);
MORVEX_SCRIPT_BUILTIN(Log);
MORVEX_SCRIPT_BUILTIN(Rnd);
MORVEX_SCRIPT_BUILTIN(Randomize);
MORVEX_SCRIPT_BUILTIN(Round);
MORVEX_SCRIPT_BUILTIN(Sgn);
MORVEX_SCRIPT_BUILTIN(Sin);
MORVEX_SCRIPT_BUILTIN(Sqr);
MORVEX_SCRIPT_BUILTIN(Tan);
MORVEX_SCRIPT_BUILTIN(CDbl);
MORVEX_SCRIPT_BUILTIN(CInt);
MORVEX_SCRIPT_BUILTIN(CLng);
MORVEX_SCRIPT_BUILTIN(CStr);
MORVEX_SCRIPT_BUILTIN(CBool);
MORVEX_SCRIPT_BUILTIN(IsNumeric);
MORVEX_SCRIPT_BUILTIN(IsEmpty);
MORVEX_SCRIPT_BUILTIN(IsNull);
MORVEX_SCRIPT_BUILTIN(IsArray);
MORVEX_SCRIPT_BUILTIN(Hex);
MORVEX_SCRIPT_BUILTIN(Oct);
MORVEX_SCRIPT_BUILTIN(TypeNameOf);
MORVEX_SCRIPT_BUILTIN(VarType);

// Strings (script_builtins_text.cpp).
MORVEX_SCRIPT_BUILTIN(Len);
MORVEX_SCRIPT_BUILTIN(Left);
MORVEX_SCRIPT_BUILTIN(Right);
MORVEX_SCRIPT_BUILTIN(Mid);
MORVEX_SCRIPT_BUILTIN(InStr);
MORVEX_SCRIPT_BUILTIN(InStrRev);
MORVEX_SCRIPT_BUILTIN(UCase);
MORVEX_SCRIPT_BUILTIN(LCase);
MORVEX_SCRIPT_BUILTIN(Trim);
MORVEX_SCRIPT_BUILTIN(LTrim);
MORVEX_SCRIPT_BUILTIN(RTrim);
MORVEX_SCRIPT_BUILTIN(Replace);
MORVEX_SCRIPT_BUILTIN(Space);
MORVEX_SCRIPT_BUILTIN(String);
MORVEX_SCRIPT_BUILTIN(StrReverse);
MORVEX_SCRIPT_BUILTIN(StrComp);
MORVEX_SCRIPT_BUILTIN(Chr);
MORVEX_SCRIPT_BUILTIN(Asc);

// Arrays (script_builtins_array.cpp).
MORVEX_SCRIPT_BUILTIN(Array);
MORVEX_SCRIPT_BUILTIN(UBound);
MORVEX_SCRIPT_BUILTIN(LBound);
MORVEX_SCRIPT_BUILTIN(Split);
MORVEX_SCRIPT_BUILTIN(Join);

#undef MORVEX_SCRIPT_BUILTIN

// The first place of `needle` in `hay` at or after `from`, or npos; `text`
// compares ASCII letters without regard to case. The work is charged to the budget.
size_t SearchText(std::string_view hay, std::string_view needle, size_t from, bool text, Budget& budget);

}  // namespace morvex::script::builtins
