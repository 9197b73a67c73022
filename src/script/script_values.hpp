// The values of the script language and its operators: Empty, Boolean, Number
// (a double) and String, with VBScript's conversions between them. A string is
// shared between copies, so a copy of a Value costs a reference count.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "script/script_limits.hpp"

namespace morvex::script {

enum class VType : uint8_t { Empty, Boolean, Number, String };

class Value {
 public:
  Value() = default;
  static Value Bool(bool b) { return Value(b); }
  static Value Num(double d) { return Value(d); }
  // The text must already be within the string cap.
  static Value Str(std::string text) {
    if (text.empty()) return Value(TextRef());
    return Value(TextRef(std::make_shared<const std::string>(std::move(text))));
  }
  // A ByRef parameter: a slot of a frame that stands for a slot of the caller.
  static Value Ref(Value* target) { return Value(target); }

  VType type() const { return static_cast<VType>(data_.index()); }
  bool is_ref() const { return data_.index() == kRefIndex; }
  bool is_empty() const { return data_.index() == 0; }
  bool is_string() const { return type() == VType::String; }
  bool boolean() const { return std::get<bool>(data_); }
  double number() const { return std::get<double>(data_); }
  std::string_view str() const {
    const TextRef& t = std::get<TextRef>(data_);
    return t ? std::string_view(*t) : std::string_view();
  }
  // The slot a ByRef slot stands for, or this one.
  Value& Target() { return is_ref() ? *std::get<Value*>(data_) : *this; }
  const Value& Target() const { return is_ref() ? *std::get<Value*>(data_) : *this; }

 private:
  using TextRef = std::shared_ptr<const std::string>;
  static constexpr size_t kRefIndex = 4;
  template <typename T>
  explicit Value(T v) : data_(std::move(v)) {}

  std::variant<std::monostate, bool, double, TextRef, Value*> data_;
};

enum class BinaryOp : uint8_t {
  Add, Subtract, Multiply, Divide, IntDivide, Mod, Power, Concat,
  Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual,
  And, Or, Xor, Eqv, Imp,
};

// ---- conversions ----

// Rounds to the nearest whole number, a tie to the even one.
double RoundHalfEven(double x);
// A whole text read as a number (blanks around it, a sign, digits with one
// point, an exponent with E or D): false when it is none; overflow fails.
bool ParseNumber(std::string_view text, double& value);
// CDbl: Empty is 0, True is -1; text that is no number is a type mismatch.
double ToDouble(const Value& value);
// CLng: rounded half to even; overflow outside the 32-bit range.
int32_t ToLong(const Value& value);
// CBool: numbers are True unless 0; text is "True", "False" or a number.
bool ToBool(const Value& value);
bool IsNumeric(const Value& value);
// CStr: Empty is "", Booleans "True" and "False", numbers with 15 digits.
void AppendText(std::string& out, const Value& value);
std::string ToText(const Value& value);
// A string made by the script: refused over the cap, charged by its length.
Value MakeString(std::string text, Budget& budget);
void CheckStringLength(size_t length);

// ---- operators ----

// Every binary operator. A side marked literal was written as a constant: as
// in VBScript, a number compared with a literal string is compared as text, a
// string compared with a literal number is read as a number, and otherwise any
// number is less than any string.
Value ApplyBinary(BinaryOp op, const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget);
Value Negate(const Value& a);
Value LogicalNot(const Value& a);

}  // namespace morvex::script
