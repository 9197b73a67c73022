// FetchFunctions where the host does more than read: no handler, no
// calculator yet, and handlers that change the table during the walk. The
// listing itself is checked in golden/files.lines.
#include <gtest/gtest.h>

#include <utility>

#include "test_support.hpp"

namespace morvex {
namespace {

using Listing = std::vector<std::pair<std::string, std::string>>;

Listing Fetch(test::Calc& calc) {
  Listing listing;
  calc.m.Events().GetFunctions = [&](const std::string& name, const std::string& text) {
    listing.emplace_back(name, text);
  };
  calc.m.FetchFunctions();
  calc.m.Events().GetFunctions = nullptr;
  return listing;
}

TEST(FunctionListing, NoHandlerNoCalculatorAndUnLoadVars) {
  test::Calc withoutHandler;
  withoutHandler.Out("2=x");
  EXPECT_NO_THROW(withoutHandler.m.FetchFunctions());

  clsMorvex fresh;
  int events = 0;
  fresh.Events().GetFunctions = [&](const std::string&, const std::string&) { ++events; };
  EXPECT_NO_THROW(fresh.FetchFunctions());
  EXPECT_EQ(events, 0);

  test::Calc calc;
  calc.RunAll({"2=x", "XVar*3=f"});
  ASSERT_EQ(Fetch(calc).size(), 2u);
  calc.m.UnLoadVars();
  EXPECT_EQ(Fetch(calc), Listing{});
  calc.Out("5=z");
  EXPECT_EQ(Fetch(calc), (Listing{{"z", "5"}}));
}

// The walk's end is fixed at its start: a variable that a handler makes is not
// listed in the same walk, but in the next one; one that a handler removes is
// not listed, and nothing is listed twice.
TEST(FunctionListing, HandlerThatChangesTheTableDuringTheWalk) {
  test::Calc calc;
  calc.RunAll({"2+3=y", "XVar+1=f"});
  Listing listing;
  calc.m.Events().GetFunctions = [&](const std::string& name, const std::string& text) {
    listing.emplace_back(name, text);
    calc.Out("9=new" + name);
  };
  calc.m.FetchFunctions();
  EXPECT_EQ(listing, (Listing{{"y", "2+3"}, {"f", "XVar+1"}}));
  EXPECT_EQ(Fetch(calc), (Listing{{"y", "2+3"}, {"f", "XVar+1"}, {"newy", "9"}, {"newf", "9"}}));

  test::Calc other;
  other.RunAll({"1=a", "2=b", "3=c"});
  listing.clear();
  other.m.Events().GetFunctions = [&](const std::string& name, const std::string& text) {
    listing.emplace_back(name, text);
    if (name == "a") other.Out("NOTHING=b");
  };
  EXPECT_NO_THROW(other.m.FetchFunctions());
  EXPECT_EQ(listing, (Listing{{"a", "1"}, {"c", "3"}}));
}

}  // namespace
}  // namespace morvex
