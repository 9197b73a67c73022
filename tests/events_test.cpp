// The Change events of a line: their Length and FirstChar, their order, and
// the text that DNAString shows inside the handler at each of them. The
// silent run before the calculation raises nothing, so the events of a line
// are those of the calculation run alone.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "calculator/calculator.hpp"
#include "calculator/shared_state.hpp"
#include "morvex/morvex.hpp"
#include "run/calculation_run.hpp"

namespace morvex {
namespace {

struct Event {
  int length;
  int first;
  std::string text;  // DNAString (or DNAString2) read inside the handler

  bool operator==(const Event&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Event& e) {
  return os << "(" << e.length << "," << e.first << ",\"" << e.text << "\")";
}

// Records Change and Change2 with the chain text of the moment.
struct Recorder {
  std::vector<Event> change;
  std::vector<Event> change2;

  void Attach(clsMorvex& calc) {
    calc.Events().Change = [this, &calc](int16_t length, int16_t first) {
      change.push_back({length, first, calc.DNAString()});
    };
    calc.Events().Change2 = [this, &calc](int16_t length, int16_t first) {
      change2.push_back({length, first, calc.DNAString2()});
    };
  }
  void Clear() {
    change.clear();
    change2.clear();
  }
};

void RunLine(clsMorvex& calc, const std::string& line) {
  std::string text = line;
  try {
    calc.Calculate(text);
  } catch (const Failure& f) {
    ADD_FAILURE() << "line \"" << line << "\" failed with code " << f.code() << ": " << f.what();
  }
}

struct Row {
  const char* line;
  const char* value;  // OutString
  std::vector<Event> events;
};

void ExpectEvents(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string("line ") + row.line);
    clsMorvex calc;
    calc.Initialize();
    Recorder rec;
    rec.Attach(calc);
    RunLine(calc, row.line);
    EXPECT_EQ(calc.OutString(), row.value);
    EXPECT_EQ(rec.change, row.events);
    EXPECT_TRUE(rec.change2.empty());
  }
}

TEST(ChangeEvents, OperatorsMarkTheOldTextAndThenTheNew) {
  ExpectEvents({
      {"2+3", "5", {{3, 1, "2+3"}, {1, 1, "5"}}},
      {"2*3+4", "10", {{3, 1, "2*3+4"}, {1, 1, "6+4"}, {3, 1, "6+4"}, {2, 1, "10"}}},
      {"12+3*4", "24", {{3, 4, "12+3*4"}, {2, 4, "12+12"}, {5, 1, "12+12"}, {2, 1, "24"}}},
      {"8/2/2", "2", {{3, 1, "8/2/2"}, {1, 1, "4/2"}, {3, 1, "4/2"}, {1, 1, "2"}}},
      {"2^3", "8", {{3, 1, "2^3"}, {1, 1, "8"}}},
      // Comparisons, selections and the remainder mark only the left operand.
      {"12<5", "0", {{2, 1, "12<5"}}},
      {"1:7", "7", {{1, 1, "1:7"}}},
      {"7|3", "1", {{1, 1, "7|3"}}},
      {"1+3<5", "2", {{1, 3, "1+3<5"}, {3, 1, "1+1"}, {1, 1, "2"}}},
  });
}

TEST(ChangeEvents, SignsExponentsAndFactorials) {
  ExpectEvents({
      // A leading plus is marked; a leading minus is folded silently.
      {"+3", "3", {{2, 1, "+3"}, {1, 1, "3"}}},
      {"-3", "-3", {}},
      {"-3+1", "-2", {{4, 1, "-3+1"}, {2, 1, "-2"}}},
      {"2*+3", "6", {{2, 3, "2*+3"}, {1, 3, "2*3"}, {3, 1, "2*3"}, {1, 1, "6"}}},
      // The comma is gone before the run, and the plus after it is a sign.
      {"2,+3", "6", {{2, 2, "2+3"}, {1, 2, "23"}, {1, 1, "23"}, {1, 2, "23"}, {1, 1, "6"}}},
      {"-3!", "-6", {{3, 1, "-3!"}, {2, 1, "-6"}}},
      {"2E3", "2000", {{3, 1, "2E3"}, {4, 1, "2000"}}},
      {"E3", "1000", {{2, 1, "E3"}, {4, 1, "1000"}}},
      {"2E-3", "0.002", {{4, 1, "2E-3"}, {5, 1, "0.002"}}},
      {"3Exp2", "300", {{5, 1, "3Exp2"}, {3, 1, "300"}}},
      {"5!", "120", {{2, 1, "5!"}, {3, 1, "120"}}},
      {"1+3!", "7", {{2, 3, "1+3!"}, {1, 3, "1+6"}, {3, 1, "1+6"}, {1, 1, "7"}}},
      {"PI", "3.14159265358979", {{2, 1, "PI"}}},
      {"PI+1", "4.14159265358979", {{2, 1, "PI+1"}, {18, 1, "3.14159265358979+1"}, {16, 1, "4.14159265358979"}}},
  });
}

TEST(ChangeEvents, WordsAndImpliedProducts) {
  ExpectEvents({
      {"Sin30", "0.5", {{5, 1, "Sin30"}, {3, 1, "0.5"}}},
      {"2Sin30",
       "1",
       {{5, 2, "2Sin30"}, {3, 2, "20.5"}, {1, 1, "20.5"}, {3, 2, "20.5"}, {1, 1, "1"}}},
      // The power comes first outside parentheses, then the word.
      {"Sin2^3",
       "0.139173100960065",
       {{3, 4, "Sin2^3"}, {1, 4, "Sin8"}, {4, 1, "Sin8"}, {17, 1, "0.139173100960065"}}},
  });
}

TEST(ChangeEvents, GroupsAreMarkedWholeAndLoseTheirParentheses) {
  ExpectEvents({
      {"(2+3)*4",
       "20",
       {{5, 1, "(2+3)*4"}, {3, 2, "(2+3)*4"}, {1, 2, "(5)*4"}, {1, 1, "5*4"}, {3, 1, "5*4"}, {2, 1, "20"}}},
      {"((1+2))",
       "3",
       {{5, 2, "((1+2))"}, {3, 3, "((1+2))"}, {1, 3, "((3))"}, {1, 2, "(3)"}, {3, 1, "(3)"}, {1, 1, "3"}}},
      // The last group is taken first.
      {"(1)+(2)",
       "3",
       {{3, 5, "(1)+(2)"}, {1, 5, "(1)+2"}, {3, 1, "(1)+2"}, {1, 1, "1+2"}, {3, 1, "1+2"}, {1, 1, "3"}}},
      // A group that gives up a cell ends the rounds of groups; the general
      // reduction still works through what it can match.
      {"(1+1)*(1/0)", "1/0", {{5, 7, "(1+1)*(1/0)"}, {3, 2, "(1+1)*(1/0)"}, {1, 2, "(2)*(1/0)"}}},
  });
}

TEST(ChangeEvents, WordPowersAreRewrittenAsAGroupAndAPower) {
  ExpectEvents({
      {"Sin^2(30)",
       "0.25",
       {{4, 6, "Sin^2(30)"},
        {2, 6, "Sin^230"},
        {5, 1, "Sin^230"},
        {5, 2, "(Sin30)^2"},
        {7, 1, "(Sin30)^2"},
        {5, 2, "(Sin30)^2"},
        {3, 2, "(0.5)^2"},
        {3, 1, "0.5^2"},
        {5, 1, "0.5^2"},
        {4, 1, "0.25"}}},
      // Inside a group the rewriting is the reduction's own, and the group it
      // makes goes through the range reducer, which ends with Change(0, 1).
      {"(Sin^2(30))",
       "0.25",
       {{4, 7, "(Sin^2(30))"},
        {2, 7, "(Sin^230)"},
        {9, 1, "(Sin^230)"},
        {5, 2, "(Sin^230)"},
        {5, 3, "((Sin30)^2)"},
        {7, 2, "((Sin30)^2)"},
        {5, 3, "((Sin30)^2)"},
        {3, 3, "((0.5)^2)"},
        {0, 1, "((0.5)^2)"},
        {5, 2, "(0.5^2)"},
        {4, 2, "(0.25)"},
        {4, 1, "0.25"}}},
  });
}

TEST(ChangeEvents, FailingLinesRaiseOnlyWhatTheRunDidBeforeGivingUp) {
  ExpectEvents({
      // The give-up on 0 raises nothing.
      {"1/0", "1/0", {}},
      {"Tan90", "Tan90", {}},
      {"171!", "171!", {}},
      {"Sin^2+1", "Sin^2", {}},
      {"Ln0", "Ln0", {}},
  });
}

TEST(ChangeEvents, VariablesAreMarkedWhereTheyAreBound) {
  clsMorvex calc;
  calc.Initialize();
  Recorder rec;
  rec.Attach(calc);
  RunLine(calc, "2+3");
  rec.Clear();
  RunLine(calc, "Ans+1");
  EXPECT_EQ(calc.OutString(), "6");
  const std::vector<Event> expected = {{3, 1, "Ans+1"}, {1, 1, "5+1"}, {3, 1, "5+1"}, {1, 1, "6"}};
  EXPECT_EQ(rec.change, expected);
}

TEST(ChangeEvents, AFormulaWordIsWorkedOutOnTheSecondChain) {
  clsMorvex calc;
  calc.Initialize();
  Recorder rec;
  rec.Attach(calc);
  RunLine(calc, "XVar^2=f");
  EXPECT_EQ(calc.OutString(), "f");
  EXPECT_TRUE(rec.change.empty());
  rec.Clear();
  RunLine(calc, "f3");
  EXPECT_EQ(calc.OutString(), "9");
  const std::vector<Event> second = {{4, 1, "XVar^2"}, {3, 1, "3^2"}, {1, 1, "9"}, {0, 1, "9"}};
  EXPECT_EQ(rec.change2, second);
  const std::vector<Event> first = {{1, 1, "f"}, {1, 1, "9"}};
  EXPECT_EQ(rec.change, first);
}

TEST(ChangeEvents, AGroupIsReducedTwiceOnALineWithAVariable) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "XVar^2=f");
  Recorder rec;
  rec.Attach(calc);
  RunLine(calc, "(1+2)+f3");
  EXPECT_EQ(calc.OutString(), "12");
  // The first group keeps its parentheses for one more round.
  const std::vector<Event> expected = {{5, 1, "(1+2)+f3"}, {3, 2, "(1+2)+f3"}, {1, 2, "(3)+f3"},
                                       {3, 1, "(3)+f3"},   {1, 1, "3+f3"},      {1, 3, "3+f"},
                                       {1, 3, "3+9"},      {3, 1, "3+9"},       {2, 1, "12"}};
  EXPECT_EQ(rec.change, expected);
}

// A line without a target is first reduced silently; the same line with a
// target is not. Both must raise the same events, so the silent run raises
// none. (A plain target is computed once more by the recalculation of the
// variables after the line: only the events before it are the line's own.)
TEST(ChangeEvents, TheSilentRunRaisesNoEvent) {
  struct Line {
    const char* text;
    bool raises;  // whether the calculation run marks anything at all
  };
  const Line lines[] = {{"2*3+4", true},    {"(2+3)*4", true}, {"Sin^2(30)", true}, {"2E3!", true},
                        {"1/0", false},     {"Sin^2+1", false}, {"2Tan90", false},  {"f3", true},
                        {"2g3", true},      {"10^400", true}};
  const Event marker{-1, -1, "recalculation"};
  for (const Line& entry : lines) {
    const std::string line = entry.text;
    SCOPED_TRACE(line);
    Recorder runs[2];
    for (int targeted = 0; targeted < 2; ++targeted) {
      clsMorvex calc;
      calc.Initialize();
      RunLine(calc, "XVar^2=f");
      RunLine(calc, "YVar+XVar=g");
      Recorder& rec = runs[targeted];
      rec.Attach(calc);
      calc.Events().UpdateVariables = [&rec, marker](double) {
        rec.change.push_back(marker);
        rec.change2.push_back(marker);
      };
      RunLine(calc, targeted ? line + "=target" : line);
    }
    auto own = [&](const std::vector<Event>& events) {
      std::vector<Event> result;
      for (const Event& e : events) {
        if (e == marker) break;
        result.push_back(e);
      }
      return result;
    };
    EXPECT_EQ(runs[0].change, own(runs[1].change));
    EXPECT_EQ(runs[0].change2, own(runs[1].change2));
    EXPECT_EQ(!runs[0].change.empty(), entry.raises);
  }
}

TEST(ChangeEvents, ALineThatFailsInTheSilentRunRaisesNothingBeforeTheFailureIsKnown) {
  // These lines fail in the silent run, and the calculation run gives up
  // their cells before it marks anything: the host sees no event at all.
  for (const char* line : {"1/0", "2.5!", "0^-1", "Log0", "Sin^2+1"}) {
    SCOPED_TRACE(line);
    clsMorvex calc;
    calc.Initialize();
    int events = 0;
    calc.Events().Change = [&](int16_t, int16_t) { ++events; };
    calc.Events().Change2 = [&](int16_t, int16_t) { ++events; };
    RunLine(calc, line);
    EXPECT_EQ(calc.ErrNumber(), 13);
    EXPECT_EQ(events, 0);
  }
}

// The range reducer on a hand-built group of the working chain.
struct RangeRow {
  std::vector<std::pair<const char*, int16_t>> cells;  // Value and type code
  std::string after;                                    // the chain afterwards
  std::vector<Event> events;
  std::vector<int16_t> typesAfter;
  bool checkEvents = true;  // false where a give-up leaves the events open
};

void RunRangeRows(const std::vector<RangeRow>& rows) {
  for (const RangeRow& row : rows) {
    clsMorvex calc;
    calc.Initialize();
    detail::Calculator& c = calc.Internals();
    c.WorkingChain.Clear();
    std::string spelled;
    for (const auto& [value, type] : row.cells) {
      Cell& cell = c.WorkingChain.Add(flag::AddPattern);
      cell.Value(value);
      cell.NameStr(type);
      spelled += value;
    }
    SCOPED_TRACE(spelled);
    Recorder rec;
    rec.Attach(calc);
    try {
      detail::ReduceRange(c, 1, c.WorkingChain.Count());
    } catch (const Failure& f) {
      ADD_FAILURE() << "failure " << f.code() << ": " << f.what();
    }
    EXPECT_EQ(calc.DNAString(), row.after);
    std::vector<int16_t> types;
    for (const Cell& cell : c.WorkingChain) types.push_back(cell.NameStr());
    EXPECT_EQ(types, row.typesAfter);
    if (row.checkEvents) {
      EXPECT_EQ(rec.change, row.events);
    }
    EXPECT_TRUE(rec.change2.empty());
  }
}

TEST(ChangeEvents, TheRangeReducerOfARewrittenWordPower) {
  RunRangeRows({
      {{{"(", TypeStart}, {"Sin", TypeWord}, {"30", TypeNumber}, {")", TypeEnd}},
       "(0.5)",
       {{5, 2, "(Sin30)"}, {3, 2, "(0.5)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"Sqr", TypeWord}, {"4", TypeNumber}, {")", TypeEnd}},
       "(2)",
       {{4, 2, "(Sqr4)"}, {1, 2, "(2)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"ABS", TypeWord}, {"-3", TypeNumber}, {")", TypeEnd}},
       "(3)",
       {{5, 2, "(ABS-3)"}, {1, 2, "(3)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      // Sign has no row here: the word becomes the text "0" and stays a word.
      {{{"(", TypeStart}, {"Sign", TypeWord}, {"3", TypeNumber}, {")", TypeEnd}},
       "(03)",
       {{5, 2, "(Sign3)"}},
       {TypeStart, TypeWord, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"2", TypeNumber}, {"^", TypePower}, {"3", TypeNumber}, {")", TypeEnd}},
       "(8)",
       {{3, 2, "(2^3)"}, {1, 2, "(8)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"2", TypeNumber}, {"3", TypeNumber}, {")", TypeEnd}},
       "(6)",
       {{1, 2, "(23)"}, {1, 3, "(23)"}, {1, 2, "(6)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"5", TypeNumber}, {"!", TypeFactorial}, {")", TypeEnd}},
       "(120)",
       {{2, 2, "(5!)"}, {3, 2, "(120)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      // The factorial of the range reducer is a 32-bit product: 13! overflows
      // and gives up both cells.
      {{{"(", TypeStart}, {"13", TypeNumber}, {"!", TypeFactorial}, {")", TypeEnd}},
       "(13!)",
       {},
       {TypeStart, TypeNone, TypeNone, TypeEnd},
       false},
  });
}

// The range reducer has an order of its own: powers, then side-by-side
// numbers, then "<", ">", the remainder, "?", "[", "]", "#", ":", "@".
TEST(ChangeEvents, TheRangeReducerTakesItsStagesInItsOwnOrder) {
  RunRangeRows({
      {{{"(", TypeStart}, {"2", TypeNumber}, {"3", TypeNumber}, {"<", TypeLess}, {"7", TypeNumber}, {")", TypeEnd}},
       "(1)",
       {{1, 2, "(23<7)"}, {1, 3, "(23<7)"}, {1, 2, "(6<7)"}, {1, 2, "(6<7)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"7", TypeNumber}, {"|", TypeBar}, {"3", TypeNumber}, {"?", TypeQuestion}, {"1", TypeNumber}, {")", TypeEnd}},
       "(1)",
       {{1, 2, "(7|3?1)"}, {1, 2, "(1?1)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"2", TypeNumber}, {"^", TypePower}, {"2", TypeNumber}, {"3", TypeNumber}, {")", TypeEnd}},
       "(12)",
       {{3, 2, "(2^23)"}, {1, 2, "(43)"}, {1, 2, "(43)"}, {1, 3, "(43)"}, {2, 2, "(12)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"0", TypeNumber}, {":", TypeColon}, {"0", TypeNumber}, {"@", TypeAt}, {"1", TypeNumber}, {")", TypeEnd}},
       "(1)",
       {{1, 2, "(0:0@1)"}, {1, 2, "(0@1)"}},
       {TypeStart, TypeNumber, TypeEnd}},
      {{{"(", TypeStart}, {"1", TypeNumber}, {"+", TypePlus}, {"2", TypeNumber}, {"*", TypeOper}, {"3", TypeNumber}, {")", TypeEnd}},
       "(7)",
       {{3, 4, "(1+2*3)"}, {1, 4, "(1+6)"}, {3, 2, "(1+6)"}, {1, 2, "(7)"}},
       {TypeStart, TypeNumber, TypeEnd}},
  });
}

}  // namespace
}  // namespace morvex
