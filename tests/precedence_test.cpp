// The order of binding of a line: which operator takes its operands first,
// seen only through the value that Calculate gives the line. Every row is a
// line on a fresh calculator; the expected texts are the 15-digit number texts
// of the values.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "morvex/morvex.hpp"

namespace morvex {
namespace {

struct Row {
  const char* line;
  const char* value;  // OutString of the line
};

// Runs a line; a Failure that escapes is reported as a test failure.
void RunLine(clsMorvex& calc, const std::string& line) {
  std::string text = line;
  try {
    calc.Calculate(text);
  } catch (const Failure& f) {
    ADD_FAILURE() << "line \"" << line << "\" failed with code " << f.code() << ": " << f.what();
  }
}

double AnsOf(const clsMorvex& calc) { return calc.VariableList().at(0).Value; }

// Each row on a fresh calculator, after the given set-up lines: the value, no
// error, and Ans holding the same number.
void ExpectValues(const std::vector<Row>& rows, const std::vector<std::string>& setup = {}) {
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string("line ") + row.line);
    clsMorvex calc;
    calc.Initialize();
    for (const std::string& s : setup) RunLine(calc, s);
    RunLine(calc, row.line);
    EXPECT_EQ(calc.OutString(), row.value);
    EXPECT_EQ(calc.ErrNumber(), 0) << calc.ErrDescription();
    EXPECT_EQ(AnsOf(calc), std::strtod(row.value, nullptr));
  }
}

TEST(Precedence, SignsBindTighterThanPowersUnlessAGroupIsInBetween) {
  ExpectValues({
      {"-2^2", "4"},
      {"2^-2", "0.25"},
      {"-3", "-3"},
      {"+3", "3"},
      {"2*-3", "-6"},
      {"2--3", "5"},
      {"2+-3", "-1"},
      // The sign waits in front of the group; the power is taken before the
      // second sign pass reaches it.
      {"-(2)^2", "-4"},
      {"-(2+1)", "-3"},
  });
}

TEST(Precedence, PowersGoFromTheLeft) {
  ExpectValues({
      {"2^3^2", "64"},
      {"2^3*2", "16"},
      {"2*3^2", "18"},
      {"(2)^3", "8"},
      {"0^0", "1"},
      {"0^2", "0"},
      {"(-2)^3", "-8"},
      {"(-2)^2", "4"},
      {"2+3*(4-1)^2", "29"},
  });
}

TEST(Precedence, TimesDivideAndPlusMinusGoFromTheLeft) {
  ExpectValues({
      {"8/2/2", "2"},
      {"8-2-2", "4"},
      {"2*3+4", "10"},
      {"2+3*4", "14"},
      {"1/3", "0.333333333333333"},
      {"2/3", "0.666666666666667"},
      {"1/12", "8.33333333333333E-02"},
      {"0/5", "0"},
      {"(2+3)*4", "20"},
      {"((1+2))", "3"},
      // An open parenthesis is closed at the end of the line.
      {"(1+2", "3"},
      {"2*(3+4", "14"},
  });
}

TEST(Precedence, FunctionWordsTakeTheirNumberBeforeProductsButAfterOuterPowers) {
  ExpectValues({
      {"Sin30", "0.5"},
      {"sin(30)", "0.5"},
      {"Sin(2*15)", "0.5"},
      // The word has its number at once and takes it before the product.
      {"Sin2*15", "0.523492450537515"},
      // Outside parentheses the power comes first: the sine of 8 degrees.
      {"Sin2^3", "0.139173100960065"},
      // Inside parentheses the word comes first and its value is cubed.
      {"(Sin2^3)", "4.2506709962361E-05"},
      {"Sin30+Cos60", "1"},
      {"Sin-30", "-0.5"},
      {"Sqr16+9", "13"},
      {"Sqr(16+9)", "5"},
      {"Sin^2(30)", "0.25"},
      {"(Sin^2(30))", "0.25"},
      {"Sqr^2(9)", "9"},
      // The group goes first, then the power, and the word last: Sin 900.
      {"Sin(30)^2", "0"},
      {"Exp(2)", "100"},
      {"ArcCos0.5", "60.0000000000001"},
      {"ArcSin1", "90"},
      {"Fix-2.5", "-2"},
      {"Int-2.5", "-3"},
      {"Log1000", "3"},
  });
}

TEST(Precedence, ImpliedProductsBindTighterThanTimesAndDivide) {
  ExpectValues({
      {"2(3)", "6"},
      {"(2)(3)", "6"},
      {"(2)3", "6"},
      {"2Sin30", "1"},
      {"Sqr4Sqr9", "6"},
      {"6/2(3)", "1"},
      {"2(3)^2", "18"},
      {"2(3)+1", "7"},
      // The comma goes before the reduction: two numbers side by side.
      {"1,000+1", "1"},
  });
}

TEST(Precedence, ComparisonsEachHaveALevelOfTheirOwnAboveTheArithmetic) {
  ExpectValues({
      {"3<5", "1"},
      {"5<3", "0"},
      {"3>2", "1"},
      {"2>3", "0"},
      {"2?2", "1"},
      {"2?3", "0"},
      {"2#2", "0"},
      {"2#3", "1"},
      {"2[2", "1"},
      {"3[2", "0"},
      {"2]3", "0"},
      {"3]3", "1"},
      {"2+3<4", "3"},
      {"2*3<4", "2"},
      {"(2+3)<4", "0"},
      // "<" is taken before ">", whatever stands to the left.
      {"3>2<1", "1"},
      {"1<2>0", "1"},
  });
}

TEST(Precedence, SelectionAndRemainderFollowTheComparisons) {
  ExpectValues({
      {"1:7", "7"},
      {"2:7", "0"},
      {"0:7", "0"},
      {"0@7", "7"},
      {"2@7", "0"},
      // The comparison is taken first, then the selection.
      {"2<3:7", "7"},
      // ":" before "@" before the vertical bar.
      {"0:0@1", "1"},
      {"1@0|1", "1"},
      {"0:0|1", "1"},
      {"1|1:2", "1"},
      {"1+1:7", "8"},
  });
}

TEST(Precedence, TheRemainderKeepsTheSignOfTheLeftOperand) {
  ExpectValues({
      {"7|3", "1"},
      {"-7|3", "-1"},
      {"7|-3", "1"},
      {"-7|-3", "-1"},
      {"0|5", "5"},
      {"0|0", "0"},
      {"6|3", "0"},
      // The quotient is whole and below 0: the second formula applies.
      {"-6|3", "-3"},
      {"7.5|2", "1.5"},
      {"1+7|3", "2"},
      {"2*7|3", "2"},
  });
}

TEST(Precedence, FactorialsBindToTheNumberBeforeThem) {
  ExpectValues({
      {"5!", "120"},
      {"0!", "1"},
      {"1!", "1"},
      {"-3!", "-6"},
      {"-5!", "-120"},
      {"3!+1", "7"},
      {"2^3!", "64"},
      {"3!^2", "36"},
      {"2*3!", "12"},
      {"170!", "7.257415615308E+306"},
  });
}

TEST(Precedence, ExponentMarksMakeANumberBeforeAnyOperator) {
  ExpectValues({
      {"2E3", "2000"},
      {"E3", "1000"},
      {"2E-3", "0.002"},
      {"2E+3", "2000"},
      {"1.5E3", "1500"},
      {"3Exp2", "300"},
      {"Exp2", "100"},
      {"2exp3", "2000"},
      {"2EXP3", "2000"},
      {"2E3^2", "4000000"},
      {"2E3+1", "2001"},
      {"1E15", "1E+15"},
      {"1E-16", "1E-16"},
      // A result too small for a double is no failure.
      {"1E-300/1E10", "9.99999999999997E-311"},
      {"1E-300/1E300", "0"},
  });
}

TEST(Precedence, PiIsTheFifteenDigitText) {
  ExpectValues({
      {"PI", "3.14159265358979"},
      {"pi", "3.14159265358979"},
      {"2PI", "6.28318530717958"},
      {"PI*2", "6.28318530717958"},
      {"PI^2", "9.86960440108934"},
      {"PI/2", "1.5707963267949"},
      {"Sin(PI)", "5.48036651487895E-02"},
  });
}

TEST(Precedence, WordsInRadians) {
  ExpectValues(
      {
          {"Sin(PI)", "0"},
          {"Cos(PI/2)", "0"},
          {"Tan(PI)", "0"},
          {"Sin30", "-0.988031624092862"},
          {"Sin1", "0.841470984807897"},
          {"Sin(PI/6)", "0.499999999999999"},
          {"ArcSin1", "1.5707963267949"},
          {"ArcCos-1", "3.14159265358979"},
          {"ArcCos0.5", "1.0471975511966"},
          {"2ArcSin1", "3.1415926535898"},
      },
      {"RAD"});
}

TEST(Precedence, TheAngleUnitHoldsUntilTheNextCommand) {
  clsMorvex calc;
  calc.Initialize();
  struct Step {
    const char* line;
    const char* out;
  };
  const Step steps[] = {
      {"Sin90", "1"},   {"radians", "OK"},    {"Sin90", "0.893996663600558"},
      {"Sin(PI)", "0"}, {"deg", "OK"},        {"Sin90", "1"},
      {"Rad", "OK"},    {"ArcSin1", "1.5707963267949"}, {"DEGREES", "OK"},
      {"ArcSin1", "90"},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.line);
    RunLine(calc, s.line);
    EXPECT_EQ(calc.OutString(), s.out);
  }
}

TEST(Precedence, AnsCarriesTheLastValueIntoTheNextLine) {
  clsMorvex calc;
  calc.Initialize();
  struct Step {
    const char* line;
    const char* out;
    double ans;  // Ans after the line
  };
  const Step steps[] = {
      {"Ans", "0", 0},           {"2+3", "5", 5},          {"Ans*2", "10", 10},
      {"Ans+Ans", "20", 20},     {"ans/4", "5", 5},        {"2Ans", "10", 10},
      {"Ans^2-Ans", "90", 90},   {"-Ans", "-90", -90},     {"Sqr(Ans+91)", "1", 1},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.line);
    RunLine(calc, s.line);
    EXPECT_EQ(calc.OutString(), s.out);
    EXPECT_EQ(calc.ErrNumber(), 0);
    EXPECT_EQ(AnsOf(calc), s.ans);
  }
}

TEST(Precedence, UnknownNamesCountAsZero) {
  // With the host declining, the letters stay a name and count as 0.
  for (const Row& row : std::vector<Row>{{"abc+1", "1"}, {"2*q+3", "3"}, {"(q)+4", "4"}}) {
    SCOPED_TRACE(row.line);
    clsMorvex calc;
    calc.Initialize();
    calc.Events().InputBox = [](std::string& num) { num.clear(); };
    RunLine(calc, row.line);
    EXPECT_EQ(calc.OutString(), row.value);
    EXPECT_EQ(calc.ErrNumber(), 0);
  }
}

}  // namespace
}  // namespace morvex
