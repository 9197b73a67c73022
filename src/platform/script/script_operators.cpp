#include "platform/script/script_operators.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"

namespace morvex::script {
namespace {

// A numeric operand: Empty and Boolean act as Integers, strings as Doubles.
enum class NumKind : uint8_t { Integer, Long, Double };
struct Num {
  NumKind kind;
  int64_t i;
  double d;
};

[[noreturn]] void ArrayOperand() { Raise(error_code::TypeMismatch, "an array cannot be an operand"); }

Num ToNum(const Value& value) {
  switch (value.type()) {
    case VType::Empty: return {NumKind::Integer, 0, 0};
    case VType::Boolean: return {NumKind::Integer, value.boolean() ? -1 : 0, value.boolean() ? -1.0 : 0.0};
    case VType::Integer: return {NumKind::Integer, value.integer(), static_cast<double>(value.integer())};
    case VType::Long: return {NumKind::Long, value.long_value(), static_cast<double>(value.long_value())};
    case VType::Double: return {NumKind::Double, 0, value.dbl()};
    case VType::String: return {NumKind::Double, 0, TextToDouble(value.str())};
    case VType::Null: Raise(error_code::InvalidUseOfNull);
    case VType::Array: break;
  }
  ArrayOperand();
}

// A whole result of at least the kind given: an Integer that overflows is a
// Long, a Long that overflows is a Double.
Value WholeOfKind(NumKind kind, int64_t n) {
  if (kind == NumKind::Integer && n >= INT16_MIN && n <= INT16_MAX) return Value::Int(static_cast<int16_t>(n));
  if (n >= INT32_MIN && n <= INT32_MAX) return Value::Long(static_cast<int32_t>(n));
  return Value::Dbl(static_cast<double>(n));
}

Value CheckedDouble(double d) {
  if (!std::isfinite(d)) Raise(error_code::Overflow, "the result is beyond the range of a Double");
  return Value::Dbl(d);
}

NumKind Wider(NumKind a, NumKind b) { return a > b ? a : b; }

Value Arithmetic(BinaryOp op, const Value& a, const Value& b) {
  Num x = ToNum(a);
  Num y = ToNum(b);
  NumKind kind = Wider(x.kind, y.kind);
  if (kind != NumKind::Double) {
    switch (op) {
      case BinaryOp::Add: return WholeOfKind(kind, x.i + y.i);
      case BinaryOp::Subtract: return WholeOfKind(kind, x.i - y.i);
      default: return WholeOfKind(kind, x.i * y.i);
    }
  }
  switch (op) {
    case BinaryOp::Add: return CheckedDouble(x.d + y.d);
    case BinaryOp::Subtract: return CheckedDouble(x.d - y.d);
    default: return CheckedDouble(x.d * y.d);
  }
}

Value Add(const Value& a, const Value& b, Budget& budget) {
  if (a.is_null() || b.is_null()) return Value::Null();
  if (a.is_string() && (b.is_string() || b.is_empty())) {
    if (b.is_empty()) return a;
    std::string text;
    CheckStringLength(a.str().size() + b.str().size());
    text.reserve(a.str().size() + b.str().size());
    text.append(a.str()).append(b.str());
    return MakeString(std::move(text), budget);
  }
  if (b.is_string() && a.is_empty()) return b;
  return Arithmetic(BinaryOp::Add, a, b);
}

Value Divide(const Value& a, const Value& b) {
  if (a.is_null() || b.is_null()) return Value::Null();
  double x = ToNum(a).d;
  double y = ToNum(b).d;
  if (y == 0) {
    if (x == 0) Raise(error_code::Overflow, "0 divided by 0");
    Raise(error_code::DivisionByZero);
  }
  return CheckedDouble(x / y);
}

// An operand of \ and Mod: a whole number, Doubles rounded half to even.
Num WholeOperand(const Value& value) {
  Num n = ToNum(value);
  if (n.kind == NumKind::Double) {
    double rounded = RoundHalfEven(n.d);
    if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0)) {
      Raise(error_code::Overflow, "the number does not fit a Long");
    }
    return {NumKind::Long, static_cast<int64_t>(rounded), rounded};
  }
  return n;
}

Value IntegerDivide(BinaryOp op, const Value& a, const Value& b) {
  if (a.is_null() || b.is_null()) return Value::Null();
  Num x = WholeOperand(a);
  Num y = WholeOperand(b);
  if (y.i == 0) Raise(error_code::DivisionByZero);
  NumKind kind = Wider(x.kind, y.kind);
  return WholeOfKind(kind, op == BinaryOp::IntDivide ? x.i / y.i : x.i % y.i);
}

Value Power(const Value& a, const Value& b) {
  if (a.is_null() || b.is_null()) return Value::Null();
  double x = ToNum(a).d;
  double y = ToNum(b).d;
  if (x < 0 && y != std::floor(y)) Raise(error_code::InvalidCall, "a negative number to a fractional power");
  if (x == 0 && y < 0) Raise(error_code::InvalidCall, "0 to a negative power");
  return CheckedDouble(std::pow(x, y));
}

Value Concat(const Value& a, const Value& b, Budget& budget) {
  if (a.is_null() && b.is_null()) return Value::Null();
  if (a.is_array() || b.is_array()) ArrayOperand();
  std::string text;
  size_t known = (a.is_string() ? a.str().size() : 0) + (b.is_string() ? b.str().size() : 0);
  CheckStringLength(known);
  text.reserve(known + 24);
  if (!a.is_null()) AppendText(text, a);
  if (!b.is_null()) AppendText(text, b);
  return MakeString(std::move(text), budget);
}

int CompareNumbers(double x, double y) { return x < y ? -1 : (x > y ? 1 : 0); }

Ordering FromInt(int c) { return c < 0 ? Ordering::Less : (c > 0 ? Ordering::Greater : Ordering::Equal); }

// Logical and bitwise operands: Null, a Boolean, or a whole number.
enum class LogicKind : uint8_t { Null, Boolean, Integer, Long };
struct Logic {
  LogicKind kind;
  int32_t bits;
};

Logic ToLogic(const Value& value) {
  switch (value.type()) {
    case VType::Null: return {LogicKind::Null, 0};
    case VType::Boolean: return {LogicKind::Boolean, value.boolean() ? -1 : 0};
    case VType::Empty: return {LogicKind::Integer, 0};
    case VType::Integer: return {LogicKind::Integer, value.integer()};
    case VType::Long: return {LogicKind::Long, value.long_value()};
    case VType::String: {
      if (!IsNumericValue(value)) return {LogicKind::Boolean, ToBool(value) ? -1 : 0};
      return {LogicKind::Long, ToLong(value)};
    }
    case VType::Double: return {LogicKind::Long, ToLong(value)};
    case VType::Array: break;
  }
  ArrayOperand();
}

Value FromLogic(LogicKind kind, int32_t bits) {
  if (kind == LogicKind::Boolean) return Value::Bool(bits != 0);
  if (kind == LogicKind::Integer) return Value::Int(static_cast<int16_t>(bits));
  return Value::Long(bits);
}

Value Logical(BinaryOp op, const Value& a, const Value& b) {
  Logic x = ToLogic(a);
  Logic y = ToLogic(b);
  if (x.kind == LogicKind::Null || y.kind == LogicKind::Null) {
    const Logic& other = x.kind == LogicKind::Null ? y : x;
    if (other.kind == LogicKind::Null) return Value::Null();
    switch (op) {
      case BinaryOp::And:
        return other.bits == 0 ? FromLogic(other.kind, 0) : Value::Null();
      case BinaryOp::Or:
        return other.bits == -1 ? FromLogic(other.kind, -1) : Value::Null();
      case BinaryOp::Imp:
        // Null Imp True is True; False Imp Null is True.
        if (x.kind == LogicKind::Null) return y.bits == -1 ? FromLogic(y.kind, -1) : Value::Null();
        return x.bits == 0 ? FromLogic(x.kind, -1) : Value::Null();
      default:
        return Value::Null();
    }
  }
  LogicKind kind;
  if (x.kind == LogicKind::Boolean && y.kind == LogicKind::Boolean) {
    kind = LogicKind::Boolean;
  } else if (x.kind == LogicKind::Long || y.kind == LogicKind::Long) {
    kind = LogicKind::Long;
  } else {
    kind = LogicKind::Integer;
  }
  int32_t bits = 0;
  switch (op) {
    case BinaryOp::And: bits = x.bits & y.bits; break;
    case BinaryOp::Or: bits = x.bits | y.bits; break;
    case BinaryOp::Xor: bits = x.bits ^ y.bits; break;
    case BinaryOp::Eqv: bits = ~(x.bits ^ y.bits); break;
    default: bits = ~x.bits | y.bits; break;
  }
  return FromLogic(kind, bits);
}

}  // namespace

Ordering Compare(const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget) {
  if (a.is_null() || b.is_null()) return Ordering::Null;
  if (a.is_array() || b.is_array()) ArrayOperand();
  bool a_text = a.is_string();
  bool b_text = b.is_string();
  if (a_text && b_text) {
    budget.ChargeBytes(std::min(a.str().size(), b.str().size()));
    return FromInt(a.str().compare(b.str()));
  }
  if (!a_text && !b_text) return FromInt(CompareNumbers(ToNum(a).d, ToNum(b).d));
  // A string and a number.
  const Value& text = a_text ? a : b;
  const Value& number = a_text ? b : a;
  bool text_literal = a_text ? a_literal : b_literal;
  bool number_literal = a_text ? b_literal : a_literal;
  int c;  // the order of the number against the text
  if (number.is_empty()) {
    c = std::string_view().compare(text.str());
  } else if (text_literal) {
    c = ToText(number).compare(text.str());
  } else if (number_literal) {
    c = CompareNumbers(ToNum(number).d, TextToDouble(text.str()));
  } else {
    c = -1;
  }
  return FromInt(a_text ? -c : c);
}

Value ApplyBinary(BinaryOp op, const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget) {
  switch (op) {
    case BinaryOp::Add: return Add(a, b, budget);
    case BinaryOp::Subtract:
    case BinaryOp::Multiply:
      if (a.is_null() || b.is_null()) return Value::Null();
      return Arithmetic(op, a, b);
    case BinaryOp::Divide: return Divide(a, b);
    case BinaryOp::IntDivide:
    case BinaryOp::Mod: return IntegerDivide(op, a, b);
    case BinaryOp::Power: return Power(a, b);
    case BinaryOp::Concat: return Concat(a, b, budget);
    case BinaryOp::And:
    case BinaryOp::Or:
    case BinaryOp::Xor:
    case BinaryOp::Eqv:
    case BinaryOp::Imp: return Logical(op, a, b);
    default: break;
  }
  Ordering order = Compare(a, b, a_literal, b_literal, budget);
  if (order == Ordering::Null) return Value::Null();
  switch (op) {
    case BinaryOp::Equal: return Value::Bool(order == Ordering::Equal);
    case BinaryOp::NotEqual: return Value::Bool(order != Ordering::Equal);
    case BinaryOp::Less: return Value::Bool(order == Ordering::Less);
    case BinaryOp::Greater: return Value::Bool(order == Ordering::Greater);
    case BinaryOp::LessEqual: return Value::Bool(order != Ordering::Greater);
    default: return Value::Bool(order != Ordering::Less);
  }
}

Value Negate(const Value& a) {
  switch (a.type()) {
    case VType::Null: return Value::Null();
    case VType::Double: return Value::Dbl(-a.dbl());
    case VType::String: return Value::Dbl(-TextToDouble(a.str()));
    case VType::Long: return WholeOfKind(NumKind::Long, -static_cast<int64_t>(a.long_value()));
    case VType::Array: ArrayOperand();
    default: return WholeOfKind(NumKind::Integer, -ToNum(a).i);
  }
}

Value LogicalNot(const Value& a) {
  Logic x = ToLogic(a);
  if (x.kind == LogicKind::Null) return Value::Null();
  return FromLogic(x.kind, ~x.bits);
}

}  // namespace morvex::script
