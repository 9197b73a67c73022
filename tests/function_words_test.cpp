// Function words: the outcome and the exact result text of a word and its
// argument, in both angle units.
#include "evaluation/function_words.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace morvex {
namespace {

constexpr WordOutcome kValue = WordOutcome::Value;
constexpr WordOutcome kPole = WordOutcome::Pole;
constexpr WordOutcome kDomain = WordOutcome::Domain;
constexpr WordOutcome kNone = WordOutcome::None;
constexpr WordOutcome kArgument = WordOutcome::ArgumentText;

struct Case {
  const char* word;
  const char* argument;
  const char* unit;
  WordOutcome outcome;
  const char* text;  // the value text where the outcome is a value
};

void Check(const Case& c) {
  SCOPED_TRACE(std::string(c.word) + " " + c.argument + " in " + c.unit);
  const WordResult result = ApplyWordRule(c.word, c.argument, c.unit);
  EXPECT_EQ(result.outcome, c.outcome);
  if (c.outcome == kValue) {
    EXPECT_EQ(result.text.view(), c.text);
  }
}

TEST(FunctionWords, TrigonometryInDegreesTestsTheExactPoints) {
  const Case cases[] = {
      {"Sin", "0", "Degree", kValue, "0"},        {"Sin", "180", "Degree", kValue, "0"},
      {"Sin", "-540", "Degree", kValue, "0"},     {"Sin", "90", "Degree", kValue, "1"},
      {"Sin", "30", "Degree", kValue, "0.5"},     {"Sin", "-30", "Degree", kValue, "-0.5"},
      {"Cos", "90", "Degree", kValue, "0"},       {"Cos", "-90", "Degree", kValue, "0"},
      {"Cos", "180", "Degree", kValue, "-1"},     {"Cos", "360", "Degree", kValue, "1"},
      {"Tan", "90", "Degree", kPole, ""},         {"Tan", "270", "Degree", kPole, ""},
      {"Tan", "-90", "Degree", kPole, ""},        {"Tan", "180", "Degree", kValue, "0"},
      {"Tan", "45", "Degree", kValue, "1"},       {"Cot", "0", "Degree", kPole, ""},
      {"Cot", "180", "Degree", kPole, ""},        {"Cot", "90", "Degree", kValue, "0"},
      {"Cot", "45", "Degree", kValue, "1"},       {"sIN", "90", "Degree", kValue, "1"},
      {"COS", "0", "Degree", kValue, "1"},
      // A huge whole argument is caught by the test before any radians are formed.
      {"Sin", "1E+308", "Degree", kValue, "0"},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FunctionWords, WholeMultiplesInDegreesAreExact) {
  for (int k = -20; k <= 20; ++k) {
    const std::string half_turns = std::to_string(180 * k);
    const std::string quarter_turns = std::to_string(180 * k + 90);
    SCOPED_TRACE(k);
    Check({"Sin", half_turns.c_str(), "Degree", kValue, "0"});
    Check({"Tan", half_turns.c_str(), "Degree", kValue, "0"});
    Check({"Cot", half_turns.c_str(), "Degree", kPole, ""});
    Check({"Cos", quarter_turns.c_str(), "Degree", kValue, "0"});
    Check({"Tan", quarter_turns.c_str(), "Degree", kPole, ""});
    Check({"Cot", quarter_turns.c_str(), "Degree", kValue, "0"});
  }
}

TEST(FunctionWords, TrigonometryInRadiansTestsTheTextOfPi) {
  const Case cases[] = {
      {"Sin", "3.14159265358979", "Radian", kValue, "0"},
      // One-sided: the other side of 0 is not caught and gives the rounded sine.
      {"Sin", "-3.14159265358979", "Radian", kValue, "-3.23108914886517E-15"},
      {"Sin", "0", "Radian", kValue, "0"},
      {"Cos", "1.5707963267949", "Radian", kValue, "0"},
      {"Cos", "0", "Radian", kValue, "1"},
      {"Tan", "1.5707963267949", "Radian", kPole, ""},
      {"Tan", "3.14159265358979", "Radian", kValue, "0"},
      {"Tan", "0", "Radian", kValue, "0"},
      {"Cot", "0", "Radian", kPole, ""},
      {"Cot", "1.5707963267949", "Radian", kValue, "-3.49148133884313E-15"},
      // Degrees' exact points mean nothing in radians.
      {"Sin", "180", "Radian", kValue, "-0.80115263573383"},
      {"Sin", "30", "Radian", kValue, "-0.988031624092862"},
      {"Cos", "90", "Radian", kValue, "-0.44807361612917"},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FunctionWords, InverseWordsRoundTwiceInDegrees) {
  const Case cases[] = {
      {"ArcSin", "1", "Degree", kValue, "90"}, {"ArcSin", "1", "Radian", kValue, "1.5707963267949"},
      {"ArcSin", "-1", "Degree", kValue, "-90"}, {"ArcSin", "-1", "Radian", kValue, "-1.5707963267949"},
      {"ArcSin", "0.5", "Degree", kValue, "30"}, {"ArcSin", "0.5", "Radian", kValue, "0.523598775598299"},
      {"ArcSin", "1.0000001", "Degree", kPole, ""}, {"ArcSin", "-1.5", "Radian", kPole, ""},
      {"ArcCos", "-1", "Degree", kValue, "180"}, {"ArcCos", "-1", "Radian", kValue, "3.14159265358979"},
      {"ArcCos", "0", "Degree", kValue, "90"}, {"ArcCos", "0", "Radian", kValue, "1.5707963267949"},
      {"ArcCos", "1", "Degree", kValue, "0"}, {"ArcCos", "1", "Radian", kValue, "0"},
      {"ArcCos", "0.5", "Radian", kValue, "1.0471975511966"},
      {"ArcCos", "0.5", "Degree", kValue, "60.0000000000001"},
      {"ArcCos", "-0.5", "Degree", kValue, "120"}, {"ArcCos", "-0.5", "Radian", kValue, "2.0943951023932"},
      {"ArcCos", "1.5", "Degree", kPole, ""}, {"ArcTan", "1", "Degree", kValue, "45"},
      {"ArcTan", "1", "Radian", kValue, "0.785398163397448"}, {"ArcCot", "0", "Degree", kValue, "90"},
      {"ArcCot", "0", "Radian", kValue, "1.5707963267949"}, {"ArcCot", "1", "Degree", kValue, "45"},
      {"ArcCot", "-1", "Degree", kValue, "-45"}, {"ArcCot", "-1", "Radian", kValue, "-0.785398163397448"},
      {"arccot", "1", "Radian", kValue, "0.785398163397448"},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FunctionWords, OtherAngleUnits) {
  // Sine and its kin have no rule; the inverse words work in radians.
  for (const char* unit : {"Grad", "degree", "RADIAN", ""}) {
    for (const char* word : {"Sin", "Cos", "Tan", "Cot"}) Check({word, "30", unit, kNone, ""});
    Check({"ArcSin", "1", unit, kValue, "1.5707963267949"});
    Check({"ArcCos", "0.5", unit, kValue, "1.0471975511966"});
    Check({"ArcCot", "0", unit, kValue, "1.5707963267949"});
  }
}

TEST(FunctionWords, WordsWithoutAnAngleUnit) {
  const Case cases[] = {
      {"Sign", "0", "Degree", kValue, "1"}, {"Sign", "-0.001", "Degree", kValue, "-1"},
      {"SIGN", "7", "Radian", kValue, "1"}, {"ZrToOn", "0", "Degree", kValue, "1"},
      {"ZrToOn", "0.0", "Degree", kValue, "1"}, {"ZrToOn", "5.0", "Degree", kArgument, ""},
      {"zrtoon", "-3", "Degree", kArgument, ""}, {"ABS", "-2.5", "Degree", kValue, "2.5"},
      {"Abs", "1E+154", "Degree", kValue, "1E+154"}, {"Fix", "2.5", "Degree", kValue, "2"},
      {"Fix", "-2", "Degree", kValue, "-2"}, {"Fix", "-2.5", "Degree", kValue, "-2"},
      {"Int", "-2", "Degree", kValue, "-2"}, {"Int", "-2.5", "Degree", kValue, "-3"},
      {"INT", "2.5", "Degree", kValue, "2"}, {"Exp", "2", "Degree", kValue, "100"},
      {"Exp", "-2", "Degree", kValue, "0.01"}, {"e", "1", "Degree", kValue, "2.71828182845905"},
      {"e", "0", "Degree", kValue, "1"}, {"Sqr", "-1", "Degree", kDomain, ""},
      {"Sqr", "0", "Degree", kValue, "0"}, {"Sqr", "2", "Degree", kValue, "1.4142135623731"},
      {"Sqr", "2 3", "Degree", kValue, "4.79583152331272"},  // a typed blank is read past
      {"Ln", "-1", "Degree", kDomain, ""}, {"Ln", "1", "Degree", kValue, "0"},
      {"Ln", "2", "Degree", kValue, "0.693147180559945"}, {"Log", "0", "Degree", kDomain, ""},
      {"Log", "-1", "Degree", kDomain, ""},
      {"Log", "1000", "Degree", kValue, "3"},  // 2.9999999999999996 before the rounding
      {"Log", "0.01", "Degree", kValue, "-2"},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FunctionWords, ArithmeticFailuresPropagate) {
  struct Row {
    const char* word;
    const char* argument;
    int32_t code;
  };
  const Row rows[] = {
      {"e", "710", failure_code::Overflow},
      {"Exp", "400", failure_code::Overflow},
      {"ABS", "1.35E+154", failure_code::Overflow},  // the square overflows
      {"ABS", "-1.35E+154", failure_code::Overflow},
      {"Ln", "0", failure_code::InvalidCall},
      {"Int", "2 3", failure_code::TypeMismatch},    // read strictly
      {"Fix", "1.2.3", failure_code::TypeMismatch},
      {"ArcSin", "1.2.3", failure_code::TypeMismatch},
      {"Sqr", "1e999", failure_code::Overflow},      // the argument itself is out of range
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.word) + " " + row.argument);
    int32_t code = 0;
    try {
      ApplyWordRule(row.word, row.argument, "Degree");
    } catch (const Failure& failure) {
      code = failure.code();
    }
    EXPECT_EQ(code, row.code);
  }
  // ArcSin reads strictly but ArcCos does not: a typed blank is no failure there.
  EXPECT_EQ(ApplyWordRule("ArcCos", "0 . 5", "Radian").text.view(), "1.0471975511966");
}

TEST(FunctionWords, RecognitionFollowsTheCaseRules) {
  const char* known[] = {"Sign", "sign", "ZrToOn", "ZRTOON", "ABS", "abs", "Fix", "FIX",
                         "Int",  "iNt",  "Sin",    "SIN",    "Cos", "Tan", "Cot", "ArcSin",
                         "ARCCOS", "ArcTan", "arccot", "Exp", "Sqr", "Ln", "Log", "e"};
  for (const char* word : known) {
    SCOPED_TRACE(word);
    EXPECT_TRUE(IsFunctionWord(word));
    // Every known word has a rule for a plain argument in degrees.
    EXPECT_NE(ApplyWordRule(word, "0.5", "Degree").outcome, kNone);
  }
  const char* unknown[] = {"EXP", "exp", "E", "SQR", "sqr", "LN", "LOG", "log",
                           "PI",  "Pi",  "Ans", "XVar", "xp", "", "Sinh", "Si"};
  for (const char* word : unknown) {
    SCOPED_TRACE(word);
    EXPECT_FALSE(IsFunctionWord(word));
    EXPECT_EQ(ApplyWordRule(word, "0.5", "Degree").outcome, kNone);
  }
}

}  // namespace
}  // namespace morvex
