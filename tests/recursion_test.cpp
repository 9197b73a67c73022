// Definitions that name themselves, directly or through one another, end with
// an answer or with failure 28 (out of stack space), quickly and without harm
// to the calculator; and the run of a formula's text on the second chain, on
// hand-built chains, with its Change and Change2 events. What lines show is in
// golden/formulas.lines and golden/events.lines.
#include <gtest/gtest.h>

#include <chrono>

#include "core/shared_state.hpp"
#include "run/sub_expression_run.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::C;
using test::C2;
using test::Event;
using Names = std::vector<std::string>;

// As the host of an embedding program that sets no InputBox handler.
struct Session : test::Calc {
  Session() { m.Events().InputBox = nullptr; }
};

// Formula variables after the ones under test, which keep those in the replay
// for as many nested levels as there are fillers (the replay leaves out the
// last variable of the list); their names cut no name or word of the lines.
Names Fillers(int count) {
  const std::string_view letters = "hijmnopqtuw";
  Names lines;
  for (size_t k = 0; k < size_t(count); ++k) {
    lines.push_back(std::string("XVar*2=k") + letters[k / letters.size()] + letters[k % letters.size()]);
  }
  return lines;
}

// The answer of a line, or "failure <code>", within a bound that tells an end from a hang.
std::string Attempt(clsMorvex& calc, std::string_view line) {
  std::string text(line), outcome;
  const auto start = std::chrono::steady_clock::now();
  try {
    calc.Calculate(text);
    outcome = calc.OutString();
  } catch (const Failure& failure) {
    outcome = "failure " + std::to_string(failure.code());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << line;
  EXPECT_EQ(Shared().gNestingDepth, 0) << "nothing of the descent is left over";
  EXPECT_EQ(Shared().gNestedCalculators, nullptr);
  return outcome;
}

Names TableOf(const clsMorvex& calc) {
  Names names;
  for (const auto& v : calc.VariableList()) names.push_back(v.Key + ":" + std::to_string(v.TypeVar));
  return names;
}

const std::string k28 = "failure 28";

TEST(SelfReference, EndsWithAnAnswerOrOutOfStackSpace) {
  // The definitions, the fillers after them, the line and its outcome. The
  // silent run does not look at the last cell of a text; the calculation run
  // hands the text to a nested calculator, where the last variable of the
  // list is not replayed and is an unknown word (0).
  const std::tuple<Names, int, const char*, std::string> rows[] = {
      {{"XVar+f=f"}, 0, "f1", "1"},
      {{"XVar+f=f"}, 3, "f1", "NotCreatable"},  // the nested «1+f» ends in a prefix word
      // A postfix word may close a line: each nested calculator descends once
      // more while the replay holds f, and every level adds its argument to 0.
      {{"YVar+f=f"}, 0, "1f", "1"},
      {{"YVar+f=f"}, 3, "2+1f", "3"},
      {{"YVar+f=f"}, 3, "1f*2=w", "2"},
      {{"YVar+f=f"}, 3, "1f*2", k28},     // no target: the silent run expands f in place
      {{"YVar+f=f"}, 45, "3+1f=w", k28},  // more fillers than the depth of nesting allows
      {{"YVar+g=f", "YVar+f=g"}, 3, "2g", "2"},
      {{"f+XVar=f"}, 0, "f1", k28},  // f first: the silent run's budget of expansions ends it
      // A target: no silent run, and f, the last variable, is not replayed; unless the target comes last.
      {{"0=w", "f+XVar=f"}, 0, "f1=w", "1"},
      {{"f+XVar=f"}, 0, "f1=w", k28},
      {{"b+1=b", "b+XVar=f"}, 0, "f1", k28},  // a plain variable that names itself, inside a formula
  };
  for (const auto& [definitions, fillers, line, outcome] : rows) {
    SCOPED_TRACE(std::string(line) + " with " + std::to_string(fillers) + " fillers after " + definitions[0]);
    Session s;
    s.RunAll(definitions);
    s.RunAll(Fillers(fillers));
    ASSERT_EQ(s.Out("7"), "7");
    const Names before = TableOf(s.m);
    EXPECT_EQ(Attempt(s.m, line), outcome);
    if (outcome == k28) { EXPECT_EQ(s.Ans(), 7.0) << "the line did not finish"; }
    if (std::string_view(line).find('=') == std::string_view::npos) { EXPECT_EQ(TableOf(s.m), before); }
    EXPECT_EQ(s.Out("(1+2)*4") + (fillers > 0 ? s.Out("khh3") : "6"), "126");
  }
}

// Unknown words become variables in a nested calculator, and their one-letter
// names cut "YVar" in the replayed j, which turns plain there: every plain
// definition replayed then computes j, whose formula word starts the next
// nested calculator. The descent ends at the depth limit, and the
// recalculation that started it must not begin it again at every level.
TEST(SelfReference, RecalculationInsideNestedCalculatorsEndsAtTheDepthLimit) {
  Session s;
  s.m.Events().InputBox = [](std::string& num) { num.clear(); };  // the host declines every word
  s.RunAll({"r=sin", "XVar=xytw", "xytw(yvar^x=b", "yvar/intsin2xytwAbs=j", "Ans=sin", "F=k", "r=m"});
  const Names before = TableOf(s.m);
  EXPECT_EQ(Attempt(s.m, "1j"), k28);
  EXPECT_EQ(TableOf(s.m), before);
  EXPECT_EQ(s.Out("2+3"), "5");
}

// More occurrences of a formula word than the fixed part of the expansion
// budget are no recursion: each is expanded once.
TEST(SelfReference, ManyFormulaWordsInOneLineAreNoRecursion) {
  Session s;
  s.Out("XVar^2=sq");
  std::string line = "sq1";
  for (int k = 1; k < 600; ++k) line += "+sq1";
  EXPECT_EQ(Attempt(s.m, line) + Attempt(s.m, line + "=w") + s.Out("sq4"), "60060016");
}

TEST(SubExpressionRun, EmptyTextLeavesNothingButTheDoneMark) {
  test::Calc s;
  s.Record();
  detail::ScanSubExpression(s.in(), "", "f");
  EXPECT_EQ(s.in().SecondChain.Count(), 0);
  EXPECT_EQ(s.events, (std::vector<Event>{C2(0, 1, "")}));
  // Through a line: the splice of nothing removes the word.
  s.Out("XVar*2=f");
  s.in().VariableChains.at(4) = dna();
  s.events.clear();
  EXPECT_EQ(s.Out("f3+2"), "+2");
  EXPECT_EQ(s.events, (std::vector<Event>{C2(0, 1, ""), C(1, 1, "f+2"), C(1, 1, "+2")}));
}

// On the second chain there is no Change2(0, 1) after the range; removing the
// parentheses is marked instead. The search for the next group takes the
// first cell of the range too, so the caller's own group is reduced here.
TEST(SubExpressionRun, GroupOfAWordPowerIsMarkedByItsRemoval) {
  test::Calc s;
  s.Record();
  Shared().gFoundVariable = false;
  test::LayOut(s.in().SecondChain, {{"(", TypeStart}, {"Sin", TypeWord}, {"^", TypePowerNum}, {"2", TypeNumber},
                                    {"30", TypeNumber}, {")", TypeEnd}});
  int32_t first = 1, last = 6;
  detail::RunSubReduce(s.in(), first, last);
  EXPECT_EQ(s.in().SecondChain.Join(), "0.25");
  EXPECT_EQ(s.events, (std::vector<Event>{C2(5, 2, "(Sin^230)"), C2(5, 3, "((Sin30)^2)"), C2(7, 2, "((Sin30)^2)"),
                                          C2(5, 3, "((Sin30)^2)"), C2(3, 3, "((0.5)^2)"), C2(3, 2, "(0.5^2)"),
                                          C2(7, 1, "(0.5^2)"), C2(5, 2, "(0.5^2)"), C2(4, 2, "(0.25)"),
                                          C2(4, 1, "0.25")}));
}

}  // namespace
}  // namespace morvex
