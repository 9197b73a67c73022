// The scanner: character and word classes, line cutting, folding, detection
// and the hand-over of the checked chain (echo, commas, target kinds).
// The stages are driven on a calculator's working chain; their tables are in
// golden/units.cases, and what lines give through Calculate is in
// golden/detection.session.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "core/shared_state.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

using test::Calc;

std::string FlagText(const Cell& cell) { return test::FlagText(cell.GetFlags()); }

TEST(ScannerClassify, UnknownCharactersKeepTheClassBeforeThem) {
  const char unknown[] = {' ', '\t', '`', '%', '&', '_', ';', '\\', '{', '}', '"', '\'', '~', '$',
                          static_cast<char>(0xE9), static_cast<char>(0x80), static_cast<char>(0xFF), '\0', '\x7f'};
  for (char before : {'(', '+', '1', 'x', '|'}) {
    for (char c : unknown) {
      ClassifyChar(before);
      const int16_t previous = Shared().gCharClass;
      ClassifyChar(c);
      EXPECT_EQ(Shared().gCharClass, previous) << "code " << int(static_cast<unsigned char>(c)) << " after '" << before << "'";
    }
  }
  ClassifyChar('(');
  ClassifyChar(' ');
  EXPECT_EQ(Shared().gCharClass, 7);
  ClassifyChar('+');
  ClassifyChar(' ');
  EXPECT_EQ(Shared().gCharClass, 3);
}

TEST(ScannerClassify, UserVariableHidesAReservedWordOfExactlyItsSpelling) {
  Calc calc;
  calc.in().Variables.Add("log", "log");
  calc.in().Variables.Add("xvar1", "xvar1");
  EXPECT_EQ(ClassifyWord("log", calc.in().Variables), 0);
  EXPECT_EQ(ClassifyWord("LOG", calc.in().Variables), 28);
  EXPECT_EQ(ClassifyWord("Log", calc.in().Variables), 28);
  // XVar and YVar cannot be hidden, and the built-in Ans at position 1 hides nothing.
  Calc other;
  other.in().Variables.Add("xvar", "");  // the key XVar is taken by the built-in
  EXPECT_EQ(ClassifyWord("xvar", other.in().Variables), 37);
  EXPECT_EQ(ClassifyWord("Ans", other.in().Variables), 34);
}

TEST(ScannerLineCutting, EveryCellTakesTheClassAndTheTemplateOfItsCharacter) {
  Calc calc;
  Shared().gCharClass = 0;
  detail::CutLine(calc.in(), "(2 +x)");
  // The space takes the class of the digit before it; the template's flags are copied on each cell.
  EXPECT_EQ(test::CellsText(calc.in().WorkingChain), "(:7 2:1");
  const Cell& two = calc.in().WorkingChain.Item(2);
  EXPECT_EQ(FlagText(two), "11101111111001");  // the number row inside a parenthesis
  EXPECT_EQ(Shared().gEndText, "+x)");
}

TEST(ScannerLineCutting, FirstCharacterUnknownTakesTheClassLeftBehind) {
  Calc calc;
  Shared().gCharClass = 0;
  detail::CutLine(calc.in(), "%");
  ASSERT_EQ(calc.in().WorkingChain.Count(), 1);
  EXPECT_EQ(calc.in().WorkingChain.Item(1).NameStr(), 0);  // the very first line of a process
  detail::CutLine(calc.in(), "1+(");
  detail::CutLine(calc.in(), "%");
  EXPECT_EQ(calc.in().WorkingChain.Item(1).NameStr(), 7);
  // The apostrophe that ends a line is classified too, as an unknown character.
  detail::CutLine(calc.in(), "2*'");
  detail::CutLine(calc.in(), "%");
  EXPECT_EQ(calc.in().WorkingChain.Item(1).NameStr(), 4);
}

TEST(ScannerLineCutting, LineLongerThan32767CharactersIsTheOverflowFailure) {
  Calc calc;
  try {
    detail::CutLine(calc.in(), std::string(40000, '1'));
    ADD_FAILURE() << "no failure";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), failure_code::Overflow);
  }
}

void FoldedCells(Calc& calc, const std::string& line) {
  detail::CutLine(calc.in(), line);
  detail::RunFormulaStage(calc.in());
  detail::FoldChain(calc.in());
}

TEST(ScannerDetection, AddedCloseParenthesesCarryTheAddPatternFlags) {
  Calc calc;
  FoldedCells(calc, "(1");
  detail::DetectChain(calc.in());
  ASSERT_EQ(calc.in().WorkingChain.Count(), 3);
  EXPECT_EQ(FlagText(calc.in().WorkingChain.Item(3)), "01101010000110");
}

TEST(ScannerDetection, VariablesAreBoundOnlyOnALineWithoutTarget) {
  Calc calc;
  calc.m.Calculate(std::string_view("5=Rate"));
  ASSERT_TRUE(calc.in().VariableExists("rate"));
  FoldedCells(calc, "rate*2");
  detail::DetectChain(calc.in());
  EXPECT_EQ(test::CellsText(calc.in().WorkingChain), "Rate:2 *:4 2:1");
  EXPECT_EQ(FlagText(calc.in().WorkingChain.Item(1)), "11101111111001");
  FoldedCells(calc, "rate*2=y");
  detail::DetectChain(calc.in());
  EXPECT_EQ(test::CellsText(calc.in().WorkingChain), "Rate:99 *:4 2:1");
}

TEST(ScannerHandOver, TargetKindsAndStoredChains) {
  struct Case {
    const char* line;
    const char* name;
    int16_t typeVar;
    const char* out;
    const char* stored;
  };
  const Case cases[] = {
      {"XVar^2=f", "f", 2, "f", "XVar^2"},
      {"YVar+XVar=g", "g", 4, "g", "YVar+XVar"},
      {"yvar*2=h", "h", 3, "h", "YVar*2"},
      {"2+3=x", "x", 1, "5", "2+3"},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.line);
    Calc calc;
    calc.m.Calculate(std::string_view(tc.line));
    EXPECT_EQ(calc.m.OutString(), tc.out);
    EXPECT_EQ(calc.m.Expression(), std::string("New Variable ") + tc.name + " Added");
    detail::Calculator& in = calc.in();
    const int32_t index = in.VariableIndex(tc.name);
    ASSERT_EQ(index, 4);
    EXPECT_EQ(in.Variables.Item(index).TypeVar, tc.typeVar);
    dna& stored = in.StoredChain(index);
    EXPECT_EQ(stored.Join(), tc.stored);
    EXPECT_EQ(stored.Item(tc.name).Value(), stored.Item(1).Value());  // the first cell under the name
    for (const Cell& cell : stored) {
      EXPECT_EQ(cell.KeyVal(), tc.name);
      EXPECT_EQ(cell.NameStr(), 0);
    }
  }
}

// Where an error lies: in the line (ErrFormula empty, the place within the
// echo), or in the text of a formula word that the line used (ErrFormula
// names it, the place lies within DNAString2, the text as it was scanned).
// The formulas defined first have texts that their use finds wrong: "Ans/"
// and "Pi(" are refused inside a formula's text. Their names share no letter
// with the words of the lines, which would cut them.
TEST(ScannerRobustness, RandomLinesGetAnAnswerOrAnErrorInsideTheLineOrTheFormula) {
  const std::vector<std::string> definitions = {"r-YVar+(0(g8-0)/1E-3^Ans/6=w", "XVar^2=q", "pi(XVar=k",
                                                "YVar*sin(XVar=z"};
  const std::string known = "0123456789.+-*/^()!,=<>?[]#@:|eEsinpxXvarlogwqkz";
  const std::string unknown = " \"'%_\t";
  std::mt19937 random(20240611);
  int lineErrors = 0;
  int formulaErrors = 0;
  int answers = 0;
  for (int batch = 0; batch < 40; ++batch) {
    Calc calc;
    for (const std::string& definition : definitions) calc.Out(definition);
    for (int n = 0; n < 60; ++n) {
      std::string line;
      const int length = static_cast<int>(random() % 14);
      bool plain = true;
      for (int k = 0; k < length; ++k) {
        if (random() % 10 == 0) {
          line.push_back(unknown[random() % unknown.size()]);
          plain = false;
        } else {
          line.push_back(known[random() % known.size()]);
        }
      }
      SCOPED_TRACE("line \"" + line + "\"");
      std::string text = line;
      try {
        calc.m.Calculate(text);
      } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()), "");
        continue;
      }
      if (line.empty()) continue;
      EXPECT_EQ(text, calc.m.InString());
      const std::string place = test::ErrorPlace(calc.m);
      if (place == "line") {
        ++lineErrors;
      } else if (place == "formula") {
        ++formulaErrors;
        EXPECT_TRUE(calc.Has(calc.m.ErrFormula())) << calc.m.ErrFormula();
      } else {
        ASSERT_EQ(place, "none");
        ++answers;
        if (plain) {
          // Open parentheses were closed, and a surplus one is an error.
          const std::string& echo = calc.m.InString();
          EXPECT_EQ(std::count(echo.begin(), echo.end(), '('), std::count(echo.begin(), echo.end(), ')')) << echo;
        }
      }
    }
  }
  // The mix covers every outcome.
  EXPECT_GT(lineErrors, 100);
  EXPECT_GT(formulaErrors, 20);
  EXPECT_GT(answers, 100);
}

}  // namespace
}  // namespace morvex
