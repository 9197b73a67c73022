// The built-in functions on numbers and strings, and the named constants.
#include "script/script_builtins.hpp"

#include <algorithm>
#include <cmath>
#include <string>

namespace morvex::script {
namespace {

using Args = const Value*;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

Value Checked(double d) {
  if (!std::isfinite(d)) Raise(error_code::Overflow, "the result is beyond the range of a number");
  return Value::Num(d);
}

// ---- numbers ----

template <double (*F)(double)>
Value Real(Args a, size_t, Budget&) {
  return Checked(F(ToDouble(a[0])));
}
double Atan(double x) { return std::atan(x); }
double Cos(double x) { return std::cos(x); }
double Sin(double x) { return std::sin(x); }
double Tan(double x) { return std::tan(x); }
double Exp(double x) { return std::exp(x); }

Value Abs(Args a, size_t, Budget&) { return Value::Num(std::fabs(ToDouble(a[0]))); }

Value Log(Args a, size_t, Budget&) {
  double x = ToDouble(a[0]);
  if (x <= 0) Raise(error_code::InvalidCall, "the logarithm of a number not above 0");
  return Value::Num(std::log(x));
}

Value Sqr(Args a, size_t, Budget&) {
  double x = ToDouble(a[0]);
  if (x < 0) Raise(error_code::InvalidCall, "the square root of a negative number");
  return Value::Num(std::sqrt(x));
}

Value Fix(Args a, size_t, Budget&) { return Value::Num(std::trunc(ToDouble(a[0]))); }
Value Int(Args a, size_t, Budget&) { return Value::Num(std::floor(ToDouble(a[0]))); }

Value Sgn(Args a, size_t, Budget&) {
  double x = ToDouble(a[0]);
  return Value::Num(x > 0 ? 1 : (x < 0 ? -1 : 0));
}

// Round(x[, decimals]): a tie to the even digit.
Value Round(Args a, size_t count, Budget&) {
  double x = ToDouble(a[0]);
  int32_t decimals = count > 1 ? ToLong(a[1]) : 0;
  if (decimals < 0) Raise(error_code::InvalidCall, "Round with a negative number of decimals");
  if (decimals == 0) return Value::Num(RoundHalfEven(x));
  double scale = std::pow(10.0, std::min(decimals, 22));
  double scaled = x * scale;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= 9007199254740992.0) return Value::Num(x);
  return Value::Num(RoundHalfEven(scaled) / scale);
}

Value CDbl(Args a, size_t, Budget&) { return Value::Num(ToDouble(a[0])); }
Value CLng(Args a, size_t, Budget&) { return Value::Num(ToLong(a[0])); }
Value CInt(Args a, size_t, Budget&) {
  int32_t n = ToLong(a[0]);
  if (n < -32768 || n > 32767) Raise(error_code::Overflow, "the number does not fit an Integer");
  return Value::Num(n);
}
Value CBool(Args a, size_t, Budget&) { return Value::Bool(ToBool(a[0])); }
Value CStr(Args a, size_t, Budget& budget) { return a[0].is_string() ? a[0] : MakeString(ToText(a[0]), budget); }
Value IsNumericOf(Args a, size_t, Budget&) { return Value::Bool(IsNumeric(a[0])); }
Value IsEmpty(Args a, size_t, Budget&) { return Value::Bool(a[0].is_empty()); }

Value TypeName(Args a, size_t, Budget&) {
  static constexpr const char* kNames[] = {"Empty", "Boolean", "Double", "String"};
  return Value::Str(kNames[static_cast<size_t>(a[0].type())]);
}

// ---- strings ----

// A count or a position argument.
int32_t Count(const Value& v, const char* what) {
  int32_t n = ToLong(v);
  if (n < 0) Raise(error_code::InvalidCall, std::string(what) + " must not be negative");
  return n;
}
int32_t Position(const Value& v, const char* what) {
  int32_t n = ToLong(v);
  if (n < 1) Raise(error_code::InvalidCall, std::string(what) + " must be 1 or more");
  return n;
}

Value Text(std::string text, Budget& budget) { return MakeString(std::move(text), budget); }

// The first place of `needle` in `hay` at or after `from`, or npos. Every
// character compared is charged, so no search outlasts the budget.
size_t Search(std::string_view hay, std::string_view needle, size_t from, Budget& budget) {
  size_t work = 0;
  size_t found = std::string_view::npos;
  for (size_t i = from; i + needle.size() <= hay.size(); ++i) {
    size_t k = 0;
    while (k < needle.size() && hay[i + k] == needle[k]) ++k;
    work += k + 1;
    if (work >= 4096) {
      budget.ChargeBytes(work);
      work = 0;
    }
    if (k == needle.size()) {
      found = i;
      break;
    }
  }
  budget.ChargeBytes(work);
  return found;
}

Value Len(Args a, size_t, Budget&) { return Value::Num(static_cast<double>(ToText(a[0]).size())); }

Value Left(Args a, size_t, Budget& budget) {
  size_t n = static_cast<size_t>(Count(a[1], "the length of Left"));
  return Text(ToText(a[0]).substr(0, n), budget);
}

Value Right(Args a, size_t, Budget& budget) {
  size_t n = static_cast<size_t>(Count(a[1], "the length of Right"));
  std::string s = ToText(a[0]);
  return Text(s.substr(s.size() - std::min(n, s.size())), budget);
}

Value Mid(Args a, size_t count, Budget& budget) {
  size_t start = static_cast<size_t>(Position(a[1], "the start of Mid"));
  size_t length = count > 2 ? static_cast<size_t>(Count(a[2], "the length of Mid")) : std::string::npos;
  std::string s = ToText(a[0]);
  return Text(start > s.size() ? std::string() : s.substr(start - 1, length), budget);
}

// InStr([start,] text, part): the 1-based place of part, 0 when absent.
Value InStr(Args a, size_t count, Budget& budget) {
  size_t start = count > 2 ? static_cast<size_t>(Position(a[0], "the start of InStr")) : 1;
  std::string hay = ToText(a[count - 2]);
  std::string needle = ToText(a[count - 1]);
  if (start > hay.size()) return Value::Num(0);
  if (needle.empty()) return Value::Num(static_cast<double>(start));
  size_t at = Search(hay, needle, start - 1, budget);
  return Value::Num(at == std::string::npos ? 0 : static_cast<double>(at + 1));
}

template <char (*F)(char)>
Value MapChars(Args a, size_t, Budget& budget) {
  std::string s = ToText(a[0]);
  std::transform(s.begin(), s.end(), s.begin(), F);
  return Text(std::move(s), budget);
}

template <bool kLeft, bool kRight>
Value Trimmed(Args a, size_t, Budget& budget) {
  std::string s = ToText(a[0]);
  std::string_view view = s;
  while (kLeft && !view.empty() && view.front() == ' ') view.remove_prefix(1);
  while (kRight && !view.empty() && view.back() == ' ') view.remove_suffix(1);
  return Text(std::string(view), budget);
}

// Replace(text, find, replacement): every find replaced, left to right.
Value Replace(Args a, size_t, Budget& budget) {
  std::string s = ToText(a[0]);
  std::string find = ToText(a[1]);
  std::string replacement = ToText(a[2]);
  if (find.empty()) return Text(std::move(s), budget);
  std::string out;
  size_t from = 0;
  for (size_t at; (at = Search(s, find, from, budget)) != std::string::npos; from = at + find.size()) {
    CheckStringLength(out.size() + (at - from) + replacement.size());
    out.append(s, from, at - from).append(replacement);
    budget.ChargeBytes(at - from + replacement.size());
  }
  CheckStringLength(out.size() + (s.size() - from));
  out.append(s, from);
  return Text(std::move(out), budget);
}

Value Repeat(int32_t n, char c, Budget& budget) {
  CheckStringLength(static_cast<size_t>(n));
  return Text(std::string(static_cast<size_t>(n), c), budget);
}

Value Space(Args a, size_t, Budget& budget) { return Repeat(Count(a[0], "the length of Space"), ' ', budget); }

// String(n, character): a character or its code.
Value String(Args a, size_t, Budget& budget) {
  int32_t n = Count(a[0], "the length of String");
  if (!a[1].is_string()) return Repeat(n, static_cast<char>(ToLong(a[1]) & 0xFF), budget);
  if (a[1].str().empty()) Raise(error_code::InvalidCall, "String needs a character");
  return Repeat(n, a[1].str()[0], budget);
}

Value StrReverse(Args a, size_t, Budget& budget) {
  std::string s = ToText(a[0]);
  std::reverse(s.begin(), s.end());
  return Text(std::move(s), budget);
}

// StrComp(a, b[, mode]): -1, 0 or 1; mode 1 compares letters without regard to case.
Value StrComp(Args a, size_t count, Budget& budget) {
  int32_t mode = count > 2 ? ToLong(a[2]) : 0;
  if (mode != 0 && mode != 1) Raise(error_code::InvalidCall, "the comparison mode must be 0 or 1");
  std::string x = ToText(a[0]);
  std::string y = ToText(a[1]);
  budget.ChargeBytes(x.size() + y.size());
  if (mode == 1) {
    std::transform(x.begin(), x.end(), x.begin(), Lower);
    std::transform(y.begin(), y.end(), y.begin(), Lower);
  }
  int c = x.compare(y);
  return Value::Num(c < 0 ? -1 : (c > 0 ? 1 : 0));
}

Value Chr(Args a, size_t, Budget& budget) {
  int32_t code = ToLong(a[0]);
  if (code < 0 || code > 255) Raise(error_code::InvalidCall, "Chr takes a code from 0 to 255");
  return Text(std::string(1, static_cast<char>(code)), budget);
}

Value Asc(Args a, size_t, Budget&) {
  std::string s = ToText(a[0]);
  if (s.empty()) Raise(error_code::InvalidCall, "Asc of an empty string");
  return Value::Num(static_cast<unsigned char>(s[0]));
}

constexpr Builtin kBuiltins[] = {
    {"abs", 1, 1, Abs},           {"atn", 1, 1, Real<Atan>},  {"cos", 1, 1, Real<Cos>},
    {"sin", 1, 1, Real<Sin>}, {"tan", 1, 1, Real<Tan>},  {"exp", 1, 1, Real<Exp>},
    {"log", 1, 1, Log},           {"sqr", 1, 1, Sqr},              {"fix", 1, 1, Fix},
    {"int", 1, 1, Int},           {"round", 1, 2, Round},          {"sgn", 1, 1, Sgn},
    {"cdbl", 1, 1, CDbl},         {"cint", 1, 1, CInt},            {"clng", 1, 1, CLng},
    {"cbool", 1, 1, CBool},       {"cstr", 1, 1, CStr},            {"isnumeric", 1, 1, IsNumericOf},
    {"isempty", 1, 1, IsEmpty},   {"typename", 1, 1, TypeName},    {"len", 1, 1, Len},
    {"left", 2, 2, Left},         {"right", 2, 2, Right},          {"mid", 2, 3, Mid},
    {"instr", 2, 3, InStr},       {"ucase", 1, 1, MapChars<Upper>}, {"lcase", 1, 1, MapChars<Lower>},
    {"trim", 1, 1, Trimmed<true, true>}, {"ltrim", 1, 1, Trimmed<true, false>},
    {"rtrim", 1, 1, Trimmed<false, true>}, {"replace", 3, 3, Replace}, {"space", 1, 1, Space},
    {"string", 2, 2, String},     {"strreverse", 1, 1, StrReverse}, {"strcomp", 2, 3, StrComp},
    {"chr", 1, 1, Chr},           {"asc", 1, 1, Asc},
};

constexpr std::pair<std::string_view, std::string_view> kConstants[] = {
    {"vbcr", "\r"}, {"vblf", "\n"}, {"vbcrlf", "\r\n"}, {"vbnewline", "\r\n"}, {"vbtab", "\t"},
};

}  // namespace

int32_t FindBuiltin(std::string_view lower) {
  for (size_t i = 0; i < std::size(kBuiltins); ++i) {
    if (kBuiltins[i].name == lower) return static_cast<int32_t>(i);
  }
  return -1;
}

const Builtin& BuiltinAt(int32_t index) { return kBuiltins[index]; }

bool FindBuiltinConstant(std::string_view lower, Value& value) {
  for (const auto& [name, text] : kConstants) {
    if (name != lower) continue;
    value = Value::Str(std::string(text));
    return true;
  }
  return false;
}

}  // namespace morvex::script
