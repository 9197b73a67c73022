// The operators of the script language on Values, with VBScript's rules for
// result types, Null, widening on overflow and mixed strings and numbers.
#pragma once

#include <cstdint>

#include "platform/script/script_budget.hpp"
#include "platform/script/script_value.hpp"

namespace morvex::script {

enum class BinaryOp : uint8_t {
  Add, Subtract, Multiply, Divide, IntDivide, Mod, Power, Concat,
  Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual,
  And, Or, Xor, Eqv, Imp,
};

enum class Ordering : uint8_t { Less, Equal, Greater, Null };

// A comparison of two values. A side marked literal was written as a constant
// in the script: as in VBScript, a number compared with a literal string is
// compared as text, a string compared with a literal number is read as a
// number, and otherwise any number is less than any string. Comparing long
// strings is charged to the budget.
Ordering Compare(const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget);

// Every binary operator; the literal marks matter only for comparisons.
Value ApplyBinary(BinaryOp op, const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget);
// Unary minus and Not.
Value Negate(const Value& a);
Value LogicalNot(const Value& a);

}  // namespace morvex::script
