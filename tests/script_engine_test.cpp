// The script engine at its interface: the calls the calculator's script path
// makes, what the engine refuses, its errors and their lines, the cache of
// parsed scripts, and the limits of the sandbox.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "morvex/failure.hpp"
#include "platform/script/script_control.hpp"

namespace {

using morvex::Failure;
using morvex::script::ScriptControl;

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

// ---- the interface as the script path uses it ----

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

// A file with LF line ends reaches the engine as one line without separators.
TEST(ScriptEngine, LinesRunTogetherAreRefused) {
  std::string joined = "Function F(x)  F = x * 2End Function";
  EXPECT_EQ(ExecuteFailure(joined).code(), 1002);
  EXPECT_EQ(ExecuteFailure("Function F(x)F = 1End Function").code(), 1002);
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

// ---- what the engine refuses ----

TEST(ScriptEngine, RefusesWhatReachesOutsideOrIsUnknown) {
  struct Case {
    const char* name;
    std::string script;
    int32_t code;
  };
  const Case cases[] = {
      {"CreateObject", "Set fso = CreateObject(\"Scripting.FileSystemObject\")\r", 1002},
      {"CreateObject in an expression", "x = CreateObject(\"WScript.Shell\")\r", 438},
      {"GetObject", "x = GetObject(\"winmgmts:\")\r", 438},
      {"Eval", "Function F() : F = Eval(\"1+1\") : End Function\r", 438},
      {"Execute", "Execute \"x = 1\"\r", 438},
      {"ExecuteGlobal", "ExecuteGlobal \"x = 1\"\r", 438},
      {"Class", Lines({"Class Point", "  Public X", "End Class"}), 1002},
      {"With", Lines({"With x", "End With"}), 1002},
      {"Set", "Set x = y\r", 1002},
      {"New", "x = New Point\r", 1002},
      {"Nothing", "x = Nothing\r", 1002},
      {"Is", "b = x Is y\r", 1002},
      {"member access", "WScript.Echo \"hi\"\r", 1002},
      {"member assignment", "x.Value = 1\r", 1002},
      {"On Error", Lines({"On Error Resume Next", "x = 1 / 0"}), 1002},
      {"GoTo", "GoTo 10\r", 1002},
      {"Property", Lines({"Property Get P", "End Property"}), 1002},
      {"Stop", "Stop\r", 1002},
      {"clock", "t = Now\r", 438},
      {"timer", "Function F() : F = Timer : End Function\r", 438},
      {"dialog", "MsgBox \"hello\"\r", 438},
      {"input", "x = InputBox(\"?\")\r", 438},
      {"unknown function", "Function F() : F = Frobnicate(1) : End Function\r", 438},
      {"unknown procedure call", "DoSomething 1, 2\r", 438},
      {"unknown procedure with Call", "Call DoSomething()\r", 438},
      {"a variable called like a procedure", "Dim v : v 1\r", 438},
      {"CSng is not provided", "x = CSng(1)\r", 438},
  };
  for (const Case& c : cases) {
    Failure failure = ExecuteFailure(c.script);
    EXPECT_EQ(failure.code(), c.code) << c.name << ": " << failure.what();
  }
}

TEST(ScriptEngine, RefusesSyntaxErrors) {
  struct Case {
    const char* name;
    std::string script;
    int32_t code;
  };
  const Case cases[] = {
      {"If without End If", Lines({"If x Then", "y = 1"}), 1002},
      {"For without Next", Lines({"For i = 1 To 2", "x = 1"}), 1002},
      {"Do without Loop", Lines({"Do", "x = 1"}), 1002},
      {"Function without End", Lines({"Function F()", "F = 1"}), 1002},
      {"End Sub for a Function", Lines({"Function F()", "End Sub"}), 1002},
      {"Next for another variable", Lines({"For i = 1 To 2", "Next j"}), 1002},
      {"condition at both ends", Lines({"Do While x", "Loop Until x"}), 1002},
      {"Case after Case Else", Lines({"Select Case x", "Case Else", "Case 1", "End Select"}), 1002},
      {"unterminated string", "x = \"abc\r", 1033},
      {"invalid character", "x = 1 $ 2\r", 1014},
      {"missing operand", "x = 1 +\r", 1002},
      {"unbalanced parenthesis", "x = (1 + 2\r", 1002},
      {"two statements on a line", "x = 1 y = 2\r", 1002},
      {"Exit For outside a loop", "Exit For\r", 1002},
      {"Exit Function in a Sub", Lines({"Sub S()", "Exit Function", "End Sub"}), 1002},
      {"Exit Do in a For", Lines({"For i = 1 To 2", "Exit Do", "Next"}), 1002},
      {"procedure inside a procedure", Lines({"Sub A()", "Sub B()", "End Sub", "End Sub"}), 1002},
      {"Option Explicit after a statement", Lines({"x = 1", "Option Explicit"}), 1002},
      {"block For in a single-line If", "If x Then For i = 1 To 2 : Next\r", 1002},
      {"keyword as a name", "Dim If\r", 1002},
      {"parentheses around several arguments of a Sub", Lines({"Sub S(a, b) : End Sub", "S(1, 2)"}), 1044},
      {"procedure defined twice", Lines({"Sub S() : End Sub", "Function s() : End Function"}), 1041},
      {"variable declared twice", "Dim a, b, a\r", 1041},
      {"variable named like a procedure", Lines({"Dim S", "Sub S() : End Sub"}), 1041},
      {"parameter twice", "Function F(a, a) : End Function\r", 1041},
      {"assignment to a constant", Lines({"Const K = 1", "K = 2"}), 501},
      {"assignment to a procedure", Lines({"Sub S() : End Sub", "S = 2"}), 501},
      {"assignment to a built-in", "Len = 2\r", 501},
      {"constant from a variable", Lines({"x = 1", "Const K = x"}), 1002},
      {"non-constant array bound", Lines({"n = 3", "Dim a(n)"}), 1002},
      {"wrong argument count for a procedure", Lines({"Function F(a) : End Function", "x = F(1, 2)"}), 450},
      {"wrong argument count for a built-in", "x = Left(\"abc\")\r", 450},
      {"number running into a name", "x = 12abc\r", 1002},
      {"number beyond Double", "x = 1E999\r", 6},
  };
  for (const Case& c : cases) {
    Failure failure = ExecuteFailure(c.script);
    EXPECT_EQ(failure.code(), c.code) << c.name << ": " << failure.what();
  }
}

// ---- the sandbox ----

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

TEST(ScriptEngine, EndlessWorkEndsByTheStepBudget) {
  struct Case {
    const char* name;
    std::string script;
    const char* procedure;
  };
  const Case cases[] = {
      {"Do Loop", "Function F() : Do : Loop : End Function\r", "F"},
      {"While True", "Function F() : While True : Wend : End Function\r", "F"},
      {"Step 0", "Function F() : For i = 1 To 2 Step 0 : Next : End Function\r", "F"},
      {"empty For over a huge range", "Function F() : For i = 1 To 1E15 : Next : End Function\r", "F"},
      {"counter reset", "Function F() : For i = 1 To 2 : i = 0 : Next : End Function\r", "F"},
      {"growing string", "Function F() : s = \"x\" : Do : s = s & \"x\" : Loop : End Function\r", "F"},
      {"many big strings",
       Lines({"Function F()", "  Dim a(100000)", "  For i = 0 To 100000 : a(i) = Space(1000000) & i : Next",
              "End Function"}),
       "F"},
      {"searching without end",
       Lines({"Function F()", "  s = String(100000, \"a\")", "  Do : n = InStr(s, String(500, \"a\") & \"b\") : Loop",
              "End Function"}),
       "F"},
      {"long string comparisons",
       Lines({"Function F()", "  a = Space(10000000) : b = Space(10000000)", "  Do While a = b : Loop",
              "End Function"}),
       "F"},
      {"copying a big array",
       Lines({"Function F()", "  ReDim a(1000000)", "  Do : b = a : b(0) = 1 : Loop", "End Function"}), "F"},
  };
  for (const Case& c : cases) {
    Stopwatch watch;
    Failure failure = RunFailure(c.script, c.procedure);
    EXPECT_EQ(failure.code(), 17) << c.name << ": " << failure.what();
    EXPECT_LT(watch.Seconds(), kPromptSeconds) << c.name;
  }
  // The top level has its own budget.
  EXPECT_EQ(ExecuteFailure("Do : Loop\r").code(), 17);
  // A budget is per run: many runs of a bounded procedure all succeed.
  ScriptControl engine = Engine("Function F() : For i = 1 To 100000 : Next : F = i : End Function\r");
  std::vector<std::string> none;
  for (int i = 0; i < 60; ++i) ASSERT_EQ(engine.Run("F", none), "100001");
}

TEST(ScriptEngine, DeepRecursionEndsWithOutOfStackSpace) {
  const std::string script = Lines({
      "Function Depth(n)",
      "  If n <= 1 Then Depth = 1 Else Depth = 1 + Depth(n - 1)",
      "End Function",
      "Function Forever(n)",
      "  Forever = Forever(n + 1)",
      "End Function",
      "Sub Loop_()",
      "  Loop_",
      "End Sub",
      "Function Nested(n)",
      "  If n <= 1 Then",
      "    Nested = 1",
      "  Else",
      "    For i = 1 To 1 : Do : While True",
      "      Nested = ((((((((((1 + Nested(n - 1)))))))))))",
      "      Exit Do",
      "    Wend : Loop : Next",
      "  End If",
      "End Function",
  });
  ScriptControl engine = Engine(script);
  std::vector<std::string> depth{"200"};
  EXPECT_EQ(engine.Run("Depth", depth), "200");
  std::vector<std::string> nested{"200"};
  EXPECT_EQ(engine.Run("Nested", nested), "200");
  std::vector<std::string> deeper{"201"};
  EXPECT_EQ(FailureOf([&] { engine.Run("Depth", deeper); }).code(), 28);
  std::vector<std::string> start{"0"};
  Failure forever = FailureOf([&] { engine.Run("Forever", start); });
  EXPECT_EQ(forever.code(), 28);
  EXPECT_NE(std::string(forever.what()).find("line 5"), std::string::npos) << forever.what();
  std::vector<std::string> none;
  EXPECT_EQ(FailureOf([&] { engine.Run("Loop_", none); }).code(), 28);
  // The engine is still usable afterwards.
  EXPECT_EQ(engine.Run("Depth", depth), "200");
}

TEST(ScriptEngine, HugeStringsAndArraysAreRefused) {
  struct Case {
    const char* name;
    std::string body;
    int32_t code;
  };
  const Case cases[] = {
      {"String beyond the limit", "F = String(20000000, \"x\")", 14},
      {"Space beyond the limit", "F = Space(17000000)", 14},
      {"doubling a string", "s = \"xxxxxxxx\" : Do : s = s & s : Loop", 14},
      {"adding strings", "s = Space(9000000) : F = s + s", 14},
      {"Replace that grows", "F = Replace(Space(9000), \" \", Space(2000))", 14},
      {"ReDim of too many elements", "ReDim a(2000000)", 7},
      {"many dimensions", "ReDim a(1000, 1000, 1000)", 7},
      {"Dim of too many elements", "Dim a(5000000)", 7},
      {"Dim at the largest bound", "Dim a(2147483647)", 7},
      {"ReDim at the largest bound", "ReDim a(2147483647)", 7},
      {"ReDim beyond a Long", "ReDim a(2147483648)", 6},
      {"arrays nested too deeply", "a = Array(1) : Do : a = Array(a) : Loop", 28},
      {"nested by assignment", "Dim a(0) : b = Array(1) : Do : a(0) = b : b = a : Loop", 28},
  };
  for (const Case& c : cases) {
    Failure failure = RunFailure("Function F()\r" + std::string(c.body) + "\rEnd Function\r", "F");
    EXPECT_EQ(failure.code(), c.code) << c.name << ": " << failure.what();
  }
  // Up to the limit is fine.
  ScriptControl engine = Engine("Function F() : F = Len(String(16777216, \"x\")) : End Function\r");
  std::vector<std::string> none;
  EXPECT_EQ(engine.Run("F", none), "16777216");
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
