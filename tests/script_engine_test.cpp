// The script engine: the cases of golden/*.cases, and at its interface the
// calls the calculator's script path makes, its errors and their lines, the
// cache of parsed scripts, and the limits of the sandbox.
//
// A case file holds, one entry a line ("#" comments and blank lines aside):
//   = BODY => EXPECTED      BODY is the body of "Function T()", run without arguments
//   ! SCRIPT => !CODE       running the text SCRIPT fails with CODE
//   === label               a script, whose lines follow up to a line "---";
//   > Proc a b => EXPECTED  then calls of its procedure Proc with these arguments
// In BODY and SCRIPT the two characters \r stand for a line end. EXPECTED is
// the result text (with the escapes of the session files, such as \s for a
// blank that must show) or "!" and the code of the failure. A script block
// runs with CR, LF and CR LF line ends alike; every case ends within
// kPromptSeconds.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "morvex/failure.hpp"
#include "platform/script/script_control.hpp"
#include "test_support.hpp"

namespace {

using morvex::Failure;
using morvex::script::ScriptControl;

// Runs that end by a limit must end promptly, not hang: an optimised build
// takes well under a second for any of them; the bound leaves room for
// unoptimised and sanitizer builds.
constexpr double kPromptSeconds = 15.0;

class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

std::string Lines(std::initializer_list<std::string_view> lines) {
  std::string text;
  for (std::string_view line : lines) {
    text.append(line);
    text += '\r';
  }
  return text;
}

ScriptControl Engine(const std::string& script) {
  ScriptControl engine;
  engine.Language("VBScript");
  engine.ExecuteStatement(script);
  return engine;
}

// The failure of `action`, or code -1 if it did not fail.
template <typename Action>
Failure FailureOf(Action&& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure;
  }
  return Failure(-1, "did not fail");
}

Failure ExecuteFailure(const std::string& script) {
  return FailureOf([&] { Engine(script); });
}

Failure RunFailure(const std::string& script, const char* procedure, std::vector<std::string> args = {}) {
  return FailureOf([&] { Engine(script).Run(procedure, args); });
}

std::string WithLineEnds(std::string text, std::string_view end) {
  for (size_t at = text.find("\\r"); at != std::string::npos; at = text.find("\\r", at + end.size())) {
    text.replace(at, 2, end);
  }
  return text;
}

// Runs `script` (then `procedure` with `args`, if one is named) and compares
// with `expected`: the result text, or "!" and the failure code.
void ExpectCase(const std::string& where, const std::string& script, const std::string& procedure,
                std::vector<std::string> args, const std::string& expected) {
  Stopwatch watch;
  std::string got;
  try {
    ScriptControl engine = Engine(script);
    got = procedure.empty() ? "(no failure)" : engine.Run(procedure, args);
  } catch (const Failure& failure) {
    EXPECT_STRNE(failure.what(), "") << where;
    got = "!" + std::to_string(failure.code());
    if (expected != got) got += std::string(" (") + failure.what() + ")";
  }
  EXPECT_EQ(got, expected) << where;
  EXPECT_LT(watch.Seconds(), kPromptSeconds) << where;
}

void RunCaseFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  ASSERT_TRUE(in) << file;
  std::string line, block, label;
  bool inScript = false;
  int number = 0, cases = 0;
  while (std::getline(in, line)) {
    ++number;
    const std::string where = file.filename().string() + ":" + std::to_string(number);
    if (inScript) {
      if (line == "---") inScript = false;
      else block += line + "\\r";
      continue;
    }
    if (line.empty() || line[0] == '#') continue;
    if (line.size() > 3 && line.compare(line.size() - 3, 3, " =>") == 0) line += ' ';  // an empty result
    if (line.rfind("=== ", 0) == 0) {
      inScript = true;
      block.clear();
      continue;
    }
    const size_t arrow = line.rfind(" => ");
    std::string expected;
    if (line.size() < 2 || line[1] != ' ' || arrow == std::string::npos ||
        !morvex::test::Unescape(line.substr(arrow + 4), expected)) {
      ADD_FAILURE() << where << ": not a case: " << line;
      continue;
    }
    const std::string text = line.substr(2, arrow - 2);
    ++cases;
    if (line[0] == '=') {
      ExpectCase(where, WithLineEnds("Function T()\\r" + text + "\\rEnd Function\\r", "\r\n"), "T", {}, expected);
    } else if (line[0] == '!') {
      ExpectCase(where, WithLineEnds(text + "\\r", "\r"), "", {}, expected);
    } else if (line[0] == '>') {
      std::istringstream words(text);
      std::string procedure, word;
      std::vector<std::string> args;
      words >> procedure;
      while (words >> word) args.push_back(word);
      for (const char* end : {"\r", "\n", "\r\n"}) ExpectCase(where, WithLineEnds(block, end), procedure, args, expected);
    } else {
      ADD_FAILURE() << where << ": not a case: " << line;
    }
  }
  EXPECT_GT(cases, 0) << file;
}

TEST(ScriptEngine, CaseFiles) {
  for (const char* name : {"script_values.cases", "script_language.cases"}) {
    SCOPED_TRACE(name);
    RunCaseFile(std::filesystem::path(MORVEX_GOLDEN_DIR) / name);
  }
}

// The calculator hands every argument over as a string.
TEST(ScriptEngine, ArgumentsArriveAsStrings) {
  struct Case {
    const char* body;
    std::vector<std::string> args;
    const char* expected;
  };
  const Case cases[] = {
      {"T = a * 2", {"21"}, "42"},          {"T = a + 1", {"2"}, "3"},
      {"T = a & 1", {"2"}, "21"},           {"T = a + b", {"2", "3"}, "23"},
      {"T = CDbl(a) + CDbl(b)", {"2", "3"}, "5"}, {"T = (a > 5)", {"10"}, "True"},
      {"T = (a > b)", {"10", "9"}, "False"},  // two strings: compared as text
      {"T = TypeName(a)", {"2"}, "String"}, {"T = a * 2", {"abc"}, "!13"},
      {"T = a / 4", {"1E-3"}, "0.00025"},
  };
  for (const Case& c : cases) {
    ExpectCase(c.body, std::string("Function T(a") + (c.args.size() > 1 ? ", b" : "") + ")\r" + c.body + "\rEnd Function\r",
               "T", c.args, c.expected);
  }
}

TEST(ScriptEngine, RandomNumbersRepeatFromASeedOnly) {
  ScriptControl engine = Engine(Lines({
      "Function Draws()", "  Dim i, x, low, high", "  low = 1 : high = 0", "  Rnd -5", "  Randomize 3",
      "  For i = 1 To 2000", "    x = Rnd", "    If x < low Then low = x", "    If x > high Then high = x", "  Next",
      "  Draws = (low >= 0) & (high < 1) & (low < 0.01) & (high > 0.99)", "End Function", "Function Seeded()",
      "  Rnd -3 : Randomize 5 : Seeded = Rnd", "End Function"}));
  std::vector<std::string> none;
  EXPECT_EQ(engine.Run("Draws", none), "TrueTrueTrueTrue");
  std::string first = engine.Run("Seeded", none);
  EXPECT_EQ(engine.Run("Seeded", none), first);
  engine.ExecuteStatement("Randomize\rFunction R() : R = Rnd : End Function\r");
  std::string a = engine.Run("R", none);
  EXPECT_NE(engine.Run("R", none), a);
}

TEST(ScriptEngine, TheStepBudgetIsPerRun) {
  ScriptControl engine = Engine("Function F() : For i = 1 To 100000 : Next : F = i : End Function\r");
  std::vector<std::string> none;
  for (int i = 0; i < 60; ++i) ASSERT_EQ(engine.Run("F", none), "100001");
}

TEST(ScriptEngine, CalculatorProtocol) {
  const std::string script = Lines({
      "Function Double_(x)",
      "  Double_ = x * 2",
      "End Function",
      "Function Seven()",
      "  Seven = 7",
      "End Function",
      "Sub Quiet(a, b)",
      "End Sub",
      "Function Hello(name)",
      "  Hello = \"Hello, \" & name",
      "End Function",
      "",
      "",
  });
  // A new engine for every line, given the same text each time.
  for (int line = 0; line < 3; ++line) {
    ScriptControl engine;
    engine.Language("vbscript");
    engine.ExecuteStatement(script);
    const auto& procedures = engine.Procedures();
    EXPECT_EQ(procedures.Count(), 4);
    EXPECT_EQ(procedures.Item("double_").Name(), "Double_");
    EXPECT_EQ(procedures.Item("DOUBLE_").NumArgs(), 1);
    EXPECT_EQ(procedures.Item("seven").NumArgs(), 0);
    EXPECT_EQ(procedures.Item("Quiet").NumArgs(), 2);

    std::vector<std::string> two{"2"};
    EXPECT_EQ(engine.Run("Double_", two), "4");
    std::vector<std::string> none;
    EXPECT_EQ(engine.Run("seven", none), "7");
    std::vector<std::string> pair{"1", "2,3"};
    EXPECT_EQ(engine.Run("Quiet", pair), "");
    std::vector<std::string> name{"world"};
    EXPECT_EQ(engine.Run("Hello", name), "Hello, world");
  }
}

TEST(ScriptEngine, InterfaceErrors) {
  struct Case {
    const char* name;
    int32_t code;
    Failure failure;
  };
  const std::string script = "Function F(x) : F = x : End Function\r";
  const Case cases[] = {
      {"another language", 5, FailureOf([] { ScriptControl().Language("JScript"); })},
      {"no language set", 5, FailureOf([&] { ScriptControl().ExecuteStatement(script); })},
      {"unknown procedure in Item", 438, FailureOf([&] { Engine(script).Procedures().Item("G"); })},
      {"unknown procedure in Run", 438, RunFailure(script, "G")},
      {"Run before any script", 438, FailureOf([] {
         std::vector<std::string> none;
         ScriptControl().Run("F", none);
       })},
      {"too few parameters", 450, RunFailure(script, "F")},
      {"too many parameters", 450, RunFailure(script, "F", {"1", "2"})},
      {"result Null", 94, RunFailure("Function N() : N = Null : End Function\r", "N")},
      {"result an array", 13, RunFailure("Function A() : A = Array(1) : End Function\r", "A")},
  };
  for (const Case& c : cases) EXPECT_EQ(c.failure.code(), c.code) << c.name << ": " << c.failure.what();
  ScriptControl engine;
  EXPECT_NO_THROW(engine.Language("VbScript"));
  EXPECT_EQ(engine.Procedures().Count(), 0);
}

TEST(ScriptEngine, ByRefParametersAreWrittenBack) {
  ScriptControl engine = Engine(Lines({
      "Function Swap(a, b)",
      "  Dim t : t = a : a = b : b = t",
      "  Swap = a & b",
      "End Function",
      "Function Keep(ByVal a, ByRef b)",
      "  a = \"changed\" : b = b * 10",
      "End Function",
  }));
  std::vector<std::string> pair{"x", "y"};
  EXPECT_EQ(engine.Run("Swap", pair), "yx");
  EXPECT_EQ(pair, (std::vector<std::string>{"y", "x"}));
  std::vector<std::string> mixed{"1", "2.5"};
  EXPECT_EQ(engine.Run("Keep", mixed), "");
  EXPECT_EQ(mixed, (std::vector<std::string>{"1", "25"}));
}

TEST(ScriptEngine, TopLevelVariablesStartFreshForEveryScriptButLastBetweenRuns) {
  const std::string script = Lines({
      "Dim runs",
      "started = started + 1",
      "Function Count_()",
      "  runs = runs + 1",
      "  Count_ = started & \"/\" & runs",
      "End Function",
  });
  std::vector<std::string> none;
  for (int i = 0; i < 3; ++i) {
    ScriptControl engine = Engine(script);  // the same text: the parsed program is reused
    EXPECT_EQ(engine.Run("Count_", none), "1/1");
    EXPECT_EQ(engine.Run("Count_", none), "1/2");
    engine.ExecuteStatement(script);
    EXPECT_EQ(engine.Run("Count_", none), "1/1");
  }
  // A different script replaces the procedures of the first.
  ScriptControl engine = Engine(script);
  engine.ExecuteStatement("Function Other() : Other = 1 : End Function\r");
  EXPECT_EQ(engine.Procedures().Count(), 1);
  EXPECT_EQ(FailureOf([&] { engine.Run("Count_", none); }).code(), 438);
}

TEST(ScriptEngine, TheSameBadTextFailsTheSameWayEveryTime) {
  const std::string bad = Lines({"Function F()", "  F = (1 + ", "End Function"});
  Failure first = ExecuteFailure(bad);
  Failure second = ExecuteFailure(bad);
  EXPECT_EQ(first.code(), 1002);
  EXPECT_EQ(second.code(), first.code());
  EXPECT_STREQ(second.what(), first.what());
  // A run-time error in the top level is not remembered with the text: it
  // happens again because the top level runs again.
  const std::string failing_top = "x = 1 / 0\r";
  EXPECT_EQ(ExecuteFailure(failing_top).code(), 11);
  EXPECT_EQ(ExecuteFailure(failing_top).code(), 11);
}

TEST(ScriptEngine, ErrorsNameTheLine) {
  struct Case {
    const char* name;
    Failure failure;
    const char* line;
  };
  const std::string runtime = Lines({
      "Function Outer(x)",
      "  Outer = Inner(x) + 1",
      "End Function",
      "Function Inner(x)",
      "  Dim a",
      "  Inner = x / 0",
      "End Function",
  });
  const Case cases[] = {
      {"syntax error", ExecuteFailure(Lines({"Function F()", "", "  F = 1 +* 2", "End Function"})), "line 3"},
      {"run-time error in a callee", RunFailure(runtime, "Outer", {"1"}), "line 6 in Function Inner"},
      {"unknown function", ExecuteFailure(Lines({"x = 1", "y = Foo(2)"})), "line 2"},
      {"error in the top level", ExecuteFailure(Lines({"Dim a", "a = \"x\" * 2"})), "line 2"},
      {"string not closed", ExecuteFailure(Lines({"", "x = \"abc"})), "line 2"},
      {"continued line counts", ExecuteFailure(Lines({"x = 1 + _", "  2", "y = ("})), "line 3"},
  };
  for (const Case& c : cases) {
    EXPECT_NE(std::string(c.failure.what()).find(c.line), std::string::npos) << c.name << ": " << c.failure.what();
  }
  EXPECT_EQ(RunFailure(runtime, "Outer", {"1"}).code(), 11);
  EXPECT_NE(std::string(RunFailure(runtime, "Outer", {"1"}).what()).find("Division by zero"), std::string::npos);
}

// Deep recursion is in golden/script_language.cases; here the message of the
// failure and the engine's use afterwards.
TEST(ScriptEngine, DeepRecursionEndsWithOutOfStackSpace) {
  ScriptControl engine = Engine(Lines({"Function Depth(n)", "  If n <= 1 Then Depth = 1 Else Depth = 1 + Depth(n - 1)",
                                       "End Function", "", "Function Forever(n) : Forever = Forever(n + 1) : End Function"}));
  std::vector<std::string> start{"0"}, depth{"200"};
  Failure forever = FailureOf([&] { engine.Run("Forever", start); });
  EXPECT_EQ(forever.code(), 28);
  EXPECT_NE(std::string(forever.what()).find("line 5"), std::string::npos) << forever.what();
  EXPECT_EQ(engine.Run("Depth", depth), "200");
}

TEST(ScriptEngine, DeepNestingInTheTextIsRefusedNotACrash) {
  struct Case {
    const char* name;
    std::string script;
  };
  auto repeat = [](std::string_view piece, size_t times) {
    std::string s;
    for (size_t i = 0; i < times; ++i) s.append(piece);
    return s;
  };
  const Case cases[] = {
      {"parentheses", "x = " + repeat("(", 100000) + "1" + repeat(")", 100000) + "\r"},
      {"unclosed parentheses", "x = " + repeat("(", 100000) + "\r"},
      {"unary minus", "x = " + repeat("-", 100000) + "1\r"},
      {"Not", "x = " + repeat("Not ", 100000) + "1\r"},
      {"a long sum", "x = 1" + repeat(" + 1", 100000) + "\r"},
      {"a long power chain", "x = 1" + repeat(" ^ 1", 100000) + "\r"},
      {"nested calls", "x = " + repeat("Abs(", 100000) + "1" + repeat(")", 100000) + "\r"},
      {"nested If blocks", repeat("If True Then\r", 20000) + repeat("End If\r", 20000)},
      {"nested single-line Ifs", repeat("If True Then ", 20000) + "x = 1\r"},
      {"nested loops", repeat("Do\r", 20000) + repeat("Loop\r", 20000)},
  };
  for (const Case& c : cases) {
    Stopwatch watch;
    Failure failure = ExecuteFailure(c.script);
    EXPECT_EQ(failure.code(), 28) << c.name << ": " << failure.what();
    EXPECT_LT(watch.Seconds(), kPromptSeconds) << c.name;
  }
  // Ordinary nesting is fine.
  ScriptControl engine = Engine("Function F() : F = " + repeat("(", 100) + "2" + repeat(")", 100) + " + " +
                                repeat("-", 50) + "1 : End Function\r");
  std::vector<std::string> none;
  EXPECT_EQ(engine.Run("F", none), "3");
}

TEST(ScriptEngine, GarbageNeverCrashes) {
  // Bytes of every kind, cut at every place of a valid script: each text gives
  // an answer or a Failure.
  const std::string script = Lines({
      "Option Explicit",
      "Const K = 2",
      "Function F(x)",
      "  Dim i, a(3)",
      "  For i = 0 To 3 : a(i) = i * K : Next",
      "  Select Case x",
      "    Case 1 To 3 : F = a(x)",
      "    Case Else : F = \"n\" & Mid(\"abc\", 2)",
      "  End Select",
      "  If F = \"\" Then F = Empty Else F = F & \"\"",
      "  Do While i > 0 : i = i - 1 : Loop",
      "End Function",
  });
  int answers = 0;
  for (size_t cut = 0; cut <= script.size(); ++cut) {
    for (const char* noise : {"", "(", "\"", "_\r", "\x01", "\xff", " If ", "End", "))"}) {
      std::string text = script.substr(0, cut) + noise + script.substr(cut);
      try {
        ScriptControl engine = Engine(text);
        std::vector<std::string> args{"2"};
        if (engine.Procedures().Count() == 1) {
          engine.Run("F", args);
          ++answers;
        }
      } catch (const Failure&) {
      }
    }
  }
  EXPECT_GT(answers, 0);
  std::vector<std::string> args{"2"};
  EXPECT_EQ(Engine(script).Run("F", args), "4");
}

}  // namespace
