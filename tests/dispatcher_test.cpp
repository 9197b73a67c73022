// Calculate's paths and the properties it leaves, the calculator's life cycle,
// the variable table, what one line leaves behind for the next, and DNAGroup.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calculator/calculator.hpp"
#include "calculator/errors.hpp"
#include "calculator/shared_state.hpp"
#include "morvex/morvex.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

// A calculator in an empty program folder whose host answers no prompt.
struct Calc {
  test::TempFolder folder;
  clsMorvex m;
  Calc() {
    m.ProgramFolder(folder.str());
    m.Initialize();
    m.Events().InputBox = [](std::string& num) { num.clear(); };
  }
  detail::Calculator& in() { return m.Internals(); }
  std::string Run(const std::string& line) {
    std::string text = line;
    return m.Calculate(text);
  }
};

// Every property a host reads, for "nothing changed" checks.
struct Snapshot {
  std::string out, in, expression, typing, variable, description;
  int16_t number, first, length;
  std::string angle;
  size_t variables;
  explicit Snapshot(clsMorvex& m)
      : out(m.OutString()), in(m.InString()), expression(m.Expression()), typing(m.StringTyping()),
        variable(m.StringVariable()), description(m.ErrDescription()), number(m.ErrNumber()), first(m.ErrFirst()),
        length(m.ErrLength()), angle(m.AngleUnit()), variables(m.VariableList().size()) {}
  bool operator==(const Snapshot&) const = default;
};

void PrintTo(const Snapshot& s, std::ostream* os) {
  *os << "{out=" << s.out << " in=" << s.in << " expr=" << s.expression << " err=" << s.number << "@" << s.first
      << "+" << s.length << " vars=" << s.variables << "}";
}

int32_t FailureCode(const std::function<void()>& action) {
  try {
    action();
  } catch (const Failure& failure) {
    EXPECT_NE(std::string(failure.what()), "");
    return failure.code();
  }
  return 0;
}

// ---------------------------------------------------------------------------
// The paths of Calculate.

TEST(DispatcherPaths, EmptyLineLeavesEverythingAsItWas) {
  Calc calc;
  calc.Run("2+*3");
  const Snapshot before(calc.m);
  std::string empty;
  EXPECT_EQ(calc.m.Calculate(empty), "");
  EXPECT_EQ(Snapshot(calc.m), before);
  EXPECT_EQ(empty, "");
}

TEST(DispatcherPaths, DollarRaisesWaitAndLeavesThePropertiesAlone) {
  Calc calc;
  int waits = 0;
  calc.m.Events().Wait = [&] { ++waits; };
  calc.Run("2+3");
  const Snapshot before(calc.m);
  EXPECT_EQ(calc.Run("$"), "");
  EXPECT_EQ(waits, 1);
  EXPECT_EQ(Snapshot(calc.m), before);
  EXPECT_EQ(calc.m.OutString(), "5");
  // Only the exact line "$" is the command.
  calc.Run("$ ");
  calc.Run("$$");
  EXPECT_EQ(waits, 1);
}

TEST(DispatcherPaths, AngleCommandsInAnyCase) {
  struct Case {
    const char* line;
    const char* unit;
  };
  const Case cases[] = {{"rad", "Radian"},     {"Rad", "Radian"},     {"RAD", "Radian"},    {"radians", "Radian"},
                        {"RaDiAnS", "Radian"}, {"deg", "Degree"},     {"DEG", "Degree"},    {"Degrees", "Degree"},
                        {"dEGREES", "Degree"}};
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.line);
    Calc calc;
    calc.Run(tc.unit == std::string("Radian") ? "deg" : "rad");
    calc.Run("2+3");
    std::string text = tc.line;
    const std::string result = calc.m.Calculate(text);
    const bool radian = tc.unit == std::string("Radian");
    EXPECT_EQ(calc.m.AngleUnit(), tc.unit);
    EXPECT_EQ(Shared().gAngle.Degre, tc.unit);
    EXPECT_EQ(calc.m.Expression(), radian ? "Radian Mod Selected" : "Degree Mod Selected");
    EXPECT_EQ(text, radian ? "Radians" : "Degrees");
    EXPECT_EQ(calc.m.InString(), text);
    EXPECT_EQ(calc.m.OutString(), "OK");
    EXPECT_EQ(result, "5");  // the previous line's result text
    EXPECT_EQ(calc.m.StringTyping(), "");
    EXPECT_EQ(calc.m.StringVariable(), "");
    EXPECT_EQ(calc.m.ErrNumber(), 0);
  }
}

TEST(DispatcherPaths, NearMissesOfTheAngleCommandsAreExpressions) {
  for (const char* line : {"radi", "rads", "RADIANS ", " rad", "radian", "degree", "de", "r", "DEGREESS", "deg2"}) {
    SCOPED_TRACE(std::string("\"") + line + "\"");
    Calc calc;
    calc.Run("rad");
    calc.Run(line);
    EXPECT_EQ(calc.m.AngleUnit(), "Radian");
    EXPECT_NE(calc.m.OutString(), "OK");
    EXPECT_NE(calc.m.Expression(), "Radian Mod Selected");
    EXPECT_NE(calc.m.Expression(), "Degree Mod Selected");
  }
}

TEST(DispatcherPaths, AngleUnitChangesWhatTheFunctionsCompute) {
  Calc calc;
  calc.Run("sin(90)");
  EXPECT_EQ(calc.m.OutString(), "1");
  calc.Run("RAD");
  calc.Run("sin(0)");
  EXPECT_EQ(calc.m.OutString(), "0");
  calc.Run("cos(0)");
  EXPECT_EQ(calc.m.OutString(), "1");
  calc.Run("cos(90)");
  EXPECT_NE(calc.m.OutString(), "0");
}

TEST(DispatcherPaths, NothingRemovesAVariableAndReportsInCapitals) {
  Calc calc;
  calc.Run("7=Ab");
  calc.Run("2+*3");  // an error the removal must not clear
  std::string text = "nothing=aB";
  EXPECT_EQ(calc.m.Calculate(text), "");
  EXPECT_FALSE(calc.in().VariableExists("ab"));
  EXPECT_EQ(calc.m.Expression(), "Remove aB");
  EXPECT_EQ(calc.m.OutString(), "OK");
  EXPECT_EQ(calc.m.InString(), "NOTHING=aB");
  EXPECT_EQ(calc.m.StringTyping(), "Remove aB");
  EXPECT_EQ(calc.m.ErrNumber(), 5);
  EXPECT_EQ(calc.m.ErrFirst(), 2);
  EXPECT_EQ(calc.in().Variables.Count(), 3);
  EXPECT_EQ(calc.in().VariableChains.size(), 4u);
}

TEST(DispatcherPaths, NothingWithAnUnknownNameChangesNothingAtAll) {
  for (const char* line : {"NOTHING=zz", "nothing=", "Nothing=x y"}) {
    SCOPED_TRACE(line);
    Calc calc;
    calc.Run("1=x");
    calc.Run("2+*3");
    const Snapshot before(calc.m);
    calc.Run(line);
    EXPECT_EQ(Snapshot(calc.m), before);
    EXPECT_TRUE(calc.in().VariableExists("x"));
  }
}

TEST(DispatcherPaths, NothingKeepsTheListAndTheStoredChainsInStep) {
  Calc calc;
  calc.Run("1+1=ab");
  calc.Run("XVar*3=f");
  calc.Run("2*2=g");
  calc.Run("NOTHING=ab");
  detail::Calculator& in = calc.in();
  ASSERT_EQ(in.Variables.Count(), 5);
  EXPECT_EQ(in.Variables.Item(4).Key, "f");
  EXPECT_EQ(in.Variables.Item(5).Key, "g");
  EXPECT_EQ(in.VariableChains.size(), 6u);
  EXPECT_EQ(in.StoredChain(4).Join(), "XVar*3");
  EXPECT_EQ(in.StoredChain(4).Item(1).KeyVal(), "f");
  EXPECT_EQ(in.StoredChain(5).Join(), "2*2");
  // The variables after the removed one still work.
  calc.Run("f2");
  EXPECT_EQ(calc.m.OutString(), "6");
  calc.Run("g+1");
  EXPECT_EQ(calc.m.OutString(), "5");
}

TEST(DispatcherPaths, ScanFailureWithoutScriptFileReachesTheHost) {
  Calc calc;
  EXPECT_EQ(FailureCode([&] { calc.Run(std::string(40000, '1')); }), failure_code::Overflow);
  // The calculator still answers afterwards.
  calc.Run("2+3");
  EXPECT_EQ(calc.m.OutString(), "5");
}

TEST(DispatcherPaths, CalculateBeforeInitializeIsAFailure) {
  clsMorvex m;
  EXPECT_EQ(FailureCode([&] { m.Calculate(std::string_view("1+1")); }), failure_code::ObjectNotSet);
}

// ---------------------------------------------------------------------------
// The properties after a line.

struct PropertyCase {
  const char* line;
  const char* out;
  const char* in;
  const char* expression;
  const char* variable;
  const char* typing;
};

TEST(DispatcherProperties, WhatALineLeavesInTheProperties) {
  const PropertyCase cases[] = {
      {"2+3", "5", "2+3", "", "\r\n", "2+3=5          \r\n"},
      {"sin(0", "0", "Sin(0)", "", "\r\n", "Sin(0)=0          \r\n"},
      {"2+3 cm", "5", "2+3", "cm", "\r\n", "2+3=5          cm\r\n"},
      {"2+*3", "OperatorBadPosition", "2+*3", "", "\r\n", ""},
      {"2+3\"in total\"", "5", "2+3", "in total", "\r\n", "2+3=5          in total\r\n"},
      // The quote after the space is a further space of the trailing text.
      {"2+3 \"in total\"", "5", "2+3", " in total", "\r\n", "2+3=5           in total\r\n"},
      {"XVar^2=f", "f", "XVar^2", "New Variable f Added", "\r\nf", "XVar^2=f    f      \r\n"},
      {"XVar^2=f fn", "f", "XVar^2", "fn", "\r\nf", "XVar^2=f    f      fn\r\n"},
      {"radians", "OK", "Radians", "Radian Mod Selected", "", ""},
      {"1.2.3", "MultiplePoint", "1.2.3", "", "\r\n", ""},
  };
  for (const PropertyCase& tc : cases) {
    SCOPED_TRACE(tc.line);
    Calc calc;
    std::string text = tc.line;
    const std::string result = calc.m.Calculate(text);
    EXPECT_EQ(calc.m.OutString(), tc.out);
    EXPECT_EQ(calc.m.InString(), tc.in);
    if (std::string(tc.line) != "radians") {
      EXPECT_EQ(text, tc.in);
      EXPECT_EQ(result, tc.out);
    }
    EXPECT_EQ(calc.m.Expression(), tc.expression);
    EXPECT_EQ(calc.m.StringVariable(), tc.variable);
    EXPECT_EQ(calc.m.StringTyping(), tc.typing);
  }
}

TEST(DispatcherProperties, PlainTargetLine) {
  // The log line and the result of an assignment to a new and to a known plain variable.
  Calc calc;
  calc.Run("2+3=x");
  EXPECT_EQ(calc.m.OutString(), "5");
  EXPECT_EQ(calc.m.InString(), "2+3");
  EXPECT_EQ(calc.m.Expression(), "New Variable x Added");
  EXPECT_EQ(calc.m.StringTyping(), "2+3=5    x      \r\n");
  calc.Run("2+3=x cm");
  EXPECT_EQ(calc.m.OutString(), "5");
  EXPECT_EQ(calc.m.Expression(), "cm");
  EXPECT_EQ(calc.m.StringTyping(), "2+3=5    x      cm\r\n");
  EXPECT_EQ(calc.in().Variables.Item("x").Value, 5);
}

TEST(DispatcherProperties, PlainTargetStringVariableIsEmptiedByTheRecalculation) {
  // The line sets the log of names to a line break and "x"; the recalculation
  // that a plain assignment asks for then empties StringVariable before it
  // scans each plain variable again, and each scan leaves it empty.
  Calc calc;
  calc.Run("2+3=w");
  EXPECT_EQ(calc.m.StringVariable(), "");
  // A formula target asks for no recalculation and keeps the log of names.
  calc.Run("XVar+1=f");
  EXPECT_EQ(calc.m.StringVariable(), "\r\nf");
}

TEST(DispatcherProperties, ErrorPropertiesFollowTheErrorRecord) {
  Calc calc;
  calc.Run("(2))");
  EXPECT_EQ(calc.m.ErrNumber(), 7);
  EXPECT_EQ(calc.m.ErrDescription(), "ParenthesisBadPosition");
  EXPECT_EQ(calc.m.ErrFirst(), 3);
  EXPECT_EQ(calc.m.ErrLength(), 1);
  // The next good line clears them, and the echo's length is the selection.
  calc.Run("(1+22");
  EXPECT_EQ(calc.m.ErrNumber(), 0);
  EXPECT_EQ(calc.m.ErrDescription(), "");
  EXPECT_EQ(calc.m.ErrFirst(), 0);
  EXPECT_EQ(calc.m.ErrLength(), 6);
  EXPECT_EQ(calc.m.OutString(), "23");
}

TEST(DispatcherProperties, DNAStringShowsTheChainNotWhatWasWritten) {
  Calc calc;
  calc.Run("2*(3+4)");
  EXPECT_EQ(calc.m.DNAString(), "14");
  calc.m.DNAString(std::string("something else"));
  EXPECT_EQ(calc.m.DNAString(), "14");
  calc.Run("2+*3");
  EXPECT_EQ(calc.m.DNAString(), "2+*3");  // the chain as detection left it
  calc.Run("1,5+");
  EXPECT_EQ(calc.m.DNAString(), "15+");  // commas removed
}

TEST(DispatcherProperties, ErrorNames) {
  const std::pair<int32_t, const char*> cases[] = {
      {0, ""},  {1, "NotCreatable"},           {2, "MultiplePoint"},       {3, "Missmatch"},
      {4, "StringBadPosition"},                {5, "OperatorBadPosition"}, {6, "PowerBadPosition"},
      {7, "ParenthesisBadPosition"},           {8, " NumberBadPosition"},  {9, "FunctionBadPosition "},
      {10, ""}, {13, ""}, {-1, ""}, {12, ""}, {100000, ""},
  };
  for (auto [number, name] : cases) EXPECT_EQ(ErrorName(number), name) << number;
}

TEST(DispatcherProperties, ResetKeepsTheDescription) {
  Calc calc;
  calc.Run("2+*3");
  SharedState& g = Shared();
  EXPECT_EQ(g.gErrCode, 5);
  g.gErr.Reset();
  EXPECT_EQ(g.gErr.NumError, 0);
  EXPECT_EQ(g.gErr.FirstError, 0);
  EXPECT_EQ(g.gErr.LengthError, 0);
  EXPECT_EQ(g.gErrCode, 0);
  EXPECT_EQ(g.gErr.DescError, "OperatorBadPosition");
}

// ---------------------------------------------------------------------------
// Life cycle and the variable table.

TEST(DispatcherLifecycle, FreshCalculator) {
  Calc calc;
  EXPECT_EQ(calc.m.OutString(), "");
  EXPECT_EQ(calc.m.InString(), "");
  EXPECT_EQ(calc.m.Expression(), "");
  EXPECT_EQ(calc.m.ErrNumber(), 0);
  EXPECT_EQ(calc.m.AngleUnit(), "Degree");
  const auto list = calc.m.VariableList();
  ASSERT_EQ(list.size(), 3u);
  const char* names[] = {"Ans", "XVar", "YVar"};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(list[i].Key, names[i]);
    EXPECT_EQ(list[i].TypeVar, 1);
    EXPECT_EQ(list[i].Value, 0);
  }
  // Slot 3 holds a value chain with an empty value; slot 2 holds none.
  detail::Calculator& in = calc.in();
  EXPECT_EQ(in.StoredChain(3).Count(), 1);
  EXPECT_EQ(in.StoredChain(3).Join(), "");
  EXPECT_EQ(in.StoredChain(3).Item("0").Value(), "");
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
  calc.Run("rad");
  calc.Run("4=b");
  calc.Run("XVar+1=f");
  calc.Run("2+2");
  const std::string ansChain = calc.in().StoredChain(1).Join();
  calc.m.UnLoadVars();
  EXPECT_EQ(calc.in().Variables.Count(), 3);
  EXPECT_FALSE(calc.in().VariableExists("b"));
  EXPECT_FALSE(calc.in().VariableExists("f"));
  EXPECT_EQ(calc.m.AngleUnit(), "Radian");
  EXPECT_EQ(calc.in().StoredChain(1).Join(), ansChain);
  // The name is free again.
  calc.Run("5=b");
  EXPECT_EQ(calc.m.Expression(), "New Variable b Added");
}

TEST(DispatcherVariables, VariableExistsIgnoresCase) {
  Calc calc;
  calc.Run("1=Width");
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
    for (const std::string& name : tc.names) calc.Run("1=" + name);
    ASSERT_EQ(calc.in().Variables.Count(), 3 + static_cast<int32_t>(tc.names.size()));
    Shared().gSortedVariables.Add("stale", "stale");
    detail::SortVariables(calc.in());
    EXPECT_EQ(SortedNames(), tc.sorted);
    for (const std::string& name : tc.sorted) {
      EXPECT_EQ(Shared().gSortedVariables.IndexOfKey(name), 0) << "stored without a key: " << name;
    }
  }
}

TEST(DispatcherVariables, LongerNameIsFoundBeforeAShorterOneInsideIt) {
  Calc calc;
  calc.Run("2=ab");
  calc.Run("3=a");
  calc.Run("ab+a");
  EXPECT_EQ(calc.m.OutString(), "5");
  EXPECT_EQ(calc.m.InString(), "ab+a");
}

// ---------------------------------------------------------------------------
// What one line leaves for the next.

TEST(DispatcherCarryOver, LineStartingWithAnUnknownCharacterTakesTheLastClass) {
  // "%" has no class of its own: after a line ending in a digit it is a number,
  // after one ending in ")" a close parenthesis, which may not open a line.
  Calc calc;
  calc.Run("1+1");
  calc.Run("%");
  EXPECT_NE(calc.m.ErrNumber(), 1);
  calc.Run("(1)");
  calc.Run("%");
  EXPECT_EQ(calc.m.ErrNumber(), 1);
  EXPECT_EQ(calc.m.ErrFirst(), 0);
  EXPECT_EQ(calc.m.OutString(), "NotCreatable");
}

TEST(DispatcherCarryOver, FirstCellWithoutARowTakesTheTemplateOfTheLineBefore) {
  // A leading comma takes the flags of the last row written: after "2+*3"
  // that of the number 3, which may open a line; after "2+*3*" that of the last "*".
  Calc calc;
  calc.Run("2+*3");
  calc.Run(",5");
  EXPECT_EQ(calc.m.ErrNumber(), 0);
  EXPECT_EQ(calc.m.OutString(), "5");
  calc.Run("2+*3*");
  ASSERT_EQ(calc.m.ErrNumber(), 5);
  calc.Run(",5");
  EXPECT_EQ(calc.m.ErrNumber(), 1);
  EXPECT_EQ(calc.m.ErrFirst(), 0);
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
    calc.Run(",5");
    EXPECT_EQ(calc.m.ErrNumber(), tc.error) << "after code " << tc.lastCode;
  }
}

// ---------------------------------------------------------------------------
// DNAGroup.

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
