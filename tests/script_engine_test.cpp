// The script engine: the cases of golden/script_*.cases, and at its interface
// the calls the script path makes, what stops a run, and the sandbox's limits.
//
// A case file holds, one entry a line ("#" comments and blank lines aside):
//   = BODY => EXPECTED      BODY is the body of "Function T()", run without arguments
//   ! SCRIPT => !CODE       running the text SCRIPT fails with CODE
//   === label               a script, whose lines follow up to a line "---";
//   > Proc a b => EXPECTED  then calls of its procedure Proc with these arguments
// In BODY and SCRIPT \r stands for a line end. EXPECTED is the result text
// (with the escapes of the session files) or "!" and the error number, and
// "@" and the script line the error names. A script block runs with CR, LF
// and CR LF line ends alike; every case ends within 15 seconds.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "script/script_engine.hpp"
#include "test_support.hpp"

namespace {

using morvex::script::ScriptControl;
using morvex::script::ScriptError;
using morvex::script::Stop;

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

std::string WithLineEnds(std::string text, std::string_view end) {
  for (size_t at = text.find("\\r"); at != std::string::npos; at = text.find("\\r", at + end.size())) text.replace(at, 2, end);
  return text;
}

void ExpectCase(const std::string& where, const std::string& script, const std::string& procedure,
                const std::vector<std::string>& args, const std::string& expected) {
  const auto start = std::chrono::steady_clock::now();
  std::string got;
  try {
    ScriptControl engine = Engine(script);
    got = procedure.empty() ? "(no failure)" : engine.Run(procedure, args);
  } catch (const ScriptError& error) {
    got = "!" + std::to_string(error.code());
    if (expected.find('@') != std::string::npos) got += "@" + std::to_string(error.line());
    if (expected != got) got += " (" + error.message() + ")";
  }
  EXPECT_EQ(got, expected) << where;
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 15.0) << where;
}

TEST(ScriptEngine, CaseFiles) {
  for (const char* name : {"script_values.cases", "script_language.cases"}) {
    std::ifstream in(std::filesystem::path(MORVEX_GOLDEN_DIR) / name, std::ios::binary);
    ASSERT_TRUE(in) << name;
    std::string line, block;
    bool in_script = false;
    int number = 0, cases = 0;
    while (std::getline(in, line)) {
      const std::string where = name + (":" + std::to_string(++number));
      if (in_script) {
        if (line == "---") in_script = false;
        else block += line + "\\r";
        continue;
      }
      if (line.empty() || line[0] == '#') continue;
      if (line.rfind("=== ", 0) == 0) {
        in_script = true, block.clear();
        continue;
      }
      if (line.size() > 3 && line.compare(line.size() - 3, 3, " =>") == 0) line += ' ';  // an empty result
      const size_t arrow = line.rfind(" => ");
      std::string expected;
      if (line.size() < 2 || line[1] != ' ' || arrow == std::string::npos ||
          !morvex::test::Unescape(line.substr(arrow + 4), expected) || std::string("=!>").find(line[0]) > 2) {
        ADD_FAILURE() << where << ": not a case: " << line;
        continue;
      }
      const std::string text = line.substr(2, arrow - 2);
      ++cases;
      if (line[0] == '=') {
        ExpectCase(where, WithLineEnds("Function T()\\r" + text + "\\rEnd Function\\r", "\r\n"), "T", {}, expected);
      } else if (line[0] == '!') {
        ExpectCase(where, WithLineEnds(text + "\\r", "\r"), "", {}, expected);
      } else {
        std::istringstream words(text);
        std::string procedure, word;
        std::vector<std::string> args;
        words >> procedure;
        while (words >> word) args.push_back(word);
        for (const char* end : {"\r", "\n", "\r\n"}) ExpectCase(where, WithLineEnds(block, end), procedure, args, expected);
      }
    }
    EXPECT_GT(cases, 0) << name;
  }
}

// The calculator hands every argument over as a string, and makes a new
// engine for every line with the same text, which is compiled once. The
// top-level variables start fresh for every script but last between runs, and
// the step budget is per run.
TEST(ScriptEngine, CalculatorProtocol) {
  const std::string script =
      "Function Double_(x)\r  Double_ = x * 2\rEnd Function\rSub Quiet(a, b)\rEnd Sub\r"
      "Function Greater(a) : Greater = (a > 5) : End Function\r";
  for (int line = 0; line < 2; ++line) {
    ScriptControl engine = Engine(script);
    EXPECT_EQ(engine.TextIsNew(), line == 0);
    EXPECT_EQ(engine.Procedures().Count(), 3);
    EXPECT_EQ(engine.Procedures().Item("DOUBLE_").Name(), "Double_");
    EXPECT_EQ(engine.Procedures().Item("quiet").NumArgs(), 2);
    EXPECT_EQ(engine.Run("Double_", {"21"}) + engine.Run("Quiet", {"1", "2,3"}) + engine.Run("Greater", {"10"}),
              "42True");  // a string met by a literal number
  }
  EXPECT_TRUE(Engine(script + "\r").TextIsNew());
  const std::string counting =
      "Dim runs\rstarted = started + 1\rFunction C() : runs = runs + 1 : C = started & runs : End Function\r";
  ScriptControl engine = Engine(counting);
  EXPECT_EQ(engine.Run("C", {}), "11");
  EXPECT_EQ(engine.Run("C", {}), "12");
  engine.ExecuteStatement(counting);
  EXPECT_EQ(engine.Run("C", {}), "11");
  engine.ExecuteStatement(
      "Function L() : Do : Loop : End Function\rFunction N() : For i = 1 To 100000 : Next : N = i : End Function\r");
  EXPECT_THROW(engine.Run("L", {}), ScriptError);
  for (int i = 0; i < 30; ++i) ASSERT_EQ(engine.Run("N", {}), "100001");
  EXPECT_EQ(ErrorOf([&] { engine.Run("C", {}); }).code(), 438);
}

// What stopped a run or a compile, and the line of the script it names (the
// limits of a run are told through the script path's ScriptFailure).
TEST(ScriptEngine, WhatStoppedARunAndWhere) {
  const std::string script = "Function Outer(x) : Outer = Inner(x) + 1 : End Function\rFunction Inner(x)\r\r"
                             "  Inner = x / 0\rEnd Function\r";
  const struct {
    std::string text;
    const char* procedure;
    std::vector<std::string> args;
    Stop stop;
    int32_t code, line;
  } cases[] = {
      {script, "Outer", {"1"}, Stop::Runtime, 11, 4},  // the line of the statement that failed
      {script, "Outer", {}, Stop::Runtime, 450, 0},
      {script, "outer_", {"1"}, Stop::UnknownProcedure, 438, 0},
      // None: the script's compile or top level fails, and again with the same text.
      {"x = 1\ny = 2\r\nz = )\r", nullptr, {}, Stop::Compile, 1002, 3},
      {"x = 1 + _\r  2\ry = (\r", nullptr, {}, Stop::Compile, 1002, 3},
      {"Dim a\ra = \"x\" * 2\r", nullptr, {}, Stop::Runtime, 13, 2},
  };
  for (const auto& c : cases) {
    for (int again = 0; again < (c.procedure ? 1 : 2); ++again) {
      ScriptError error = ErrorOf([&] {
        ScriptControl engine = Engine(c.text);
        if (c.procedure) engine.Run(c.procedure, c.args);
      });
      EXPECT_EQ(std::tuple(error.stop(), error.code(), error.line()), std::tuple(c.stop, c.code, c.line)) << c.text;
    }
  }
  EXPECT_EQ(ErrorOf([] { ScriptControl().Language("JScript"); }).stop(), Stop::Compile);
  EXPECT_EQ(ErrorOf([] { ScriptControl().ExecuteStatement("x = 1\r"); }).code(), 5);
  EXPECT_EQ(ErrorOf([] { ScriptControl().Run("F", {}); }).code(), 438);
}

// Deep nesting in the text is refused, not a crash; moderate nesting runs.
TEST(ScriptEngine, DeepNestingInTheText) {
  auto repeat = [](std::string_view piece, size_t times) {
    std::string s;
    for (size_t i = 0; i < times; ++i) s.append(piece);
    return s;
  };
  for (const std::string& script : {"x = " + repeat("(", 100000) + "1\r", "x = " + repeat("-", 100000) + "1\r",
                                    "x = 1" + repeat(" + 1", 100000) + "\r", repeat("If True Then\r", 20000),
                                    repeat("If True Then ", 20000) + "x = 1\r", repeat("Do\r", 20000)}) {
    EXPECT_EQ(ErrorOf([&] { Engine(script); }).code(), 28) << script.substr(0, 20);
  }
  EXPECT_EQ(Engine("Function F() : F = " + repeat("(", 100) + "2" + repeat(")", 100) + " + " + repeat("-", 50) +
                   "1 : End Function\r").Run("F", {}), "3");
}

}  // namespace
