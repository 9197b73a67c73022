// The script path: with "vbscript.txt" in the program's folder every line is
// first offered to the script's procedures. These tests write real script
// files and compare each line with the same line on a calculator without a
// script: every failure on the way leaves the line an ordinary line. What a
// call answers is in golden/script_path.lines.
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>

#include "test_support.hpp"

namespace morvex {
namespace {

// A script file as the calculator reads it: CR LF line ends (the reader keeps
// the CR, which is what keeps the lines apart for the engine), and two further
// line ends, because the last two entries of a line file are not read.
std::string ScriptFile(std::initializer_list<std::string_view> lines, std::string_view lineEnd = "\r\n",
                       bool closingLineEnds = true) {
  std::string text;
  for (std::string_view line : lines) {
    text.append(line);
    text.append(lineEnd);
  }
  if (closingLineEnds) {
    text.append(lineEnd);
    text.append(lineEnd);
  }
  return text;
}

// The procedures of the tests, as in golden/script_path.lines.
const std::initializer_list<std::string_view> kProcedures = {
    "Function f(a)",
    "  f = a * 2",
    "End Function",
    "Function Echo(a)",
    "  Echo = \"[\" & a & \"]\"",
    "End Function",
    "Function g()",
    "  g = 7",
    "End Function",
    "Function h(a, b)",
    "  h = \"<\" & a & \"|\" & b & \">\"",
    "End Function",
    "Sub Quiet(a)",
    "End Sub",
    "Sub Hush()",
    "End Sub",
    "Sub Cos(a)",
    "End Sub",
    "Function Boom(a)",
    "  Boom = a / 0",
    "End Function",
    "Function Boom0()",
    "  Boom0 = 1 / 0",
    "End Function",
    "Function Forever()",
    "  Do",
    "  Loop",
    "End Function",
};

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
      << " ans=" << o.ans << " asked=[";
  for (const std::string& word : o.asked) *os << word << ";";
  *os << "]}";
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

// A host whose folder holds the standard procedures.
struct ScriptHost : Host {
  ScriptHost() { WriteScript(ScriptFile(kProcedures)); }
};

std::vector<double> Fractions(int k) {
  std::vector<double> values;
  for (int i = 1; i <= k; ++i) values.push_back(static_cast<double>(i) / (k + 1));
  values.push_back(1.0);
  return values;
}

void ExpectProgress(const std::vector<double>& seen, const std::vector<double>& expected) {
  ASSERT_EQ(seen.size(), expected.size()) << "VBSProgress events";
  for (size_t i = 0; i < seen.size(); ++i) EXPECT_DOUBLE_EQ(seen[i], expected[i]) << "VBSProgress #" << i;
}

// What the same line gives a calculator that has no script file and has seen
// the same lines before.
Outcome Ordinary(const std::vector<std::string>& before, const std::string& line) {
  Host plain;
  for (const std::string& earlier : before) plain.Line(earlier);
  return plain.Line(line);
}

// A line that no procedure takes, or whose call fails anywhere, answers as it
// would without a script; the progress tells how far the call got.
TEST(ScriptPath, FailedOrUnknownCallsAreOrdinaryLines) {
  struct Case {
    std::string line;
    std::vector<double> progress;
  };
  const std::vector<Case> cases = {
      {"", {}},  // offered to the script, then nothing changes
      {"2+3", {}},
      {"2+3=w cm", {}},
      {"Ans", {}},
      {"sin(30)", {}},
      {"Unknown(3)", {}},
      {"h(1)", {}},           // two parameters, no comma
      {"h(1,", {}},           // nothing left for the last argument
      {"f(", {}},
      {"f(2", {0.5, 1.0}},    // p(1) is empty; the script cannot double it
      {"Boom(2)", Fractions(1)},  // a run-time error after the arguments
      {"Boom0", {0.5}},           // failed in Run: no progress after it
      {"Forever", {0.5}},         // ended by the engine's step budget
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    ScriptHost host;
    host.Line("9");
    const Outcome o = host.Line(c.line);
    EXPECT_EQ(o, Ordinary({"9"}, c.line));
    EXPECT_NE(o.expression.rfind("VBScript Run", 0), 0u);
    ExpectProgress(host.progress, c.progress);
  }
}

TEST(ScriptPath, ProcedureThatGivesNothingRunsAndTheLineGoesOn) {
  struct Case {
    std::string line;
    std::vector<double> progress;
    std::string word;  // the unknown word the scanner asks about, if any
  };
  const std::vector<Case> cases = {
      {"Hush", {0.5, 1.0}, "Hush"},  // the 1 after Run shows it ran
      {"Hush()", {0.5, 1.0}, "Hush"},
      {"Quiet(5)", Fractions(1), "Quiet"},
      {"cos(60)", Fractions(1), ""},  // a function word: the ordinary line has an answer
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    ScriptHost host;
    host.Line("9");
    const Outcome o = host.Line(c.line);
    ExpectProgress(host.progress, c.progress);
    EXPECT_EQ(o, Ordinary({"9"}, c.line));
    if (c.word.empty()) {
      EXPECT_EQ(o.out, "0.5");
    } else {
      ASSERT_FALSE(o.asked.empty());
      EXPECT_EQ(o.asked.front(), c.word) << "the scanner asks for the same word";
    }
  }
}

// A script the engine cannot take leaves every line ordinary.
TEST(ScriptPath, UnusableScriptFilesLeaveEveryLineOrdinary) {
  struct Case {
    const char* label;
    std::string bytes;
  };
  const std::vector<Case> cases = {
      {"LF line ends alone run the lines together", ScriptFile(kProcedures, "\n")},
      {"a syntax error", ScriptFile({"Function f(a)", "  f = a *", "End Function", "Function g()", "  g = 7",
                                     "End Function"})},
      {"a run-time error at the top level",
       ScriptFile({"Dim z", "z = 1 / 0", "Function f(a)", "  f = a * 2", "End Function", "Function g()",
                   "  g = 7", "End Function"})},
      {"the last two entries are not read",
       ScriptFile({"Function g()", "  g = 7", "End Function", "Function f(a)", "  f = a * 2", "End Function"},
                  "\r\n", false)},
      {"an empty file", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    for (const std::string line : {"f(2)", "g", "f(2)=x", "2+3"}) {
      SCOPED_TRACE(line);
      Host host;
      host.WriteScript(c.bytes);
      const Outcome o = host.Line(line);
      EXPECT_EQ(o, Ordinary({}, line));
      EXPECT_TRUE(host.progress.empty());
    }
  }
}

// Which entries of the file make the script text: all but the last two, but
// the one entry of a file without a line feed is taken.
TEST(ScriptPath, ScriptTextFollowsTheLineFileCount) {
  struct Case {
    const char* label;
    std::string bytes;
    bool usable;
  };
  const std::string oneLine = "Function g() : g = 7 : End Function";
  const std::vector<Case> cases = {
      {"statements and two closing line ends",
       ScriptFile({"Function f(a)", "  f = a * 2", "End Function", "Function g()", "  g = 7", "End Function"}),
       true},
      {"one line without a line end", oneLine, true},
      {"one line and one line end", oneLine + "\r\n", true},
      {"one line and two line ends", oneLine + "\r\n\r\n", false},
      {"one line and three line ends", oneLine + "\r\n\r\n\r\n", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Host host;
    host.WriteScript(c.bytes);
    const Outcome o = host.Line("g");
    if (c.usable) {
      EXPECT_EQ(o.out, "7");
      EXPECT_EQ(o.expression, "VBScript Run g");
    } else {
      EXPECT_EQ(o, Ordinary({}, "g"));
    }
  }
}

TEST(ScriptPath, RunawayProcedureEndsWithinBoundedTime) {
  ScriptHost host;
  const auto start = std::chrono::steady_clock::now();
  const Outcome o = host.Line("Forever()");
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_LT(elapsed, std::chrono::seconds(20));
  EXPECT_EQ(o, Ordinary({}, "Forever()"));
  EXPECT_EQ(host.Line("f(2)").out, "4") << "the calculator goes on";
}

// ---- the file and the dispatcher ----

TEST(ScriptPath, EditOfTheFileShowsAtTheNextLine) {
  Host host;
  EXPECT_EQ(host.Line("f(2)"), Ordinary({}, "f(2)"));

  host.WriteScript(ScriptFile({"Function f(a)", "  f = a * 2", "End Function"}));
  EXPECT_EQ(host.Line("f(2)").out, "4");

  host.WriteScript(ScriptFile({"Function f(a)", "  f = a * 3", "End Function", "Function g()", "  g = 7",
                               "End Function"}));
  EXPECT_EQ(host.Line("f(2)").out, "6");
  EXPECT_EQ(host.Line("g").out, "7");

  std::filesystem::remove(host.folder.path() / "vbscript.txt");
  host.Line("1");
  EXPECT_EQ(host.Line("f(2)"), Ordinary({"1"}, "f(2)"));
  EXPECT_TRUE(host.progress.empty());
}

// Without a script file a failure of the scan reaches the host; with one,
// Calculate notes it and goes on, and the calculator stays usable.
TEST(ScriptPath, FailureInsideALineReachesTheHostOnlyWithoutAScript) {
  const std::string longExpression(40000, '1');
  const std::vector<std::string> lines = {longExpression, "f(" + longExpression + ")",
                                          "Echo(" + longExpression + ")"};
  for (const std::string& line : lines) {
    SCOPED_TRACE(line.substr(0, 8));
    {
      Host plain;
      bool failed = false;
      try {
        plain.Line(line);
      } catch (const Failure& failure) {
        failed = true;
        EXPECT_STRNE(failure.what(), "");
      }
      EXPECT_TRUE(failed) << "no script: the failure is the call's";
      EXPECT_EQ(plain.Line("2+3").out, "5");
    }
    ScriptHost host;
    EXPECT_NO_THROW(host.Line(line));
    EXPECT_EQ(host.Line("2+3").out, "5");
    EXPECT_EQ(host.Line("f(2)").out, "4");
  }
}

// Calls as arguments of calls descend through nested Calculate calls; a deep
// line ends in an answer or in the library's failure, and the calculator goes on.
TEST(ScriptPath, DeeplyNestedCallsEndCleanly) {
  for (const int depth : {41, 500, 5000}) {
    SCOPED_TRACE(depth);
    ScriptHost host;
    std::string line;
    for (int i = 0; i < depth; ++i) line += "f(";
    line += "1";
    line.append(static_cast<size_t>(depth), ')');
    try {
      host.Line(line);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), failure_code::OutOfStackSpace) << failure.what();
      EXPECT_STRNE(failure.what(), "");
    }
    EXPECT_EQ(host.Line("f(2)").out, "4");
    EXPECT_EQ(host.Line("2+3").out, "5");
  }
}

// A procedure stopped by a limit or an error, and a script file that does not
// compile, are told in ScriptFailure; the line still goes the ordinary way.
TEST(ScriptPath, ScriptFailureTellsWhatStoppedTheProcedure) {
  Host host;
  host.WriteScript(ScriptFile({
      "Function loopy()",                         // 1
      "  Do",                                     // 2
      "  Loop",                                   // 3
      "End Function",                             // 4
      "Function rec(n)",                          // 5
      "  rec = rec(n + 1)",                       // 6
      "End Function",                             // 7
      "Function big()",                           // 8
      "  big = \"x\"",                            // 9
      "  Do : big = big & big : Loop",            // 10
      "End Function",                             // 11
      "Function f(a)",                            // 12
      "  f = a / 0",                              // 13
      "End Function",                             // 14
      "Function g()",                             // 15
      "  g = 7",                                  // 16
      "End Function",                             // 17
      "Function id(a) : id = a : End Function",   // 18
  }));
  const struct {
    const char* line;
    const char* failure;
    bool ordinary;  // the line then goes on as an ordinary line
  } cases[] = {
      {"loopy", "loopy: stopped by the step budget", true},
      {"rec(1)", "rec: call depth over 200", true},
      {"big", "big: string over the size cap", true},
      {"f(2)", "f: run-time error at line 13 of vbscript.txt: Division by zero", true},
      {"g", "", false},
      {"2+3", "", true},
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
  host.WriteScript(broken);
  EXPECT_EQ(host.Line("g"), Ordinary({}, "g"));
  EXPECT_EQ(host.m.ScriptFailure(), failure);
  host.Line("g");
  EXPECT_EQ(host.m.ScriptFailure(), "") << "told once per change of the file";
  host.Line("2+3");
  EXPECT_EQ(host.m.ScriptFailure(), "");
  host.WriteScript(ScriptFile({"Function g()", "  g = 7", "End Function"}));
  EXPECT_EQ(host.Line("g").out, "7");
  EXPECT_EQ(host.m.ScriptFailure(), "");
  host.WriteScript(broken);
  host.Line("1");
  EXPECT_EQ(host.m.ScriptFailure(), failure) << "told again after the file changed";
  host.WriteScript(ScriptFile({"x = 1 / 0", "Function g() : g = 7 : End Function"}));
  host.Line("g");
  EXPECT_EQ(host.m.ScriptFailure(), "vbscript.txt does not run: line 1: Division by zero");
}

TEST(ScriptPath, ScriptFileIsLookedForInTheProgramFolderOnly) {
  Host host;
  test::TempFolder other;
  other.Write("vbscript.txt", ScriptFile(kProcedures));
  EXPECT_EQ(host.Line("g"), Ordinary({}, "g"));
  EXPECT_TRUE(host.progress.empty());

  host.m.ProgramFolder(other.str());
  EXPECT_EQ(host.Line("g").out, "7");
}

}  // namespace
}  // namespace morvex
