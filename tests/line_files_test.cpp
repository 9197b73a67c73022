// Running a text file line by line with LoadHText: which entries of the file
// run, the events the host sees (Progress before each line and at the end,
// Wait at a pause line, Change(0, 1) after each line), what the properties hold
// inside those events and after the run, and the failures that reach the host.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <thread>

#include "test_support.hpp"

namespace morvex {
namespace {

// What the host saw of a line at its Change(0, 1).
struct LineSeen {
  std::string in, out, expression, variable;
  int16_t errNumber;
  bool operator==(const LineSeen&) const = default;
};

void PrintTo(const LineSeen& s, std::ostream* os) {
  *os << "{in=\"" << s.in << "\" out=\"" << s.out << "\" expr=\"" << s.expression << "\" var=\"" << s.variable
      << "\" err=" << s.errNumber << "}";
}

std::string Percent(double p) {
  std::ostringstream text;
  text << "P" << p;
  return text.str();
}

using test::FailureCode;

// A calculator with a host that records the events of a line file. The loud
// run of a line raises Change events of its own; the log keeps only the
// Change(0, 1) that the file run raises after each line.
struct FileHost : test::Calc {
  std::vector<std::string> log;  // "P<percent>", "W", "C"
  std::vector<LineSeen> lines;   // one per Change(0, 1)
  int waits = 0;
  int otherEvents = 0;  // Change events of other arguments, InputBox, UpdateVariables

  FileHost() {
    m.Events().Progress = [this](double percent) { log.push_back(Percent(percent)); };
    m.Events().Wait = [this] {
      ++waits;
      log.push_back("W");
    };
    m.Events().Change = [this](int16_t length, int16_t first) {
      if (length != 0 || first != 1) {
        ++otherEvents;
        return;
      }
      log.push_back("C");
      lines.push_back({m.InString(), m.OutString(), m.Expression(), m.StringVariable(), m.ErrNumber()});
    };
    m.Events().InputBox = [this](std::string& num) {
      ++otherEvents;
      num.clear();
    };
    m.Events().UpdateVariables = [this](double) { ++otherEvents; };
  }

  void Clear() {
    log.clear();
    lines.clear();
    waits = otherEvents = 0;
  }
  void Load(const std::string& name) {
    std::string path = (folder.path() / name).string();
    m.LoadHText(path);
  }
  std::vector<std::string> InStrings() const {
    std::vector<std::string> ins;
    for (const LineSeen& seen : lines) ins.push_back(seen.in);
    return ins;
  }
  double Value(const std::string& name) const {
    const auto v = Var(name);
    EXPECT_TRUE(v.has_value()) << "no variable " << name;
    return v ? v->Value : 0;
  }
};

TEST(LineFiles, StartUpFileRunsWithoutAnArgument) {
  for (bool emptyPath : {false, true}) {
    SCOPED_TRACE(emptyPath ? "empty path" : "no argument");
    FileHost host;
    host.folder.Write("StartUp.txt", "2*3=s\nRAD\n\n\n");
    if (emptyPath) {
      std::string none;
      host.m.LoadHText(none);
    } else {
      host.m.LoadHText();
    }
    EXPECT_EQ(host.log, (std::vector<std::string>{Percent(1.0 / 4), "C", Percent(2.0 / 4), "C", "P1"}));
    ASSERT_TRUE(host.Has("s"));
    EXPECT_EQ(host.Value("s"), 6);
    EXPECT_EQ(host.m.AngleUnit(), "Radian") << "what the lines did stays";
  }
}

TEST(LineFiles, MissingFileRaisesNoEventAndChangesNothing) {
  FileHost host;
  host.Run("2+3=x cm");
  const std::string out = host.m.OutString(), expression = host.m.Expression(), typing = host.m.StringTyping();
  host.Clear();

  host.m.LoadHText();  // no StartUp.txt in the folder
  std::string missing = (host.folder.path() / "missing.txt").string();
  host.m.LoadHText(missing);
  std::string aFolder = host.folder.str();  // a folder is not a file
  host.m.LoadHText(aFolder);

  EXPECT_TRUE(host.log.empty());
  EXPECT_EQ(host.otherEvents, 0);
  EXPECT_EQ(host.m.OutString(), out);
  EXPECT_EQ(host.m.Expression(), expression);
  EXPECT_EQ(host.m.StringTyping(), typing);
}

TEST(LineFiles, StartUpFileIsLookedForInTheProgramFolderOnly) {
  FileHost host;
  test::TempFolder other;
  other.Write("StartUp.txt", "1=a\n\n\n");
  host.folder.Write("StartUp.txt", "2=b\n\n\n");
  host.m.LoadHText();
  EXPECT_TRUE(host.Has("b"));
  EXPECT_FALSE(host.Has("a"));

  host.m.ProgramFolder(other.str());
  host.m.LoadHText();
  EXPECT_TRUE(host.Has("a"));
}

// Which entries of the first block run, and the Progress values around them.
TEST(LineFiles, CountRulesOfTheLoop) {
  struct Case {
    const char* label;
    std::string bytes;
    std::vector<std::string> ran;  // InString of each line, in order
    std::vector<std::string> log;
  };
  const std::vector<Case> cases = {
      {"five lines run their first three",
       "1\n2\n3\n4\n5\n",
       {"1", "2", "3"},
       {Percent(0.2), "C", Percent(0.4), "C", Percent(0.6), "C", "P1"}},
      {"two lines: nothing runs", "3=x\n4=y\n", {}, {"P1"}},
      {"three lines run the first", "7\n8\n9\n", {"7"}, {Percent(1.0 / 3), "C", "P1"}},
      {"four lines without a final line feed", "1\n2\n3\n4", {"1"}, {Percent(1.0 / 3), "C", "P1"}},
      {"one line feed runs both entries", "5\n6", {"5", "6"}, {"P1", "C", "P2", "C", "P1"}},
      {"one line feed at the end runs the empty entry too", "5\n", {"5", ""}, {"P1", "C", "P2", "C", "P1"}},
      {"empty file", "", {}, {"P1"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    FileHost host;
    host.folder.Write("lines.txt", c.bytes);
    host.Load("lines.txt");
    EXPECT_EQ(host.InStrings(), c.ran);
    EXPECT_EQ(host.log, c.log);
    EXPECT_EQ(host.waits, 0);
  }
}

TEST(LineFiles, FailuresOfTheRunReachTheCaller) {
  struct Case {
    const char* label;
    std::string bytes;
    int32_t code;
  };
  const std::vector<Case> cases = {
      {"one line with no line feed divides by zero", "2+3=x", failure_code::DivisionByZero},
      {"more than 32767 line feeds overflow the count", std::string(40000, '\n'), failure_code::Overflow},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    FileHost host;
    host.folder.Write("bad.txt", c.bytes);
    EXPECT_EQ(FailureCode([&] { host.Load("bad.txt"); }), c.code);
    EXPECT_TRUE(host.log.empty()) << "no line runs and no Progress comes";
    EXPECT_FALSE(host.Has("x"));
    // The calculator is still usable.
    EXPECT_EQ(host.Run("2+3"), "5");
    EXPECT_EQ(host.Run("1=z"), "1");
    EXPECT_TRUE(host.Has("z"));
  }
}

// Lines ended by CR LF reach Calculate with their carriage return: after a
// digit it belongs to the number, after a target name it is trailing text; and
// no such line is a pause.
TEST(LineFiles, CarriageReturnLineEnds) {
  FileHost host;
  host.folder.Write("crlf.txt", "4=x\r\n$\r\nx*2=y\r\n1+1\r\n\r\n\r\n");
  host.Load("crlf.txt");
  EXPECT_EQ(host.waits, 0);
  ASSERT_EQ(host.lines.size(), 4u);
  // The carriage return after the name is trailing text.
  EXPECT_EQ((std::vector<std::string>{host.lines[0].out, host.lines[0].expression, host.lines[2].out, host.lines[3].out}),
            (std::vector<std::string>{"4", "\r", "8", "2"}));
  EXPECT_EQ((std::vector<double>{host.Value("x"), host.Value("y")}), (std::vector<double>{4, 8}));
}

TEST(LineFiles, PauseLineRaisesWaitInsteadOfCalculating) {
  FileHost host;
  // Leaves the report of a line with a target and trailing text (a formula
  // target: a plain one would recompute the variables, which scans again).
  host.Run("XVar*2=f cm");
  ASSERT_EQ(host.m.Expression(), "cm");
  host.Clear();
  std::vector<std::string> atWait;
  host.m.Events().Wait = [&] {
    host.log.push_back("W");
    atWait.push_back(host.m.StringVariable());
    atWait.push_back(host.m.Expression());
    host.m.StringVariable("changed by the host");
    host.m.Expression("changed by the host");
  };
  host.folder.Write("pause.txt", "$\n1=a\n$\n2=b\n\n\n");
  host.Load("pause.txt");

  EXPECT_EQ(host.log, (std::vector<std::string>{Percent(1.0 / 6), "W", "C", Percent(2.0 / 6), "C", Percent(3.0 / 6),
                                                "W", "C", Percent(4.0 / 6), "C", "P1"}));
  // The first pause shows the report of the line before the run: the bare
  // target name, not the property with its line break.
  // The second pause follows a cleared line.
  EXPECT_EQ(atWait, (std::vector<std::string>{"f", "cm", "", ""}));
  ASSERT_EQ(host.lines.size(), 4u);
  // What the handler did does not last to the Change of the pause line.
  EXPECT_EQ((std::vector<std::string>{host.lines[0].variable, host.lines[0].expression, host.lines[2].variable,
                                      host.lines[2].expression, host.lines[2].out}),
            (std::vector<std::string>{"f", "cm", "", "", ""}));
  EXPECT_TRUE(host.Has("a"));
  EXPECT_TRUE(host.Has("b"));
}

// A pause or an empty line first in a thread that has scanned no line yet.
TEST(LineFiles, PauseBeforeAnyScanOfTheThread) {
  std::vector<std::string> seen;
  std::thread fresh([&] {
    FileHost host;
    host.folder.Write("first.txt", "$\n\n1+1\n\n\n");
    try {
      host.Load("first.txt");
    } catch (const Failure& failure) {
      seen.push_back(std::string("failure ") + failure.what());
    }
    seen.insert(seen.end(), host.log.begin(), host.log.end());
    for (const LineSeen& line : host.lines) seen.push_back(line.out);
  });
  fresh.join();
  EXPECT_EQ(seen, (std::vector<std::string>{Percent(0.2), "W", "C", Percent(0.4), "C", Percent(0.6), "C", "P1", "",
                                            "", "2"}));
}

TEST(LineFiles, ErrorOfALineIsSeenAtItsChangeAndTheRunGoesOn) {
  FileHost host;
  host.folder.Write("err.txt", "2+*3\n1+1\n\n\n");
  host.Load("err.txt");
  ASSERT_EQ(host.lines.size(), 2u);
  EXPECT_NE(host.lines[0].errNumber, 0);
  EXPECT_EQ(host.lines[0].out, "OperatorBadPosition");
  EXPECT_EQ(host.lines[1], (LineSeen{"1+1", "2", "", "\r\n", 0}));
  EXPECT_EQ((std::vector<int>{host.m.ErrNumber(), host.m.ErrFirst()}), (std::vector<int>{0, 0}));
  EXPECT_EQ(host.m.ErrDescription(), "");
}

// After the run the outputs of the last line are gone but for StringTyping and
// ErrLength, which hold what the same line leaves when a host types it.
TEST(LineFiles, PropertiesAfterTheRun) {
  const std::vector<std::string> lastLines = {"2+3=x cm", "2+*3", "sin(0"};
  for (const std::string& last : lastLines) {
    SCOPED_TRACE(last);
    FileHost typed;
    typed.Run(last);

    FileHost host;
    host.folder.Write("run.txt", last + "\n\n\n");
    host.Load("run.txt");
    ASSERT_EQ(host.lines.size(), 1u);
    EXPECT_EQ(host.lines[0].out, typed.m.OutString()) << "the line was seen at its Change";
    EXPECT_EQ((std::vector<std::string>{host.m.OutString(), host.m.InString(), host.m.Expression(),
                                        host.m.StringVariable(), host.m.ErrDescription()}),
              std::vector<std::string>(5, ""));
    EXPECT_EQ(host.m.ErrNumber(), 0);
    EXPECT_EQ(host.m.ErrFirst(), 0);
    EXPECT_EQ(host.m.StringTyping(), typed.m.StringTyping());
    EXPECT_EQ(host.m.ErrLength(), typed.m.ErrLength());
  }
}

// Only the first block of 63,000 bytes runs, and of its entries all but the
// last two counted by its line feeds.
TEST(LineFiles, LargeFileRunsPartOfItsFirstBlockOnly) {
  std::string bytes;
  std::vector<std::string> fileLines;
  for (int i = 0; bytes.size() < 70000; ++i) {
    std::string line = std::to_string(i) + "+1";
    fileLines.push_back(line);
    bytes += line + "\n";
  }
  const std::string firstBlock = bytes.substr(0, 63000);
  const size_t lineFeeds = static_cast<size_t>(std::count(firstBlock.begin(), firstBlock.end(), '\n'));
  ASSERT_GT(lineFeeds, 3u);
  const std::vector<std::string> expected(fileLines.begin(), fileLines.begin() + static_cast<long>(lineFeeds - 2));

  FileHost host;
  host.folder.Write("big.txt", bytes);
  host.Load("big.txt");
  EXPECT_EQ(host.InStrings(), expected);
  ASSERT_FALSE(host.lines.empty());
  EXPECT_EQ(host.lines.back().out, std::to_string(lineFeeds - 3 + 1));
  EXPECT_EQ(host.log.back(), "P1");
}

// A host can reach the calculator from its turn in the middle of a run: the
// run goes on with the file's next line, and every line does its work.
TEST(LineFiles, HostTurnMayCalculateDuringTheRun) {
  FileHost host;
  std::vector<std::string> turns;
  bool inTurn = false;
  host.m.Events().HostTurn = [&] {
    if (inTurn) return;
    inTurn = true;
    turns.push_back(host.Run("10*10"));
    inTurn = false;
  };
  host.folder.Write("turn.txt", "1=a\n2=b\n\n\n");
  host.Load("turn.txt");
  EXPECT_EQ(host.lines.size(), 2u);
  EXPECT_EQ(host.log.back(), "P1");
  EXPECT_FALSE(turns.empty());
  for (const std::string& t : turns) EXPECT_EQ(t, "100");
  EXPECT_EQ((std::vector<double>{host.Value("a"), host.Value("b")}), (std::vector<double>{1, 2}));
}

TEST(LineFiles, LoadBeforeInitializeFailsClearly) {
  test::TempFolder folder;
  folder.Write("StartUp.txt", "1\n\n\n");
  clsMorvex m;
  m.ProgramFolder(folder.str());
  EXPECT_EQ(FailureCode([&] { m.LoadHText(); }), failure_code::ObjectNotSet);
}

}  // namespace
}  // namespace morvex
