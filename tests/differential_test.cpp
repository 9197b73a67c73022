// The silent run and the calculation run reduce a line by the same stages in
// the same order, so from the same checked chain both give up a cell or
// neither does, and where both finish, on the same text. Seeded random lines,
// alone and in sessions with variables, are scanned once and run both ways.
// Where the two part by design no such line is made or compared: a sign before
// anything but a number (the calculation run's head sign pass takes it before
// the powers, the silent run after them); a word power inside a group or
// beside a variable (each run's own group step); a formula word (expanded from
// its text by the silent run, from its value by the calculation run); and a
// run that ends by a failure, which has no verdict.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "chain/dna.hpp"
#include "core/shared_state.hpp"
#include "evaluation/reduction.hpp"
#include "evaluation/silent_run.hpp"
#include "run/calculation_run.hpp"
#include "scanner/folding.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

// Whether a run gave up a cell, and the text it left ("" after a failure or with more than one cell).
struct Verdict {
  bool givenUp = false;
  std::string text;
};

// Scans `line` as the scanner hands it over and runs both runs from the same
// chain; false when the line has an error, a target, no expression or a
// formula word, or a run has no verdict.
bool RunBoth(detail::Calculator& c, const std::string& line, Verdict& silent, Verdict& loud) {
  SharedState& g = Shared();
  c.ResultText.clear();
  g.gErr.Reset();
  try {
    detail::CutLine(c, line);
    if (detail::RunFormulaStage(c)) return false;
    detail::FoldChain(c);
    detail::DetectChain(c);
  } catch (const Failure&) {
    return false;
  }
  if (g.gErr.NumError != 0 || !c.StringVariable.empty() || c.WorkingChain.Count() == 0) return false;
  detail::RemoveCommas(c.WorkingChain);
  for (const Cell& cell : c.WorkingChain) {
    const int32_t index = c.VariableIndex(cell.Value());
    if (index > 3 && c.Variables.Item(index).TypeVar != 1) return false;
  }
  const dna saved = CopyChain(c.WorkingChain);
  const double x = c.Variables.Item(2).Value, y = c.Variables.Item(3).Value;
  detail::EvaluateChain(c);
  silent.givenUp = g.gErr.NumError == error_number::Unfinished || detail::HasGivenUpCell(c.WorkingChain);
  silent.text = c.WorkingChain.Count() == 1 ? c.WorkingChain.Join() : "";

  c.WorkingChain = CopyChain(saved);
  c.Variables.Item(2).Value = x;
  c.Variables.Item(3).Value = y;
  g.gErr.Reset();
  bool failed = false;
  try {
    detail::RunChain(c);
  } catch (const Failure&) {
    failed = true;
  }
  loud.givenUp = g.gErr.NumError == error_number::Unfinished;
  loud.text = !failed && c.WorkingChain.Count() == 1 ? c.ResultText : "";
  return (silent.givenUp || !silent.text.empty()) && (loud.givenUp || !loud.text.empty());
}

// Random lines of numbers, operators, words, parentheses and the session's variable names.
class LineMaker {
 public:
  explicit LineMaker(uint32_t seed, std::vector<std::string> names = {}) : random_(seed), names_(std::move(names)) {}

  // Operands joined by operators, most of which pass the detector; a parenthesis may stay open.
  std::string Make() { return Expression(0); }

  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

 private:
  std::string Expression(int depth) {
    static const char* const kOperators[] = {"+", "-", "*", "/", "^", "<", ">", "?", "[", "]", "#", ":", "@", "|", ""};
    std::string line = Operand(depth);
    for (int more = Pick(0, 3); more > 0; --more) line += kOperators[Pick(0, std::size(kOperators) - 1)] + Operand(depth);
    return line;
  }

  std::string Operand(int depth) {
    static const char* const kNumbers[] = {"0", "1", "2", "3", "0.5", "7", "10", "170", "171", "2.5", "1E3", "2E-3", "Pi", "0"};
    static const char* const kWords[] = {"Sin", "Cos", "Tan", "Sqr", "Log", "Ln", "Exp", "Int", "Fix", "Abs", "ArcSin", "Exp"};
    std::string operand;
    const int kind = Pick(0, names_.empty() ? 5 : 7);
    if (kind > 2 && kind < 6 && Pick(0, 4) == 0) operand += Pick(0, 1) ? "-" : "+";  // before a number only
    switch (kind) {
      case 0:
      case 1:
        if (depth < 3) {
          operand += "(" + Expression(depth + 1) + (Pick(0, 6) ? ")" : "");
          break;
        }
        [[fallthrough]];
      case 2:
        // A word power inside a group is rewritten by each run's own group
        // step, which differ by design; at the top the driver rewrites it.
        if (depth == 0 && names_.empty() && Pick(0, 2) == 0) {
          operand += "Sin^2(" + Expression(1) + ")";
          break;
        }
        operand += kWords[Pick(0, std::size(kWords) - 1)] + Operand(depth + 1);
        break;
      case 6:
      case 7:
        operand += names_[static_cast<size_t>(Pick(0, static_cast<int>(names_.size()) - 1))];
        break;
      default:
        operand += kNumbers[Pick(0, std::size(kNumbers) - 1)];
    }
    if (Pick(0, 7) == 0) operand += "!";
    return operand;
  }

  std::mt19937 random_;
  std::vector<std::string> names_;
};

// Runs `count` lines on `calc` and returns how many were compared.
int CompareLines(test::Calc& calc, LineMaker& maker, int count) {
  int compared = 0;
  for (int i = 0; i < count; ++i) {
    const std::string line = maker.Make();
    Verdict silent, loud;
    if (!RunBoth(calc.in(), line, silent, loud)) continue;
    ++compared;
    EXPECT_EQ(silent.givenUp, loud.givenUp) << line << ": silent " << silent.text << ", calculation " << loud.text;
    if (!silent.text.empty() && !loud.text.empty()) {
      EXPECT_EQ(silent.text, loud.text) << line;
    }
  }
  return compared;
}

TEST(SilentAndCalculationRun, AgreeOnRandomLines) {
  test::Calc calc;
  LineMaker maker(20261123);
  EXPECT_GT(CompareLines(calc, maker, 4000), 1000);
}

TEST(SilentAndCalculationRun, AgreeInSessionsWithVariables) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    test::Calc calc;
    // Names that share no letter with the words, so that none is cut out of another.
    calc.RunAll({"3=k", "0.5=dj", "XVar^2=u", "YVar*2=w", "YVar+XVar=h", "2*k+1=m"});
    LineMaker maker(seed, {"k", "dj", "u", "w", "h", "m", "Ans"});
    EXPECT_GT(CompareLines(calc, maker, 500), 100);
  }
}

}  // namespace
}  // namespace morvex
