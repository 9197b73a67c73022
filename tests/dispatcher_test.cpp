// The dispatcher where lines alone cannot reach: the calculator's life cycle
// and its internal tables, the error record, the template a line leaves for
// the next, and DNAGroup. What lines leave in the properties is in
// golden/dispatcher.lines.
#include <gtest/gtest.h>

#include "core/shared_state.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

using test::Calc;
using test::FailureCode;

TEST(DispatcherPaths, NothingKeepsTheListAndTheStoredChainsInStep) {
  Calc calc;
  calc.Out("1+1=ab");
  calc.Out("XVar*3=f");
  calc.Out("2*2=g");
  calc.Out("NOTHING=ab");
  detail::Calculator& in = calc.in();
  ASSERT_EQ(in.Variables.Count(), 5);
  EXPECT_EQ(in.Variables.Item(4).Key, "f");
  EXPECT_EQ(in.Variables.Item(5).Key, "g");
  EXPECT_EQ(in.VariableChains.size(), 6u);
  EXPECT_EQ(in.StoredChain(4).Join(), "XVar*3");
  EXPECT_EQ(in.StoredChain(4).Item(1).KeyVal(), "f");
  EXPECT_EQ(in.StoredChain(5).Join(), "2*2");
  // The variables after the removed one still work.
  calc.Out("f2");
  EXPECT_EQ(calc.m.OutString(), "6");
  calc.Out("g+1");
  EXPECT_EQ(calc.m.OutString(), "5");
}

TEST(DispatcherPaths, CalculateBeforeInitializeIsAFailure) {
  clsMorvex m;
  EXPECT_EQ(FailureCode([&] { m.Calculate(std::string_view("1+1")); }), failure_code::ObjectNotSet);
}

// The object a calculator was moved out of has none behind it: each door
// fails with 91 and says why, while the new owner goes on with the variables.
TEST(DispatcherLifecycle, MovedFromCalculatorFailsCleanly) {
  Calc calc;
  calc.Out("4=b");
  clsMorvex moved(std::move(calc.m));
  const std::function<void()> doors[] = {
      [&] { calc.m.Calculate(std::string_view("1+1")); },
      [&] { (void)calc.m.OutString(); },
      [&] { (void)calc.m.DNAString(); },
      [&] { calc.m.Initialize(); },
      [&] { calc.m.Events(); },
      [&] { calc.m.ClearOutputs(); },
  };
  for (const auto& door : doors) {
    try {
      door();
      ADD_FAILURE() << "no failure";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), failure_code::ObjectNotSet);
      EXPECT_NE(std::string(failure.what()).find("moved"), std::string::npos) << failure.what();
    }
  }
  calc.m.Terminate();
  EXPECT_EQ(moved.Calculate(std::string_view("b*2")), "8");
  calc.m = std::move(moved);  // a moved-from object takes a calculator again
  EXPECT_EQ(calc.m.Calculate(std::string_view("b+1")), "5");
}

// A line that answers nothing leaves the answer of the line before, unless the host clears it.
TEST(DispatcherProperties, ClearOutputsEmptiesTheAnswerOfTheLineBefore) {
  Calc calc;
  calc.Out("2+*3");
  calc.Out("$");
  EXPECT_EQ(calc.m.ErrNumber(), 5);
  calc.m.ClearOutputs();
  calc.Out("$");
  EXPECT_EQ(calc.m.ErrNumber(), 0);
  EXPECT_EQ(calc.m.ErrDescription(), "");
  EXPECT_EQ(calc.m.InString(), "");
  EXPECT_EQ(calc.m.ErrLength(), 0);
  EXPECT_EQ(calc.m.OutString(), "");
}

TEST(DispatcherProperties, AWrongLineWithATargetLeavesNoRecalculationPending) {
  Calc calc;
  calc.Out("2+=x");
  EXPECT_EQ(calc.m.ErrNumber(), 1);
  EXPECT_FALSE(Shared().gRecalculate);
}

TEST(DispatcherProperties, ResetKeepsTheDescription) {
  Calc calc;
  calc.Out("2+*3");
  SharedState& g = Shared();
  EXPECT_EQ(g.gErrCode, 5);
  g.gErr.Reset();
  EXPECT_EQ(g.gErr.NumError, 0);
  EXPECT_EQ(g.gErr.FirstError, 0);
  EXPECT_EQ(g.gErr.LengthError, 0);
  EXPECT_EQ(g.gErrCode, 0);
  EXPECT_EQ(g.gErr.DescError, "OperatorBadPosition");
}

TEST(DispatcherLifecycle, InitializeResetsTheSharedStateForEveryCalculator) {
  Calc first;
  first.Run("rad");
  EXPECT_EQ(Shared().gAngle.Degre, "Radian");  // the unit is shared by the thread's calculators
  Cell scratch;
  scratch.NameStr(TypeWord);
  Calc second;  // its Initialize
  EXPECT_EQ(first.m.AngleUnit(), "Degree");
  EXPECT_EQ(Shared().gNext.GetFlags(), 0);
  EXPECT_EQ(Shared().gNext.StartNumber(), 0);
  EXPECT_EQ(Shared().gErr.NumError, 0);
}

TEST(DispatcherLifecycle, UnLoadVarsForgetsUserVariablesAndKeepsTheUnit) {
  Calc calc;
  calc.Out("rad");
  calc.Out("4=b");
  calc.Out("XVar+1=f");
  calc.Out("2+2");
  const std::string ansChain = calc.in().StoredChain(1).Join();
  calc.m.UnLoadVars();
  EXPECT_EQ(calc.in().Variables.Count(), 3);
  EXPECT_FALSE(calc.in().VariableExists("b"));
  EXPECT_FALSE(calc.in().VariableExists("f"));
  EXPECT_EQ(calc.m.AngleUnit(), "Radian");
  EXPECT_EQ(calc.in().StoredChain(1).Join(), ansChain);
  // The name is free again.
  calc.Out("5=b");
  EXPECT_EQ(calc.m.Expression(), "New Variable b Added");
}

TEST(DispatcherVariables, VariableExistsIgnoresCase) {
  Calc calc;
  calc.Out("1=Width");
  const std::pair<const char*, bool> cases[] = {{"ANS", true},    {"xvar", true},   {"yVaR", true}, {"", false},
                                                {"width", true},  {"WIDTH", true},  {"widt", false}, {"widths", false},
                                                {"Ans ", false}};
  for (auto [name, exists] : cases) EXPECT_EQ(calc.in().VariableExists(name), exists) << name;
}

std::vector<std::string> SortedNames() {
  std::vector<std::string> names;
  for (const Class1& record : Shared().gSortedVariables) names.push_back(record.Key);
  return names;
}

TEST(DispatcherVariables, SortedListRunsFromTheLongestName) {
  struct Case {
    std::vector<std::string> names;
    std::vector<std::string> sorted;
  };
  const Case cases[] = {
      {{}, {}},
      {{"ab", "c", "xyz", "de"}, {"xyz", "ab", "de", "c"}},
      {{"q"}, {"q"}},
      {{"b", "a", "cc", "dd", "e"}, {"cc", "dd", "b", "a", "e"}},
  };
  for (const Case& tc : cases) {
    Calc calc;
    for (const std::string& name : tc.names) calc.Out("1=" + name);
    ASSERT_EQ(calc.in().Variables.Count(), 3 + static_cast<int32_t>(tc.names.size()));
    Shared().gSortedVariables.Add("stale", "stale");
    detail::SortVariables(calc.in());
    EXPECT_EQ(SortedNames(), tc.sorted);
    for (const std::string& name : tc.sorted) {
      EXPECT_EQ(Shared().gSortedVariables.IndexOfKey(name), 0) << "stored without a key: " << name;
    }
  }
  // After a removal and a respelling the list is rebuilt too.
  Calc calc;
  calc.RunAll({"1=ab", "1=c", "1=xyz", "1=de", "NOTHING=xyz", "2=AB"});
  detail::SortVariables(calc.in());
  EXPECT_EQ(SortedNames(), (std::vector<std::string>{"AB", "de", "c"}));
}

TEST(DispatcherCarryOver, TemplateSetBetweenLinesDecidesALeadingComma) {
  struct Case {
    int16_t lastCode;
    int16_t error;
  };
  for (Case tc : {Case{TypeEnd, 1}, Case{TypeStart, 0}, Case{TypePlus, 1}, Case{TypeNumber, 0}}) {
    Calc calc;
    Cell scratch;
    scratch.NameStr(tc.lastCode);
    Shared().gParenDepth = 0;
    Shared().gNext.StartNumber(0);
    calc.Out(",5");
    EXPECT_EQ(calc.m.ErrNumber(), tc.error) << "after code " << tc.lastCode;
  }
}

TEST(DispatcherGroup, RecordsByPositionAndKey) {
  DNAGroup group;
  std::string out = "o", in = "i", desc = "d", typing = "t", var = "v", dnaText = "x", dna2 = "y", expr = "e";
  int16_t first = 3, length = 4, number = 5;
  clsMorvex& a = group.Add(out, in, first, length, number, desc, typing, var, dnaText, dna2, expr, "One");
  EXPECT_EQ(a.OutString(), "o");
  EXPECT_EQ(a.InString(), "i");
  EXPECT_EQ(a.ErrFirst(), 3);
  EXPECT_EQ(a.ErrLength(), 4);
  EXPECT_EQ(a.ErrNumber(), 5);
  EXPECT_EQ(a.ErrDescription(), "d");
  EXPECT_EQ(a.StringTyping(), "t");
  EXPECT_EQ(a.StringVariable(), "v");
  EXPECT_EQ(a.Expression(), "e");
  EXPECT_EQ(a.DNAString(), "");  // a record has no chain
  EXPECT_EQ(a.DNAString2(), "");
  out = "p";
  group.Add(out, in, first, length, number, desc, typing, var, dnaText, dna2, expr);
  group.Add(out, in, first, length, number, desc, typing, var, dnaText, dna2, expr, "three");
  EXPECT_EQ(group.Count(), 3);
  EXPECT_EQ(&group.Item("ONE"), &a);
  EXPECT_EQ(group.Item(2).OutString(), "p");
  EXPECT_EQ(&group.Item("Three"), &group.Item(3));
  EXPECT_NE(FailureCode([&] { group.Add(out, in, first, length, number, desc, typing, var, dnaText, dna2, expr, "one"); }),
            0);
  EXPECT_NE(FailureCode([&] { group.Item(4); }), 0);
  EXPECT_NE(FailureCode([&] { group.Item(0); }), 0);
  EXPECT_NE(FailureCode([&] { group.Item("four"); }), 0);
  group.Remove("one");
  EXPECT_EQ(group.Count(), 2);
  EXPECT_EQ(group.Item(1).OutString(), "p");
  group.Remove(2);
  EXPECT_EQ(group.Count(), 1);
  EXPECT_NE(FailureCode([&] { group.Remove("three"); }), 0);
  int iterated = 0;
  for (auto& record : group) {
    (void)record;
    ++iterated;
  }
  EXPECT_EQ(iterated, 1);
}

TEST(DispatcherGroup, RecordCalculatesOnlyAfterInitialize) {
  DNAGroup group;
  std::string s;
  int16_t n = 0;
  clsMorvex& record = group.Add(s, s, n, n, n, s, s, s, s, s, s);
  EXPECT_EQ(FailureCode([&] { record.Calculate(std::string_view("1+1")); }), failure_code::ObjectNotSet);
  test::TempFolder folder;
  record.ProgramFolder(folder.str());
  record.Initialize();
  record.Calculate(std::string_view("1+1"));
  EXPECT_EQ(record.OutString(), "2");
}

}  // namespace
}  // namespace morvex
