// Calculators on several threads: each thread has its own shared state, so
// four calculators at once answer as on one thread, and what calculators on
// one thread share (the angle unit) stays there. CI runs this program
// (morvex_thread_tests) under ThreadSanitizer.
#include <gtest/gtest.h>

#include <array>
#include <latch>
#include <thread>

#include "session.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

constexpr int kThreads = 4;

// The outcome of every line and the variable tables of random sessions (with
// their line files, start-up files and scripts), the same for the same worker;
// sessions with a script call that runs to the engine's budget are left out.
std::vector<std::string> RunWorkload(int worker, const std::string& folder) {
  std::vector<std::string> outcomes;
  for (uint32_t seed = 1 + uint32_t(worker) * 1000; outcomes.size() < 300; ++seed) {
    const fuzz::Session session = fuzz::RandomSession(seed);
    const std::string text = fuzz::ToText(session);
    if (text.find("loopy(1)") != std::string::npos || text.find("rec(1)") != std::string::npos) continue;
    fuzz::WriteProgramFolder(session, folder);
    clsMorvex calc;
    calc.ProgramFolder(folder);
    calc.Initialize();
    int asked = 0;  // the first words asked about are answered, the rest declined: the table stays small
    calc.Events().InputBox = [&](std::string& num) { num = ++asked <= 8 ? std::to_string(asked) : ""; };
    calc.LoadHText();
    for (std::string line : session.lines) {
      try {
        calc.Calculate(line);
        outcomes.push_back(line + " -> " + calc.OutString() + " | " + std::to_string(calc.ErrNumber()) + " " +
                           std::to_string(calc.ErrFirst()) + " " + calc.ErrFormula() + " " + calc.AngleUnit());
      } catch (const Failure& failure) {
        outcomes.push_back(line + " -> failure " + std::to_string(failure.code()));
      }
    }
    for (const auto& v : calc.VariableList()) outcomes.push_back(v.Key + " = " + std::to_string(v.Value));
  }
  return outcomes;
}

TEST(Threads, FourCalculatorsAtOnceAnswerAsOnOneThread) {
  std::array<test::TempFolder, kThreads> folders;
  std::vector<std::vector<std::string>> alone, together(kThreads);
  for (int worker = 0; worker < kThreads; ++worker) alone.push_back(RunWorkload(worker, folders[worker].str()));
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int worker = 0; worker < kThreads; ++worker) {
    threads.emplace_back([&, worker] {
      start.arrive_and_wait();
      together[worker] = RunWorkload(worker, folders[worker].str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int worker = 0; worker < kThreads; ++worker) EXPECT_EQ(together[worker], alone[worker]) << worker;
  // The workloads differ, so a calculator that saw another's state would show it.
  EXPECT_NE(alone[0], alone[1]);
}

// The calculators of one thread share the angle unit; a calculator made on
// another thread starts in degrees, and its DEG stays there.
TEST(Threads, TheAngleUnitBelongsToTheThread) {
  test::Calc first, second;
  EXPECT_EQ(first.Out("RAD"), "OK");
  EXPECT_EQ(second.m.AngleUnit(), "Radian");
  std::vector<std::string> elsewhere;
  std::thread([&] {
    test::Calc other;
    elsewhere = {other.m.AngleUnit(), other.Out("Sin(90)"), other.Out("DEG")};
  }).join();
  EXPECT_EQ(elsewhere, (std::vector<std::string>{"Degree", "1", "OK"}));
  EXPECT_EQ(second.Out("Sin(PI/2)"), "1");
}

}  // namespace
}  // namespace morvex
