// Formula files and formula variables where a line alone cannot show it: file
// runs seen from the host, files that name themselves or each other, the
// gathering of user variable names into single cells, and the silent run of a
// formula word. What lines give is in golden/files.lines and formulas.lines.
#include <gtest/gtest.h>

#include "core/shared_state.hpp"
#include "evaluation/silent_run.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

using test::FailureCode;
using Texts = std::vector<std::string>;

// A calculator whose host also records the result of each line of a file run.
struct Calc : test::Calc {
  Texts fileLines;
  Calc() {
    m.Events().Change = [this](int16_t length, int16_t first) {
      if (length == 0 && first == 1) fileLines.push_back(m.OutString());
    };
  }
};

// A formula file whose one counted line makes the variable "ran".
const std::string kMarkerFile = "1=ran\n\n\n";

// The file's lines are seen at their Change; the naming line goes on with the
// cleared state the run leaves: an empty result, and as its echo the echo of
// the file's last line, which the run does not clear.
TEST(FormulaFiles, NamingLineHasAnEmptyResult) {
  Calc calc;
  calc.folder.Write("calc.txt", "2+3\n4=q cm\n\n\n");
  calc.folder.Write("short.txt", "9=never\n\n");
  std::string line = "calc";
  EXPECT_EQ(calc.m.Calculate(line), "");
  EXPECT_EQ(calc.fileLines, (Texts{"5", "4"}));
  EXPECT_EQ((Texts{line, calc.m.InString(), calc.m.OutString(), calc.m.Expression(), calc.m.StringVariable()}),
            (Texts{"4", "4", "", "", "\r\n"}));
  // None of the lines of this file run: the line ends before its echo is taken.
  std::string shortLine = "short";
  EXPECT_EQ(calc.m.Calculate(shortLine), "");
  EXPECT_EQ((Texts{shortLine, calc.m.InString()}), (Texts{"short", ""}));
  EXPECT_EQ(calc.fileLines.size(), 2u);
  EXPECT_FALSE(calc.Has("never"));
  EXPECT_EQ(calc.asked, Texts{});
}

// Files that name themselves or each other end with failure 28 after a fixed
// depth, and the calculator, its variables and its files stay usable. Beside a
// script file a failing statement does not end its line, so the outer files
// go on, and the line may end without one.
TEST(FormulaFiles, EndlessNestingEndsWithOutOfStackSpace) {
  const std::vector<std::pair<std::string, std::string>> cases[] = {
      {{"self.txt", "1=k\nself\n\n\n\n"}},
      {{"self.txt", "self\nself\n\n\n\n"}, {"vbscript.txt", ""}},
      {{"ping.txt", "self\n\n\n"}, {"self.txt", "PING\n\n\n"}},
      {{"StartUp.txt", "startup\n\n\n"}, {"self.txt", "startup\n\n\n"}},
  };
  for (const auto& files : cases) {
    SCOPED_TRACE(files.back().first + ": " + files[0].second);
    Calc calc;
    for (const auto& [name, bytes] : files) calc.folder.Write(name, bytes);
    calc.Out("5=before");
    const int32_t code = FailureCode([&] { calc.Run("self"); });
    if (files.back().first != "vbscript.txt" || code != 0) { EXPECT_EQ(code, failure_code::OutOfStackSpace); }
    EXPECT_EQ(Shared().gNestingDepth, 0);
    calc.folder.Write("fine.txt", kMarkerFile);
    for (auto [line, out] : {std::pair{"before+1", "6"}, {"2+3=after", "5"}, {"after*2", "10"}, {"fine", ""}}) {
      EXPECT_EQ(calc.Out(line), out) << line;
    }
    EXPECT_TRUE(calc.Has("ran")) << "a file still runs after the failure";
  }
}

// A match that lies over a cell that is no letter ends the search for that
// name: its later occurrences in the line stay letters.
TEST(FormulaFiles, MatchOverANonLetterEndsTheName) {
  Calc calc;
  // A name that only a prompt can make: "_" takes the class of a letter before it.
  detail::Calculator& in = calc.in();
  in.Variables.Add("_b", "_b");
  in.ResizeVariableChains();
  in.VariableChains.back() = detail::MakeValueChain("2");
  // Cells as "value:code": 1 a number (a run of its class), 3 a plus, 11 a letter, 99 a variable.
  for (auto [line, cells] : {std::pair{"1_b+c_b", "1_:1 b:11 +:3 c:11 _:11 b:11"},
                             std::pair{"c_b+1_b", "c:11 _b:99 +:3 1_:1 b:11"}}) {
    detail::CutLine(in, line);
    detail::MarkVariables(in);
    EXPECT_EQ(test::CellsText(in.WorkingChain), cells) << line;
  }
}

// With XVar an open name (0) the silent run brings h's text, in which the
// plain b stands as its own text, down to 2; and gives up the division 1/0.
TEST(Formulas, SilentRunExpandsAFormulaWordOnTheWorkingChain) {
  const std::tuple<Texts, const char*, const char*> rows[] = {
      {{"2+3=b", "b*XVar=h"}, "h", "2:1"}, {{"1/XVar=inv"}, "inv", "1:0 /:0 0:0"}};
  for (const auto& [definitions, word, cells] : rows) {
    test::Calc s;
    s.RunAll(definitions);
    test::LayOut(s.in().WorkingChain, {{word, TypeVariable}, {"4", TypeNumber}});
    int32_t first = 0, last = 0;
    detail::EvaluateReduce(s.in(), first, last);
    EXPECT_EQ(test::CellsText(s.in().WorkingChain), cells) << word;
  }
}

}  // namespace
}  // namespace morvex
