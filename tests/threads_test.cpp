// Calculators on several threads: each thread has its own shared state, so
// four calculators computing at once give, line for line, what the same lines
// give when run on one thread; and what two calculators on one thread share
// (the angle unit) stays within that thread. CI runs this file under
// ThreadSanitizer as a program of its own (morvex_thread_tests).
#include <gtest/gtest.h>

#include <array>
#include <latch>
#include <random>
#include <thread>

#include "session.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

constexpr int kThreads = 4;
constexpr int kLinesPerThread = 300;

// The program folder of one worker: a line file, a start-up file and a script.
void WriteFolder(const test::TempFolder& folder, int worker) {
  const std::string n = std::to_string(worker + 2);
  folder.Write("lines.txt", n + "+3=a\r\nXVar^" + n + "=sq\r\nsq3+a\r\n\r\n\r\n");
  folder.Write("StartUp.txt", n + "=base\r\n\r\n\r\n");
  folder.Write("vbscript.txt",
               "Function inc(x)\r\n  inc = x + " + n +
                   "\r\nEnd Function\r\nFunction twice(a, b)\r\n  twice = a * 2 + b\r\nEnd Function\r\n"
                   "Function label(x)\r\n  label = \"v\" & x\r\nEnd Function\r\n\r\n\r\n");
}

// Hundreds of lines of one worker, the same for the same worker: variables,
// formula words (inside formulas too), the line file, script calls, angle
// units, wrong lines, and lines of the random sessions.
std::vector<std::string> Workload(int worker) {
  std::mt19937 random(static_cast<uint32_t>(1000 + worker));
  const std::vector<std::string> names = {"len", "wid", "hgt", "mass", "vol"};
  std::vector<std::string> lines = {"XVar^2+base=sqb", "YVar*XVar+1=mul", "sqb(XVar)+2=nest"};
  uint32_t seed = 1 + static_cast<uint32_t>(worker) * 100000;
  while (static_cast<int>(lines.size()) < kLinesPerThread) {
    const std::string& name = names[random() % names.size()];
    const std::string k = std::to_string(random() % 50);
    switch (random() % 12) {
      case 0: lines.push_back(k + "*base=" + name); break;
      case 1: lines.push_back(name + "+" + k); break;
      case 2: lines.push_back("sqb" + k + "+" + name); break;
      case 3: lines.push_back(k + "mul" + std::to_string(random() % 9)); break;
      case 4: lines.push_back("nest" + k); break;
      case 5: lines.push_back("lines"); break;
      case 6: lines.push_back("inc(" + k + ")"); break;
      case 7: lines.push_back("twice(" + k + "," + name + ")"); break;
      case 8: lines.push_back(random() % 2 == 0 ? "rad" : "deg"); lines.push_back("sin(" + k + ")"); break;
      case 9: lines.push_back(k + "+*" + name); break;
      default: {  // a line of a random session, but no script call that runs to the engine's budget
        const std::string line = fuzz::RandomSession(seed++).lines.front();
        if (line.find("loopy(") == std::string::npos && line.find("rec(") == std::string::npos) lines.push_back(line);
      }
    }
  }
  return lines;
}

// Every line's outcome, and the variable table at the end.
std::vector<std::string> RunWorkload(int worker, const std::string& folder) {
  clsMorvex calc;
  calc.ProgramFolder(folder);
  calc.Initialize();
  int asked = 0;  // the first words asked about are answered, the rest declined: the table stays small
  calc.Events().InputBox = [&](std::string& num) { num = ++asked <= 8 ? std::to_string(asked) : ""; };
  std::vector<std::string> outcomes;
  calc.LoadHText();
  for (const std::string& line : Workload(worker)) {
    std::string text = line;
    try {
      calc.Calculate(text);
      outcomes.push_back(line + " -> " + calc.OutString() + " | " + std::to_string(calc.ErrNumber()) + " " +
                         std::to_string(calc.ErrFirst()) + " " + calc.ErrFormula() + " " + calc.AngleUnit());
    } catch (const Failure& failure) {
      outcomes.push_back(line + " -> failure " + std::to_string(failure.code()));
    }
  }
  for (const auto& v : calc.VariableList()) outcomes.push_back(v.Key + " = " + std::to_string(v.Value));
  return outcomes;
}

TEST(Threads, FourCalculatorsAtOnceAnswerAsOnOneThread) {
  std::array<test::TempFolder, kThreads> folders;
  std::vector<std::vector<std::string>> alone, together(kThreads);
  for (int worker = 0; worker < kThreads; ++worker) {
    WriteFolder(folders[worker], worker);
    alone.push_back(RunWorkload(worker, folders[worker].str()));
  }
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int worker = 0; worker < kThreads; ++worker) {
    threads.emplace_back([&, worker] {
      start.arrive_and_wait();
      together[worker] = RunWorkload(worker, folders[worker].str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int worker = 0; worker < kThreads; ++worker) {
    ASSERT_GE(alone[worker].size(), static_cast<size_t>(kLinesPerThread));
    EXPECT_EQ(together[worker], alone[worker]) << "worker " << worker;
  }
  // The workloads differ, so a calculator that saw another's state would show it.
  EXPECT_NE(alone[0], alone[1]);
}

// Two calculators on one thread share the angle unit: a unit command on one,
// and Initialize on any (a nested calculator's included), change it for both.
// A calculator on another thread keeps its own.
TEST(Threads, CalculatorsOnOneThreadShareTheAngleUnitAndNoOtherThreadDoes) {
  test::Calc first;
  test::Calc second;
  EXPECT_EQ(first.Out("RAD"), "OK");
  EXPECT_EQ(second.m.AngleUnit(), "Radian");
  EXPECT_EQ(second.Out("Sin(PI/2)"), "1");

  // A calculator made on another thread starts in degrees (its Initialize
  // resets the unit of its own thread only), and its DEG stays there.
  std::string elsewhere;
  std::thread([&] {
    test::Calc other;
    elsewhere = other.m.AngleUnit() + " " + other.Out("Sin(90)") + " " + other.Out("DEG");
  }).join();
  EXPECT_EQ(elsewhere, "Degree 1 OK");
  EXPECT_EQ(first.m.AngleUnit(), "Radian");
  EXPECT_EQ(second.Out("Sin(PI/2)"), "1");

  test::Calc third;  // Initialize resets the unit of the thread
  EXPECT_EQ(second.Out("Sin(90)"), "1");
  first.Out("5=len");
  EXPECT_FALSE(second.Has("len")) << "the variables are each calculator's own";
}

}  // namespace
}  // namespace morvex
