// The script engine: the cases of golden/script_*.cases, and at its interface
// the calls the calculator's script path makes, what stops a run and the line
// it names, the compile cache, and the limits of the sandbox.
//
// A case file holds, one entry a line ("#" comments and blank lines aside):
//   = BODY => EXPECTED      BODY is the body of "Function T()", run without arguments
//   ! SCRIPT => !CODE       running the text SCRIPT fails with CODE
//   === label               a script, whose lines follow up to a line "---";
//   > Proc a b => EXPECTED  then calls of its procedure Proc with these arguments
// In BODY and SCRIPT the two characters \r stand for a line end. EXPECTED is
// the result text (with the escapes of the session files, such as \s for a
// blank that must show) or "!" and the error number. A script block runs with
// CR, LF and CR LF line ends alike; every case ends within kPromptSeconds.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "script/script_engine.hpp"
#include "test_support.hpp"

namespace {

using morvex::script::ScriptControl;
using morvex::script::ScriptError;
using morvex::script::Stop;

// Runs that end by a limit end promptly: an optimised build takes well under a
// second for any of them; the bound leaves room for sanitizer builds.
constexpr double kPromptSeconds = 15.0;

std::string Lines(std::initializer_list<std::string_view> lines) {
  std::string text;
  for (std::string_view line : lines) text.append(line).append("\r");
  return text;
}

ScriptControl Engine(const std::string& script) {
  ScriptControl engine;
  engine.Language("VBScript");
  engine.ExecuteStatement(script);
  return engine;
}

// The error of `action`, or code -1 if it did not fail.
template <typename Action>
ScriptError ErrorOf(Action&& action) {
  try {
    action();
  } catch (const ScriptError& error) {
    return error;
  }
  return ScriptError(-1, Stop::Runtime, "did not fail");
}

ScriptError RunError(const std::string& script, const char* procedure, std::vector<std::string> args = {}) {
  return ErrorOf([&] { Engine(script).Run(procedure, args); });
}

std::string WithLineEnds(std::string text, std::string_view end) {
  for (size_t at = text.find("\\r"); at != std::string::npos; at = text.find("\\r", at + end.size())) {
    text.replace(at, 2, end);
  }
  return text;
}

// Runs `script` (then `procedure` with `args`, if one is named) and compares
// with `expected`: the result text, or "!" and the error number.
void ExpectCase(const std::string& where, const std::string& script, const std::string& procedure,
                const std::vector<std::string>& args, const std::string& expected) {
  const auto start = std::chrono::steady_clock::now();
  std::string got;
  try {
    ScriptControl engine = Engine(script);
    got = procedure.empty() ? "(no failure)" : engine.Run(procedure, args);
  } catch (const ScriptError& error) {
    EXPECT_STRNE(error.what(), "") << where;
    got = "!" + std::to_string(error.code());
    if (expected != got) got += " (" + error.message() + ")";
  }
  EXPECT_EQ(got, expected) << where;
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), kPromptSeconds) << where;
}

void RunCaseFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  ASSERT_TRUE(in) << file;
  std::string line, block;
  bool in_script = false;
  int number = 0, cases = 0;
  while (std::getline(in, line)) {
    const std::string where = file.filename().string() + ":" + std::to_string(++number);
    if (in_script) {
      if (line == "---") in_script = false;
      else block += line + "\\r";
      continue;
    }
    if (line.empty() || line[0] == '#') continue;
    if (line.rfind("=== ", 0) == 0) {
      in_script = true;
      block.clear();
      continue;
    }
    if (line.size() > 3 && line.compare(line.size() - 3, 3, " =>") == 0) line += ' ';  // an empty result
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

// The calculator hands every argument over as a string, and makes a new
// engine for every line with the same text.
TEST(ScriptEngine, CalculatorProtocol) {
  const std::string script = Lines({"Function Double_(x)", "  Double_ = x * 2", "End Function",
                                    "Function Join_(a, b) : Join_ = a + b : End Function", "Sub Quiet(a, b)",
                                    "End Sub", "Function Greater(a) : Greater = (a > 5) : End Function", "", ""});
  for (int line = 0; line < 3; ++line) {
    ScriptControl engine = Engine(script);
    EXPECT_EQ(engine.TextIsNew(), line == 0);
    const auto& procedures = engine.Procedures();
    EXPECT_EQ(procedures.Count(), 4);
    EXPECT_EQ(procedures.Item("DOUBLE_").Name(), "Double_");
    EXPECT_EQ(procedures.Item("quiet").NumArgs(), 2);
    EXPECT_EQ(engine.Run("Double_", {"21"}), "42");
    EXPECT_EQ(engine.Run("Join_", {"2", "3"}), "23");  // two strings join
    EXPECT_EQ(engine.Run("Quiet", {"1", "2,3"}), "");
    EXPECT_EQ(engine.Run("Greater", {"10"}), "True");  // a string met by a literal number
  }
  ScriptControl other = Engine(script + "\r");
  EXPECT_TRUE(other.TextIsNew());
  EXPECT_FALSE(Engine(script + "\r").TextIsNew());
}

TEST(ScriptEngine, InterfaceErrors) {
  const std::string script = "Function F(x) : F = x : End Function\r";
  struct Case {
    const char* name;
    ScriptError error;
    int32_t code;
    Stop stop;
  };
  const Case cases[] = {
      {"another language", ErrorOf([] { ScriptControl().Language("JScript"); }), 5, Stop::Compile},
      {"no language set", ErrorOf([&] { ScriptControl().ExecuteStatement(script); }), 5, Stop::Compile},
      {"unknown in Item", ErrorOf([&] { Engine(script).Procedures().Item("G"); }), 438, Stop::UnknownProcedure},
      {"unknown in Run", RunError(script, "G"), 438, Stop::UnknownProcedure},
      {"Run before a script", ErrorOf([] { ScriptControl().Run("F", {}); }), 438, Stop::UnknownProcedure},
      {"too few parameters", RunError(script, "F"), 450, Stop::Runtime},
      {"too many parameters", RunError(script, "F", {"1", "2"}), 450, Stop::Runtime},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.error.code(), c.code) << c.name << ": " << c.error.what();
    EXPECT_EQ(c.error.stop(), c.stop) << c.name;
  }
}

// What stopped a run, and the line of the script it names: the script path
// tells the host from these.
TEST(ScriptEngine, WhatStoppedARunAndWhere) {
  const std::string script = Lines({
      "Function Outer(x)",                      // 1
      "  Outer = Inner(x) + 1",                 // 2
      "End Function",                           // 3
      "Function Inner(x)",                      // 4
      "  Inner = x / 0",                        // 5
      "End Function",                           // 6
      "Function Loopy() : Do : Loop : End Function",  // 7
      "Function Rec(n) : Rec = Rec(n + 1) : End Function",  // 8
      "Function Big()",                         // 9
      "  s = \"x\"",                            // 10
      "  Do : s = s & s : Loop",                // 11
      "End Function",                           // 12
  });
  struct Case {
    const char* procedure;
    Stop stop;
    int32_t code;
    int32_t line;
  };
  const Case cases[] = {
      {"Outer", Stop::Runtime, 11, 5},   {"Loopy", Stop::StepBudget, 17, 7},
      {"Rec", Stop::CallDepth, 28, 8},   {"Big", Stop::SizeCap, 14, 11},
  };
  for (const Case& c : cases) {
    ScriptError error = RunError(script, c.procedure, c.procedure == std::string("Loopy") || c.procedure == std::string("Big")
                                                          ? std::vector<std::string>{}
                                                          : std::vector<std::string>{"1"});
    EXPECT_EQ(error.stop(), c.stop) << c.procedure << ": " << error.what();
    EXPECT_EQ(error.code(), c.code) << c.procedure;
    EXPECT_EQ(error.line(), c.line) << c.procedure;
  }
  EXPECT_NE(RunError(script, "Outer", {"1"}).message().find("Division by zero"), std::string::npos);
  // The budget is per run: the engine goes on after a run that used it up.
  ScriptControl engine = Engine(script + "Function Count() : For i = 1 To 100000 : Next : Count = i : End Function\r");
  EXPECT_THROW(engine.Run("Loopy", {}), ScriptError);
  for (int i = 0; i < 30; ++i) ASSERT_EQ(engine.Run("Count", {}), "100001");
}

TEST(ScriptEngine, CompileErrorsNameTheLine) {
  struct Case {
    std::string script;
    int32_t line;
  };
  const Case cases[] = {
      {Lines({"Function F()", "", "  F = 1 +* 2", "End Function"}), 3},
      {Lines({"x = 1", "y = Foo(2)"}), 2},
      {Lines({"", "x = \"abc"}), 2},
      {Lines({"x = 1 + _", "  2", "y = ("}), 3},
      {"x = 1\ny = 2\r\nz = )\r", 3},
      {Lines({"Function F()", "  Dim a(2)", "End Function"}), 2},
  };
  for (const Case& c : cases) {
    ScriptError error = ErrorOf([&] { Engine(c.script); });
    EXPECT_EQ(error.stop(), Stop::Compile) << c.script;
    EXPECT_EQ(error.line(), c.line) << c.script << ": " << error.what();
  }
  // A failure of the top level is a run's, with its line, and happens again
  // with the same text, since the top level runs again.
  for (int i = 0; i < 2; ++i) {
    ScriptError error = ErrorOf([] { Engine(Lines({"Dim a", "a = \"x\" * 2"})); });
    EXPECT_EQ(error.stop(), Stop::Runtime);
    EXPECT_EQ(error.line(), 2);
  }
}

TEST(ScriptEngine, TopLevelVariablesStartFreshForEveryScriptButLastBetweenRuns) {
  const std::string script = Lines({"Dim runs", "started = started + 1", "Function Count_()", "  runs = runs + 1",
                                    "  Count_ = started & \"/\" & runs", "End Function"});
  ScriptControl engine = Engine(script);
  EXPECT_EQ(engine.Run("Count_", {}), "1/1");
  EXPECT_EQ(engine.Run("Count_", {}), "1/2");
  engine.ExecuteStatement(script);
  EXPECT_EQ(engine.Run("Count_", {}), "1/1");
  engine.ExecuteStatement("Function Other() : Other = 1 : End Function\r");
  EXPECT_EQ(engine.Procedures().Count(), 1);
  EXPECT_EQ(ErrorOf([&] { engine.Run("Count_", {}); }).code(), 438);
}

TEST(ScriptEngine, DeepNestingInTheTextIsRefusedNotACrash) {
  auto repeat = [](std::string_view piece, size_t times) {
    std::string s;
    for (size_t i = 0; i < times; ++i) s.append(piece);
    return s;
  };
  const std::string cases[] = {
      "x = " + repeat("(", 100000) + "1" + repeat(")", 100000) + "\r",
      "x = " + repeat("-", 100000) + "1\r",
      "x = " + repeat("Not ", 100000) + "1\r",
      "x = 1" + repeat(" + 1", 100000) + "\r",
      "x = " + repeat("Abs(", 100000) + "1" + repeat(")", 100000) + "\r",
      repeat("If True Then\r", 20000) + repeat("End If\r", 20000),
      repeat("If True Then ", 20000) + "x = 1\r",
      repeat("Do\r", 20000) + repeat("Loop\r", 20000),
  };
  for (const std::string& script : cases) {
    ScriptError error = ErrorOf([&] { Engine(script); });
    EXPECT_EQ(error.code(), 28) << script.substr(0, 20) << ": " << error.what();
  }
  EXPECT_EQ(Engine("Function F() : F = " + repeat("(", 100) + "2" + repeat(")", 100) + " + " + repeat("-", 50) +
                   "1 : End Function\r")
                .Run("F", {}),
            "3");
}

// Bytes of every kind, put at every place of a valid script: each text gives
// an answer or a ScriptError.
TEST(ScriptEngine, GarbageNeverCrashes) {
  const std::string script = Lines({
      "Const K = 2",
      "Function F(x)",
      "  Dim i",
      "  For i = 0 To 3 : F = F + i * K : Next",
      "  Select Case x",
      "    Case 1 To 3 : F = F & Mid(\"abc\", x)",
      "    Case Else : F = \"n\"",
      "  End Select",
      "  Do While i > 0 : i = i - 1 : Loop",
      "End Function",
  });
  int answers = 0;
  for (size_t cut = 0; cut <= script.size(); ++cut) {
    for (const char* noise : {"", "(", "\"", "_\r", "\x01", "\xff", " If ", "End", "))"}) {
      try {
        ScriptControl engine = Engine(script.substr(0, cut) + noise + script.substr(cut));
        if (engine.Procedures().Count() == 1) {
          engine.Run("F", {"2"});
          ++answers;
        }
      } catch (const ScriptError&) {
      }
    }
  }
  EXPECT_GT(answers, 0);
  EXPECT_EQ(Engine(script).Run("F", {"2"}), "12bc");
}

}  // namespace
