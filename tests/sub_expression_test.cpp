// The run of a formula's text on the second chain: its Change2 events and the
// Change events around the splice into the line, the give-ups and failures
// that reach the line, word powers in each run, and the range reducers that
// serve the groups of a rewritten word power.
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "calculator/calculator.hpp"
#include "calculator/shared_state.hpp"
#include "evaluation/silent_run.hpp"
#include "morvex/morvex.hpp"
#include "run/calculation_run.hpp"
#include "run/sub_expression_run.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

// One Change or Change2, with the text of its chain read inside the handler.
struct Event {
  char channel;  // 'C' for Change, '2' for Change2
  int length;
  int first;
  std::string text;

  bool operator==(const Event&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Event& e) {
  return os << e.channel << "(" << e.length << "," << e.first << ",\"" << e.text << "\")";
}

Event C(int length, int first, std::string text) { return {'C', length, first, std::move(text)}; }
Event C2(int length, int first, std::string text) { return {'2', length, first, std::move(text)}; }

struct Session {
  test::TempFolder folder;
  clsMorvex calc;
  std::vector<Event> events;  // both channels, in the order they came

  Session() {
    calc.ProgramFolder(folder.str());
    calc.Initialize();
  }

  void Record() {
    calc.Events().Change = [this](int16_t length, int16_t first) {
      events.push_back(C(length, first, calc.DNAString()));
    };
    calc.Events().Change2 = [this](int16_t length, int16_t first) {
      events.push_back(C2(length, first, calc.DNAString2()));
    };
  }

  std::string Run(std::string_view line) {
    std::string text(line);
    try {
      calc.Calculate(text);
    } catch (const Failure& failure) {
      ADD_FAILURE() << "\"" << line << "\" failed with code " << failure.code() << ": " << failure.what();
    }
    return calc.OutString();
  }

  detail::Calculator& c() { return calc.Internals(); }
};

struct CellSpec {
  const char* value;
  int16_t type;
};

void LayOut(dna& chain, const std::vector<CellSpec>& cells) {
  chain = dna();
  for (const CellSpec& spec : cells) {
    Cell& cell = chain.Add(flag::AddPattern);
    cell.Value(spec.value);
    cell.NameStr(spec.type);
  }
}

std::vector<int16_t> Types(const dna& chain) {
  std::vector<int16_t> types;
  for (const Cell& cell : chain) types.push_back(cell.NameStr());
  return types;
}

TEST(SubExpressionRun, EventsOfAFormulaWordAndOfItsSplice) {
  struct Row {
    const char* definition;
    const char* line;
    const char* value;
    int16_t errNumber;
    std::vector<Event> events;
  };
  const std::vector<Row> rows = {
      // XVar is bound in the text, the power is taken, the text is done
      // (Change2(0, 1)); then the word is marked and replaced by the result.
      {"XVar^2=f",
       "f3",
       "9",
       0,
       {C2(4, 1, "XVar^2"), C2(3, 1, "3^2"), C2(1, 1, "9"), C2(0, 1, "9"), C(1, 1, "f"), C(1, 1, "9")}},
      {"XVar^2=f",
       "1+f3",
       "10",
       0,
       {C2(4, 1, "XVar^2"), C2(3, 1, "3^2"), C2(1, 1, "9"), C2(0, 1, "9"), C(1, 3, "1+f"), C(1, 3, "1+9"),
        C(3, 1, "1+9"), C(2, 1, "10")}},
      // A division by XVar at 0 gives up its three cells without an event;
      // they reach the line, and the line fails with them as its text.
      {"1/XVar=inv", "inv0", "1/0", 13, {C2(4, 3, "1/XVar"), C2(0, 1, "1/0"), C(3, 1, "inv"), C(1, 1, "1/0")}},
      // A group that gives up a cell goes straight to the general reduction:
      // the "+1" is left alone, and the failing text is the group's.
      {"(1/XVar)+1=q",
       "q0",
       "1/0",
       13,
       {C2(4, 4, "(1/XVar)+1"), C2(5, 1, "(1/0)+1"), C2(0, 1, "(1/0)+1"), C(1, 1, "q"), C(1, 1, "(1/0)+1")}},
      // The overflow ends the text's run at once, without Change2(0, 1); the
      // unreduced cells meet the same overflow in the line's power pass.
      {"10^XVar=p",
       "p400",
       "10^400",
       13,
       {C2(4, 4, "10^XVar"), C2(6, 1, "10^400"), C(1, 1, "p"), C(2, 1, "10^400"), C(6, 1, "10^400")}},
      // A word power inside the text: the group of the argument, the
      // rewriting to (Sin 30)^2, its group, the power.
      {"Sin^2(XVar)=s",
       "s30",
       "0.25",
       0,
       {C2(4, 7, "Sin^2(XVar)"), C2(4, 6, "Sin^2(30)"), C2(2, 6, "Sin^230"), C2(5, 1, "Sin^230"),
        C2(5, 2, "(Sin30)^2"), C2(7, 1, "(Sin30)^2"), C2(5, 2, "(Sin30)^2"), C2(3, 2, "(0.5)^2"),
        C2(3, 1, "0.5^2"), C2(5, 1, "0.5^2"), C2(4, 1, "0.25"), C2(0, 1, "0.25"), C(1, 1, "s"),
        C(4, 1, "0.25")}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.line) + " with " + row.definition);
    Session s;
    s.Run(row.definition);
    s.Record();
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), row.errNumber);
    EXPECT_EQ(s.events, row.events);
  }
}

TEST(SubExpressionRun, FailedRunLeavesAnsAndReportsTheWholeLine) {
  Session s;
  s.Run("1/XVar=inv");
  s.Run("10^XVar=p");
  s.Run("6");
  for (const char* line : {"inv0", "p400", "2+p400"}) {
    SCOPED_TRACE(line);
    s.Run(line);
    EXPECT_EQ(s.calc.ErrNumber(), 13);
    EXPECT_EQ(s.calc.ErrDescription(), "");
    EXPECT_EQ(s.calc.ErrFirst(), 0);
    EXPECT_EQ(s.calc.ErrLength(), static_cast<int16_t>(std::string_view(line).size()));
    EXPECT_EQ(s.calc.VariableList().front().Value, 6.0) << "Ans";
  }
  EXPECT_EQ(s.Run("inv4"), "0.25");
  EXPECT_EQ(s.Run("p2"), "100");
}

TEST(SubExpressionRun, EmptyTextLeavesNothingButTheDoneMark) {
  Session s;
  s.Record();
  // The scan alone: an empty second chain, and the run still says it is done.
  detail::ScanSubExpression(s.c(), "");
  EXPECT_EQ(s.c().SecondChain.Count(), 0);
  EXPECT_EQ(s.events, (std::vector<Event>{C2(0, 1, "")}));

  // Through a line: the splice of nothing removes the word.
  s.Run("XVar*2=f");
  s.c().VariableChains.at(4) = dna();
  s.events.clear();
  EXPECT_EQ(s.Run("f3+2"), "+2");
  EXPECT_EQ(s.calc.ErrNumber(), 0);
  EXPECT_EQ(s.events, (std::vector<Event>{C2(0, 1, ""), C(1, 1, "f+2"), C(1, 1, "+2")}));
}

TEST(SubExpressionRun, ScanErrorStopsTheRunBeforeAnyEvent) {
  struct Row {
    const char* text;
    int32_t error;
    int32_t firstError;
    int32_t lengthError;
  };
  const std::vector<Row> rows = {
      {"1.2.3", 2, 1, 5},
      {"2+1.2.3", 2, 3, 5},
      {"*2", 1, 1, 1},
      {"2+*3", 5, 3, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Session s;
    s.Record();
    Shared().gErrCode = 0;
    detail::ScanSubExpression(s.c(), row.text);
    EXPECT_TRUE(s.events.empty());
    EXPECT_EQ(s.c().SecondChain.Join(), row.text);
    EXPECT_EQ(Shared().gErrCode, row.error);
    EXPECT_EQ(Shared().gErr.NumError, row.error);
    EXPECT_EQ(Shared().gErr.FirstError, row.firstError);
    EXPECT_EQ(Shared().gErr.LengthError, row.lengthError);
  }
}

TEST(SubExpressionRun, SilentScanOfAFormulaText) {
  struct Row {
    const char* text;
    std::vector<std::string> values;
    std::vector<int16_t> types;
  };
  const std::vector<Row> rows = {
      {"2+3", {"2", "+", "3"}, {TypeNumber, TypePlus, TypeNumber}},
      // Open parentheses are closed at the end of the text.
      {"(2+3", {"(", "2", "+", "3", ")"}, {TypeStart, TypeNumber, TypePlus, TypeNumber, TypeEnd}},
      // The comma goes; the minus after it becomes a sign.
      {"(,-3)", {"(", "-", "3", ")"}, {TypeStart, TypeSign, TypeNumber, TypeEnd}},
      {"", {}, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Session s;
    s.c().WorkingChain = dna();
    Shared().gErrCode = 0;  // the scan sets it on an error only
    detail::ScanSubExpression2(s.c(), row.text);
    std::vector<std::string> values;
    for (const Cell& cell : s.c().SecondChain) values.emplace_back(cell.Value());
    EXPECT_EQ(values, row.values);
    EXPECT_EQ(Types(s.c().SecondChain), row.types);
    EXPECT_EQ(Shared().gErr.NumError, 0);
    EXPECT_EQ(Shared().gErrCode, 0);
  }
}

TEST(SubExpressionRun, SilentScanPlacesItsErrorInTheFormulaText) {
  struct Row {
    const char* text;
    int32_t error;
    int32_t firstError;
    int32_t lengthError;
    std::vector<int16_t> types;  // the chain as the error left it
  };
  const std::vector<Row> rows = {
      {"2+1.2.3", 2, 3, 5, {TypeNumber, TypePlus, TypeNumber}},
      // A sign made from a comma is tested against its neighbour: a number
      // allows no sign after it.
      {"2,-3", 5, 2, 1, {TypeNumber, TypeSign, TypeNumber}},
      {"2+*3", 5, 3, 1, {TypeNumber, TypePlus, TypeOper, TypeNumber}},
      {"*3", 1, 1, 1, {TypeOper, TypeNumber}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Session s;
    s.c().WorkingChain = dna();
    detail::ScanSubExpression2(s.c(), row.text);
    EXPECT_EQ(Shared().gErrCode, row.error);
    EXPECT_EQ(Shared().gErr.NumError, row.error);
    EXPECT_EQ(Shared().gErr.DescError, ErrorName(row.error));
    EXPECT_EQ(Shared().gErr.FirstError, row.firstError);
    EXPECT_EQ(Shared().gErr.LengthError, row.lengthError);
    EXPECT_EQ(Types(s.c().SecondChain), row.types);
    // A neighbour test writes the cell's position into ErrFirst as well.
    if (row.error != 2) {
      EXPECT_EQ(s.c().ErrFirst, row.firstError);
    }
  }
}

TEST(SubExpressionRun, TidyingAfterASpliceComputesNoOperator) {
  struct Row {
    std::vector<CellSpec> cells;
    const char* joined;
    std::vector<int16_t> types;
    int32_t error;
  };
  const std::vector<Row> rows = {
      {{{"PI", TypeWord}}, "3.14159265358979", {TypeNumber}, 0},
      {{{"2", TypeNumber}, {"^", TypePower}, {"3", TypeNumber}}, "2^3", {TypeNumber, TypePower, TypeNumber}, 0},
      {{{"-", TypeSign}, {"3", TypeNumber}, {"!", TypeFactorial}}, "-6", {TypeNumber}, 0},
      // A word power is rewritten, and its power is left for the reduction.
      {{{"Sin", TypeWord}, {"^", TypePowerNum}, {"2", TypeNumber}, {"30", TypeNumber}},
       "(Sin30)^2",
       {TypeStart, TypeWord, TypeNumber, TypeEnd, TypePower, TypeNumber},
       0},
      // A word power without its argument gives up its three cells.
      {{{"Sin", TypeWord}, {"^", TypePowerNum}, {"2", TypeNumber}, {"+", TypePlus}, {"1", TypeNumber}},
       "Sin^2+1",
       {TypeNone, TypeNone, TypeNone, TypePlus, TypeNumber},
       13},
  };
  for (const Row& row : rows) {
    Session s;
    LayOut(s.c().WorkingChain, row.cells);
    SCOPED_TRACE(s.c().WorkingChain.Join());
    Shared().gErr = CErrOcur();
    detail::PreReduceChain(s.c());
    EXPECT_EQ(s.c().WorkingChain.Join(), row.joined);
    EXPECT_EQ(Types(s.c().WorkingChain), row.types);
    EXPECT_EQ(Shared().gErr.NumError, row.error);
  }
}

TEST(WordPowers, EveryRunRewritesTheWordPower) {
  struct Row {
    const char* definition;  // "" for none
    const char* line;
    const char* value;
  };
  const std::vector<Row> rows = {
      {"", "Sin^2(30)", "0.25"},
      {"", "(Sin^2(30))", "0.25"},
      {"", "2*(Sin^2(30)+1)", "2.5"},
      {"Sin^2(XVar)=s", "s30", "0.25"},
      {"Sin^2(XVar)+1=s", "2*s30", "2.5"},
      // Outside parentheses the power comes before the word: the sine of 8;
      // inside, the word first, then the cube of sin 2 (each step through
      // its 15-digit text: 0.034899496702501 cubed).
      {"", "Sin2^3", "0.139173100960065"},
      {"", "(Sin2^3)", "4.2506709962361E-05"},
      // The group of a rewriting in a line is reduced by the line's own
      // reducer, which knows Sign; inside a group it is the range reducer,
      // which does not: the word is left standing with the text "0", the
      // group keeps two cells, and removing "(" and the cell after the new
      // first one takes the argument instead of ")".
      {"", "Sign^2(3)", "1"},
      {"", "Sign^2(-3)", "1"},
      {"", "(Sign^2(3))", "(0)^2)"},
      {"Sign^2(XVar)=sg", "sg-3", "1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.line) + " " + row.definition);
    Session s;
    if (*row.definition != '\0') s.Run(row.definition);
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), 0);
  }
}

TEST(WordPowers, GroupOfTheRewritingIsMarkedDoneInTheLine) {
  // In a line the group of the rewriting ends with Change(0, 1) and loses its
  // parentheses without an event.
  Session s;
  s.Record();
  EXPECT_EQ(s.Run("(Sin^2(30))"), "0.25");
  const std::vector<Event> expected = {
      C(4, 7, "(Sin^2(30))"), C(2, 7, "(Sin^230)"),   C(9, 1, "(Sin^230)"),   C(5, 2, "(Sin^230)"),
      C(5, 3, "((Sin30)^2)"), C(7, 2, "((Sin30)^2)"), C(5, 3, "((Sin30)^2)"), C(3, 3, "((0.5)^2)"),
      C(0, 1, "((0.5)^2)"),   C(5, 2, "(0.5^2)"),     C(4, 2, "(0.25)"),      C(4, 1, "0.25"),
  };
  EXPECT_EQ(s.events, expected);
}

TEST(WordPowers, GroupOfTheRewritingInAFormulaTextIsMarkedByItsRemoval) {
  // On the second chain there is no Change2(0, 1) after the range; removing
  // the parentheses is marked instead. The search for the next group takes
  // the first cell of the range too, so the caller's own group is reduced
  // and loses its parentheses here.
  Session s;
  s.Record();
  Shared().gFoundVariable = false;
  LayOut(s.c().SecondChain, {{"(", TypeStart},
                             {"Sin", TypeWord},
                             {"^", TypePowerNum},
                             {"2", TypeNumber},
                             {"30", TypeNumber},
                             {")", TypeEnd}});
  int32_t first = 1;
  int32_t last = 6;
  detail::RunSubReduce(s.c(), first, last);
  EXPECT_EQ(s.c().SecondChain.Join(), "0.25");
  const std::vector<Event> expected = {
      C2(5, 2, "(Sin^230)"),   C2(5, 3, "((Sin30)^2)"), C2(7, 2, "((Sin30)^2)"), C2(5, 3, "((Sin30)^2)"),
      C2(3, 3, "((0.5)^2)"),   C2(3, 2, "(0.5^2)"),     C2(7, 1, "(0.5^2)"),     C2(5, 2, "(0.5^2)"),
      C2(4, 2, "(0.25)"),      C2(4, 1, "0.25"),
  };
  EXPECT_EQ(s.events, expected);
}

// Which reducer a row of the range tests runs on a hand-built group.
enum class Reducer { Range, SubRange, Silent2, Loud, Sub };

const char* Name(Reducer r) {
  switch (r) {
    case Reducer::Range: return "ReduceRange";
    case Reducer::SubRange: return "ReduceSubRange";
    case Reducer::Silent2: return "EvaluateReduce2";
    case Reducer::Loud: return "RunReduce";
    case Reducer::Sub: return "RunSubReduce";
  }
  return "?";
}

bool OnSecondChain(Reducer r) { return r == Reducer::SubRange || r == Reducer::Sub; }

struct RangeRow {
  Reducer reducer;
  std::vector<CellSpec> cells;  // a group: "(" first and ")" last
  const char* joined;
  std::vector<int16_t> types;
  std::vector<Event> events;
};

void ExpectRange(const std::vector<RangeRow>& rows) {
  for (const RangeRow& row : rows) {
    Session s;
    s.Record();
    Shared().gFoundVariable = false;
    dna& chain = OnSecondChain(row.reducer) ? s.c().SecondChain : s.c().WorkingChain;
    LayOut(chain, row.cells);
    SCOPED_TRACE(std::string(Name(row.reducer)) + " on " + chain.Join());
    int32_t first = 1;
    int32_t last = chain.Count();
    switch (row.reducer) {
      case Reducer::Range: detail::ReduceRange(s.c(), first, last); break;
      case Reducer::SubRange: detail::ReduceSubRange(s.c(), first, last); break;
      case Reducer::Silent2: detail::EvaluateReduce2(s.c(), first, last); break;
      case Reducer::Loud: detail::RunReduce(s.c(), first, last); break;
      case Reducer::Sub: detail::RunSubReduce(s.c(), first, last); break;
    }
    EXPECT_EQ(chain.Join(), row.joined);
    EXPECT_EQ(Types(chain), row.types);
    EXPECT_EQ(s.events, row.events);
  }
}

constexpr int16_t N = TypeNumber;
constexpr int16_t W = TypeWord;
constexpr int16_t O = TypeStart;
constexpr int16_t E = TypeEnd;
constexpr int16_t X = TypeNone;

TEST(RangeReducers, FactorialOfTheRangeReducersIsA32BitProduct) {
  const std::vector<CellSpec> twelve = {{"(", O}, {"12", N}, {"!", TypeFactorial}, {")", E}};
  const std::vector<CellSpec> thirteen = {{"(", O}, {"13", N}, {"!", TypeFactorial}, {")", E}};
  ExpectRange({
      {Reducer::Range, twelve, "(479001600)", {O, N, E}, {C(3, 2, "(12!)"), C(9, 2, "(479001600)")}},
      {Reducer::SubRange, twelve, "(479001600)", {O, N, E}, {C2(3, 2, "(12!)"), C2(9, 2, "(479001600)")}},
      {Reducer::Sub, twelve, "(479001600)", {O, N, E}, {C2(3, 2, "(12!)"), C2(9, 2, "(479001600)")}},
      // 13! does not fit: the two cells are given up.
      {Reducer::Range, thirteen, "(13!)", {O, X, X, E}, {C(3, 2, "(13!)")}},
      {Reducer::SubRange, thirteen, "(13!)", {O, X, X, E}, {C2(3, 2, "(13!)")}},
      {Reducer::Sub, thirteen, "(13!)", {O, X, X, E}, {C2(3, 2, "(13!)")}},
      // The silent twin and the line's reducer multiply in double precision.
      {Reducer::Silent2, thirteen, "(6227020800)", {O, N, E}, {}},
      {Reducer::Loud, thirteen, "(6227020800)", {O, N, E}, {C(3, 2, "(13!)"), C(10, 2, "(6227020800)")}},
  });
}

TEST(RangeReducers, SignAndLoneWords) {
  const std::vector<CellSpec> sign = {{"(", O}, {"Sign", W}, {"3", N}, {")", E}};
  const std::vector<CellSpec> lone = {{"(", O}, {"f", W}, {")", E}};
  ExpectRange({
      // No row for Sign: the loud range reducer writes "0" into the word.
      {Reducer::Range, sign, "(03)", {O, W, N, E}, {C(5, 2, "(Sign3)")}},
      {Reducer::SubRange, sign, "(Sign3)", {O, W, N, E}, {}},
      {Reducer::Silent2, sign, "(1)", {O, N, E}, {}},
      {Reducer::Loud, sign, "(1)", {O, N, E}, {C(5, 2, "(Sign3)"), C(1, 2, "(1)")}},
      {Reducer::Sub, sign, "(1)", {O, N, E}, {C2(5, 2, "(Sign3)"), C2(1, 2, "(1)")}},
      // A word without a number.
      {Reducer::Range, lone, "(0)", {O, W, E}, {C(2, 2, "(f)")}},
      {Reducer::SubRange, lone, "(f)", {O, W, E}, {}},
      {Reducer::Silent2, lone, "(0)", {O, N, E}, {}},
  });
}

TEST(RangeReducers, FunctionWordsOfAGroup) {
  const std::vector<CellSpec> sine = {{"(", O}, {"Sin", W}, {"30", N}, {")", E}};
  ExpectRange({
      {Reducer::Range, sine, "(0.5)", {O, N, E}, {C(5, 2, "(Sin30)"), C(3, 2, "(0.5)")}},
      {Reducer::SubRange, sine, "(0.5)", {O, N, E}, {C2(5, 2, "(Sin30)"), C2(3, 2, "(0.5)")}},
      {Reducer::Silent2, sine, "(0.5)", {O, N, E}, {}},
      {Reducer::Range,
       {{"(", O}, {"Sqr", W}, {"4", N}, {")", E}},
       "(2)",
       {O, N, E},
       {C(4, 2, "(Sqr4)"), C(1, 2, "(2)")}},
      {Reducer::Range,
       {{"(", O}, {"ABS", W}, {"-3", N}, {")", E}},
       "(3)",
       {O, N, E},
       {C(5, 2, "(ABS-3)"), C(1, 2, "(3)")}},
  });
}

TEST(RangeReducers, OrderOfTheirPasses) {
  // Adjacent numbers come before the comparisons in the range reducers, and
  // after them in the line's reducer.
  const std::vector<CellSpec> adjacent = {{"(", O}, {"2", N}, {"3", N}, {"<", TypeLess}, {"7", N}, {")", E}};
  // The vertical bar comes right after ">" in the range reducers, and after
  // all comparisons and selections in the line's reducer.
  const std::vector<CellSpec> bar = {{"(", O}, {"5", N}, {"?", TypeQuestion}, {"7", N}, {"|", TypeBar}, {"2", N}, {")", E}};
  ExpectRange({
      {Reducer::Range,
       adjacent,
       "(1)",
       {O, N, E},
       {C(1, 2, "(23<7)"), C(1, 3, "(23<7)"), C(1, 2, "(6<7)"), C(1, 2, "(6<7)")}},
      {Reducer::Silent2, adjacent, "(1)", {O, N, E}, {}},
      {Reducer::Loud,
       adjacent,
       "(2)",
       {O, N, E},
       {C(1, 3, "(23<7)"), C(1, 2, "(21)"), C(1, 3, "(21)"), C(1, 2, "(2)")}},
      {Reducer::Range, bar, "(0)", {O, N, E}, {C(1, 4, "(5?7|2)"), C(1, 2, "(5?1)")}},
      {Reducer::Silent2, bar, "(0)", {O, N, E}, {}},
      {Reducer::Loud, bar, "(2)", {O, N, E}, {C(1, 2, "(5?7|2)"), C(1, 2, "(0|2)")}},
  });
}

}  // namespace
}  // namespace morvex
