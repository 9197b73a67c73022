#include "platform/script/script_convert.hpp"

#include <cmath>
#include <optional>

#include "platform/script/script_error.hpp"
#include "platform/script/script_limits.hpp"
#include "platform/script/script_number_text.hpp"

namespace morvex::script {

double RoundHalfEven(double x) {
  double floor = std::floor(x);
  double diff = x - floor;
  if (diff > 0.5) return floor + 1;
  if (diff < 0.5) return floor;
  return std::fmod(floor, 2.0) == 0 ? floor : floor + 1;
}

double TextToDouble(std::string_view text) {
  double value = 0;
  switch (ParseNumber(text, value)) {
    case NumberParse::Ok: return value;
    case NumberParse::Overflow: Raise(error_code::Overflow, Quoted(text) + " is beyond the range of a number");
    case NumberParse::NotANumber: break;
  }
  Raise(error_code::TypeMismatch, Quoted(text) + " is not a number");
}

bool IsNumericValue(const Value& v) {
  const Value& value = v.Target();
  if (value.is_number_like()) return true;
  if (!value.is_string()) return false;
  double ignored = 0;
  return ParseNumber(value.str(), ignored) == NumberParse::Ok;
}

namespace {

// The number of a value of a whole type (Empty 0, Boolean -1 or 0, Integer,
// Long); none for the other types.
std::optional<int32_t> WholeNumber(const Value& value) {
  switch (value.type()) {
    case VType::Empty: return 0;
    case VType::Boolean: return value.boolean() ? -1 : 0;
    case VType::Integer: return value.integer();
    case VType::Long: return value.long_value();
    default: return std::nullopt;
  }
}

}  // namespace

double ToDouble(const Value& v) {
  const Value& value = v.Target();
  if (std::optional<int32_t> whole = WholeNumber(value)) return *whole;
  switch (value.type()) {
    case VType::Double: return value.dbl();
    case VType::String: return TextToDouble(value.str());
    case VType::Null: Raise(error_code::InvalidUseOfNull);
    default: break;
  }
  Raise(error_code::TypeMismatch, "an array is not a number");
}

int32_t ToLong(const Value& v) {
  const Value& value = v.Target();
  if (std::optional<int32_t> whole = WholeNumber(value)) return *whole;
  double rounded = RoundHalfEven(ToDouble(value));
  if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0)) {
    Raise(error_code::Overflow, "the number does not fit a Long");
  }
  return static_cast<int32_t>(rounded);
}

int16_t ToInteger(const Value& v) {
  const Value& value = v.Target();
  double rounded = value.type() == VType::Double || value.is_string() ? RoundHalfEven(ToDouble(value))
                                                                      : static_cast<double>(ToLong(value));
  if (!(rounded >= -32768.0 && rounded <= 32767.0)) Raise(error_code::Overflow, "the number does not fit an Integer");
  return static_cast<int16_t>(rounded);
}

namespace {

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i];
    char y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x + 32);
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y + 32);
    if (x != y) return false;
  }
  return true;
}

std::string_view TrimBlanks(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

}  // namespace

bool ToBool(const Value& v) {
  const Value& value = v.Target();
  switch (value.type()) {
    case VType::Empty: return false;
    case VType::Boolean: return value.boolean();
    case VType::Integer: return value.integer() != 0;
    case VType::Long: return value.long_value() != 0;
    case VType::Double: return value.dbl() != 0;
    case VType::String: {
      if (value.str().size() > 4096) Raise(error_code::TypeMismatch, Quoted(value.str()) + " is not True, False or a number");
      std::string_view s = TrimBlanks(value.str());
      if (EqualsNoCase(s, "true")) return true;
      if (EqualsNoCase(s, "false")) return false;
      double number = 0;
      if (ParseNumber(s, number) == NumberParse::Ok) return number != 0;
      Raise(error_code::TypeMismatch, Quoted(value.str()) + " is not True, False or a number");
    }
    case VType::Null: Raise(error_code::InvalidUseOfNull);
    case VType::Array: break;
  }
  Raise(error_code::TypeMismatch, "an array is not a Boolean");
}

void AppendText(std::string& out, const Value& v) {
  const Value& value = v.Target();
  switch (value.type()) {
    case VType::Empty: return;
    case VType::Boolean: out += value.boolean() ? "True" : "False"; return;
    case VType::Integer: AppendInteger(out, value.integer()); return;
    case VType::Long: AppendInteger(out, value.long_value()); return;
    case VType::Double: AppendDouble(out, value.dbl()); return;
    case VType::String: out.append(value.str()); return;
    case VType::Null: Raise(error_code::InvalidUseOfNull);
    case VType::Array: break;
  }
  Raise(error_code::TypeMismatch, "an array has no text");
}

std::string ToText(const Value& value) {
  std::string out;
  AppendText(out, value);
  return out;
}

void CheckStringLength(size_t length) {
  if (length > limits::kMaxStringLength) {
    Raise(error_code::OutOfStringSpace, "a string of " + std::to_string(length) + " characters is longer than " +
                                            std::to_string(limits::kMaxStringLength));
  }
}

Value MakeString(std::string text, Budget& budget) {
  CheckStringLength(text.size());
  budget.ChargeBytes(text.size());
  return Value::Str(std::move(text));
}

}  // namespace morvex::script
