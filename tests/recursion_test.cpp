// Definitions that name themselves, directly or through one another. Such a
// line ends with an answer or with a failure of code 28 (out of stack space),
// quickly and without harm to the calculator: its next line computes, and its
// variables are the ones it had.
#include <gtest/gtest.h>

#include <chrono>

#include "core/shared_state.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using Clock = std::chrono::steady_clock;

// As the host of an embedding program that sets no InputBox handler.
struct Session : test::Calc {
  Session() { m.Events().InputBox = nullptr; }
};

// Formula variables that stand after the ones under test, so that the replay
// into each nested calculator (which leaves out the last variable of the
// list) keeps them in play for as many levels as there are fillers. Their
// names share no letter run with the names and words of the lines.
std::vector<std::string> Fillers(int count) {
  const std::string_view letters = "hijmnopqtuw";
  std::vector<std::string> lines;
  for (int k = 0; k < count; ++k) {
    std::string name = "k";
    name += letters[static_cast<size_t>(k) / letters.size()];
    name += letters[static_cast<size_t>(k) % letters.size()];
    lines.push_back("XVar*2=" + name);
  }
  return lines;
}

struct Outcome {
  std::optional<std::string> value;  // the answer, or
  std::optional<int32_t> failure;    // the code of the failure
  std::chrono::milliseconds took{0};
};

Outcome Attempt(clsMorvex& calc, std::string_view line) {
  Outcome outcome;
  std::string text(line);
  const auto start = Clock::now();
  try {
    calc.Calculate(text);
    outcome.value = calc.OutString();
  } catch (const Failure& failure) {
    outcome.failure = failure.code();
    EXPECT_NE(std::string(failure.what()), "") << "a failure says what failed";
  }
  outcome.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  return outcome;
}

std::vector<std::string> Names(const clsMorvex& calc) {
  std::vector<std::string> names;
  for (const auto& v : calc.VariableList()) names.push_back(v.Key + ":" + std::to_string(v.TypeVar));
  return names;
}

struct Row {
  const char* title;
  std::vector<std::string> definitions;
  int fillers;
  const char* line;
  const char* value;  // nullptr: the line ends with failure 28
};

TEST(SelfReference, EndsWithAnAnswerOrOutOfStackSpace) {
  const std::vector<Row> rows = {
      // f names itself after its argument. The silent run does not look at
      // the last cell of a text, so it does not descend; the calculation run
      // hands the text with the word to a nested calculator. Alone in the
      // list, f is not replayed there: it is an unknown word (0).
      {"prefix, alone", {"XVar+f=f"}, 0, "f1", "1"},
      {"prefix, alone", {"XVar+f=f"}, 0, "2+f1", "3"},
      // Replayed, the nested line «1+f» ends in a prefix word, which its
      // detection refuses; the outer run scans the answer "NotCreatable" as
      // an open word, and the shared error code names the line.
      {"prefix, replayed", {"XVar+f=f"}, 3, "f1", "NotCreatable"},
      // A postfix word may close a line, so each nested calculator descends
      // once more, while the replay (which leaves out the last variable of
      // the list) still holds f; at the bottom f is unknown, and every level
      // adds its argument to 0.
      {"postfix, alone", {"YVar+f=f"}, 0, "1f", "1"},
      {"postfix, three levels", {"YVar+f=f"}, 3, "1f", "1"},
      {"postfix, three levels", {"YVar+f=f"}, 3, "2+1f", "3"},
      {"postfix, three levels", {"YVar+f=f"}, 3, "4f=w", "4"},
      {"postfix, three levels", {"YVar+f=f"}, 3, "1f*2=w", "2"},
      {"postfix, three levels", {"YVar+f=f"}, 3, "1f+2f=w", "3"},
      // Without a target, a word that is not in the last place of the line
      // is expanded in place by the silent run, and its text brings it back.
      {"postfix, not last", {"YVar+f=f"}, 3, "1f*2", nullptr},
      {"postfix, not last", {"YVar+f=f"}, 0, "1f+2f", nullptr},
      // With more fillers than the depth of nesting allows.
      {"postfix, too deep", {"YVar+f=f"}, 45, "1f", nullptr},
      {"postfix, too deep", {"YVar+f=f"}, 45, "3+1f=w", nullptr},
      // Through one another: f uses g, g uses f.
      {"mutual", {"YVar+g=f", "YVar+f=g"}, 0, "1f", "1"},
      {"mutual", {"YVar+g=f", "YVar+f=g"}, 3, "2g", "2"},
      {"mutual, too deep", {"YVar+g=f", "YVar+f=g"}, 45, "1f", nullptr},
      // f names itself before anything else: the silent run expands it in
      // place without end, and its budget of expansions ends the line.
      {"in front", {"f+XVar=f"}, 0, "f1", nullptr},
      {"in front, mutual", {"g+XVar=f", "f+XVar=g"}, 0, "f1", nullptr},
      // A line with a target has no silent run: the calculation run computes
      // the same definition with a nested calculator to which f, the last
      // variable, is not replayed.
      {"in front, target", {"0=w", "f+XVar=f"}, 0, "f1=w", "1"},
      // When the new target comes last, f is replayed, and the nested
      // calculator's own silent run meets the endless expansion.
      {"in front, new target", {"f+XVar=f"}, 0, "f1=w", nullptr},
      // A plain variable that names itself, inside a formula: the silent run
      // expands the variable's text as well, and again without end.
      {"plain inside a formula", {"b+1=b", "b+XVar=f"}, 0, "f1", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.title) + ": " + row.line + " with " + std::to_string(row.fillers) + " fillers");
    Session s;
    for (const std::string& line : row.definitions) s.Out(line);
    for (const std::string& line : Fillers(row.fillers)) s.Out(line);
    ASSERT_EQ(s.Out("7"), "7");
    const std::vector<std::string> before = Names(s.m);

    const Outcome outcome = Attempt(s.m, row.line);
    // A bound that tells an end from a hang, also in sanitizer builds on a busy machine.
    EXPECT_LT(outcome.took.count(), 10000) << "ms";
    if (row.value != nullptr) {
      EXPECT_EQ(outcome.value, std::optional<std::string>(row.value));
      EXPECT_FALSE(outcome.failure.has_value()) << "code " << outcome.failure.value_or(0);
      EXPECT_EQ(s.m.ErrNumber(), 0);
    } else {
      EXPECT_EQ(outcome.failure, std::optional<int32_t>(failure_code::OutOfStackSpace));
      // The line did not finish: Ans keeps its value.
      EXPECT_EQ(s.m.VariableList().front().Value, 7.0);
    }

    // Nothing of the descent is left over, and the calculator goes on.
    EXPECT_EQ(Shared().gNestingDepth, 0);
    EXPECT_EQ(Shared().gNestedCalculators, nullptr);
    if (std::string_view(row.line).find('=') == std::string_view::npos) {
      EXPECT_EQ(Names(s.m), before);
    }
    EXPECT_EQ(s.Out("2+3"), "5");
    EXPECT_EQ(s.m.ErrNumber(), 0);
    EXPECT_EQ(s.Out("(1+2)*4"), "12");
    if (row.fillers > 0) {
      EXPECT_EQ(s.Out("khh3"), "6");
    }
  }
}

TEST(SelfReference, RepeatedFailuresLeaveTheCalculatorUsable) {
  Session s;
  s.Out("YVar+f=f");
  for (const std::string& line : Fillers(45)) s.Out(line);
  s.Out("f+XVar=g");
  // g is last: it takes no part in any replay; it fails in the silent run,
  // where f, expanded in front of g's argument, brings itself back.
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    EXPECT_EQ(Attempt(s.m, "1f").failure, std::optional<int32_t>(failure_code::OutOfStackSpace));
    EXPECT_EQ(Attempt(s.m, "g1").failure, std::optional<int32_t>(failure_code::OutOfStackSpace));
    EXPECT_EQ(s.Out("khh5"), "10");
    EXPECT_EQ(s.Out("RAD"), "OK");
    EXPECT_EQ(s.Out("Sin(PI/2)"), "1");
    EXPECT_EQ(s.Out("DEG"), "OK");
  }
  EXPECT_EQ(Shared().gNestingDepth, 0);
  // A fresh calculator on the same thread is not affected either.
  Session other;
  EXPECT_EQ(other.Out("XVar^2=f"), "f");
  EXPECT_EQ(other.Out("f3"), "9");
}

// Unknown words become variables in a nested calculator (it has no host to
// ask), and its new one-letter names cut "YVar" in the replayed definition of
// j, which turns plain there: every plain definition replayed then computes
// j, whose formula word starts the next nested calculator. The descent ends at
// the depth limit, and the recalculation that started it must not begin it
// again for every later variable, at every level.
TEST(SelfReference, RecalculationInsideNestedCalculatorsEndsAtTheDepthLimit) {
  const std::vector<std::string> session = {"r=sin", "XVar=xytw", "xytw(yvar^x=b", "yvar/intsin2xytwAbs=j",
                                            "Ans=sin", "F=k",       "r=m"};
  {
    Session s;
    s.m.Events().InputBox = [](std::string& num) { num.clear(); };  // the host declines every word
    for (const std::string& line : session) s.Out(line);
    const std::vector<std::string> before = Names(s.m);
    const Outcome outcome = Attempt(s.m, "1j");
    EXPECT_LT(outcome.took.count(), 10000) << "ms";
    EXPECT_EQ(outcome.failure, std::optional<int32_t>(failure_code::OutOfStackSpace));
    EXPECT_EQ(outcome.value, std::nullopt);
    EXPECT_EQ(Shared().gNestingDepth, 0);
    EXPECT_EQ(Names(s.m), before);
    EXPECT_EQ(s.Out("2+3"), "5");
  }
}

TEST(SelfReference, ManyFormulaWordsInOneLineAreNoRecursion) {
  // 2100 occurrences of a formula that names nothing: each is expanded once,
  // in the silent run and in the calculation run, and the line has its value.
  Session s;
  s.Out("XVar^2=sq");
  std::string line = "sq1";
  for (int k = 1; k < 2100; ++k) line += "+sq1";
  const Outcome silentAndLoud = Attempt(s.m, line);
  EXPECT_EQ(silentAndLoud.value, std::optional<std::string>("2100"));
  EXPECT_EQ(silentAndLoud.failure, std::nullopt);
  const Outcome loudOnly = Attempt(s.m, line + "=w");
  EXPECT_EQ(loudOnly.value, std::optional<std::string>("2100"));
  EXPECT_EQ(loudOnly.failure, std::nullopt);
  // Whatever the long line gave, the next ones compute.
  EXPECT_EQ(s.Out("2+3"), "5");
  EXPECT_EQ(s.Out("sq4"), "16");
}

}  // namespace
}  // namespace morvex
