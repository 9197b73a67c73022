// Number text: the conversions between cell text and double, and the checked
// arithmetic of the reduction steps.
#include "evaluation/number_text.hpp"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace morvex {
namespace {

// Runs `action` and returns the code of the Failure it raised, 0 if none.
int32_t FailureCode(const std::function<void()>& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure.code();
  }
  return 0;
}

TEST(NumberText, FormatsByTheRulesOfPlainAndExponentForm) {
  const double a = std::atan(1.0);
  struct Row {
    double value;
    const char* text;
  };
  const Row rows[] = {
      {0.1 + 0.2, "0.3"}, {1.0 / 3, "0.333333333333333"},
      {2.0 / 3, "0.666666666666667"}, {1.0 / 12, "8.33333333333333E-02"},
      {0.00000015, "0.00000015"}, {0.000000000000015, "0.000000000000015"},
      {0.0000000000000015, "1.5E-15"}, {0.000000000000001, "0.000000000000001"},
      {0.0000000000000001, "1E-16"}, {999999999999999.0, "999999999999999"},
      {1000000000000000.0, "1E+15"}, {123456789012345678.0, "1.23456789012346E+17"},
      {1E+100, "1E+100"}, {-0.5, "-0.5"},
      {4 * a, "3.14159265358979"}, {2 * a, "1.5707963267949"},
      {-0.0, "0"}, {0.0, "0"},
      {DBL_MAX, "1.79769313486232E+308"}, {-DBL_MAX, "-1.79769313486232E+308"},
      {1234567890123456.0, "1.23456789012346E+15"},
      {9.999999999999999e14, "1E+15"},  // the rounding carries into a new digit
      {99999999999999.9, "99999999999999.9"}, {100000000000000.0, "100000000000000"},
      {4.9406564584124654e-324, "4.94065645841247E-324"}, {1e-5, "0.00001"},
      {0.12345678901234567, "0.123456789012346"}, {123.456, "123.456"},
      {-1e-300, "-1E-300"}, {7.0, "7"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(FormatNumber(row.value).view(), row.text);
    EXPECT_EQ(NumberToText(row.value), row.text);
  }
}

// Splits a text of the calculator into its significant digits and the decimal
// exponent of the first one, to compare with an independent rounding.
void Decompose(std::string text, std::string& digits, int& exponent, bool& exponent_form) {
  if (!text.empty() && text[0] == '-') text.erase(0, 1);
  exponent_form = text.find('E') != std::string::npos;
  int mark_exponent = 0;
  if (exponent_form) {
    mark_exponent = std::atoi(text.c_str() + text.find('E') + 1);
    text.erase(text.find('E'));
  }
  const auto point = text.find('.');
  const int whole_places = static_cast<int>(point == std::string::npos ? text.size() : point);
  std::string all = text;
  if (point != std::string::npos) all.erase(point, 1);
  const auto first = all.find_first_not_of('0');
  digits = all.substr(first);
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  exponent = whole_places - 1 - static_cast<int>(first) + mark_exponent;
}

TEST(NumberText, AgreesWithIndependentRoundingAndReadsBackToItself) {
  std::mt19937_64 random(20240601);
  std::uniform_real_distribution<double> mantissa(1.0, 10.0);
  std::uniform_int_distribution<int> power(-320, 306);
  for (int i = 0; i < 20000; ++i) {
    double x = mantissa(random) * std::pow(10.0, power(random));
    if (i % 2) x = -x;
    if (i % 7 == 0 && std::fabs(x) < 1e15) x = std::round(x * 1e3) / 1e3;  // short texts
    if (x == 0) continue;
    const std::string text = NumberToText(x);
    SCOPED_TRACE(text);

    char reference[40];
    std::snprintf(reference, sizeof reference, "%.14e", std::fabs(x));
    std::string expected_digits = std::string(1, reference[0]) + std::string(reference + 2, 14);
    while (expected_digits.size() > 1 && expected_digits.back() == '0') expected_digits.pop_back();
    const int expected_exponent = std::atoi(reference + 17);

    std::string digits;
    int exponent = 0;
    bool exponent_form = false;
    Decompose(text, digits, exponent, exponent_form);
    ASSERT_EQ(digits, expected_digits);
    ASSERT_EQ(exponent, expected_exponent);
    const int count = static_cast<int>(digits.size());
    ASSERT_EQ(exponent_form, exponent >= 15 || (exponent < 0 && count - exponent - 1 > 15));
    ASSERT_EQ(text[0] == '-', x < 0);

    // The text is a fixed point of reading and writing, and both readers agree on it.
    const double read = ReadNumber(text);
    ASSERT_EQ(ReadNumberStrict(text), read);
    ASSERT_EQ(NumberToText(read), text);
  }
}

TEST(NumberText, ValuesThatNeverStandInACellFail) {
  EXPECT_EQ(FailureCode([] { FormatNumber(HUGE_VAL); }), failure_code::Overflow);
  EXPECT_EQ(FailureCode([] { FormatNumber(-HUGE_VAL); }), failure_code::Overflow);
  EXPECT_EQ(FailureCode([] { FormatNumber(std::nan("")); }), failure_code::InvalidCall);
}

TEST(NumberText, LenientReadingKeepsWhatItHas) {
  struct Row {
    const char* text;
    double value;
  };
  const Row rows[] = {
      {"12abc", 12},    {"1.2.3", 1.2},       {"2E", 2},           {"2E+", 2},
      {"2e-", 2},       {"", 0},              {"!", 0},            {"-", 0},
      {".", 0},         {".e5", 0},           {"2 3", 23},         {" -\t1\n5 ", -15},
      {"1e3", 1000},    {"1E-3", 0.001},      {"+.5", 0.5},        {"5.", 5},
      {"1 e 2", 100},   {"1e1 2", 1e12},      {"- 2 . 5", -2.5},   {"007.50", 7.5},
      {"+-5", 0},       {"1d3", 1},           {"0x10", 0},         {"1,5", 1},
      {"3e+2x", 300},   {"-0", 0},            {"0.000", 0},        {"1.5E-15", 1.5e-15},
      {"1e-400", 0},    {"-1e-400", 0},       {"12!", 12},         {"2E-3abc", 0.002},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string("\"") + row.text + "\"");
    EXPECT_EQ(ReadNumber(row.text), row.value);
  }
}

TEST(NumberText, StrictReadingWantsANumberFromEndToEnd) {
  struct Row {
    const char* text;
    double value;
  };
  const Row accepted[] = {{"12", 12},         {" 12 ", 12},      {"\t-1.5e3\n", -1500}, {"+.5", 0.5},
                          {"5.", 5},          {"1E+15", 1e15},   {"0", 0},              {"007.50", 7.5},
                          {"-0.5", -0.5},     {"2e-3", 0.002}};
  for (const Row& row : accepted) {
    SCOPED_TRACE(std::string("\"") + row.text + "\"");
    EXPECT_EQ(ReadNumberStrict(row.text), row.value);
  }
  const char* rejected[] = {"",    " ",  "2 3", "1.2.3", "abc", "12abc", "2E",  "2E+", "-",
                            ".",   "+-1", "- 1", "1 e3", "e5",  "1e3.5", "1,5", "0x10"};
  for (const char* text : rejected) {
    SCOPED_TRACE(std::string("\"") + text + "\"");
    EXPECT_EQ(FailureCode([&] { ReadNumberStrict(text); }), failure_code::TypeMismatch);
    EXPECT_EQ(FailureCode([&] { ReadNumber(text); }), 0);
  }
}

TEST(NumberText, NumbersBeyondTheDoubleRangeAreOverflow) {
  const std::string long_integer = "1" + std::string(400, '7');
  const char* beyond[] = {"1e999", "-1e400", "1.79769313486232E+308", "1e99999999999999999999999999",
                          long_integer.c_str()};
  for (const char* text : beyond) {
    SCOPED_TRACE(text);
    EXPECT_EQ(FailureCode([&] { ReadNumber(text); }), failure_code::Overflow);
    EXPECT_EQ(FailureCode([&] { ReadNumberStrict(text); }), failure_code::Overflow);
  }
  // The largest double itself, written in full, still reads.
  EXPECT_EQ(ReadNumber("1.7976931348623157e308"), DBL_MAX);
  // Too small for a double is no failure.
  EXPECT_EQ(ReadNumberStrict("1e-99999999999999999999999"), 0.0);
  EXPECT_EQ(ReadNumber("4.9406564584124654E-324"), 4.9406564584124654e-324);
  EXPECT_EQ(ReadNumber("0e99999999999999999999"), 0.0);
}

TEST(NumberText, MessagesSayWhatFailed) {
  auto message = [](const std::function<void()>& action) -> std::string {
    try {
      action();
    } catch (const Failure& failure) {
      return failure.what();
    }
    return "no failure";
  };
  EXPECT_NE(message([] { CheckedPower(10, 400); }).find("overflow: 10^400"), std::string::npos);
  EXPECT_NE(message([] { ReadNumberStrict("1.2.3"); }).find("\"1.2.3\" is not a number"), std::string::npos);
  EXPECT_NE(message([] { ReadNumber("1e999"); }).find("\"1e999\""), std::string::npos);
  EXPECT_NE(message([] { CheckedDivide(7, 0); }).find("division by zero: 7/0"), std::string::npos);
}

// 5^1075 as decimal digits: 2^-1075, the point halfway between 0 and the
// smallest denormal, is these digits 1075 places behind the decimal point.
std::string DigitsOfFiveToThe(int n) {
  std::vector<int> digits{1};  // least significant first
  for (int k = 0; k < n; ++k) {
    int carry = 0;
    for (int& d : digits) {
      const int product = d * 5 + carry;
      d = product % 10;
      carry = product / 10;
    }
    while (carry) {
      digits.push_back(carry % 10);
      carry /= 10;
    }
  }
  std::string text;
  for (auto it = digits.rbegin(); it != digits.rend(); ++it) text += static_cast<char>('0' + *it);
  return text;
}

TEST(NumberText, LongDigitStringsReadExactly) {
  // Thousands of digits around a halfway point: the digits far behind decide.
  const std::string tie = "9007199254740993";  // halfway between two doubles
  EXPECT_EQ(ReadNumber(tie), 9007199254740992.0);
  EXPECT_EQ(ReadNumber(tie + "." + std::string(5000, '0') + "1"), 9007199254740994.0);
  EXPECT_EQ(ReadNumberStrict(tie + "." + std::string(5000, '0')), 9007199254740992.0);

  const std::string five = DigitsOfFiveToThe(1075);
  const std::string half_denormal = "0." + std::string(1075 - five.size(), '0') + five;
  EXPECT_EQ(ReadNumber(half_denormal), 0.0);  // a tie goes to the even 0
  EXPECT_EQ(ReadNumber(half_denormal + std::string(3000, '0') + "1"), 4.9406564584124654e-324);

  // Many digits on both sides of the point and exponents that cancel them.
  EXPECT_EQ(ReadNumber("1" + std::string(5000, '0') + "e-5000"), 1.0);
  EXPECT_EQ(ReadNumber("0." + std::string(5000, '0') + "25e5001"), 2.5);
  EXPECT_EQ(ReadNumber("0." + std::string(10000, '3')), 1.0 / 3);
  EXPECT_EQ(ReadNumber(std::string(3000, '0') + "42" + std::string(2000, ' ')), 42.0);
  EXPECT_EQ(FailureCode([] { ReadNumber(std::string(20000, '9')); }), failure_code::Overflow);
}

TEST(NumberText, ReadingThenWritingNormalises) {
  struct Row {
    const char* typed;
    const char* text;
  };
  const Row rows[] = {{"007.50", "7.5"}, {"1e3", "1000"}, {"2 3", "23"},          {"-0", "0"},
                      {"1.0", "1"},      {".5", "0.5"},   {"1234567890123456", "1.23456789012346E+15"},
                      {"12 ", "12"},     {"1e15", "1E+15"}, {"0.0000000000000001", "1E-16"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.typed);
    EXPECT_EQ(NumberToText(ReadNumber(row.typed)), row.text);
  }
}

TEST(NumberText, WholePartAndRounding) {
  EXPECT_EQ(WholePart(-2.5), -3);
  EXPECT_EQ(WholePart(2.5), 2);
  EXPECT_EQ(WholePart(-2), -2);
  EXPECT_EQ(WholePart(1e300), 1e300);

  struct Row {
    double value;
    int32_t rounded;
  };
  const Row rows[] = {{0.5, 0},   {1.5, 2},        {2.5, 2},     {3.5, 4},
                      {-0.5, 0},  {-1.5, -2},      {-2.5, -2},   {2.4, 2},
                      {2.6, 3},   {-2.6, -3},      {2147483647.0, 2147483647},
                      {2147483647.4, 2147483647},  {-2147483648.5, -2147483647 - 1},
                      {0.49999999999999994, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(RoundToLong(row.value), row.rounded);
  }
  const double outside[] = {2147483647.5, 3000000000.0, -2147483649.0, 1e300, HUGE_VAL, std::nan("")};
  for (double value : outside) {
    SCOPED_TRACE(value);
    EXPECT_EQ(FailureCode([&] { RoundToLong(value); }), failure_code::Overflow);
  }
}

TEST(NumberText, CheckedArithmeticFailsWithItsCode) {
  using Operation = std::function<double()>;
  struct Row {
    const char* what;
    Operation operation;
    int32_t code;
    double value;  // when code is 0
  };
  const Row rows[] = {
      {"1E+308*10", [] { return CheckedMultiply(1e308, 10); }, failure_code::Overflow, 0},
      {"1E+308+1E+308", [] { return CheckedAdd(1e308, 1e308); }, failure_code::Overflow, 0},
      {"-1E+308-1E+308", [] { return CheckedSubtract(-1e308, 1e308); }, failure_code::Overflow, 0},
      {"1E+308/1E-10", [] { return CheckedDivide(1e308, 1e-10); }, failure_code::Overflow, 0},
      {"1/0", [] { return CheckedDivide(1, 0); }, failure_code::DivisionByZero, 0},
      {"-7/0", [] { return CheckedDivide(-7, 0); }, failure_code::DivisionByZero, 0},
      {"0/0", [] { return CheckedDivide(0, 0); }, failure_code::Overflow, 0},
      {"0/5", [] { return CheckedDivide(0, 5); }, 0, 0},
      {"1E-308/1E+10", [] { return CheckedDivide(1e-308, 1e10); }, 0, 1e-318},
      {"10^400", [] { return CheckedPower(10, 400); }, failure_code::Overflow, 0},
      {"(-8)^(1/3)", [] { return CheckedPower(-8, 1.0 / 3); }, failure_code::InvalidCall, 0},
      {"0^-1", [] { return CheckedPower(0, -1); }, failure_code::DivisionByZero, 0},
      {"0^0", [] { return CheckedPower(0, 0); }, 0, 1},
      {"(-2)^3", [] { return CheckedPower(-2, 3); }, 0, -8},
      {"10^-400", [] { return CheckedPower(10, -400); }, 0, 0},
      {"e^710", [] { return CheckedExp(710); }, failure_code::Overflow, 0},
      {"e^-1000", [] { return CheckedExp(-1000); }, 0, 0},
      {"Log 0", [] { return CheckedLog(0); }, failure_code::InvalidCall, 0},
      {"Log -1", [] { return CheckedLog(-1); }, failure_code::InvalidCall, 0},
      {"Log 1", [] { return CheckedLog(1); }, 0, 0},
      {"Sqr -1", [] { return CheckedSqrt(-1); }, failure_code::InvalidCall, 0},
      {"Sqr 0", [] { return CheckedSqrt(0); }, 0, 0},
      {"Sqr 6.25", [] { return CheckedSqrt(6.25); }, 0, 2.5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    double value = std::nan("");
    EXPECT_EQ(FailureCode([&] { value = row.operation(); }), row.code);
    if (row.code == 0) {
      EXPECT_EQ(value, row.value);
    }
  }
}

}  // namespace
}  // namespace morvex

// The fast path (the shortest text when it has at most 15 digits) and the
// exact rounding must agree at their seam: short and long shortest texts,
// the edge of the normal range, and subnormal values, whose last binary place
// is too coarse for the shortest text to be the 15-digit rounding.
TEST(NumberText, ShortestTextAndExactRoundingAgreeAtTheirSeam) {
  struct Case {
    double value;
    const char* text;
  };
  const Case cases[] = {
      {5e-324, "4.94065645841247E-324"},
      {1e-320, "9.99988867182683E-321"},
      {2.2250738585072014e-308, "2.2250738585072E-308"},
      {0.1 + 0.2, "0.3"},
      {123456789012345.0, "123456789012345"},
      {1234567890123456.0, "1.23456789012346E+15"},
      {0.30000000000000004, "0.3"},
      {9.999999999999999e22, "1E+23"},
  };
  for (const Case& c : cases) EXPECT_EQ(morvex::NumberToText(c.value), c.text) << c.value;
}
