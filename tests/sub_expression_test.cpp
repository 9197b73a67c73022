// The run of a formula's text on the second chain and the reducers of groups,
// driven on hand-built chains: the scans of a text, the tidying after a
// splice, and the range reducers, each with the Change and Change2 events it
// raises. The behaviour seen through lines is in golden/formulas.session and
// golden/events.session.
#include <gtest/gtest.h>

#include "core/shared_state.hpp"
#include "run/sub_expression_run.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::C;
using test::C2;
using test::Calc;
using test::Event;
using test::Types;

TEST(SubExpressionRun, EmptyTextLeavesNothingButTheDoneMark) {
  Calc s;
  s.Record();
  // The scan alone: an empty second chain, and the run still says it is done.
  detail::ScanSubExpression(s.in(), "", "f");
  EXPECT_EQ(s.in().SecondChain.Count(), 0);
  EXPECT_EQ(s.events, (std::vector<Event>{C2(0, 1, "")}));

  // Through a line: the splice of nothing removes the word.
  s.Out("XVar*2=f");
  s.in().VariableChains.at(4) = dna();
  s.events.clear();
  EXPECT_EQ(s.Out("f3+2"), "+2");
  EXPECT_EQ(s.m.ErrNumber(), 0);
  EXPECT_EQ(s.events, (std::vector<Event>{C2(0, 1, ""), C(1, 1, "f+2"), C(1, 1, "+2")}));
}

TEST(WordPowers, GroupOfTheRewritingInAFormulaTextIsMarkedByItsRemoval) {
  // On the second chain there is no Change2(0, 1) after the range; removing
  // the parentheses is marked instead. The search for the next group takes
  // the first cell of the range too, so the caller's own group is reduced
  // and loses its parentheses here.
  Calc s;
  s.Record();
  Shared().gFoundVariable = false;
  test::LayOut(s.in().SecondChain, {{"(", TypeStart}, {"Sin", TypeWord}, {"^", TypePowerNum}, {"2", TypeNumber},
                                    {"30", TypeNumber}, {")", TypeEnd}});
  int32_t first = 1;
  int32_t last = 6;
  detail::RunSubReduce(s.in(), first, last);
  EXPECT_EQ(s.in().SecondChain.Join(), "0.25");
  const std::vector<Event> expected = {
      C2(5, 2, "(Sin^230)"), C2(5, 3, "((Sin30)^2)"), C2(7, 2, "((Sin30)^2)"), C2(5, 3, "((Sin30)^2)"),
      C2(3, 3, "((0.5)^2)"), C2(3, 2, "(0.5^2)"),     C2(7, 1, "(0.5^2)"),     C2(5, 2, "(0.5^2)"),
      C2(4, 2, "(0.25)"),    C2(4, 1, "0.25"),
  };
  EXPECT_EQ(s.events, expected);
}

// A line without a target is first reduced silently; the same line with a
// target is not. Both must raise the same events, so the silent run raises
// none. (A plain target is computed once more by the recalculation after the
// line: only the events before it are the line's own.)
TEST(ChangeEvents, TheSilentRunRaisesNoEvent) {
  const std::pair<const char*, bool> lines[] = {  // the line, whether it raises anything
      {"2*3+4", true}, {"(2+3)*4", true}, {"Sin^2(30)", true}, {"2E3!", true}, {"1/0", false},
      {"Sin^2+1", false}, {"2Tan90", false}, {"f3", true}, {"2g3", true}, {"10^400", true}};
  for (auto [line, raises] : lines) {
    SCOPED_TRACE(line);
    std::vector<Event> own[2];
    for (int targeted = 0; targeted < 2; ++targeted) {
      Calc calc;
      calc.RunAll({"XVar^2=f", "YVar+XVar=g"});
      calc.Record();
      bool recalculating = false;
      calc.m.Events().UpdateVariables = [&](double) {
        if (!recalculating) own[targeted] = calc.events;
        recalculating = true;
      };
      calc.Out(targeted ? std::string(line) + "=target" : std::string(line));
      if (!recalculating) own[targeted] = calc.events;
    }
    EXPECT_EQ(own[0], own[1]);
    EXPECT_EQ(!own[0].empty(), raises);
  }
}

}  // namespace
}  // namespace morvex
