// Built-in functions on numbers, conversions and type tests.
#include <chrono>
#include <cmath>
#include <optional>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/script/script_builtin_functions.hpp"
#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"
#include "platform/script/script_number_text.hpp"

namespace morvex::script::builtins {
namespace {

Value CheckedDouble(double d) {
  if (!std::isfinite(d)) Raise(error_code::Overflow, "the result is beyond the range of a Double");
  return Value::Dbl(d);
}

// The argument of a function of a real number: Null is an error.
double RealArgument(const Value& v) { return ToDouble(v); }

// What Int, Fix and Round give back without computing: Null stays Null, and
// a value of a whole type (Empty, Boolean, Integer, Long) stays whole.
std::optional<Value> AlreadyWhole(const Value& v) {
  switch (v.type()) {
    case VType::Null: return Value::Null();
    case VType::Empty: return Value::Int(0);
    case VType::Boolean: return Value::Int(v.boolean() ? -1 : 0);
    case VType::Integer:
    case VType::Long: return v;
    default: return std::nullopt;
  }
}

// Int and Fix keep whole types and turn strings into Doubles.
Value WholePart(const Value& v, bool toward_zero) {
  if (std::optional<Value> whole = AlreadyWhole(v)) return *whole;
  double d = ToDouble(v);
  return Value::Dbl(toward_zero ? std::trunc(d) : std::floor(d));
}

// The random number generator of VBScript: a 24-bit linear congruential
// sequence, kept per thread so that successive runs go on with it.
struct RandomState {
  uint32_t seed = 0x50000;
};
thread_local RandomState random_state;

uint32_t FloatBits(double d) {
  float f = static_cast<float>(d);
  uint32_t bits = 0;
  std::memcpy(&bits, &f, sizeof bits);
  return bits;
}

}  // namespace

Value Abs(const Value* args, size_t, Budget&) {
  const Value& v = args[0];
  switch (v.type()) {
    case VType::Null: return Value::Null();
    case VType::Empty: return Value::Int(0);
    case VType::Boolean: return Value::Int(v.boolean() ? 1 : 0);
    case VType::Integer: return Value::Whole(std::abs(static_cast<int32_t>(v.integer())));
    case VType::Long: {
      int64_t n = std::abs(static_cast<int64_t>(v.long_value()));
      return n > INT32_MAX ? Value::Dbl(static_cast<double>(n)) : Value::Long(static_cast<int32_t>(n));
    }
    default: return Value::Dbl(std::fabs(ToDouble(v)));
  }
}

Value Atn(const Value* args, size_t, Budget&) { return Value::Dbl(std::atan(RealArgument(args[0]))); }
Value Cos(const Value* args, size_t, Budget&) { return Value::Dbl(std::cos(RealArgument(args[0]))); }
Value Sin(const Value* args, size_t, Budget&) { return Value::Dbl(std::sin(RealArgument(args[0]))); }
Value Tan(const Value* args, size_t, Budget&) { return CheckedDouble(std::tan(RealArgument(args[0]))); }
Value Exp(const Value* args, size_t, Budget&) { return CheckedDouble(std::exp(RealArgument(args[0]))); }

Value Log(const Value* args, size_t, Budget&) {
  double x = RealArgument(args[0]);
  if (x <= 0) Raise(error_code::InvalidCall, "the logarithm of a number not above 0");
  return Value::Dbl(std::log(x));
}

Value Sqr(const Value* args, size_t, Budget&) {
  double x = RealArgument(args[0]);
  if (x < 0) Raise(error_code::InvalidCall, "the square root of a negative number");
  return Value::Dbl(std::sqrt(x));
}

Value Fix(const Value* args, size_t, Budget&) { return WholePart(args[0], true); }
Value Int(const Value* args, size_t, Budget&) { return WholePart(args[0], false); }

Value Sgn(const Value* args, size_t, Budget&) {
  if (args[0].is_null()) return Value::Null();
  double x = ToDouble(args[0]);
  return Value::Int(static_cast<int16_t>(x > 0 ? 1 : (x < 0 ? -1 : 0)));
}

Value Round(const Value* args, size_t count, Budget&) {
  const Value& v = args[0];
  int32_t digits = count > 1 ? ToLong(args[1]) : 0;
  if (digits < 0) Raise(error_code::InvalidCall, "Round with a negative number of decimals");
  if (std::optional<Value> whole = AlreadyWhole(v)) return *whole;
  double x = ToDouble(v);
  if (digits == 0) return Value::Dbl(RoundHalfEven(x));
  if (digits > 22) return Value::Dbl(x);
  double scale = std::pow(10.0, digits);
  double scaled = x * scale;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= 9007199254740992.0) return Value::Dbl(x);
  return Value::Dbl(RoundHalfEven(scaled) / scale);
}

Value Rnd(const Value* args, size_t count, Budget&) {
  RandomState& state = random_state;
  double x = count > 0 ? ToDouble(args[0]) : 1;
  if (x < 0) {
    uint32_t bits = FloatBits(x);
    state.seed = (bits + (bits >> 24)) & 0xFFFFFFu;
  }
  if (x != 0) state.seed = (state.seed * 0x43FD43FDu + 0xC39EC3u) & 0xFFFFFFu;
  return Value::Dbl(static_cast<double>(state.seed) / 16777216.0);
}

Value Randomize(const Value* args, size_t count, Budget&) {
  RandomState& state = random_state;
  double x;
  if (count > 0) {
    x = ToDouble(args[0]);
  } else {
    // Seconds since midnight: the one use of the clock that scripts get.
    auto now = std::chrono::system_clock::now().time_since_epoch();
    x = std::fmod(std::chrono::duration<double>(now).count(), 86400.0);
  }
  uint64_t bits = 0;
  std::memcpy(&bits, &x, sizeof bits);
  uint32_t high = static_cast<uint32_t>(bits >> 32);
  uint32_t mixed = (high ^ (high >> 16)) & 0xFFFFu;
  state.seed = (state.seed & 0xFFu) | (mixed << 8);
  return Value();
}

Value CDbl(const Value* args, size_t, Budget&) { return Value::Dbl(ToDouble(args[0])); }
Value CInt(const Value* args, size_t, Budget&) { return Value::Int(ToInteger(args[0])); }
Value CLng(const Value* args, size_t, Budget&) { return Value::Long(ToLong(args[0])); }
Value CBool(const Value* args, size_t, Budget&) { return Value::Bool(ToBool(args[0])); }

Value CStr(const Value* args, size_t, Budget& budget) {
  if (args[0].is_string()) return args[0];
  return MakeString(ToText(args[0]), budget);
}

Value IsNumeric(const Value* args, size_t, Budget&) { return Value::Bool(IsNumericValue(args[0])); }
Value IsEmpty(const Value* args, size_t, Budget&) { return Value::Bool(args[0].is_empty()); }
Value IsNull(const Value* args, size_t, Budget&) { return Value::Bool(args[0].is_null()); }
Value IsArray(const Value* args, size_t, Budget&) { return Value::Bool(args[0].is_array()); }

namespace {

Value RadixText(const Value& v, unsigned shift, Budget& budget) {
  if (v.is_null()) return Value::Null();
  // Negative numbers show their two's complement: 16 bits for Integers, 32 for the rest.
  VType type = v.type();
  uint32_t bits = static_cast<uint32_t>(ToLong(v));
  if (type == VType::Empty || type == VType::Boolean || type == VType::Integer) bits &= 0xFFFFu;
  const char* digits = "0123456789ABCDEF";
  unsigned mask = (1u << shift) - 1;
  char buffer[16];
  int n = 0;
  do {
    buffer[n++] = digits[bits & mask];
    bits >>= shift;
  } while (bits != 0);
  std::string text(buffer, buffer + n);
  return MakeString(std::string(text.rbegin(), text.rend()), budget);
}

}  // namespace

Value Hex(const Value* args, size_t, Budget& budget) { return RadixText(args[0], 4, budget); }
Value Oct(const Value* args, size_t, Budget& budget) { return RadixText(args[0], 3, budget); }

Value TypeNameOf(const Value* args, size_t, Budget& budget) {
  return MakeString(std::string(TypeName(args[0])), budget);
}

Value VarType(const Value* args, size_t, Budget&) {
  switch (args[0].type()) {
    case VType::Empty: return Value::Int(0);
    case VType::Null: return Value::Int(1);
    case VType::Integer: return Value::Int(2);
    case VType::Long: return Value::Int(3);
    case VType::Double: return Value::Int(5);
    case VType::String: return Value::Int(8);
    case VType::Boolean: return Value::Int(11);
    case VType::Array: return Value::Int(8204);
  }
  return Value::Int(0);
}

}  // namespace morvex::script::builtins
