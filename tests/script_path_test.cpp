// The script path, with real script files: every failure on the way leaves a
// line as it is on a calculator without a script. What a call answers is in
// golden/script_path.lines.
#include <gtest/gtest.h>

#include "test_support.hpp"

namespace morvex {
namespace {

// A script file with CR LF line ends (the CR keeps the lines apart for the
// engine) and the two line ends a line file ends with.
std::string ScriptFile(std::initializer_list<std::string_view> lines, std::string_view lineEnd = "\r\n") {
  std::string text;
  for (std::string_view line : lines) text.append(line).append(lineEnd);
  return text.append(lineEnd).append(lineEnd);
}

const std::initializer_list<std::string_view> kProcedures = {
    "Function f(a)", "  f = a * 2", "End Function", "Function g() : g = 7 : End Function",
    "Function h(a, b) : h = a & b : End Function", "Sub Quiet(a) : End Sub", "Sub Hush()", "End Sub",
    "Function Boom(a) : Boom = a / 0 : End Function", "Function Boom0() : Boom0 = 1 / 0 : End Function",
};

// A calculator whose host also records every VBSProgress.
struct Host : test::Calc {
  std::vector<double> progress;

  Host() { m.Events().VBSProgress = [this](double percent) { progress.push_back(percent); }; }
  void WriteScript(std::string_view bytes) const { folder.Write("vbscript.txt", bytes); }

  // What the host sees of a line once Calculate has returned.
  std::string Line(const std::string& line) {
    progress.clear();
    asked.clear();
    std::string text = line, result = m.Calculate(text), words;
    for (const std::string& word : asked) words += word + ",";
    return result + "|" + m.OutString() + "|" + m.InString() + "|" + text + "|" + m.Expression() + "|" +
           std::to_string(m.ErrNumber()) + "@" + std::to_string(m.ErrFirst()) + "+" + std::to_string(m.ErrLength()) +
           "|" + testing::PrintToString(Ans()) + "|" + words;
  }
};

// The line on a calculator without a script file that has seen the same lines before.
std::string Ordinary(const std::vector<std::string>& before, const std::string& line) {
  Host plain;
  for (const std::string& earlier : before) plain.Line(earlier);
  return plain.Line(line);
}

// A line that no procedure takes, or whose call fails anywhere (two parameters
// and no comma, nothing left for the last argument, an error in the run), is
// an ordinary line; so is one whose procedure gives nothing, after it ran (the
// progress 1 after the run).
TEST(ScriptPath, LinesThatGiveNoAnswerAreOrdinaryLines) {
  const std::pair<std::string, std::vector<double>> cases[] = {
      {"2+3=w cm", {}}, {"h(1)", {}}, {"f(", {}}, {"Boom(2)", {0.5, 1.0}}, {"Boom0", {0.5}},
      {"Hush()", {0.5, 1.0}}, {"Quiet(5)", {0.5, 1.0}}};
  for (const auto& [line, progress] : cases) {
    Host host;
    host.WriteScript(ScriptFile(kProcedures));
    host.Line("9");
    EXPECT_EQ(host.Line(line), Ordinary({"9"}, line));
    EXPECT_EQ(host.progress, progress) << line;
  }
}

// The script text is the file's entries by the count rules of the line files,
// but the one entry of a file without a line feed is taken. A script the
// engine cannot take leaves every line ordinary.
TEST(ScriptPath, ScriptTextFollowsTheLineFileCount) {
  const std::string oneLine = "Function g() : g = 7 : End Function";
  const std::pair<std::string, bool> cases[] = {
      {ScriptFile(kProcedures), true},        {ScriptFile(kProcedures, "\n"), false},  // LF alone: one line
      {"", false},                            {oneLine, true},
      {oneLine + "\r\n\r\n", false},
  };
  for (const auto& [bytes, usable] : cases) {
    Host host;
    host.WriteScript(bytes);
    const std::string o = host.Line("g=x");
    if (usable) EXPECT_EQ(host.m.OutString() + "|" + host.m.Expression(), "7|VBScript Run g") << bytes;
    else EXPECT_EQ(o, Ordinary({}, "g=x")) << bytes;
    EXPECT_EQ(host.progress.empty(), !usable) << bytes;
  }
}

// A procedure stopped by a limit or an error, and a script file that does not
// compile or run, are told in ScriptFailure; the line still goes the ordinary way.
TEST(ScriptPath, ScriptFailureTellsWhatStoppedTheProcedure) {
  Host host;
  host.WriteScript(ScriptFile({"Function loopy() : Do : Loop : End Function",
                               "Function rec(n) : rec = rec(n + 1) : End Function",
                               "Function big()", "  big = \"x\"", "  Do : big = big & big : Loop", "End Function",
                               "Function f(a)", "  f = a / 0", "End Function",  // lines 7 to 9
                               "Function g() : g = 7 : End Function", "Function id(a) : id = a : End Function"}));
  // The line, what ScriptFailure tells, and whether the line then goes on as an ordinary line.
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"loopy", "loopy: stopped by the step budget", true},
      {"rec(1)", "rec: call depth over 200", true},
      {"big", "big: string over the size cap", true},
      {"f(2)", "f: run-time error at line 8 of vbscript.txt: Division by zero", true},
      {"g", "", false},
      {"id(loopy)", "loopy: stopped by the step budget", false},  // a failure in an argument belongs to the line
      {"2+3", "", true},
  };
  for (const auto& [line, failure, ordinary] : cases) {
    const std::string o = host.Line(line);
    EXPECT_EQ(host.m.ScriptFailure(), failure);
    if (ordinary) { EXPECT_EQ(o, Ordinary({}, line)); }
  }

  // A script that does not compile or run is told on the first line after each change.
  const std::string broken = ScriptFile({"Function g()", "  g = 7", "", "  g = (1 +", "End Function"});
  const std::string failure = "vbscript.txt does not compile: line 4: Syntax error: expected an expression but "
                              "found the end of the line";
  const std::tuple<std::string, const char*, std::string> edits[] = {  // written before the line, if not empty
      {broken, "g", failure},
      {"", "g", ""},  // told once per change of the file
      {ScriptFile({"Function g()", "  g = 7", "End Function"}), "g", ""},
      {broken, "1", failure},
      {ScriptFile({"x = 1 / 0", "Function g() : g = 7 : End Function"}), "g",
       "vbscript.txt does not run: line 1: Division by zero"},
  };
  for (const auto& [script, line, told] : edits) {
    if (!script.empty()) host.WriteScript(script);
    host.Line(line);
    EXPECT_EQ(host.m.ScriptFailure(), told) << line;
  }
}

}  // namespace
}  // namespace morvex
