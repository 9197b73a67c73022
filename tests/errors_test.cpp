// Lines whose computation cannot finish: cells given up by a step (error 13,
// with the failing text as the answer), failures that end a run, and what the
// silent run before the calculation leaves behind.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "morvex/morvex.hpp"

namespace morvex {
namespace {

void RunLine(clsMorvex& calc, const std::string& line) {
  std::string text = line;
  try {
    calc.Calculate(text);
  } catch (const Failure& f) {
    ADD_FAILURE() << "line \"" << line << "\" failed with code " << f.code() << ": " << f.what();
  }
}

const clsMorvex::VariableView* Find(const clsMorvex& calc, const std::string& name, std::vector<clsMorvex::VariableView>& keep) {
  keep = calc.VariableList();
  for (const auto& v : keep) {
    if (v.Key == name) return &v;
  }
  return nullptr;
}

double ValueOf(const clsMorvex& calc, const std::string& name) {
  std::vector<clsMorvex::VariableView> keep;
  const auto* v = Find(calc, name, keep);
  EXPECT_NE(v, nullptr) << "no variable " << name;
  return v ? v->Value : -12345.0;
}

struct GivenUp {
  const char* line;
  const char* echo;     // InString: the line as the chain spells it
  const char* failing;  // OutString: the first run of given-up cells
};

// Ans holds 3 before each line; a given-up line leaves it alone.
void ExpectGivenUp(const std::vector<GivenUp>& rows) {
  for (const GivenUp& row : rows) {
    SCOPED_TRACE(std::string("line ") + row.line);
    clsMorvex calc;
    calc.Initialize();
    RunLine(calc, "3");
    RunLine(calc, row.line);
    EXPECT_EQ(calc.ErrNumber(), 13);
    EXPECT_EQ(calc.OutString(), row.failing);
    EXPECT_EQ(calc.InString(), row.echo);
    EXPECT_EQ(calc.ErrDescription(), "");
    EXPECT_EQ(calc.ErrFirst(), 0);
    EXPECT_EQ(calc.ErrLength(), static_cast<int16_t>(std::string(row.echo).size()));
    EXPECT_EQ(ValueOf(calc, "Ans"), 3.0);
  }
}

TEST(GivenUpCells, DivisionByZeroAndPowersOutOfTheirDomain) {
  ExpectGivenUp({
      {"1/0", "1/0", "1/0"},
      {"1+1/0", "1+1/0", "1/0"},
      {"(1/0)+2", "(1/0)+2", "1/0"},
      {"0^-1", "0^-1", "0^-1"},
      {"0^0.5", "0^0.5", "0^0.5"},
      {"(-8)^0.5", "(-8)^0.5", "-8^0.5"},
      {"(-8)^(1/3)", "(-8)^(1/3)", "-8^0.333333333333333"},
      // Only the first run of given-up cells is shown.
      {"1/0+2/0", "1/0+2/0", "1/0"},
  });
}

TEST(GivenUpCells, FunctionWordsOutOfTheirDomainAndAtTheirPoles) {
  ExpectGivenUp({
      {"Tan90", "Tan90", "Tan90"},
      {"tan(90)", "Tan(90)", "Tan90"},
      // A pole gives up the number before the word as well.
      {"2Tan90", "2Tan90", "2Tan90"},
      {"Cot0", "Cot0", "Cot0"},
      {"3ArcSin2", "3ArcSin2", "3ArcSin2"},
      {"ArcSin1.0000001", "ArcSin1.0000001", "ArcSin1.0000001"},
      {"Log0", "Log0", "Log0"},
      {"Log-1", "Log-1", "Log-1"},
      {"Ln-1", "Ln-1", "Ln-1"},
      {"Sqr-1", "Sqr-1", "Sqr-1"},
      // Outside its domain a word gives up only itself and its argument.
      {"2Sqr-1", "2Sqr-1", "Sqr-1"},
      // A word power whose argument is no number.
      {"Sin^2+1", "Sin^2+1", "Sin^2"},
  });
}

TEST(GivenUpCells, FactorialsOfFractionsAndOfLargeNumbers) {
  ExpectGivenUp({
      {"171!", "171!", "171!"},
      {"2.5!", "2.5!", "2.5!"},
      {"1+2.5!", "1+2.5!", "2.5!"},
      {"-171!", "-171!", "-171!"},
  });
}

TEST(GivenUpCells, OverflowGivesUpTheOperandsOfTheStep) {
  ExpectGivenUp({
      // The power is taken before the general reduction, and its overflow ends
      // the run; the cells it marked are the failing text.
      {"10^400", "10^400", "10^400"},
      {"2*10^400", "2*10^400", "10^400"},
      // An exponent outside the 32-bit range overflows even for the base 1.
      {"1^3000000000", "1^3000000000", "1^3000000000"},
      {"1E+308*10", "1E+308*10", "1E+308*10"},
      {"1E300*1E300", "1E300*1E300", "1E+300*1E+300"},
      // An exponent mark that overflows marks itself and its exponent.
      {"1E400", "1E400", "E400"},
      {"2Exp400", "2Exp400", "Exp400"},
      {"1E308+1E308", "1E308+1E308", "1E+308+1E+308"},
      {"e710", "e710", "e710"},
      {"ABS1E200", "ABS1E200", "ABS1E+200"},
      // Side by side, only the larger of the two numbers is given up.
      {"1E200(1E150)", "1E200(1E150)", "1E+200"},
      {"1E150(1E200)", "1E150(1E200)", "1E+200"},
  });
}

TEST(RunFailures, ALogarithmOfZeroEndsTheReductionWithoutAnError) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "7");
  RunLine(calc, "Ln0");
  EXPECT_EQ(calc.OutString(), "Ln0");
  EXPECT_EQ(calc.ErrNumber(), 0);
  // The joined cells are read as the value: no digits, so Ans becomes 0.
  EXPECT_EQ(ValueOf(calc, "Ans"), 0.0);
}

TEST(RunFailures, ARemainderByZeroEndsTheReductionWithoutAnError) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "3");
  RunLine(calc, "7|0");
  EXPECT_EQ(calc.OutString(), "7|0");
  EXPECT_EQ(calc.ErrNumber(), 0);
  EXPECT_EQ(ValueOf(calc, "Ans"), 7.0);
}

TEST(RunFailures, AnErrorLeavesAnsForTheNextLine) {
  clsMorvex calc;
  calc.Initialize();
  struct Step {
    const char* line;
    const char* out;
    int16_t error;
    double ans;
  };
  const Step steps[] = {
      {"2+3", "5", 0, 5},        {"1/0", "1/0", 13, 5},     {"Ans*2", "10", 0, 10},
      {"10^400", "10^400", 13, 10}, {"Ans+1", "11", 0, 11}, {"2+*3", "OperatorBadPosition", 5, 11},
      {"Ans", "11", 0, 11},      {"Ln0", "Ln0", 0, 0},      {"Ans+1", "1", 0, 1},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.line);
    RunLine(calc, s.line);
    EXPECT_EQ(calc.OutString(), s.out);
    EXPECT_EQ(calc.ErrNumber(), s.error);
    EXPECT_EQ(ValueOf(calc, "Ans"), s.ans);
  }
}

// The silent run sets XVar and YVar to 0 in every reduction it makes; the
// calculation run's own reductions do the same, but only after it has bound
// the cells of the line.
TEST(SilentRun, LeavesXVarAndYVarAtZero) {
  struct Row {
    const char* line;
    const char* out;
    double xvarAfter;
  };
  const Row rows[] = {
      {"XVar+1", "1", 0},
      {"XVar", "0", 0},
      {"2*XVar", "0", 0},
      {"(XVar)+1", "1", 0},
      {"1+1", "2", 0},
      // A target with XVar in it is a formula: nothing is computed at all.
      {"XVar+1=t", "t", 5},
      // No silent run, but the calculation run's reduction clears it.
      {"2+3=t", "5", 0},
      // The silent run ends at the overflow before any reduction is called,
      // and so does the calculation run.
      {"10^400", "10^400", 5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    clsMorvex calc;
    calc.Initialize();
    RunLine(calc, "5=XVar");
    ASSERT_EQ(ValueOf(calc, "XVar"), 5.0);
    RunLine(calc, row.line);
    EXPECT_EQ(calc.OutString(), row.out);
    EXPECT_EQ(ValueOf(calc, "XVar"), row.xvarAfter);
  }
}

TEST(SilentRun, LeavesYVarAtZeroToo) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "4=YVar");
  ASSERT_EQ(ValueOf(calc, "YVar"), 4.0);
  RunLine(calc, "YVar*2");
  EXPECT_EQ(calc.OutString(), "0");
  EXPECT_EQ(ValueOf(calc, "YVar"), 0.0);
}

TEST(SilentRun, AFormulaThatFailsOnlyWithZeroArgumentsIsComputedWell) {
  // The silent run reduces the formula with XVar at 0 and gives up 1/0; the
  // calculation run works it out with the real argument, and its error stands.
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "1/XVar=h");
  ASSERT_EQ(calc.OutString(), "h");
  struct Row {
    const char* line;
    const char* out;
    int16_t error;
  };
  const Row rows[] = {{"h2", "0.5", 0}, {"h4+1", "1.25", 0}, {"h0", "1/0", 13}, {"2*h8", "0.25", 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    RunLine(calc, row.line);
    EXPECT_EQ(calc.OutString(), row.out);
    EXPECT_EQ(calc.ErrNumber(), row.error);
  }
}

}  // namespace
}  // namespace morvex
