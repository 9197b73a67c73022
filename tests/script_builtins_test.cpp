// Built-in functions of the script engine: numbers, conversions, strings,
// arrays and type tests, with their errors.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "morvex/failure.hpp"
#include "platform/script/script_control.hpp"

namespace {

using morvex::Failure;
using morvex::script::ScriptControl;

struct Case {
  const char* expression;
  const char* expected;  // nullptr when `code` is expected
  int32_t code = 0;
};

// Evaluates each expression as the result of a function.
void Check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    std::string script = std::string("Function T()\r  T = ") + c.expression + "\rEnd Function\r";
    std::vector<std::string> none;
    try {
      ScriptControl engine;
      engine.Language("VBScript");
      engine.ExecuteStatement(script);
      std::string result = engine.Run("T", none);
      if (c.expected == nullptr) {
        ADD_FAILURE() << c.expression << ": expected failure " << c.code << ", got " << result;
      } else {
        EXPECT_EQ(result, c.expected) << c.expression;
      }
    } catch (const Failure& failure) {
      if (c.expected != nullptr) {
        ADD_FAILURE() << c.expression << ": failed with " << failure.code() << ": " << failure.what();
      } else {
        EXPECT_EQ(failure.code(), c.code) << c.expression << ": " << failure.what();
      }
    }
  }
}

TEST(ScriptBuiltins, Mathematics) {
  Check({
      {"Abs(-5)", "5"},
      {"Abs(-2.5)", "2.5"},
      {"Abs(\"-3\")", "3"},
      {"TypeName(Abs(-32768))", "Long"},
      {"IsNull(Abs(Null))", "True"},
      {"Atn(1) * 4", "3.14159265358979"},
      {"Cos(0)", "1"},
      {"Sin(0)", "0"},
      {"Tan(0)", "0"},
      {"Sin(3.14159265358979)", "3.23108914886517E-15"},
      {"Exp(1)", "2.71828182845905"},
      {"Exp(1000)", nullptr, 6},
      {"Log(Exp(2))", "2"},
      {"Log(0)", nullptr, 5},
      {"Log(-1)", nullptr, 5},
      {"Sqr(16)", "4"},
      {"Sqr(2)", "1.4142135623731"},
      {"Sqr(-1)", nullptr, 5},
      {"Sqr(Null)", nullptr, 94},
      {"Fix(-2.5)", "-2"},
      {"Int(-2.5)", "-3"},
      {"Int(2.7)", "2"},
      {"Fix(\"3.9\")", "3"},
      {"TypeName(Int(5))", "Integer"},
      {"TypeName(Int(5.5))", "Double"},
      {"Round(2.5)", "2"},
      {"Round(3.5)", "4"},
      {"Round(-2.5)", "-2"},
      {"Round(2.567, 2)", "2.57"},
      {"Round(1.25, 1)", "1.2"},
      {"Round(7)", "7"},
      {"Round(1.5, -1)", nullptr, 5},
      {"Sgn(-3)", "-1"},
      {"Sgn(0)", "0"},
      {"Sgn(2.5)", "1"},
      {"Sgn(\"x\")", nullptr, 13},
  });
}

TEST(ScriptBuiltins, Conversions) {
  Check({
      {"CDbl(\"1.5\")", "1.5"},
      {"CDbl(\"  2e3 \")", "2000"},
      {"CDbl(\"1,5\")", nullptr, 13},
      {"CDbl(\"abc\")", nullptr, 13},
      {"CDbl(True)", "-1"},
      {"CDbl(Empty)", "0"},
      {"CDbl(Null)", nullptr, 94},
      {"CInt(2.5)", "2"},
      {"CInt(3.5)", "4"},
      {"CInt(-2.5)", "-2"},
      {"CInt(\"12\")", "12"},
      {"CInt(32767.4)", "32767"},
      {"CInt(32768)", nullptr, 6},
      {"CInt(-32768.5)", "-32768"},
      {"TypeName(CInt(1.0))", "Integer"},
      {"CLng(2147483647.4)", "2147483647"},
      {"CLng(2147483648)", nullptr, 6},
      {"CLng(-2.5)", "-2"},
      {"TypeName(CLng(1))", "Long"},
      {"CStr(1 / 4)", "0.25"},
      {"CStr(Empty)", ""},
      {"CStr(Null)", nullptr, 94},
      {"CStr(True)", "True"},
      {"CBool(0)", "False"},
      {"CBool(2)", "True"},
      {"CBool(\"true\")", "True"},
      {"CBool(\" FALSE \")", "False"},
      {"CBool(\"0\")", "False"},
      {"CBool(\"x\")", nullptr, 13},
      {"IsNumeric(\"1.5\")", "True"},
      {"IsNumeric(\" 12 \")", "True"},
      {"IsNumeric(\"-1e5\")", "True"},
      {"IsNumeric(\"&HFF\")", "True"},
      {"IsNumeric(\"abc\")", "False"},
      {"IsNumeric(\"\")", "False"},
      {"IsNumeric(\"1.2.3\")", "False"},
      {"IsNumeric(Empty)", "True"},
      {"IsNumeric(Null)", "False"},
      {"IsNumeric(True)", "True"},
      {"Hex(255)", "FF"},
      {"Hex(-1)", "FFFF"},
      {"Hex(-1.0)", "FFFFFFFF"},
      {"Hex(65536)", "10000"},
      {"Hex(\"16\")", "10"},
      {"Oct(8)", "10"},
      {"Oct(-1)", "177777"},
      {"Hex(3E10)", nullptr, 6},
  });
}

TEST(ScriptBuiltins, TypeTests) {
  Check({
      {"IsEmpty(Empty)", "True"},
      {"IsEmpty(\"\")", "False"},
      {"IsNull(Null)", "True"},
      {"IsNull(0)", "False"},
      {"IsArray(Array())", "True"},
      {"IsArray(\"a\")", "False"},
      {"TypeName(1)", "Integer"},
      {"TypeName(40000)", "Long"},
      {"TypeName(1.5)", "Double"},
      {"TypeName(\"\")", "String"},
      {"TypeName(True)", "Boolean"},
      {"TypeName(Empty)", "Empty"},
      {"TypeName(Null)", "Null"},
      {"TypeName(Array(1))", "Variant()"},
      {"VarType(\"x\")", "8"},
      {"VarType(1.5)", "5"},
      {"VarType(Array())", "8204"},
  });
}

TEST(ScriptBuiltins, Strings) {
  Check({
      {"Len(\"hello\")", "5"},
      {"Len(123)", "3"},
      {"Len(Empty)", "0"},
      {"IsNull(Len(Null))", "True"},
      {"Left(\"hello\", 2)", "he"},
      {"Left(\"hi\", 10)", "hi"},
      {"Left(\"x\", -1)", nullptr, 5},
      {"Left(12345, 2)", "12"},
      {"Right(\"hello\", 3)", "llo"},
      {"Right(\"hello\", 0)", ""},
      {"Mid(\"hello\", 2, 3)", "ell"},
      {"Mid(\"hello\", 3)", "llo"},
      {"Mid(\"hello\", 9)", ""},
      {"Mid(\"hello\", 0)", nullptr, 5},
      {"Mid(\"hello\", 2, -1)", nullptr, 5},
      {"InStr(\"hello\", \"l\")", "3"},
      {"InStr(4, \"hello\", \"l\")", "4"},
      {"InStr(\"hello\", \"z\")", "0"},
      {"InStr(\"Hello\", \"h\")", "0"},
      {"InStr(1, \"Hello\", \"h\", 1)", "1"},
      {"InStr(\"abc\", \"\")", "1"},
      {"InStr(9, \"abc\", \"a\")", "0"},
      {"InStr(0, \"a\", \"a\")", nullptr, 5},
      {"IsNull(InStr(Null, \"a\"))", "True"},
      {"InStrRev(\"hello\", \"l\")", "4"},
      {"InStrRev(\"hello\", \"l\", 3)", "3"},
      {"InStrRev(\"hello\", \"x\")", "0"},
      {"UCase(\"abc1\")", "ABC1"},
      {"LCase(\"ABC\")", "abc"},
      {"Trim(\"  a b  \") & \"|\"", "a b|"},
      {"LTrim(\"  a \") & \"|\"", "a |"},
      {"RTrim(\" a  \") & \"|\"", " a|"},
      {"Replace(\"a-b-c\", \"-\", \"+\")", "a+b+c"},
      {"Replace(\"a-b-c\", \"-\", \"\", 1, 1)", "ab-c"},
      {"Replace(\"aXbx\", \"x\", \"_\", 1, -1, 1)", "a_b_"},
      {"Replace(\"abcabc\", \"b\", \"B\", 3)", "caBc"},
      {"Replace(\"abc\", \"\", \"x\")", "abc"},
      {"Replace(Null, \"a\", \"b\")", nullptr, 94},
      {"Space(3) & \"|\"", "   |"},
      {"Space(-1)", nullptr, 5},
      {"String(3, \"ab\")", "aaa"},
      {"String(2, 65)", "AA"},
      {"String(2, \"\")", nullptr, 5},
      {"StrReverse(\"abc\")", "cba"},
      {"StrComp(\"a\", \"B\")", "1"},
      {"StrComp(\"a\", \"B\", 1)", "-1"},
      {"StrComp(\"abc\", \"ABC\", 1)", "0"},
      {"Chr(65) & Chr(97)", "Aa"},
      {"Chr(256)", nullptr, 5},
      {"Asc(\"A\")", "65"},
      {"Asc(\"\")", nullptr, 5},
      {"Len(vbCrLf) & Asc(vbTab) & Len(vbNullString)", "290"},
  });
}

TEST(ScriptBuiltins, Arrays) {
  Check({
      {"UBound(Array(1, 2, 3))", "2"},
      {"LBound(Array(1, 2, 3))", "0"},
      {"UBound(Array())", "-1"},
      {"Join(Array(1, \"a\", 2.5), \"-\")", "1-a-2.5"},
      {"Join(Array(\"x\", \"y\"))", "x y"},
      {"UBound(Split(\"a,b,c\", \",\"))", "2"},
      {"Join(Split(\"a b c\"), \"+\")", "a+b+c"},
      {"Join(Split(\"a,b,c,d\", \",\", 2), \"|\")", "a|b,c,d"},
      {"Join(Split(\"aXbxc\", \"x\", -1, 1), \"|\")", "a|b|c"},
      {"UBound(Split(\"\"))", "-1"},
      {"UBound(Split(\"abc\", \"\"))", "0"},
      {"UBound(5)", nullptr, 13},
      {"UBound(Array(1), 2)", nullptr, 9},
      {"Join(5)", nullptr, 13},
  });
}

TEST(ScriptBuiltins, RandomNumbers) {
  Check({
      // A negative argument seeds the sequence, so it repeats.
      {"Rnd(-1) = Rnd(-1)", "True"},
      {"Rnd(-7) <> Rnd(-8)", "True"},
      // Rnd(0) repeats the last number.
      {"Rnd() = Rnd(0)", "True"},
      {"Rnd(-2) + Rnd() <> Rnd(-2) + Rnd(-2)", "True"},
  });
  std::string script =
      "Function Draws()\r"
      "  Dim i, x, low, high\r"
      "  low = 1 : high = 0\r"
      "  Rnd -5\r"
      "  Randomize 3\r"
      "  For i = 1 To 2000\r"
      "    x = Rnd\r"
      "    If x < low Then low = x\r"
      "    If x > high Then high = x\r"
      "  Next\r"
      "  Draws = (low >= 0) & (high < 1) & (low < 0.01) & (high > 0.99)\r"
      "End Function\r"
      "Function Seeded()\r"
      "  Rnd -3 : Randomize 5 : Seeded = Rnd\r"
      "End Function\r";
  ScriptControl engine;
  engine.Language("vbscript");
  engine.ExecuteStatement(script);
  std::vector<std::string> none;
  EXPECT_EQ(engine.Run("Draws", none), "TrueTrueTrueTrue");
  std::string first = engine.Run("Seeded", none);
  EXPECT_EQ(engine.Run("Seeded", none), first);
  engine.ExecuteStatement("Randomize\rFunction R() : R = Rnd : End Function\r");
  std::string a = engine.Run("R", none);
  EXPECT_NE(engine.Run("R", none), a);
}

}  // namespace
