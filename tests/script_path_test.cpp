// The script path: with "vbscript.txt" in the program's folder every line is
// first offered to the script's procedures. These tests write real script
// files and compare a line with the same line on a calculator without a
// script: every failure on the way leaves the line an ordinary line. What a
// call answers is in golden/script_path.lines.
#include <gtest/gtest.h>

#include <ostream>

#include "test_support.hpp"

namespace morvex {
namespace {

// A script file with CR LF line ends (the reader keeps the CR, which keeps the
// lines apart for the engine) and the two line ends a line file ends with.
std::string ScriptFile(std::initializer_list<std::string_view> lines, std::string_view lineEnd = "\r\n") {
  std::string text;
  for (std::string_view line : lines) text.append(line).append(lineEnd);
  return text.append(lineEnd).append(lineEnd);
}

const std::initializer_list<std::string_view> kProcedures = {
    "Function f(a)", "  f = a * 2", "End Function", "Function g()", "  g = 7", "End Function",
    "Function h(a, b) : h = a & b : End Function", "Sub Quiet(a)", "End Sub", "Sub Hush()", "End Sub",
    "Function Boom(a)", "  Boom = a / 0", "End Function", "Function Boom0()", "  Boom0 = 1 / 0", "End Function",
};

using Texts = std::vector<std::string>;

// What the host sees of a line once Calculate has returned.
struct Outcome {
  std::string result, out, in, text, expression;
  int16_t errNumber, errFirst, errLength;
  double ans;
  std::vector<std::string> asked;  // the words InputBox was asked about
  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& o, std::ostream* os) {
  *os << "{result=\"" << o.result << "\" out=\"" << o.out << "\" in=\"" << o.in << "\" text=\"" << o.text
      << "\" expr=\"" << o.expression << "\" err=" << o.errNumber << "@" << o.errFirst << "+" << o.errLength
      << " ans=" << o.ans << " asked=" << o.asked.size() << "}";
}

// A calculator whose host also records every VBSProgress.
struct Host : test::Calc {
  std::vector<double> progress;

  Host() { m.Events().VBSProgress = [this](double percent) { progress.push_back(percent); }; }

  void WriteScript(std::string_view bytes) const { folder.Write("vbscript.txt", bytes); }

  Outcome Line(const std::string& line) {
    progress.clear();
    asked.clear();
    std::string text = line;
    std::string result = m.Calculate(text);
    return {result, m.OutString(), m.InString(), text, m.Expression(), m.ErrNumber(), m.ErrFirst(), m.ErrLength(),
            Ans(), asked};
  }
};

struct ScriptHost : Host {
  ScriptHost() { WriteScript(ScriptFile(kProcedures)); }
};

// What the same line gives a calculator without a script file that has seen
// the same lines before.
Outcome Ordinary(const std::vector<std::string>& before, const std::string& line) {
  Host plain;
  for (const std::string& earlier : before) plain.Line(earlier);
  return plain.Line(line);
}

// A line that no procedure takes, or whose call fails anywhere, answers as it
// would without a script; a procedure that gives nothing runs, and the line
// goes on as an ordinary line. The progress tells how far the call got.
TEST(ScriptPath, LinesThatGiveNoAnswerAreOrdinaryLines) {
  // The line and the progress: two parameters and no comma, nothing left for the last argument, a run-time
  // error after the arguments, a failure in Run (no progress after it), and procedures that give nothing
  // (the 1 after Run shows they ran).
  const struct {
    std::string line;
    std::vector<double> progress;
  } cases[] = {{"2+3=w cm", {}}, {"h(1)", {}}, {"f(", {}}, {"Boom(2)", {0.5, 1.0}}, {"Boom0", {0.5}},
               {"Hush()", {0.5, 1.0}}, {"Quiet(5)", {0.5, 1.0}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    ScriptHost host;
    host.Line("9");
    EXPECT_EQ(host.Line(c.line), Ordinary({"9"}, c.line));
    EXPECT_EQ(host.progress, c.progress);
  }
}

// Which entries of the file make the script text: all but the last two, but
// the one entry of a file without a line feed is taken. A script the engine
// cannot take leaves every line ordinary.
TEST(ScriptPath, ScriptTextFollowsTheLineFileCount) {
  const std::string oneLine = "Function g() : g = 7 : End Function";
  const struct {
    const char* label;
    std::string bytes;
    bool usable;
  } cases[] = {
      {"the standard script", ScriptFile(kProcedures), true},
      {"LF line ends alone run the lines together", ScriptFile(kProcedures, "\n"), false},
      {"a syntax error", ScriptFile({"Function f(a)", "  f = a *", "End Function", oneLine}), false},
      {"a run-time error at the top level", ScriptFile({"z = 1 / 0", oneLine}), false},
      {"an empty file", "", false},
      {"one line without a line end", oneLine, true},
      {"one line and one line end", oneLine + "\r\n", true},
      {"one line and two line ends", oneLine + "\r\n\r\n", false},
      {"one line and three line ends", oneLine + "\r\n\r\n\r\n", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    Host host;
    host.WriteScript(c.bytes);
    const Outcome o = host.Line("g=x");
    if (c.usable) {
      EXPECT_EQ((Texts{o.out, o.expression}), (Texts{"7", "VBScript Run g"}));
    } else {
      EXPECT_EQ(o, Ordinary({}, "g=x"));
      EXPECT_TRUE(host.progress.empty());
    }
  }
}

TEST(ScriptPath, EditOfTheFileShowsAtTheNextLineAndOnlyTheProgramFolderCounts) {
  Host host;
  test::TempFolder other;
  other.Write("vbscript.txt", ScriptFile(kProcedures));
  EXPECT_EQ(host.Line("f(2)"), Ordinary({}, "f(2)"));
  host.WriteScript(ScriptFile({"Function f(a)", "  f = a * 3", "End Function"}));
  EXPECT_EQ(host.Line("f(2)").out, "6");
  std::filesystem::remove(host.folder.path() / "vbscript.txt");
  host.Line("1");
  EXPECT_EQ(host.Line("f(2)"), Ordinary({"1"}, "f(2)"));
  EXPECT_TRUE(host.progress.empty());
  host.m.ProgramFolder(other.str());
  EXPECT_EQ(host.Line("g").out, "7");
}

// Without a script file a failure of the scan reaches the host; with one,
// Calculate notes it and goes on. Calls as arguments of calls descend through
// nested Calculate calls; a deep line ends in an answer or in the library's
// failure, and the calculator goes on.
TEST(ScriptPath, FailuresInsideALineLeaveTheCalculatorUsable) {
  const std::string longExpression(40000, '1');
  EXPECT_THROW(Host().Line(longExpression), Failure);
  for (const std::string& line : {longExpression, "f(" + longExpression + ")"}) {
    ScriptHost host;
    EXPECT_NO_THROW(host.Line(line));
    EXPECT_EQ(host.Line("f(2)").out, "4");
  }
  for (const int depth : {41, 5000}) {
    SCOPED_TRACE(depth);
    ScriptHost host;
    std::string line;
    for (int i = 0; i < depth; ++i) line += "f(";
    line += "1" + std::string(static_cast<size_t>(depth), ')');
    try {
      host.Line(line);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), failure_code::OutOfStackSpace) << failure.what();
    }
    EXPECT_EQ(host.Line("f(2)").out, "4");
    EXPECT_EQ(host.Line("2+3").out, "5");
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
  const struct {
    const char* line;
    const char* failure;
    bool ordinary;  // the line then goes on as an ordinary line
  } cases[] = {
      {"loopy", "loopy: stopped by the step budget", true},
      {"rec(1)", "rec: call depth over 200", true},
      {"big", "big: string over the size cap", true},
      {"f(2)", "f: run-time error at line 8 of vbscript.txt: Division by zero", true},
      {"g", "", false},
      // A failure while an argument is computed belongs to the line too.
      {"id(loopy)", "loopy: stopped by the step budget", false},
      {"2+3", "", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const Outcome o = host.Line(c.line);
    EXPECT_EQ(host.m.ScriptFailure(), c.failure);
    if (c.ordinary) {
      EXPECT_EQ(o, Ordinary({}, c.line));
    }
  }

  // A file that does not compile is told on the first line after each change.
  const std::string broken = ScriptFile({"Function g()", "  g = 7", "", "  g = (1 +", "End Function"});
  const std::string failure = "vbscript.txt does not compile: line 4: Syntax error: expected an expression but "
                              "found the end of the line";
  const struct {
    std::string script;  // written before the line, if not empty
    const char* line;
    std::string failure;
  } edits[] = {
      {broken, "g", failure},
      {"", "g", ""},  // told once per change of the file
      {ScriptFile({"Function g()", "  g = 7", "End Function"}), "g", ""},
      {broken, "1", failure},
      {ScriptFile({"x = 1 / 0", "Function g() : g = 7 : End Function"}), "g",
       "vbscript.txt does not run: line 1: Division by zero"},
  };
  for (const auto& e : edits) {
    if (!e.script.empty()) host.WriteScript(e.script);
    host.Line(e.line);
    EXPECT_EQ(host.m.ScriptFailure(), e.failure) << e.line;
  }
}

}  // namespace
}  // namespace morvex
