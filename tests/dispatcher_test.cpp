// The dispatcher where lines alone cannot reach: the calculator's life cycle,
// the error record, FetchFunctions with handlers that change the table, and
// DNAGroup. What lines leave in the properties is in golden/dispatcher.lines.
#include <gtest/gtest.h>

#include "core/shared_state.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::Calc;
using test::FailureCode;

// A line that answers nothing leaves the answer of the line before, unless the
// host clears it; resetting the error record keeps the description.
TEST(DispatcherProperties, ClearOutputsEmptiesTheAnswerOfTheLineBefore) {
  Calc calc;
  calc.Out("2+*3");
  Shared().gErr.Reset();
  EXPECT_EQ(Shared().gErr.NumError + Shared().gErr.FirstError + Shared().gErr.LengthError + Shared().gErrCode, 0);
  EXPECT_EQ(Shared().gErr.DescError, "OperatorBadPosition");
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
  const std::function<void()> doors[] = {[&] { calc.m.Calculate(std::string_view("1+1")); }, [&] { (void)calc.m.DNAString(); },
                                         [&] { calc.m.Initialize(); }, [&] { calc.m.Events(); }, [&] { calc.m.ClearOutputs(); }};
  for (const auto& door : doors) {
    try {
      door();
      ADD_FAILURE() << "no failure";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), failure_code::ObjectNotSet);
      EXPECT_NE(std::string(failure.what()).find("moved"), std::string::npos) << failure.what();
    }
  }
  EXPECT_EQ(moved.Calculate(std::string_view("b*2")), "8");
  calc.m = std::move(moved);  // a moved-from object takes a calculator again
  EXPECT_EQ(calc.m.Calculate(std::string_view("b+1")), "5");
}

// Initialize resets the shared state for every calculator; UnLoadVars forgets
// the user variables and keeps the unit and Ans.
TEST(DispatcherLifecycle, InitializeAndUnLoadVars) {
  Calc first;
  first.RunAll({"rad", "4=b", "XVar+1=f", "2+2"});
  const std::string ansChain = first.in().StoredChain(1).Join();
  first.m.UnLoadVars();
  EXPECT_EQ(first.in().Variables.Count(), 3);
  EXPECT_EQ(first.m.AngleUnit(), "Radian");
  EXPECT_EQ(first.in().StoredChain(1).Join(), ansChain);
  EXPECT_EQ(first.Out("5=b") + first.m.Expression(), "5New Variable b Added") << "the name is free again";
  first.Out("2+*3");
  Cell scratch;
  scratch.NameStr(TypeWord);
  Calc second;  // its Initialize
  EXPECT_EQ(first.m.AngleUnit(), "Degree");
  EXPECT_EQ(Shared().gNext.GetFlags() + Shared().gNext.StartNumber() + Shared().gErr.NumError, 0);
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
  clsMorvex fresh;  // no calculator, nothing listed
  fresh.Events().GetFunctions = [&](const std::string& name, const std::string& text) { listing.emplace_back(name, text); };
  listing.clear();
  EXPECT_NO_THROW(fresh.FetchFunctions());
  EXPECT_EQ(listing, Listing{});
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
