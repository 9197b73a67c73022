// Formula variables: definitions in XVar and YVar that later lines use as
// prefix, postfix and infix operators; formulas inside formulas, which a
// nested calculator computes; what the silent run makes of a formula's text;
// and definitions whose text is wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calculator/calculator.hpp"
#include "calculator/shared_state.hpp"
#include "evaluation/silent_run.hpp"
#include "morvex/morvex.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

// A calculator in a folder of its own, so that no script file and no formula
// file beside the test program takes part.
struct Session {
  test::TempFolder folder;
  clsMorvex calc;

  Session() {
    calc.ProgramFolder(folder.str());
    calc.Initialize();
  }

  // Computes a line; a failure is a defect of the test's line.
  std::string Run(std::string_view line) {
    std::string text(line);
    try {
      calc.Calculate(text);
    } catch (const Failure& failure) {
      ADD_FAILURE() << "\"" << line << "\" failed with code " << failure.code() << ": " << failure.what();
    }
    return calc.OutString();
  }

  void RunAll(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) Run(line);
  }

  std::optional<clsMorvex::VariableView> Find(std::string_view name) const {
    for (const auto& v : calc.VariableList()) {
      if (v.Key == name) return v;
    }
    return std::nullopt;
  }
};

// Replaces the stored chain of a variable by cells with these texts.
void StoreCells(clsMorvex& calc, std::string_view name, const std::vector<std::string>& values) {
  detail::Calculator& c = calc.Internals();
  const int32_t index = c.VariableIndex(name);
  ASSERT_GT(index, 3) << name;
  dna chain;
  for (const std::string& value : values) chain.Add(flag::AddPattern).Value(value);
  c.VariableChains.at(static_cast<size_t>(index)) = std::move(chain);
}

// Lays out a working chain by hand: each cell's text and type code.
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

TEST(Formulas, DefinitionTakesTheKindOfItsArgumentsAndComputesNothing) {
  struct Row {
    const char* definition;
    const char* name;
    int16_t typeVar;
  };
  const std::vector<Row> rows = {
      {"XVar^2=sq", "sq", 2},
      {"YVar*2=dbl", "dbl", 3},
      {"YVar-XVar=minus", "minus", 4},
      {"XVar*YVar+1=both", "both", 4},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.definition);
    Session s;
    ASSERT_EQ(s.Run("7"), "7");
    // The result text of a formula target is its name; Ans keeps the last value.
    EXPECT_EQ(s.Run(row.definition), row.name);
    EXPECT_EQ(s.calc.ErrNumber(), 0);
    EXPECT_EQ(s.calc.Expression(), std::string("New Variable ") + row.name + " Added");
    const auto variable = s.Find(row.name);
    ASSERT_TRUE(variable.has_value());
    EXPECT_EQ(variable->TypeVar, row.typeVar);
    EXPECT_EQ(s.calc.VariableList().front().Value, 7.0);
  }
}

TEST(Formulas, OperandsBesideTheWordAreItsArguments) {
  struct Row {
    const char* line;
    const char* value;
  };
  const std::vector<std::string> definitions = {"XVar^2=sq", "YVar*2=dbl", "YVar-XVar=minus"};
  const std::vector<Row> rows = {
      // Prefix: the number on the right is XVar.
      {"sq3", "9"},
      {"2sq3", "18"},
      {"sq3+1", "10"},
      {"1+sq3", "10"},
      {"sq(1+2)", "9"},
      {"sq2+sq3", "13"},
      {"sq2sq3", "36"},
      // A sign after a prefix word is unary: it belongs to the argument.
      {"sq-3", "9"},
      {"sq+2", "4"},
      // Postfix: the number on the left is YVar, also in the last place of the line.
      {"3dbl", "6"},
      {"3dbl+1", "7"},
      {"2+3dbl", "8"},
      {"2*3dbl", "12"},
      // Infix: both.
      {"10minus4", "6"},
      {"1+10minus4", "7"},
      // Formulas side by side, each with the numbers beside it.
      {"3dbl+sq2", "10"},
      // On a line with a target the words are not bound by detection, so a
      // word may stand where its kind has no operand: the argument is 0.
      {"sq=w", "0"},
      {"1+sq=w", "1"},
      {"minus4=w", "-4"},
      {"10minus=w", "10"},
  };
  Session s;
  s.RunAll(definitions);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), 0);
    EXPECT_EQ(s.calc.VariableList().front().Value, std::stod(row.value)) << "Ans";
  }
}

TEST(Formulas, WordWithoutItsOperandOnALineWithoutTargetIsRefused) {
  // Detection binds the word to its kind: a prefix formula may not close a
  // line, a postfix one may not open it, an infix one may do neither.
  struct Row {
    const char* line;
    int16_t errFirst;
    int16_t errLength;
  };
  const std::vector<Row> rows = {
      {"sq", 0, 2},
      {"1+sq", 2, 2},
      {"dbl", 0, 3},
      {"dbl+1", 0, 3},
      {"minus4", 0, 5},
      {"10minus", 2, 5},
  };
  Session s;
  s.RunAll({"XVar^2=sq", "YVar*2=dbl", "YVar-XVar=minus", "7"});
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(s.Run(row.line), "NotCreatable");
    EXPECT_EQ(s.calc.ErrNumber(), 1);
    EXPECT_EQ(s.calc.ErrFirst(), row.errFirst);
    EXPECT_EQ(s.calc.ErrLength(), row.errLength);
    EXPECT_EQ(s.calc.VariableList().front().Value, 7.0) << "Ans";
  }
}

TEST(Formulas, TextOfAFormulaReadsPiAnsAndItsArgumentsAnew) {
  struct Row {
    const char* line;
    const char* value;
  };
  const std::vector<Row> rows = {
      // The text's "Pi" (its own spelling of PI) is the 15-digit text of pi.
      {"tw2", "6.28318530717958"},
      // Ans in a text is the Ans of the moment: each line moves it on.
      {"5", "5"},
      {"ad1", "6"},
      {"ad1", "7"},
      // Infix: XVar is the number on the right, YVar the one on the left.
      {"6dv3", "0.5"},
      {"2both3", "7"},
  };
  Session s;
  s.RunAll({"XVar*PI=tw", "XVar+Ans=ad", "XVar/YVar=dv", "XVar*YVar+1=both"});
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), 0);
    // Each round of the formula stage starts by clearing both, and the last
    // round finds nothing: neither keeps the argument after the line.
    const auto list = s.calc.VariableList();
    EXPECT_EQ(list.at(1).Value, 0.0) << "XVar";
    EXPECT_EQ(list.at(2).Value, 0.0) << "YVar";
  }
}

TEST(Formulas, FormulaWithoutAStoredChainStaysAWord) {
  // A missing chain ends the formula stage only: the word stays (its
  // operand already taken), and the line goes on with what it has.
  struct Row {
    const char* line;
    const char* value;
  };
  const std::vector<Row> rows = {
      {"f3", "f"},
      {"2+f3", "2+f"},
      {"f3=w", "f"},
  };
  Session s;
  s.Run("XVar^2=f");
  s.calc.Internals().VariableChains.at(4).reset();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), 0);
  }
}

TEST(Formulas, FormulaInTheLastPlaceFeedsATarget) {
  Session s;
  s.Run("YVar*2=dbl");
  // A target: no silent run, the calculation run alone finds the last word.
  EXPECT_EQ(s.Run("4dbl=w"), "8");
  EXPECT_EQ(s.Run("w+1"), "9");
  // The formula is used afresh, with the number beside this occurrence.
  EXPECT_EQ(s.Run("5dbl"), "10");
  EXPECT_EQ(s.Run("w"), "8");
}

TEST(Formulas, PlainVariableInsideAFormulaIsItsCurrentValue) {
  Session s;
  s.RunAll({"2+3=b", "b*XVar=h"});
  // The calculation run binds b as the number 5 before the text is reduced.
  EXPECT_EQ(s.Run("h4"), "20");
  s.Run("1=b");
  EXPECT_EQ(s.Run("h4"), "4");
  EXPECT_EQ(s.calc.ErrNumber(), 0);
}

TEST(Formulas, SilentRunExpandsAPlainVariableToItsStoredText) {
  // In the silent run a plain variable met in a formula's text is replaced by
  // its own text, not by a bracketed value: b*XVar becomes 2+3*XVar, and
  // with XVar as an open name (0) the chain comes down to 2.
  Session s;
  s.RunAll({"2+3=b", "b*XVar=h"});
  detail::Calculator& c = s.calc.Internals();
  LayOut(c.WorkingChain, {{"h", TypeVariable}, {"4", TypeNumber}});
  int32_t first = 0;
  int32_t last = 0;
  detail::EvaluateReduce(c, first, last);
  EXPECT_EQ(c.WorkingChain.Join(), "2");
  EXPECT_EQ(c.WorkingChain.Count(), 1);
  EXPECT_EQ(c.WorkingChain[1].NameStr(), TypeNumber);
}

TEST(Formulas, DivisionByXVarFailsSilentlyAndComputesInTheCalculationRun) {
  Session s;
  s.Run("1/XVar=inv");
  // The silent run reduces the formula with XVar at 0 and gives up the division ...
  {
    detail::Calculator& c = s.calc.Internals();
    LayOut(c.WorkingChain, {{"inv", TypeVariable}, {"4", TypeNumber}});
    int32_t first = 0;
    int32_t last = 0;
    detail::EvaluateReduce(c, first, last);
    EXPECT_EQ(c.WorkingChain.Join(), "1/0");
    for (const Cell& cell : c.WorkingChain) EXPECT_EQ(cell.NameStr(), TypeNone);
  }
  // ... and its number 13 does not survive into the calculation run.
  struct Row {
    const char* line;
    const char* value;
    int16_t errNumber;
  };
  const std::vector<Row> rows = {
      {"inv4", "0.25", 0},
      {"inv8+1", "1.125", 0},
      {"inv4=w", "0.25", 0},
      {"inv0", "1/0", 13},
      {"inv=w", "1/0", 13},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), row.errNumber);
  }
}

// The recorder of the InternalCalc shares and the Change2 events.
struct Progress {
  std::vector<double> shares;
  std::vector<std::string> change2;  // "length,first:DNAString2"

  void Attach(clsMorvex& calc) {
    calc.Events().InternalCalc = [this](double share) { shares.push_back(share); };
    calc.Events().Change2 = [this, &calc](int16_t length, int16_t first) {
      change2.push_back(std::to_string(length) + "," + std::to_string(first) + ":" + calc.DNAString2());
    };
  }
};

TEST(NestedFormulas, FormulaWordInsideAFormulaIsComputedByANestedCalculator) {
  struct Row {
    std::vector<std::string> definitions;
    const char* line;
    const char* value;
    std::vector<double> shares;
    std::vector<std::string> change2;
  };
  const std::vector<Row> rows = {
      // f fourth, g fifth: g1 hands «f3+1» to a nested calculator that has f
      // replayed; its answer is scanned, and the outer run ends too.
      {{"XVar^2=f", "f3+XVar=g"}, "g1", "10", {0.8, 1.0}, {"4,4:f3+XVar", "0,1:10", "0,1:10"}},
      {{"XVar^2=f", "f3+XVar=g"}, "2g1", "20", {0.8, 1.0}, {"4,4:f3+XVar", "0,1:10", "0,1:10"}},
      // Inside a group of the definition: the whole second chain goes to the
      // nested calculator, and the one cell of its answer is left.
      {{"XVar^2=f", "(f3)+XVar=g"}, "g1", "10", {0.8, 1.0}, {"4,6:(f3)+XVar", "4,1:(f3)+1", "0,1:10", "0,1:10"}},
      {{"XVar^2=f", "2*(f(XVar))=g"},
       "g3",
       "18",
       {0.8, 1.0},
       {"4,6:2*(f(XVar))", "3,5:2*(f(3))", "1,5:2*(f3)", "4,3:2*(f3)", "0,1:18", "0,1:18"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line + (" after " + row.definitions.back()));
    Session s;
    s.RunAll(row.definitions);
    Progress progress;
    progress.Attach(s.calc);
    EXPECT_EQ(s.Run(row.line), row.value);
    EXPECT_EQ(s.calc.ErrNumber(), 0);
    EXPECT_EQ(progress.shares, row.shares);
    EXPECT_EQ(progress.change2, row.change2);
    // The nested calculator is gone with its step.
    EXPECT_EQ(Shared().gNestedCalculators, nullptr);
    EXPECT_EQ(Shared().gNestingDepth, 0);
  }
}

TEST(NestedFormulas, LastVariableOfTheListIsNotReplayed) {
  {
    // A plain variable after g: the replay stops before it (shares 4/6, 5/6).
    Session s;
    s.RunAll({"XVar^2=f", "f3+XVar=g", "7=z"});
    Progress progress;
    progress.Attach(s.calc);
    EXPECT_EQ(s.Run("g1"), "10");
    EXPECT_EQ(progress.shares, (std::vector<double>{4.0 / 6.0, 5.0 / 6.0, 1.0}));
  }
  {
    // The inner formula h is last: the nested calculator never learns it, h
    // is an unknown word there (0), and g1 is 0*2+1 instead of 2^2+1.
    Session s;
    s.RunAll({"0=h", "h2+XVar=g", "NOTHING=h", "XVar^2=h"});
    ASSERT_EQ(s.calc.VariableList().at(3).Key, "g");
    ASSERT_EQ(s.calc.VariableList().at(4).Key, "h");
    Progress progress;
    progress.Attach(s.calc);
    EXPECT_EQ(s.Run("g1"), "1");
    EXPECT_EQ(progress.shares, (std::vector<double>{0.8, 1.0}));
    // In the outer calculator h is still a formula.
    EXPECT_EQ(s.Run("h3"), "9");
  }
}

TEST(NestedFormulas, ReplayGoesOnAfterADefinitionWithoutAChain) {
  // h has lost its stored chain: its round of the replay ends before its
  // share is raised, and the next definition follows.
  Session s;
  s.RunAll({"XVar^2=f", "5=h", "f3+XVar=g", "7=z"});
  s.calc.Internals().VariableChains.at(5).reset();
  Progress progress;
  progress.Attach(s.calc);
  EXPECT_EQ(s.Run("g1"), "10");
  EXPECT_EQ(progress.shares, (std::vector<double>{4.0 / 7.0, 6.0 / 7.0, 1.0}));
}

TEST(NestedFormulas, NestedCalculationSetsTheAngleUnitBackToDegree) {
  Session s;
  s.RunAll({"XVar^2=f", "f3+XVar=g"});
  EXPECT_EQ(s.Run("RAD"), "OK");
  ASSERT_EQ(s.calc.AngleUnit(), "Radian");
  // A formula without a formula inside it keeps the unit.
  EXPECT_EQ(s.Run("f3"), "9");
  EXPECT_EQ(s.calc.AngleUnit(), "Radian");
  // The nested calculation comes before the word pass of the same line, so
  // the sine is already taken in degrees: 10 + 0.5.
  EXPECT_EQ(s.Run("g1+Sin(30)"), "10.5");
  EXPECT_EQ(s.calc.AngleUnit(), "Degree");
  EXPECT_EQ(s.Run("Sin30"), "0.5");
}

TEST(FormulaDefinitions, WrongDefinitionLineMakesNoVariable) {
  struct Row {
    const char* line;
    int16_t errNumber;
    const char* errName;
    int16_t errFirst;
    int16_t errLength;
  };
  const std::vector<Row> rows = {
      {"XVar+*2=f", 5, "OperatorBadPosition", 5, 1},
      {"1.2.3*XVar=f", 2, "MultiplePoint", 0, 5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    Session s;
    EXPECT_EQ(s.Run(row.line), row.errName);
    EXPECT_EQ(s.calc.ErrNumber(), row.errNumber);
    EXPECT_EQ(s.calc.ErrDescription(), row.errName);
    EXPECT_EQ(s.calc.ErrFirst(), row.errFirst);
    EXPECT_EQ(s.calc.ErrLength(), row.errLength);
    EXPECT_FALSE(s.Find("f").has_value());
    EXPECT_EQ(s.calc.VariableList().size(), 3u);
  }
}

TEST(FormulaDefinitions, StoredTextIsTheLineAfterItsCommasWent) {
  // The line's comma makes the minus after it a sign; the stored cells have
  // lost the comma, so the formula's own scan reads a binary minus.
  Session s;
  EXPECT_EQ(s.Run("2,-3+1"), "-5");
  EXPECT_EQ(s.Run("2,-3+XVar=f"), "f");
  EXPECT_EQ(s.calc.Internals().StoredChain(4).Join(), "2-3+XVar");
  EXPECT_EQ(s.Run("f1"), "0");
  EXPECT_EQ(s.Run("f5"), "4");
}

TEST(FormulaDefinitions, StoredTextThatFailsItsScanIsReportedAtItsPlace) {
  // The text was checked when it was defined; if it no longer scans (here it
  // is written by hand), the error of the scan is the error of the line,
  // placed in the formula's text.
  struct Row {
    std::vector<std::string> cells;
    int16_t errNumber;
    const char* errName;
    int16_t errFirst;
    int16_t errLength;
  };
  const std::vector<Row> rows = {
      {{"XVar", "*", "1.2.3"}, 2, "MultiplePoint", 5, 5},
      {{"*", "XVar"}, 1, "NotCreatable", 0, 1},
      {{"XVar", "+", "*", "2"}, 5, "OperatorBadPosition", 5, 1},
  };
  for (const Row& row : rows) {
    Session s;
    s.Run("XVar*2=f");
    s.Run("5");
    StoreCells(s.calc, "f", row.cells);
    SCOPED_TRACE(s.calc.Internals().StoredChain(4).Join());
    EXPECT_EQ(s.Run("f2"), row.errName);
    EXPECT_EQ(s.calc.ErrNumber(), row.errNumber);
    EXPECT_EQ(s.calc.ErrDescription(), row.errName);
    EXPECT_EQ(s.calc.ErrFirst(), row.errFirst);
    EXPECT_EQ(s.calc.ErrLength(), row.errLength);
    // Nothing is stored: Ans keeps 5. The next line starts clean.
    EXPECT_EQ(s.calc.VariableList().front().Value, 5.0);
    EXPECT_EQ(s.Run("2+3"), "5");
    EXPECT_EQ(s.calc.ErrNumber(), 0);
  }
}

}  // namespace
}  // namespace morvex
