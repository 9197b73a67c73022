// The number text, the function words and the scanner's stages: the cases of
// golden/units.cases,
// and what needs a loop, a generator or a long text. A case file holds,
// one a line, "name arg | arg => expected" ("#" comments and blank lines
// aside). The arguments and the expected text take the escapes of the session
// files (\s for a blank that must show, \xHH for a byte, \x7c for "|"). A
// morvex::Failure gives "!" and its code. Where the result is a number it is
// compared as a number; texts are compared exactly.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <random>
#include <tuple>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "core/shared_state.hpp"
#include "evaluation/function_words.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/silent_run.hpp"
#include "run/calculation_run.hpp"
#include "run/sub_expression_run.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

using Args = std::vector<std::string>;

double D(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

std::string Shortest(double value) {
  char buffer[40];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, end);
}

// The line cut and folded on a fresh calculator's working chain.
const dna& Folded(test::Calc& calc, const std::string& line) {
  detail::CutLine(calc.in(), line);
  detail::RunFormulaStage(calc.in());
  detail::FoldChain(calc.in());
  return calc.in().WorkingChain;
}

// A formula's text scanned on the second chain, loud or silent: the codes of
// its cells, then the error's number, place and length.
std::string Scanned(const std::string& text, bool silent) {
  test::Calc calc;
  calc.Record();
  calc.in().WorkingChain = dna();
  Shared().gErrCode = 0;  // the scans set it on an error only
  if (silent) {
    detail::ScanSubExpression2(calc.in(), text, "f");
  } else {
    detail::ScanSubExpression(calc.in(), text, "f");
    // The loud scan stops at an error before any event, and leaves the text whole.
    if (!calc.events.empty() || calc.in().SecondChain.Join() != text) return std::string("events or text changed");
  }
  const CErrOcur& error = Shared().gErr;
  if (error.NumError != Shared().gErrCode || error.DescError != ErrorName(error.NumError)) return std::string("record differs");
  // The place of an error lies in the formula's text, and the record says whose.
  if (error.Formula != (error.NumError != 0 ? "f" : "")) return std::string("formula not named");
  // A neighbour test of the silent scan writes the cell's position into ErrFirst as well.
  if (silent && error.NumError != 0 && error.NumError != 2 && calc.in().ErrFirst != error.FirstError) {
    return std::string("ErrFirst differs");
  }
  std::string codes;
  for (int16_t type : test::Types(calc.in().SecondChain)) codes += std::to_string(type) + " ";
  return codes + "| " + std::to_string(error.NumError) + " " + std::to_string(error.FirstError) + " " +
         std::to_string(error.LengthError);
}

// A group laid out from "value:code value:code" and reduced by the named
// reducer: the chain afterwards, its codes, and the Change and Change2 events.
// "tidy" instead runs the tidying after a splice on the working chain and
// ends with the error number.
void LayOut(dna& chain, const std::string& cells) {
  chain = dna();
  std::istringstream words(cells);
  for (std::string written; words >> written;) {
    Cell& cell = chain.Add(flag::AddPattern);
    cell.Value(written.substr(0, written.rfind(':')));
    cell.NameStr(static_cast<int16_t>(std::stoi(written.substr(written.rfind(':') + 1))));
  }
}

std::string Reduced(const std::string& reducer, const std::string& cells) {
  test::Calc calc;
  calc.Record();
  Shared().gFoundVariable = false;
  const bool second = reducer == "SubRange" || reducer == "Sub";
  dna& chain = second ? calc.in().SecondChain : calc.in().WorkingChain;
  LayOut(chain, cells);
  if (reducer == "tidy") {
    Shared().gErr = CErrOcur();
    detail::PreReduceChain(calc.in());
    std::string text = chain.Join() + " |";
    for (int16_t type : test::Types(chain)) text += " " + std::to_string(type);
    return text + " | " + std::to_string(Shared().gErr.NumError);
  }
  int32_t first = 1;
  int32_t last = chain.Count();
  if (reducer == "Range") detail::ReduceRange(calc.in(), first, last);
  else if (reducer == "SubRange") detail::ReduceSubRange(calc.in(), first, last);
  else if (reducer == "Silent2") detail::EvaluateReduce2(calc.in(), first, last);
  else if (reducer == "Loud") detail::RunReduce(calc.in(), first, last);
  else if (reducer == "Sub") detail::RunSubReduce(calc.in(), first, last);
  else return "no reducer " + reducer;
  std::string text = chain.Join() + " |";
  for (int16_t type : test::Types(chain)) text += " " + std::to_string(type);
  if (!calc.events.empty()) text += " |";
  for (const test::Event& e : calc.events) {
    text += std::string(e.channel == 'C' ? " Change(" : " Change2(") + std::to_string(e.length) + "," +
            std::to_string(e.first) + ")\"" + e.text + "\"";
  }
  return text;
}

struct Function {
  size_t arity;
  bool numeric;  // the result is a number
  std::function<std::string(const Args&)> call;
};

const std::map<std::string, Function>& Functions() {
  static const std::map<std::string, Function> functions = {
      // FormatNumber of a double (given by its shortest text), which
      // NumberToText must agree with.
      {"format", {1, false, [](const Args& a) {
         const std::string text(FormatNumber(D(a[0])).view());
         return text == NumberToText(D(a[0])) ? text : "NumberToText disagrees: " + NumberToText(D(a[0]));
       }}},
      {"read", {1, true, [](const Args& a) { return Shortest(ReadNumber(a[0])); }}},
      // Lenient reading of a text, whatever its value, is no failure.
      {"lenient", {1, false, [](const Args& a) { return (ReadNumber(a[0]), std::string("ok")); }}},
      {"strict", {1, true, [](const Args& a) { return Shortest(ReadNumberStrict(a[0])); }}},
      {"retext", {1, false, [](const Args& a) { return NumberToText(ReadNumber(a[0])); }}},
      {"whole", {1, true, [](const Args& a) { return Shortest(WholePart(D(a[0]))); }}},
      {"round", {1, true, [](const Args& a) { return std::to_string(RoundToLong(D(a[0]))); }}},
      {"add", {2, true, [](const Args& a) { return Shortest(CheckedAdd(D(a[0]), D(a[1]))); }}},
      {"subtract", {2, true, [](const Args& a) { return Shortest(CheckedSubtract(D(a[0]), D(a[1]))); }}},
      {"multiply", {2, true, [](const Args& a) { return Shortest(CheckedMultiply(D(a[0]), D(a[1]))); }}},
      {"divide", {2, true, [](const Args& a) { return Shortest(CheckedDivide(D(a[0]), D(a[1]))); }}},
      {"power", {2, true, [](const Args& a) { return Shortest(CheckedPower(D(a[0]), D(a[1]))); }}},
      {"exp", {1, true, [](const Args& a) { return Shortest(CheckedExp(D(a[0]))); }}},
      {"log", {1, true, [](const Args& a) { return Shortest(CheckedLog(D(a[0]))); }}},
      {"sqrt", {1, true, [](const Args& a) { return Shortest(CheckedSqrt(D(a[0]))); }}},
      // A word, its argument and the angle unit: the value text, or the outcome.
      {"word", {3, false, [](const Args& a) {
         const WordResult result = ApplyWordRule(a[0], a[1], a[2]);
         switch (result.outcome) {
           case WordOutcome::Value: return std::string(result.text.view());
           case WordOutcome::ArgumentText: return std::string("ArgumentText");
           case WordOutcome::Pole: return std::string("Pole");
           case WordOutcome::Domain: return std::string("Domain");
           case WordOutcome::None: return std::string("None");
         }
         return std::string("?");
       }}},
      // The scanner's stages on a fresh calculator.
      {"class", {1, false, [](const Args& a) {
         Shared().gCharClass = 99;
         ClassifyChar(a[0].at(0));
         return std::to_string(Shared().gCharClass);
       }}},
      {"wordclass", {1, false, [](const Args& a) {
         test::Calc calc;
         return std::to_string(ClassifyWord(a[0], calc.in().Variables));
       }}},
      // "[cell][cell] | target | trailing text"
      {"cut", {1, false, [](const Args& a) {
         test::Calc calc;
         detail::CutLine(calc.in(), a[0]);
         std::string text;
         for (const Cell& cell : calc.in().WorkingChain) text += "[" + std::string(cell.Value()) + "]";
         const auto& report = Shared().gReport;
         if (report.StrEnd != Shared().gEndText || report.StrVariable != calc.in().StringVariable) return std::string("report differs");
         return text + " | " + calc.in().StringVariable + " | " + Shared().gEndText;
       }}},
      {"fold", {1, false, [](const Args& a) {
         test::Calc calc;
         return test::CellsText(Folded(calc, a[0]));
       }}},
      // The flags of one cell of the folded chain.
      {"flags", {2, false, [](const Args& a) {
         test::Calc calc;
         return test::FlagText(Folded(calc, a[0]).Item(std::stoi(a[1])).GetFlags());
       }}},
      {"detect", {1, false, [](const Args& a) {
         test::Calc calc;
         Folded(calc, a[0]);
         detail::DetectChain(calc.in());
         return test::CellsText(calc.in().WorkingChain);
       }}},
      {"scan", {1, false, [](const Args& a) { return Scanned(a[0], false); }}},
      {"scan2", {1, false, [](const Args& a) { return Scanned(a[0], true); }}},
      // The cells after the names of user variables are gathered: the lines
      // that define the variables, then the line.
      {"mark", {2, false, [](const Args& a) {
         test::Calc calc;
         std::istringstream definitions(a[0]);
         for (std::string line; definitions >> line;) calc.Out(line);
         detail::CutLine(calc.in(), a[1]);
         detail::SortVariables(calc.in());
         detail::MarkVariables(calc.in());
         return test::CellsText(calc.in().WorkingChain);
       }}},
      {"reduce", {2, false, [](const Args& a) { return Reduced(a[0], a[1]); }}},
      {"tidy", {1, false, [](const Args& a) { return Reduced("tidy", a[0]); }}},
      {"errorname", {1, false, [](const Args& a) { return std::string(ErrorName(std::stoi(a[0]))); }}},
  };
  return functions;
}

bool SameNumber(const std::string& a, const std::string& b) {
  double x = 0, y = 0;
  auto [ea, ca] = std::from_chars(a.data(), a.data() + a.size(), x);
  auto [eb, cb] = std::from_chars(b.data(), b.data() + b.size(), y);
  return ca == std::errc() && cb == std::errc() && ea == a.data() + a.size() && eb == b.data() + b.size() && x == y;
}

TEST(UnitCases, NumberTextAndFunctionWords) {
  const auto file = std::filesystem::path(MORVEX_GOLDEN_DIR) / "units.cases";
  std::ifstream in(file, std::ios::binary);
  ASSERT_TRUE(in) << file;
  std::string line;
  int number = 0, cases = 0;
  while (std::getline(in, line)) {
    const std::string where = "units.cases:" + std::to_string(++number);
    if (line.empty() || line[0] == '#') continue;
    if (line.size() > 3 && line.compare(line.size() - 3, 3, " =>") == 0) line += ' ';  // an empty result
    const size_t blank = line.find(' '), arrow = line.rfind(" => ");
    const auto function = Functions().find(line.substr(0, blank));
    Args args;
    std::string expected, arg;
    bool escapes = test::Unescape(line.substr(arrow + 4), expected);
    for (size_t from = blank + 1; escapes;) {
      const size_t bar = line.find(" | ", from);
      const size_t end = bar == std::string::npos || bar > arrow ? arrow : bar;
      escapes = test::Unescape(line.substr(from, end - from), arg);
      args.push_back(arg);
      if (end == arrow) break;
      from = end + 3;
    }
    if (blank == std::string::npos || arrow == std::string::npos || arrow < blank || !escapes ||
        function == Functions().end() || function->second.arity != args.size()) {
      ADD_FAILURE() << where << ": not a case: " << line;
      continue;
    }
    ++cases;
    std::string got;
    try {
      got = function->second.call(args);
    } catch (const Failure& failure) {
      EXPECT_STRNE(failure.what(), "") << where;
      got = "!" + std::to_string(failure.code());
    }
    if (function->second.numeric && expected[0] != '!' && SameNumber(got, expected)) continue;
    EXPECT_EQ(got, expected) << where << ": " << line;
  }
  EXPECT_GT(cases, 0);
}

TEST(FunctionWords, WholeMultiplesInDegreesAreExact) {
  for (int k = -20; k <= 20; ++k) {
    const std::string half_turns = std::to_string(180 * k);
    const std::string quarter_turns = std::to_string(180 * k + 90);
    SCOPED_TRACE(k);
    for (const auto& [word, argument, outcome] :
         {std::tuple{"Sin", half_turns, WordOutcome::Value}, {"Tan", half_turns, WordOutcome::Value},
          {"Cot", half_turns, WordOutcome::Pole}, {"Cos", quarter_turns, WordOutcome::Value},
          {"Tan", quarter_turns, WordOutcome::Pole}, {"Cot", quarter_turns, WordOutcome::Value}}) {
      const WordResult result = ApplyWordRule(word, argument, "Degree");
      EXPECT_EQ(result.outcome, outcome) << word << " " << argument;
      if (outcome == WordOutcome::Value) {
        EXPECT_EQ(result.text.view(), "0") << word << " " << argument;
      }
    }
  }
}

TEST(FunctionWords, RecognitionFollowsTheCaseRules) {
  const char* known[] = {"Sign", "sign", "ZrToOn", "ZRTOON", "ABS", "abs", "Fix", "FIX",
                         "Int",  "iNt",  "Sin",    "SIN",    "Cos", "Tan", "Cot", "ArcSin",
                         "ARCCOS", "ArcTan", "arccot", "Exp", "Sqr", "Ln", "Log", "e"};
  for (const char* word : known) {
    SCOPED_TRACE(word);
    EXPECT_TRUE(IsFunctionWord(word));
    // Every known word has a rule for a plain argument in degrees.
    EXPECT_NE(ApplyWordRule(word, "0.5", "Degree").outcome, WordOutcome::None);
  }
  const char* unknown[] = {"EXP", "exp", "E", "SQR", "sqr", "LN", "LOG", "log",
                           "PI",  "Pi",  "Ans", "XVar", "xp", "", "Sinh", "Si"};
  for (const char* word : unknown) {
    SCOPED_TRACE(word);
    EXPECT_FALSE(IsFunctionWord(word));
    EXPECT_EQ(ApplyWordRule(word, "0.5", "Degree").outcome, WordOutcome::None);
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
  EXPECT_EQ(test::FailureCode([] { ReadNumber(std::string(20000, '9')); }), failure_code::Overflow);
}

}  // namespace
}  // namespace morvex
