// The dispatcher where lines alone cannot reach: the calculator's life cycle
// and its internal tables, the error record, FetchFunctions with handlers that
// change the table, and DNAGroup. What lines leave in the properties is in
// golden/dispatcher.lines, the listing of functions in golden/files.lines.
#include <gtest/gtest.h>

#include "core/shared_state.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

using test::Calc;
using test::FailureCode;

TEST(DispatcherProperties, ErrorRecordResetKeepsTheDescription) {
  Calc calc;
  calc.Out("2+*3");
  SharedState& g = Shared();
  EXPECT_EQ(g.gErrCode, 5);
  g.gErr.Reset();
  EXPECT_EQ(g.gErr.NumError + g.gErr.FirstError + g.gErr.LengthError + g.gErrCode, 0);
  EXPECT_EQ(g.gErr.DescError, "OperatorBadPosition");
}

// A line that answers nothing leaves the answer of the line before, unless the host clears it.
TEST(DispatcherProperties, ClearOutputsEmptiesTheAnswerOfTheLineBefore) {
  Calc calc;
  calc.Out("2+*3");
  calc.m.ClearOutputs();
  calc.Out("$");
  EXPECT_EQ(calc.m.ErrDescription() + calc.m.InString() + calc.m.OutString(), "");
  EXPECT_EQ(calc.m.ErrNumber() + calc.m.ErrLength(), 0);
}

// Before Initialize, and once moved out of, a calculator fails with 91 at
// every door; the new owner goes on with the variables.
TEST(DispatcherLifecycle, CalculatorThatIsNotThereFailsCleanly) {
  clsMorvex fresh;
  EXPECT_EQ(FailureCode([&] { fresh.Calculate(std::string_view("1+1")); }), failure_code::ObjectNotSet);
  Calc calc;
  calc.Out("4=b");
  clsMorvex moved(std::move(calc.m));
  const std::function<void()> doors[] = {[&] { calc.m.Calculate(std::string_view("1+1")); },
                                         [&] { (void)calc.m.DNAString(); }, [&] { calc.m.Initialize(); },
                                         [&] { calc.m.Events(); }, [&] { calc.m.ClearOutputs(); }};
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

TEST(DispatcherLifecycle, InitializeResetsTheSharedStateForEveryCalculator) {
  Calc first;
  first.Run("rad");
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
  calc.RunAll({"rad", "4=b", "XVar+1=f", "2+2"});
  const std::string ansChain = calc.in().StoredChain(1).Join();
  calc.m.UnLoadVars();
  EXPECT_EQ(calc.in().Variables.Count(), 3);
  EXPECT_EQ(calc.m.AngleUnit(), "Radian");
  EXPECT_EQ(calc.in().StoredChain(1).Join(), ansChain);
  calc.Out("5=b");
  EXPECT_EQ(calc.m.Expression(), "New Variable b Added") << "the name is free again";
}

// The sorted list runs from the longest name, names of one length in table
// order, and is rebuilt whole: nothing stale, removed or respelled stays.
TEST(DispatcherVariables, SortedListRunsFromTheLongestName) {
  Calc calc;
  calc.RunAll({"1=b", "1=a", "1=cc", "1=dd", "1=e", "1=xyz", "NOTHING=xyz", "2=A"});
  Shared().gSortedVariables.Add("stale", "stale");
  detail::SortVariables(calc.in());
  std::vector<std::string> names;
  for (const Class1& record : Shared().gSortedVariables) {
    names.push_back(record.Key);
    EXPECT_EQ(Shared().gSortedVariables.IndexOfKey(record.Key), 0) << "stored without a key: " << record.Key;
  }
  EXPECT_EQ(names, (std::vector<std::string>{"cc", "dd", "b", "A", "e"}));
}

using Listing = std::vector<std::pair<std::string, std::string>>;

// The walk's end is fixed at its start: a variable that a handler makes is
// listed in the next walk only; one that a handler removes is not listed, and
// nothing is listed twice.
TEST(FunctionListing, HandlerThatChangesTheTableDuringTheWalk) {
  test::Calc calc;
  calc.RunAll({"2+3=y", "XVar+1=f"});
  Listing listing;
  std::function<void(const std::string&)> change = [&](const std::string& name) { calc.Out("9=new" + name); };
  calc.m.Events().GetFunctions = [&](const std::string& name, const std::string& text) {
    listing.emplace_back(name, text);
    change(name);
  };
  calc.m.FetchFunctions();
  EXPECT_EQ(listing, (Listing{{"y", "2+3"}, {"f", "XVar+1"}}));
  listing.clear();
  change = [&](const std::string& name) {
    if (name == "y") calc.Out("NOTHING=f");
  };
  calc.m.FetchFunctions();
  EXPECT_EQ(listing, (Listing{{"y", "2+3"}, {"newy", "9"}, {"newf", "9"}}));

  calc.m.Events().GetFunctions = nullptr;
  EXPECT_NO_THROW(calc.m.FetchFunctions());
  listing.clear();
  clsMorvex fresh;
  fresh.Events().GetFunctions = [&](const std::string& name, const std::string& text) { listing.emplace_back(name, text); };
  EXPECT_NO_THROW(fresh.FetchFunctions());
  EXPECT_EQ(listing, Listing{}) << "no calculator, nothing listed";
}

TEST(DispatcherGroup, RecordsByPositionAndKey) {
  DNAGroup group;
  std::string out = "o", in = "i", desc = "d", typing = "t", var = "v", dnaText = "x", dna2 = "y", expr = "e";
  int16_t first = 3, length = 4, number = 5;
  auto add = [&](const std::string& key) -> clsMorvex& {
    return group.Add(out, in, first, length, number, desc, typing, var, dnaText, dna2, expr, key);
  };
  clsMorvex& a = add("One");
  EXPECT_EQ(a.OutString() + a.InString() + a.ErrDescription() + a.StringTyping() + a.StringVariable() +
                a.Expression() + a.DNAString() + a.DNAString2() + std::to_string(a.ErrFirst()) +
                std::to_string(a.ErrLength()) + std::to_string(a.ErrNumber()),
            "oidtve345")
      << "a record has no chain";
  out = "p";
  add("");
  add("three");
  EXPECT_EQ(&group.Item("ONE"), &a);
  EXPECT_EQ(group.Item(2).OutString(), "p");
  EXPECT_EQ(&group.Item("Three"), &group.Item(3));
  EXPECT_EQ(FailureCode([&] { add("one"); }), failure_code::KeyInUse);
  for (int index : {0, 4}) EXPECT_EQ(FailureCode([&] { group.Item(index); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { group.Item("four"); }), failure_code::InvalidCall);
  group.Remove("one");
  group.Remove(2);
  EXPECT_EQ(FailureCode([&] { group.Remove("three"); }), failure_code::InvalidCall);
  ASSERT_EQ(group.end() - group.begin(), 1);
  EXPECT_EQ(group.Item(1).OutString(), "p");

  // A record calculates only after Initialize.
  clsMorvex& record = group.Item(1);
  EXPECT_EQ(FailureCode([&] { record.Calculate(std::string_view("1+1")); }), failure_code::ObjectNotSet);
  test::TempFolder folder;
  record.ProgramFolder(folder.str());
  record.Initialize();
  EXPECT_EQ(record.Calculate(std::string_view("1+1")), "2");
}

}  // namespace
}  // namespace morvex
