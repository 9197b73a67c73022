// Values of the script engine: VBScript's conversions between strings and
// numbers, the text of numbers, the operators with their result types,
// widening on overflow, Null and Empty, and precedence.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "morvex/failure.hpp"
#include "platform/script/script_control.hpp"

namespace {

using morvex::Failure;
using morvex::script::ScriptControl;

// The value of `expression` as the result of a function, or the failure code.
struct Evaluated {
  bool ok = false;
  std::string text;
  int32_t code = 0;
};

Evaluated Evaluate(const std::string& body, std::vector<std::string> args = {}) {
  std::string params;
  for (size_t i = 0; i < args.size(); ++i) params += (i ? ", " : "") + std::string(1, static_cast<char>('a' + i));
  std::string script = "Function T(" + params + ")\r\n" + body + "\r\nEnd Function\r\n";
  try {
    ScriptControl engine;
    engine.Language("VBScript");
    engine.ExecuteStatement(script);
    return {true, engine.Run("T", args), 0};
  } catch (const Failure& failure) {
    return {false, "", failure.code()};
  }
}

struct ExpressionCase {
  const char* expression;
  const char* expected;  // the result text, or nullptr when `code` is expected
  int32_t code = 0;
};

void CheckExpressions(const std::vector<ExpressionCase>& cases) {
  for (const ExpressionCase& c : cases) {
    Evaluated got = Evaluate(std::string("T = ") + c.expression);
    if (c.expected != nullptr) {
      EXPECT_TRUE(got.ok) << c.expression << " failed with code " << got.code;
      EXPECT_EQ(got.text, c.expected) << c.expression;
    } else {
      EXPECT_FALSE(got.ok) << c.expression << " gave " << got.text;
      EXPECT_EQ(got.code, c.code) << c.expression;
    }
  }
}

TEST(ScriptValues, NumbersBecomeTextAsVBScriptWritesThem) {
  CheckExpressions({
      {"0.1 + 0.2", "0.3"},
      {"1 / 3", "0.333333333333333"},
      {"2 / 3", "0.666666666666667"},
      {"1 / 12", "8.33333333333333E-02"},
      {"0.00000015", "0.00000015"},
      {"0.000000000000015", "0.000000000000015"},
      {"0.0000000000000015", "1.5E-15"},
      {"0.0000000000000001", "1E-16"},
      {"999999999999999", "999999999999999"},
      {"1000000000000000", "1E+15"},
      {"10 ^ 20", "1E+20"},
      {"123456789012345678", "1.23456789012346E+17"},
      {"1234567890123456", "1.23456789012346E+15"},
      {"1E+100", "1E+100"},
      {"-0.5", "-0.5"},
      {"0 * -1.5", "0"},
      {"4 * Atn(1)", "3.14159265358979"},
      {"2 * Atn(1)", "1.5707963267949"},
      {"6 / 2", "3"},
      {"1.7976931348623157E308", "1.79769313486232E+308"},
      {"True", "True"},
      {"False", "False"},
      {"Empty", ""},
      {"&HFF", "255"},
      {"&HFFFF", "-1"},
      {"&H8000", "-32768"},
      {"&H10000", "65536"},
      {"&HFFFF&", "65535"},
      {"&O17", "15"},
      {".5 + 1.", "1.5"},
  });
}

TEST(ScriptValues, StringsAndNumbersMix) {
  CheckExpressions({
      {"\"2\" + 3", "5"},
      {"\"2\" & 3", "23"},
      {"\"2\" + \"3\"", "23"},
      {"\"2\" * \"3\"", "6"},
      {"\"7\" - 2", "5"},
      {"\" 1.5e1 \" + 0", "15"},
      {"\"&H10\" + 0", "16"},
      {"\"abc\" + 1", nullptr, 13},
      {"\"\" + 1", nullptr, 13},
      {"\"1e999\" + 1", nullptr, 6},
      {"1 & 2.5 & True", "12.5True"},
      {"Empty + 1", "1"},
      {"Empty & \"x\"", "x"},
      {"\"x\" + Empty", "x"},
      {"Null & \"x\"", "x"},
      {"TypeName(\"2\" + 3)", "Double"},
      {"TypeName(\"2\" & 3)", "String"},
      {"TypeName(Empty + Empty)", "Integer"},
      {"TypeName(Null + 1)", "Null"},
      {"TypeName(Null & Null)", "Null"},
  });
}

TEST(ScriptValues, WholeNumbersWidenWhereVBScriptWidens) {
  CheckExpressions({
      {"TypeName(1 + 1)", "Integer"},
      {"32767 + 1", "32768"},
      {"TypeName(32767 + 1)", "Long"},
      {"TypeName(200 * 200)", "Long"},
      {"2147483647 + 1", "2147483648"},
      {"TypeName(2147483647 + 1)", "Double"},
      {"100000 * 100000", "10000000000"},
      {"TypeName(100000 * 100000)", "Double"},
      {"-32768 - 1", "-32769"},
      {"TypeName(-(-32768))", "Long"},
      {"TypeName(2147483647 * 2)", "Double"},
      {"True + True", "-2"},
      {"TypeName(True + True)", "Integer"},
      {"TypeName(6 / 2)", "Double"},
      {"TypeName(7 \\ 2)", "Integer"},
      {"TypeName(70000 \\ 2)", "Long"},
      {"TypeName(1.5 * 2)", "Double"},
      {"1E308 * 10", nullptr, 6},
      {"10 ^ 400", nullptr, 6},
      {"-1E308 - 1E308", nullptr, 6},
  });
}

TEST(ScriptValues, DivisionPowerAndRemainder) {
  CheckExpressions({
      {"7 / 2", "3.5"},
      {"7 \\ 2", "3"},
      {"-7 \\ 2", "-3"},
      {"7.5 \\ 2", "4"},
      {"6.5 \\ 1", "6"},
      {"7 Mod 3", "1"},
      {"-7 Mod 3", "-1"},
      {"7 Mod -3", "1"},
      {"5.5 Mod 2", "0"},
      {"\"9\" Mod 4", "1"},
      {"1 / 0", nullptr, 11},
      {"0 / 0", nullptr, 6},
      {"5 \\ 0", nullptr, 11},
      {"5 Mod 0", nullptr, 11},
      {"5 \\ 0.4", nullptr, 11},
      {"3000000000 \\ 2", nullptr, 6},
      {"2 ^ 10", "1024"},
      {"2 ^ -1", "0.5"},
      {"2 ^ 0.5", "1.4142135623731"},
      {"(-8) ^ 3", "-512"},
      {"(-8) ^ (1 / 3)", nullptr, 5},
      {"0 ^ -1", nullptr, 5},
      {"0 ^ 0", "1"},
  });
}

TEST(ScriptValues, PrecedenceFollowsVBScript) {
  CheckExpressions({
      {"2 + 3 * 4", "14"},
      {"(2 + 3) * 4", "20"},
      {"2 * 3 ^ 2", "18"},
      {"-3 ^ 2", "-9"},
      {"(-3) ^ 2", "9"},
      {"2 ^ 3 ^ 2", "64"},
      {"10 - 2 - 3", "5"},
      {"2 ^ 2 * 3", "12"},
      {"7 \\ 2 * 2", "1"},
      {"10 Mod 4 \\ 2", "0"},
      {"5 + 3 Mod 2", "6"},
      {"\"a\" & 1 + 2", "a3"},
      {"1 + 2 & 3", "33"},
      {"1 + 2 = 3", "True"},
      {"Not 1 = 2", "True"},
      {"Not 1 = 1 Or True", "True"},
      {"1 = 1 And 2 = 3", "False"},
      {"True Or False And False", "True"},
      {"True Xor True Or True", "False"},
      {"-2 * -3", "6"},
      {"2 - -3", "5"},
      {"- - 4", "4"},
      {"+5", "5"},
  });
}

TEST(ScriptValues, LogicIsBitwiseOnNumbersAndLogicalOnBooleans) {
  CheckExpressions({
      {"True And False", "False"},
      {"True Or False", "True"},
      {"True Xor True", "False"},
      {"False Imp True", "True"},
      {"True Imp False", "False"},
      {"True Eqv False", "False"},
      {"Not True", "False"},
      {"Not 0", "-1"},
      {"Not 5", "-6"},
      {"5 And 3", "1"},
      {"5 Or 3", "7"},
      {"5 Xor 3", "6"},
      {"TypeName(5 And 3)", "Integer"},
      {"TypeName(70000 And 3)", "Long"},
      {"True And 3", "3"},
      {"6.5 And 7", "6"},
      {"\"True\" And True", "True"},
      {"Null And False", "False"},
      {"Null Or True", "True"},
      {"IsNull(Null And True)", "True"},
      {"IsNull(Null Or False)", "True"},
      {"IsNull(Not Null)", "True"},
      {"\"x\" And True", nullptr, 13},
  });
}

TEST(ScriptValues, ComparisonsOfLiterals) {
  CheckExpressions({
      {"1 < 2", "True"},
      {"3 = 3.0", "True"},
      {"\"abc\" < \"abd\"", "True"},
      {"\"B\" < \"a\"", "True"},
      {"\"a\" = \"A\"", "False"},
      {"2 <> 2", "False"},
      {"2 >= 2", "True"},
      {"True = -1", "True"},
      {"Empty = 0", "True"},
      {"Empty = \"\"", "True"},
      {"IsNull(Null = Null)", "True"},
      {"IsNull(1 < Null)", "True"},
  });
}

// VBScript compares a string and a number by what was written: a literal
// number reads the string as a number, a literal string compares the number's
// text, and two variables put every number before every string.
TEST(ScriptValues, ComparisonsOfStringsAndNumbersDependOnLiterals) {
  struct Case {
    const char* body;
    const char* expected;
    int32_t code;
  };
  const Case cases[] = {
      {"a = \"10\" : T = (a > 9)", "True", 0},
      {"a = \"1\" : T = (a > 2)", "False", 0},
      {"a = \"abc\" : T = (a = 1)", nullptr, 13},
      {"b = 2 : T = (b = \"2\")", "True", 0},
      {"b = 10 : T = (b < \"9\")", "True", 0},
      {"a = \"1\" : b = 2 : T = (a > b)", "True", 0},
      {"a = \"10\" : b = 10 : T = (a = b)", "False", 0},
      {"a = 10 : b = \"10\" : T = (a < b)", "True", 0},
      {"a = Empty : b = \"\" : T = (a = b)", "True", 0},
      {"a = \"5\" : Select Case a : Case 5 : T = \"five\" : Case Else : T = \"other\" : End Select", "five", 0},
      {"a = 5 : Select Case a : Case \"5\" : T = \"text\" : Case Else : T = \"other\" : End Select", "text", 0},
  };
  for (const Case& c : cases) {
    Evaluated got = Evaluate(c.body);
    if (c.expected != nullptr) {
      EXPECT_TRUE(got.ok) << c.body << " failed with code " << got.code;
      EXPECT_EQ(got.text, c.expected) << c.body;
    } else {
      EXPECT_EQ(got.code, c.code) << c.body;
    }
  }
}

// The calculator hands every argument over as a string.
TEST(ScriptValues, ArgumentsArriveAsStrings) {
  EXPECT_EQ(Evaluate("T = a * 2", {"21"}).text, "42");
  EXPECT_EQ(Evaluate("T = a + 1", {"2"}).text, "3");
  EXPECT_EQ(Evaluate("T = a & 1", {"2"}).text, "21");
  EXPECT_EQ(Evaluate("T = a + b", {"2", "3"}).text, "23");
  EXPECT_EQ(Evaluate("T = CDbl(a) + CDbl(b)", {"2", "3"}).text, "5");
  EXPECT_EQ(Evaluate("T = (a > 5)", {"10"}).text, "True");
  EXPECT_EQ(Evaluate("T = (a > b)", {"10", "9"}).text, "False");  // two strings: compared as text
  EXPECT_EQ(Evaluate("T = TypeName(a)", {"2"}).text, "String");
  EXPECT_EQ(Evaluate("T = a * 2", {"abc"}).code, 13);
  EXPECT_EQ(Evaluate("T = a / 4", {"1E-3"}).text, "0.00025");
}

TEST(ScriptValues, ConditionsConvertToBoolean) {
  CheckExpressions({
      {"\"x\" : If 1 Then T = \"yes\"", "yes"},
      {"\"x\" : If \"True\" Then T = \"yes\"", "yes"},
      {"\"x\" : If \"0\" Then T = \"yes\" Else T = \"no\"", "no"},
      {"\"x\" : If Null Then T = \"yes\" Else T = \"no\"", "no"},
      {"\"x\" : If Empty Then T = \"yes\" Else T = \"no\"", "no"},
      {"\"x\" : If \"maybe\" Then T = \"yes\"", nullptr, 13},
  });
}

}  // namespace
