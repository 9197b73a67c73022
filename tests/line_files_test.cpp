// Running a text file line by line with LoadHText: which entries run, the
// events the host sees (Progress before each line and at the end, Wait at a
// pause line, Change(0, 1) after each line), what the properties hold inside
// those events and after the run, and the failures that reach the host.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "test_support.hpp"

namespace morvex {
namespace {

using Log = std::vector<std::string>;
using test::FailureCode;

std::string P(double share) { return (std::ostringstream() << "P" << share).str(); }

// A host that logs "P<share>" for Progress, "W" for Wait and "C <InString>"
// for the Change(0, 1) after each line, and keeps OutString and
// InString|OutString|Expression|StringVariable as they were there.
struct FileHost : test::Calc {
  Log log, outs, lines;
  FileHost() {
    m.Events().Progress = [this](double share) { log.push_back(P(share)); };
    m.Events().Wait = [this] { log.push_back("W"); };
    m.Events().Change = [this](int16_t length, int16_t first) {
      if (length != 0 || first != 1) return;
      log.push_back("C " + m.InString());
      outs.push_back(m.OutString());
      lines.push_back(m.InString() + "|" + m.OutString() + "|" + m.Expression() + "|" + m.StringVariable());
    };
  }
  void Load(const std::string& name, const std::string& bytes) {
    std::string path = folder.Write(name, bytes).string();
    m.LoadHText(path);
  }
};

// Of the first block's entries all but the last two run, counted by its line
// feeds, with Progress before each and at the end; the run ends with cleared outputs.
TEST(LineFiles, CountRulesOfTheLoop) {
  const std::pair<std::string, Log> cases[] = {
      {"1\n2\n3\n4\n5\n", {P(0.2), "C 1", P(0.4), "C 2", P(0.6), "C 3", "P1"}},
      {"1\n2\n3\n4", {P(1.0 / 3), "C 1", "P1"}},
      {"3=x\n4=y\n", {"P1"}},
      {"", {"P1"}},
      // One line feed: the count never meets its end, and both entries run.
      {"5\n6", {"P1", "C 5", "P2", "C 6", "P1"}},
      {"5\n", {"P1", "C 5", "P2", "C ", "P1"}},
  };
  for (const auto& [bytes, log] : cases) {
    FileHost host;
    host.Out("2+3");
    host.log.clear();
    host.Load("lines.txt", bytes);
    EXPECT_EQ(host.log, log) << testing::PrintToString(bytes);
    EXPECT_EQ(host.m.OutString() + host.m.InString(), "");
  }
}

// One line without a line feed, and a count past 32767, fail before any line
// runs; and a calculator without Initialize has no program folder.
TEST(LineFiles, FailuresOfTheRunReachTheCaller) {
  for (const auto& [bytes, code] : {std::pair{std::string("2+3=x"), failure_code::DivisionByZero},
                                    std::pair{std::string(40000, '\n'), failure_code::Overflow}}) {
    FileHost host;
    const std::string& text = bytes;  // a lambda may not capture a structured binding (clang 14)
    EXPECT_EQ(FailureCode([&] { host.Load("bad.txt", text); }), code);
    EXPECT_EQ(host.log, Log{});
    EXPECT_EQ(host.Out("1=z"), "1") << "the calculator is still usable";
  }
  test::TempFolder folder;
  folder.Write("StartUp.txt", "1\n\n\n");
  clsMorvex m;
  m.ProgramFolder(folder.str());
  EXPECT_EQ(FailureCode([&] { m.LoadHText(); }), failure_code::ObjectNotSet);
}

// A CR before the line feed stays: after a target name it is trailing text,
// and "$\r" is no pause.
TEST(LineFiles, CarriageReturnLineEnds) {
  FileHost host;
  host.Load("crlf.txt", "4=x\r\n$\r\nx*2=y\r\n1+1\r\n\r\n\r\n");
  EXPECT_EQ(std::count(host.log.begin(), host.log.end(), "W"), 0);
  ASSERT_EQ(host.lines.size(), 4u);
  EXPECT_EQ(host.lines[0] + host.outs[2] + host.outs[3], "4|4|\r|82");
}

// A pause raises Wait with the report of the line before (the bare target
// name, then a cleared line); what the handler does to it does not last.
TEST(LineFiles, PauseLineRaisesWaitInsteadOfCalculating) {
  FileHost host;
  host.Out("XVar*2=f cm");  // a formula target: a plain one would recompute the variables, which scans again
  host.log.clear();
  Log atWait;
  host.m.Events().Wait = [&] {
    host.log.push_back("W");
    atWait.insert(atWait.end(), {host.m.StringVariable(), host.m.Expression()});
    host.m.StringVariable("changed by the host");
    host.m.Expression("changed by the host");
  };
  host.Load("pause.txt", "$\n1=a\n$\n2=b\n\n\n");
  EXPECT_EQ(host.log,
            (Log{P(1.0 / 6), "W", "C XVar*2", P(2.0 / 6), "C 1", P(3.0 / 6), "W", "C ", P(4.0 / 6), "C 2", "P1"}));
  EXPECT_EQ(atWait, (Log{"f", "cm", "", ""}));
  EXPECT_EQ((Log{host.lines.at(0), host.lines.at(2)}), (Log{"XVar*2|f|cm|f", "|||"}));
  EXPECT_TRUE(host.Has("b"));
}

// After the run the outputs are cleared but for StringTyping and ErrLength,
// which hold what the last line leaves when a host types it.
TEST(LineFiles, PropertiesAfterTheRun) {
  for (const std::string last : {"2+3=x cm", "2+*3", "sin(0"}) {
    FileHost typed, host;
    typed.Out(last);
    host.Load("run.txt", last + "\n\n\n");
    EXPECT_EQ(host.outs, Log{typed.m.OutString()}) << last;
    EXPECT_EQ(host.m.OutString() + host.m.InString() + host.m.Expression() + host.m.StringVariable() +
                  host.m.ErrDescription() + std::to_string(host.m.ErrNumber() + host.m.ErrFirst()) + "|" +
                  host.m.StringTyping() + "|" + std::to_string(host.m.ErrLength()),
              "0|" + typed.m.StringTyping() + "|" + std::to_string(typed.m.ErrLength())) << last;
  }
}

// A host may calculate from its turn in the middle of a run, and the run goes on.
TEST(LineFiles, HostTurnMayCalculateDuringTheRun) {
  FileHost host;
  Log turns;
  bool inTurn = false;
  host.m.Events().HostTurn = [&] {
    if (inTurn) return;
    inTurn = true;
    turns.push_back(host.Run("10*10"));
    inTurn = false;
  };
  host.Load("turn.txt", "1=a\n2=b\n\n\n");
  EXPECT_EQ(host.outs.size(), 2u);
  EXPECT_EQ(turns, Log(4, "100")) << "a turn in each line's calculation and after the line";
  EXPECT_EQ(host.Var("a")->Value + host.Var("b")->Value, 3);
}

}  // namespace
}  // namespace morvex
