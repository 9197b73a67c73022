// Formula variables where the line alone cannot reach: stored chains that are
// missing or written by hand, and the silent run's expansion of a formula on a
// hand-built working chain. The behaviour seen through lines is in
// golden/formulas.lines.
#include <gtest/gtest.h>

#include "core/shared_state.hpp"
#include "evaluation/silent_run.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::Calc;

TEST(Formulas, FormulaWithoutAStoredChainStaysAWord) {
  // A missing chain ends the formula stage only: the word stays (its operand
  // already taken), and the line goes on with what it has.
  Calc s;
  s.Out("XVar^2=f");
  s.in().VariableChains.at(4).reset();
  for (auto [line, value] : {std::pair{"f3", "f"}, {"2+f3", "2+f"}, {"f3=w", "f"}}) {
    EXPECT_EQ(s.Out(line), value) << line;
    EXPECT_EQ(s.m.ErrNumber(), 0) << line;
  }
}

TEST(Formulas, SilentRunExpandsAFormulaWordOnTheWorkingChain) {
  struct Row {
    std::vector<std::string> definitions;
    const char* word;
    const char* joined;
    std::vector<int16_t> types;
  };
  const Row rows[] = {
      // A plain variable met in a formula's text is replaced by its own text,
      // not by a bracketed value: b*XVar becomes 2+3*XVar, and with XVar as an
      // open name (0) the chain comes down to 2.
      {{"2+3=b", "b*XVar=h"}, "h", "2", {TypeNumber}},
      // With XVar at 0 the division is given up.
      {{"1/XVar=inv"}, "inv", "1/0", {TypeNone, TypeNone, TypeNone}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.word);
    Calc s;
    s.RunAll(row.definitions);
    test::LayOut(s.in().WorkingChain, {{row.word, TypeVariable}, {"4", TypeNumber}});
    int32_t first = 0;
    int32_t last = 0;
    detail::EvaluateReduce(s.in(), first, last);
    EXPECT_EQ(s.in().WorkingChain.Join(), row.joined);
    EXPECT_EQ(test::Types(s.in().WorkingChain), row.types);
  }
}

TEST(NestedFormulas, ReplayGoesOnAfterADefinitionWithoutAChain) {
  // h has lost its stored chain: its round of the replay ends before its
  // share is raised, and the next definition follows.
  Calc s;
  s.RunAll({"XVar^2=f", "5=h", "f3+XVar=g", "7=z"});
  s.in().VariableChains.at(5).reset();
  std::vector<double> shares;
  s.m.Events().InternalCalc = [&](double share) { shares.push_back(share); };
  EXPECT_EQ(s.Out("g1"), "10");
  EXPECT_EQ(shares, (std::vector<double>{4.0 / 7.0, 6.0 / 7.0, 1.0}));
  // The nested calculator is gone with its step.
  EXPECT_EQ(Shared().gNestedCalculators, nullptr);
  EXPECT_EQ(Shared().gNestingDepth, 0);
}

TEST(FormulaDefinitions, StoredTextThatFailsItsScanIsReportedAtItsPlace) {
  // The text was checked when it was defined; if it no longer scans (here it
  // is written by hand), the error of the scan is the error of the line,
  // placed in the formula's text.
  struct Row {
    std::vector<std::string> cells;
    int16_t errNumber;
    const char* name;
    int16_t errFirst;
    int16_t errLength;
  };
  const Row rows[] = {
      {{"XVar", "*", "1.2.3"}, 2, "MultiplePoint", 5, 5},
      {{"*", "XVar"}, 1, "NotCreatable", 0, 1},
      {{"XVar", "+", "*", "2"}, 5, "OperatorBadPosition", 5, 1},
  };
  for (const Row& row : rows) {
    Calc s;
    s.RunAll({"XVar*2=f", "5"});
    dna chain;
    for (const std::string& value : row.cells) chain.Add(flag::AddPattern).Value(value);
    s.in().VariableChains.at(4) = std::move(chain);
    SCOPED_TRACE(s.in().StoredChain(4).Join());
    const std::string name = row.name;
    EXPECT_EQ(s.Out("f2"), name);
    EXPECT_EQ(s.m.ErrNumber(), row.errNumber);
    EXPECT_EQ(s.m.ErrDescription(), name);
    EXPECT_EQ(s.m.ErrFirst(), row.errFirst);
    EXPECT_EQ(s.m.ErrLength(), row.errLength);
    // Nothing is stored: Ans keeps 5. The next line starts clean.
    EXPECT_EQ(s.Ans(), 5.0);
    EXPECT_EQ(s.Out("2+3"), "5");
    EXPECT_EQ(s.m.ErrNumber(), 0);
  }
}

}  // namespace
}  // namespace morvex
