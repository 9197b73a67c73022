#include "script/script_values.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>

#include "script/fifteen_digits.hpp"

namespace morvex::script {

// ---- conversions ----

double RoundHalfEven(double x) {
  double floor = std::floor(x);
  double diff = x - floor;
  if (diff > 0.5) return floor + 1;
  if (diff < 0.5) return floor;
  return std::fmod(floor, 2.0) == 0 ? floor : floor + 1;
}

namespace {

// No number needs more characters; refusing longer texts keeps conversions cheap.
constexpr size_t kMaxNumberText = 4096;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }

[[noreturn]] void NotANumber(const Value& value) {
  Raise(error_code::TypeMismatch, Quoted(value.str()) + " is not a number");
}

// Whether a decimal text "ddd.ddde[+-]xx" out of the double range lies below
// it (and reads as 0) rather than above it.
bool IsTiny(std::string_view text) {
  int64_t exponent = 0;
  size_t mark = text.find('e');
  if (mark != std::string_view::npos) {
    std::string_view written = text.substr(mark + 1);
    bool negative = !written.empty() && written[0] == '-';
    for (char c : written) {
      if (IsDigit(c) && exponent < 100000000) exponent = exponent * 10 + (c - '0');
    }
    if (negative) exponent = -exponent;
    text = text.substr(0, mark);
  }
  size_t first = text.find_first_of("123456789");
  if (first == std::string_view::npos) return true;
  size_t point = text.find('.');
  if (point == std::string_view::npos) point = text.size();
  int64_t first_exponent = first < point ? static_cast<int64_t>(point - first - 1)
                                         : -static_cast<int64_t>(first - point);
  return first_exponent + exponent < 0;
}

}  // namespace

bool ParseNumber(std::string_view text, double& value) {
  if (text.size() > kMaxNumberText) return false;
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  bool negative = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  // The shape first: from_chars alone would take "inf", "nan" and hex floats.
  std::string copy;
  size_t i = 0;
  size_t mantissa_digits = 0;
  bool point = false;
  for (; i < text.size() && (IsDigit(text[i]) || (text[i] == '.' && !point)); ++i) {
    point = point || text[i] == '.';
    mantissa_digits += IsDigit(text[i]);
    copy += text[i];
  }
  if (mantissa_digits == 0) return false;
  if (i < text.size()) {
    if ((text[i] | 0x20) != 'e' && (text[i] | 0x20) != 'd') return false;
    copy += 'e';
    if (++i < text.size() && (text[i] == '+' || text[i] == '-')) copy += text[i++];
    size_t exponent_digits = 0;
    for (; i < text.size() && IsDigit(text[i]); ++i, ++exponent_digits) copy += text[i];
    if (exponent_digits == 0 || i != text.size()) return false;
  }
  double parsed = 0;
  auto result = std::from_chars(copy.data(), copy.data() + copy.size(), parsed);
  if (result.ec == std::errc::result_out_of_range) {
    if (!IsTiny(copy)) Raise(error_code::Overflow, Quoted(text) + " is beyond the range of a number");
    parsed = 0;
  } else if (result.ec != std::errc() || result.ptr != copy.data() + copy.size()) {
    return false;
  }
  value = negative ? -parsed : parsed;
  return true;
}

double ToDouble(const Value& v) {
  const Value& value = v.Target();
  switch (value.type()) {
    case VType::Empty: return 0;
    case VType::Boolean: return value.boolean() ? -1 : 0;
    case VType::Number: return value.number();
    case VType::String: break;
  }
  double number = 0;
  if (!ParseNumber(value.str(), number)) NotANumber(value);
  return number;
}

int32_t ToLong(const Value& value) {
  double rounded = RoundHalfEven(ToDouble(value));
  if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0)) {
    Raise(error_code::Overflow, "the number does not fit a Long");
  }
  return static_cast<int32_t>(rounded);
}

bool ToBool(const Value& v) {
  const Value& value = v.Target();
  if (!value.is_string()) return ToDouble(value) != 0;
  std::string_view s = value.str();
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  if (s.size() <= 5) {
    std::string lower = LowerName(s);
    if (lower == "true") return true;
    if (lower == "false") return false;
  }
  double number = 0;
  if (!ParseNumber(s, number)) Raise(error_code::TypeMismatch, Quoted(s) + " is not True, False or a number");
  return number != 0;
}

bool IsNumeric(const Value& v) {
  const Value& value = v.Target();
  double ignored = 0;
  return !value.is_string() || ParseNumber(value.str(), ignored);
}

void AppendText(std::string& out, const Value& v) {
  const Value& value = v.Target();
  switch (value.type()) {
    case VType::Empty: return;
    case VType::Boolean: out += value.boolean() ? "True" : "False"; return;
    case VType::String: out.append(value.str()); return;
    case VType::Number: break;
  }
  // Arithmetic fails before it makes an infinity or a NaN.
  char buffer[digits::kFifteenDigitsBuffer];
  out.append(buffer, digits::WriteFifteenDigits(buffer, value.number()));
}

std::string ToText(const Value& value) {
  std::string out;
  AppendText(out, value);
  return out;
}

void CheckStringLength(size_t length) {
  if (length > limits::kMaxStringLength) {
    Raise(error_code::OutOfStringSpace,
          "a string of " + std::to_string(length) + " characters is over the cap of " +
              std::to_string(limits::kMaxStringLength),
          0, Stop::SizeCap);
  }
}

Value MakeString(std::string text, Budget& budget) {
  CheckStringLength(text.size());
  budget.ChargeBytes(text.size());
  return Value::Str(std::move(text));
}

// ---- operators ----

namespace {

Value Checked(double d) {
  if (!std::isfinite(d)) Raise(error_code::Overflow, "the result is beyond the range of a number");
  return Value::Num(d);
}

// A whole operand of \ and Mod and of the bitwise operators.
int64_t Whole(const Value& value) { return ToLong(value); }

Value Concat(const Value& a, const Value& b, Budget& budget) {
  size_t known = (a.is_string() ? a.str().size() : 0) + (b.is_string() ? b.str().size() : 0);
  CheckStringLength(known);
  std::string text;
  text.reserve(known + 24);
  AppendText(text, a);
  AppendText(text, b);
  return MakeString(std::move(text), budget);
}

Value Arithmetic(BinaryOp op, const Value& a, const Value& b) {
  double x = ToDouble(a);
  double y = ToDouble(b);
  switch (op) {
    case BinaryOp::Add: return Checked(x + y);
    case BinaryOp::Subtract: return Checked(x - y);
    case BinaryOp::Multiply: return Checked(x * y);
    case BinaryOp::Divide:
      if (y == 0) {
        if (x == 0) Raise(error_code::Overflow, "0 divided by 0");
        Raise(error_code::DivisionByZero);
      }
      return Checked(x / y);
    case BinaryOp::Power:
      if (x < 0 && y != std::floor(y)) Raise(error_code::InvalidCall, "a negative number to a fractional power");
      if (x == 0 && y < 0) Raise(error_code::InvalidCall, "0 to a negative power");
      return Checked(std::pow(x, y));
    default: break;
  }
  int64_t m = Whole(a);
  int64_t n = Whole(b);
  if (n == 0) Raise(error_code::DivisionByZero);
  return Value::Num(static_cast<double>(op == BinaryOp::IntDivide ? m / n : m % n));
}

// A logical operand: a Boolean stays one (text "True"/"False" becomes one);
// anything else is a 32-bit whole number.
struct Logic {
  bool is_boolean;
  int32_t bits;
};

Logic ToLogic(const Value& value) {
  if (value.type() == VType::Boolean) return {true, value.boolean() ? -1 : 0};
  if (value.is_string() && !IsNumeric(value)) return {true, ToBool(value) ? -1 : 0};
  return {false, ToLong(value)};
}

Value FromLogic(bool is_boolean, int32_t bits) {
  return is_boolean ? Value::Bool(bits != 0) : Value::Num(bits);
}

Value Logical(BinaryOp op, const Value& a, const Value& b) {
  Logic x = ToLogic(a);
  Logic y = ToLogic(b);
  int32_t bits = 0;
  switch (op) {
    case BinaryOp::And: bits = x.bits & y.bits; break;
    case BinaryOp::Or: bits = x.bits | y.bits; break;
    case BinaryOp::Xor: bits = x.bits ^ y.bits; break;
    case BinaryOp::Eqv: bits = ~(x.bits ^ y.bits); break;
    default: bits = ~x.bits | y.bits; break;  // Imp
  }
  return FromLogic(x.is_boolean && y.is_boolean, bits);
}

int Sign(double d) { return d < 0 ? -1 : (d > 0 ? 1 : 0); }

// The order of a against b: -1, 0 or 1.
int Compare(const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget) {
  bool a_text = a.is_string();
  bool b_text = b.is_string();
  if (a_text && b_text) {
    budget.ChargeBytes(std::min(a.str().size(), b.str().size()));
    return Sign(a.str().compare(b.str()));
  }
  if (!a_text && !b_text) return Sign(ToDouble(a) - ToDouble(b));
  const Value& text = a_text ? a : b;
  const Value& number = a_text ? b : a;
  int c;  // the order of the number against the text
  if (number.is_empty()) {
    c = text.str().empty() ? 0 : -1;
  } else if (a_text ? a_literal : b_literal) {
    c = Sign(ToText(number).compare(text.str()));
  } else if (a_text ? b_literal : a_literal) {
    c = Sign(ToDouble(number) - ToDouble(text));
  } else {
    c = -1;
  }
  return a_text ? -c : c;
}

}  // namespace

Value ApplyBinary(BinaryOp op, const Value& a, const Value& b, bool a_literal, bool b_literal, Budget& budget) {
  switch (op) {
    case BinaryOp::Add:
      // "+" joins two strings; a string and Empty stay the string.
      if ((a.is_string() || a.is_empty()) && (b.is_string() || b.is_empty()) && (a.is_string() || b.is_string())) {
        return Concat(a, b, budget);
      }
      return Arithmetic(op, a, b);
    case BinaryOp::Concat: return Concat(a, b, budget);
    case BinaryOp::Subtract:
    case BinaryOp::Multiply:
    case BinaryOp::Divide:
    case BinaryOp::IntDivide:
    case BinaryOp::Mod:
    case BinaryOp::Power: return Arithmetic(op, a, b);
    case BinaryOp::And:
    case BinaryOp::Or:
    case BinaryOp::Xor:
    case BinaryOp::Eqv:
    case BinaryOp::Imp: return Logical(op, a, b);
    default: break;
  }
  int c = Compare(a, b, a_literal, b_literal, budget);
  switch (op) {
    case BinaryOp::Equal: return Value::Bool(c == 0);
    case BinaryOp::NotEqual: return Value::Bool(c != 0);
    case BinaryOp::Less: return Value::Bool(c < 0);
    case BinaryOp::Greater: return Value::Bool(c > 0);
    case BinaryOp::LessEqual: return Value::Bool(c <= 0);
    default: return Value::Bool(c >= 0);
  }
}

Value Negate(const Value& a) { return Value::Num(0.0 - ToDouble(a)); }

Value LogicalNot(const Value& a) {
  Logic x = ToLogic(a);
  return FromLogic(x.is_boolean, ~x.bits);
}

}  // namespace morvex::script
