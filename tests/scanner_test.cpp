// The scanner at its seams: the classes that characters and words take from
// what stands before them, the cells and flags that cutting and detection
// leave, the stored chain of a target, and random lines whose errors must lie
// in their text. The stage tables are in golden/units.lines, what lines give
// through Calculate in golden/detection.lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "core/shared_state.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

using test::Calc;

TEST(Scanner, UnknownCharactersKeepTheClassBeforeThem) {
  const std::string unknown = std::string(" \t`%&_;\\{}\"'~$\xE9\x80\xFF\x7f") + '\0';
  for (char before : {'(', '+', '1', 'x', '|'}) {
    for (char c : unknown) {
      ClassifyChar(before);
      const int16_t previous = Shared().gCharClass;
      ClassifyChar(c);
      EXPECT_EQ(Shared().gCharClass, previous) << "code " << int(static_cast<unsigned char>(c)) << " after " << before;
    }
  }
  // The cells copy the template's flags: inside a parenthesis a number may be followed by ")".
  Calc calc;
  detail::CutLine(calc.in(), "(2 +x)");
  EXPECT_EQ(test::CellsText(calc.in().WorkingChain), "(:7 2:1");
  EXPECT_TRUE(calc.in().WorkingChain.Item(2).Has(flag::BEnd));
  EXPECT_EQ(Shared().gEndText, "+x)");
}

TEST(Scanner, UserVariableHidesAReservedWordOfExactlyItsSpelling) {
  Calc calc;
  VariableString& table = calc.in().Variables;
  table.Add("log", "log");
  EXPECT_EQ(ClassifyWord("log", table), 0);
  EXPECT_EQ(ClassifyWord("LOG", table), 28);
  table.Add("xvar", "");  // the key XVar is taken by the built-in, which cannot be hidden
  EXPECT_EQ(ClassifyWord("xvar", table), 37);
  EXPECT_EQ(ClassifyWord("Ans", table), 34) << "the built-in Ans hides nothing";
}

TEST(Scanner, DetectionBindsVariablesOnlyWithoutATargetAndClosesGroups) {
  Calc calc;
  calc.Out("5=Rate");
  for (auto [line, cells] : {std::pair{"rate*2", "Rate:2 *:4 2:1"}, {"rate*2=y", "Rate:99 *:4 2:1"},
                             {"(1", "(:7 1:1 ):8"}}) {
    detail::CutLine(calc.in(), line);
    detail::RunFormulaStage(calc.in());
    detail::FoldChain(calc.in());
    detail::DetectChain(calc.in());
    EXPECT_EQ(test::CellsText(calc.in().WorkingChain), cells) << line;
  }
  EXPECT_EQ(calc.in().WorkingChain.Item(3).GetFlags(), flag::AddPattern) << "the added close parenthesis";
}

// The target's stored chain: the expression's text without codes, every cell
// under the target's name, the first also keyed by it.
TEST(Scanner, HandOverStoresTheTargetsChain) {
  Calc calc;
  calc.Out("YVar+XVar=g");
  ASSERT_EQ(calc.in().VariableIndex("g"), 4);
  dna& chain = calc.in().StoredChain(4);
  EXPECT_EQ(chain.Join(), "YVar+XVar");
  EXPECT_EQ(&chain.Item("G"), &chain.Item(1));
  for (const Cell& cell : chain) EXPECT_EQ(cell.KeyVal() + ":" + std::to_string(cell.NameStr()), "g:0");
}

// Where an error lies: in the line (ErrFormula empty, the place within the
// echo), or in the text of a formula word that the line used (ErrFormula
// names it, the place lies within DNAString2). The formulas defined first have
// texts that their use finds wrong ("Ans/" and "Pi(" are refused inside a
// formula's text); their names share no letter with the words of the lines.
TEST(Scanner, RandomLinesGetAnAnswerOrAnErrorInsideTheLineOrTheFormula) {
  const std::string known = "0123456789.+-*/^()!,=<>?[]#@:|eEsinpxXvarlogwqkz", unknown = " \"'%_\t";
  std::mt19937 random(20240611);
  std::map<std::string, int> places;
  for (int batch = 0; batch < 40; ++batch) {
    Calc calc;
    calc.RunAll({"r-YVar+(0(g8-0)/1E-3^Ans/6=w", "XVar^2=q", "pi(XVar=k", "YVar*sin(XVar=z"});
    for (int n = 0; n < 60; ++n) {
      std::string line;
      bool plain = true;
      for (int k = int(random() % 14); k > 0; --k) {
        const bool odd = random() % 10 == 0;
        plain = plain && !odd;
        line.push_back(odd ? unknown[random() % unknown.size()] : known[random() % known.size()]);
      }
      SCOPED_TRACE("line \"" + line + "\"");
      std::string text = line;
      if (test::FailureCode([&] { calc.m.Calculate(text); }) != 0 || line.empty()) continue;
      EXPECT_EQ(text, calc.m.InString());
      const std::string place = test::ErrorPlace(calc.m);
      ++places[place];
      EXPECT_TRUE(place == "line" || place == "formula" || place == "none") << place;
      if (place == "formula") {
        EXPECT_TRUE(calc.Has(calc.m.ErrFormula())) << calc.m.ErrFormula();
      }
      const std::string& echo = calc.m.InString();
      if (place == "none" && plain) {
        EXPECT_EQ(std::count(echo.begin(), echo.end(), '('), std::count(echo.begin(), echo.end(), ')')) << echo;
      }
    }
  }
  // The mix covers every outcome.
  EXPECT_GT(places["line"], 100);
  EXPECT_GT(places["formula"], 20);
  EXPECT_GT(places["none"], 100);
}

}  // namespace
}  // namespace morvex
