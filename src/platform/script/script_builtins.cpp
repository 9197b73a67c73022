#include "platform/script/script_builtins.hpp"

#include "platform/script/script_builtin_functions.hpp"

namespace morvex::script {
namespace {

using namespace builtins;

constexpr Builtin kBuiltins[] = {
    {"abs", 1, 1, Abs},           {"atn", 1, 1, Atn},           {"cos", 1, 1, Cos},
    {"exp", 1, 1, Exp},           {"fix", 1, 1, Fix},           {"int", 1, 1, Int},
    {"log", 1, 1, Log},           {"rnd", 0, 1, Rnd},           {"randomize", 0, 1, Randomize},
    {"round", 1, 2, Round},       {"sgn", 1, 1, Sgn},           {"sin", 1, 1, Sin},
    {"sqr", 1, 1, Sqr},           {"tan", 1, 1, Tan},           {"cdbl", 1, 1, CDbl},
    {"cint", 1, 1, CInt},         {"clng", 1, 1, CLng},         {"cstr", 1, 1, CStr},
    {"cbool", 1, 1, CBool},       {"isnumeric", 1, 1, IsNumeric}, {"isempty", 1, 1, IsEmpty},
    {"isnull", 1, 1, IsNull},     {"isarray", 1, 1, IsArray},   {"hex", 1, 1, Hex},
    {"oct", 1, 1, Oct},           {"typename", 1, 1, TypeNameOf}, {"vartype", 1, 1, VarType},
    {"len", 1, 1, Len},           {"left", 2, 2, Left},         {"right", 2, 2, Right},
    {"mid", 2, 3, Mid},           {"instr", 2, 4, InStr},       {"instrrev", 2, 4, InStrRev},
    {"ucase", 1, 1, UCase},       {"lcase", 1, 1, LCase},       {"trim", 1, 1, Trim},
    {"ltrim", 1, 1, LTrim},       {"rtrim", 1, 1, RTrim},       {"replace", 3, 6, Replace},
    {"space", 1, 1, Space},       {"string", 2, 2, String},     {"strreverse", 1, 1, StrReverse},
    {"strcomp", 2, 3, StrComp},   {"chr", 1, 1, Chr},           {"asc", 1, 1, Asc},
    {"array", 0, -1, Array},      {"ubound", 1, 2, UBound},     {"lbound", 1, 2, LBound},
    {"split", 1, 4, Split},       {"join", 1, 2, Join},
};

struct NamedConstant {
  std::string_view name;
  enum class Kind { Text, Integer } kind;
  std::string_view text;
  int32_t number;
};

constexpr NamedConstant kConstants[] = {
    {"vbcr", NamedConstant::Kind::Text, "\r", 0},
    {"vblf", NamedConstant::Kind::Text, "\n", 0},
    {"vbcrlf", NamedConstant::Kind::Text, "\r\n", 0},
    {"vbnewline", NamedConstant::Kind::Text, "\r\n", 0},
    {"vbtab", NamedConstant::Kind::Text, "\t", 0},
    {"vbnullstring", NamedConstant::Kind::Text, "", 0},
    {"vbnullchar", NamedConstant::Kind::Text, std::string_view("\0", 1), 0},
    {"vbbinarycompare", NamedConstant::Kind::Integer, {}, 0},
    {"vbtextcompare", NamedConstant::Kind::Integer, {}, 1},
    {"vbtrue", NamedConstant::Kind::Integer, {}, -1},
    {"vbfalse", NamedConstant::Kind::Integer, {}, 0},
    {"vbusedefault", NamedConstant::Kind::Integer, {}, -2},
    {"vbempty", NamedConstant::Kind::Integer, {}, 0},
    {"vbnull", NamedConstant::Kind::Integer, {}, 1},
    {"vbinteger", NamedConstant::Kind::Integer, {}, 2},
    {"vblong", NamedConstant::Kind::Integer, {}, 3},
    {"vbsingle", NamedConstant::Kind::Integer, {}, 4},
    {"vbdouble", NamedConstant::Kind::Integer, {}, 5},
    {"vbstring", NamedConstant::Kind::Integer, {}, 8},
    {"vbboolean", NamedConstant::Kind::Integer, {}, 11},
    {"vbvariant", NamedConstant::Kind::Integer, {}, 12},
    {"vbarray", NamedConstant::Kind::Integer, {}, 8192},
};

struct Refusal {
  std::string_view name;
  std::string_view reason;
};

constexpr std::string_view kObjects = "objects are not available to scripts of the calculator";
constexpr std::string_view kDynamicCode = "scripts cannot run code made at run time";
constexpr std::string_view kClock = "the clock and calendar functions are not available to scripts";
constexpr std::string_view kDialogs = "scripts cannot show dialogs";
constexpr std::string_view kNotProvided = "this function is not provided by the calculator's script engine";

constexpr Refusal kRefused[] = {
    {"createobject", kObjects},  {"getobject", kObjects},      {"isobject", kObjects},
    {"getref", kObjects},        {"err", kObjects},            {"wscript", kObjects},
    {"eval", kDynamicCode},      {"execute", kDynamicCode},    {"executeglobal", kDynamicCode},
    {"now", kClock},             {"date", kClock},             {"time", kClock},
    {"timer", kClock},           {"year", kClock},             {"month", kClock},
    {"day", kClock},             {"hour", kClock},             {"minute", kClock},
    {"second", kClock},          {"weekday", kClock},          {"dateadd", kClock},
    {"datediff", kClock},        {"datepart", kClock},         {"dateserial", kClock},
    {"datevalue", kClock},       {"timeserial", kClock},       {"timevalue", kClock},
    {"monthname", kClock},       {"weekdayname", kClock},      {"formatdatetime", kClock},
    {"isdate", kClock},          {"cdate", kClock},            {"msgbox", kDialogs},
    {"inputbox", kDialogs},      {"loadpicture", kObjects},    {"scriptengine", kNotProvided},
    {"scriptenginebuildversion", kNotProvided}, {"scriptenginemajorversion", kNotProvided},
    {"scriptengineminorversion", kNotProvided}, {"setlocale", kNotProvided},
    {"getlocale", kNotProvided}, {"formatnumber", kNotProvided}, {"formatcurrency", kNotProvided},
    {"formatpercent", kNotProvided}, {"ccur", kNotProvided},   {"csng", kNotProvided},
    {"cbyte", kNotProvided},     {"rgb", kNotProvided},        {"escape", kNotProvided},
    {"unescape", kNotProvided},  {"filter", kNotProvided},     {"ascw", kNotProvided},
    {"chrw", kNotProvided},      {"ascb", kNotProvided},       {"chrb", kNotProvided},
    {"lenb", kNotProvided},      {"leftb", kNotProvided},      {"rightb", kNotProvided},
    {"midb", kNotProvided},      {"instrb", kNotProvided},
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
  for (const NamedConstant& c : kConstants) {
    if (c.name != lower) continue;
    value = c.kind == NamedConstant::Kind::Text ? Value::Str(std::string(c.text)) : Value::Whole(c.number);
    return true;
  }
  return false;
}

std::string_view RefusedName(std::string_view lower) {
  for (const Refusal& r : kRefused) {
    if (r.name == lower) return r.reason;
  }
  return {};
}

}  // namespace morvex::script
