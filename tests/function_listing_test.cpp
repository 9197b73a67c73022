// FetchFunctions: one GetFunctions event per user variable, in table order,
// with the text of its stored chain.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "morvex/morvex.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using Listing = std::vector<std::pair<std::string, std::string>>;

struct Calc {
  test::TempFolder folder;
  clsMorvex m;
  std::vector<std::string> prompts;  // answers given to InputBox, in order

  Calc() {
    m.ProgramFolder(folder.str());
    m.Initialize();
    m.Events().InputBox = [this](std::string& num) {
      if (prompts.empty()) {
        num.clear();
        return;
      }
      num = prompts.front();
      prompts.erase(prompts.begin());
    };
  }
  std::string Run(const std::string& line) {
    std::string text = line;
    return m.Calculate(text);
  }
  Listing Fetch() {
    Listing listing;
    m.Events().GetFunctions = [&listing](const std::string& name, const std::string& expression) {
      listing.emplace_back(name, expression);
    };
    m.FetchFunctions();
    m.Events().GetFunctions = nullptr;
    return listing;
  }
};

TEST(FunctionListing, ListsUserVariablesWithTheirStoredText) {
  struct Case {
    const char* label;
    std::vector<std::string> lines;
    std::vector<std::string> prompts;
    Listing listing;
  };
  const std::vector<Case> cases = {
      {"only the built-in names", {}, {}, {}},
      {"built-in names after use", {"2+3", "RAD", "DEG", "4*Ans"}, {}, {}},
      {"a plain and a formula variable", {"2+3=y", "XVar+1=f"}, {}, {{"y", "2+3"}, {"f", "XVar+1"}}},
      // Names are gathered with no test of word boundaries: a variable x
      // takes the X of XVar, and the line stores x and the word Var.
      {"a variable x inside XVar", {"2+3=x", "XVar+1=f"}, {}, {{"x", "2+3"}, {"f", "xVar+1"}}},
      {"a removed variable is gone", {"2+3=y", "XVar+1=f", "NOTHING=y"}, {}, {{"f", "XVar+1"}}},
      {"canonical spelling, no target, no trailing text",
       {"xvar^2=g cm", "sin(30)*2=h"},
       {},
       {{"g", "XVar^2"}, {"h", "Sin(30)*2"}}},
      {"a prompted variable holds its number text", {"r*2"}, {"1e3"}, {{"r", "1000"}}},
      {"a respelled target keeps its slot and takes the new text", {"2=x", "7=y", "3+4=X"}, {}, {{"X", "3+4"}, {"y", "7"}}},
      {"an expression with an error stores nothing", {"2+*3=bad"}, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Calc calc;
    calc.prompts = c.prompts;
    for (const std::string& line : c.lines) calc.Run(line);
    EXPECT_EQ(calc.Fetch(), c.listing);
  }
}

TEST(FunctionListing, NoHandlerIsNoFailure) {
  Calc calc;
  calc.Run("2=x");
  EXPECT_NO_THROW(calc.m.FetchFunctions());
}

TEST(FunctionListing, NothingBeforeInitializeOrAfterUnLoadVars) {
  clsMorvex fresh;
  int events = 0;
  fresh.Events().GetFunctions = [&](const std::string&, const std::string&) { ++events; };
  EXPECT_NO_THROW(fresh.FetchFunctions());
  EXPECT_EQ(events, 0);

  Calc calc;
  calc.Run("2=x");
  calc.Run("XVar*3=f");
  ASSERT_EQ(calc.Fetch().size(), 2u);
  calc.m.UnLoadVars();
  EXPECT_EQ(calc.Fetch(), Listing{});
  calc.Run("5=z");
  EXPECT_EQ(calc.Fetch(), (Listing{{"z", "5"}}));
}

// The walk's end is fixed at its start: a variable that a handler makes is not
// listed in the same walk, but in the next one.
TEST(FunctionListing, VariableMadeByAHandlerIsNotSeenDuringTheWalk) {
  Calc calc;
  calc.Run("2+3=y");
  calc.Run("XVar+1=f");
  Listing listing;
  calc.m.Events().GetFunctions = [&](const std::string& name, const std::string& expression) {
    listing.emplace_back(name, expression);
    std::string line = "9=new" + name;
    calc.m.Calculate(line);
  };
  calc.m.FetchFunctions();
  EXPECT_EQ(listing, (Listing{{"y", "2+3"}, {"f", "XVar+1"}}));
  calc.m.Events().GetFunctions = nullptr;
  EXPECT_EQ(calc.Fetch(), (Listing{{"y", "2+3"}, {"f", "XVar+1"}, {"newy", "9"}, {"newf", "9"}}));
}

// A handler that removes a variable during the walk: the walk does not fail
// and lists no variable twice.
TEST(FunctionListing, VariableRemovedByAHandlerDuringTheWalk) {
  Calc calc;
  for (const char* line : {"1=a", "2=b", "3=c"}) calc.Run(line);
  Listing listing;
  calc.m.Events().GetFunctions = [&](const std::string& name, const std::string& expression) {
    listing.emplace_back(name, expression);
    if (name == "a") calc.Run("NOTHING=b");
  };
  EXPECT_NO_THROW(calc.m.FetchFunctions());
  EXPECT_EQ(listing, (Listing{{"a", "1"}, {"c", "3"}}));
}

}  // namespace
}  // namespace morvex
