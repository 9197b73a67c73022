// The recalculation after a plain assignment: the one that passes over
// unchanged definitions, against the one that computes every definition,
// leaves every variable, Ans, the properties, every line's answer and every
// event the same over random sessions, and really passes definitions over.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "calculator/recalculation.hpp"
#include "core/shared_state.hpp"
#include "session.hpp"
#include "test_support.hpp"

namespace morvex::test {
namespace {

// What a host sees of a session, line by line: host 0 sets no handler, 1
// UpdateVariables and InputBox, 2 every handler.
std::string RunSession(const fuzz::Session& session, int host, bool fastPath) {
  std::ostringstream log;
  {
    Shared() = SharedState();
    detail::FastRecalculation() = fastPath;
    TempFolder folder;
    fuzz::WriteProgramFolder(session, folder.str());
    clsMorvex calc;
    calc.ProgramFolder(folder.str());
    calc.Initialize();
    int asked = 0;
    auto& events = calc.Events();
    if (host > 0) {
      events.UpdateVariables = [&](double share) { log << " U" << share; };
      events.InputBox = [&](std::string& num) { log << " ?" << num, num = ++asked % 3 == 0 ? "" : std::to_string(asked); };
    }
    if (host > 1) {
      events.Change = [&](int16_t length, int16_t first) { log << " C" << length << ',' << first; };
      events.Change2 = [&](int16_t length, int16_t first) { log << " D" << length << ',' << first; };
      events.Progress = [&](double share) { log << " P" << share; };
      events.InternalCalc = [&](double share) { log << " I" << share; };
    }
    for (std::string text : session.lines) {
      log << "\n> " << text << "\n";
      try {
        log << "= " << calc.Calculate(text);
      } catch (const Failure& failure) {
        log << "failure " << failure.code() << ' ' << failure.what();
      }
      log << "\n" << HostView(calc);
    }
  }
  detail::FastRecalculation() = true;
  return log.str();
}

// Sessions of dependent definitions over names that cut one another
// ("ab" holds "a" and "b"), redefined in any order, with the angle unit
// switched, formula words, Ans, removals and unknown words among them.
fuzz::Session ChainSession(uint32_t seed) {
  static const char* const kNames[] = {"a", "b", "ab", "ba", "c", "abc", "d", "cd", "si", "sin"};
  static const char* const kTerms[] = {"1", "2", "0.5", "sin(30)", "cos(a)", "Ans", "pi", "zz", "f(2)", "b!"};
  static const char* const kOps[] = {"+", "-", "*", "/", "^"};
  std::mt19937 random(seed);
  auto pick = [&](const auto& pool) { return std::string(pool[random() % std::size(pool)]); };
  auto term = [&] { return random() % 3 == 0 ? pick(kTerms) : pick(kNames); };
  auto expression = [&] {
    std::string text = term();
    for (uint32_t k = random() % 3; k > 0; --k) text += pick(kOps) + term();
    return text;
  };
  fuzz::Session session;
  for (const char* name : {"a", "b", "c"}) session.lines.push_back(std::to_string(random() % 9 + 1) + "=" + name);
  for (int k = 20 + int(random() % 30); k > 0; --k) {
    const uint32_t kind = random() % 20;
    std::string line = kind >= 10 && kind < 13 ? std::to_string(random() % 9 + 1) : expression();
    if (kind < 13) line += "=" + pick(kNames);
    if (kind == 15) line = random() % 2 == 0 ? "rad" : "deg";
    if (kind == 16) line = "XVar*" + pick(kNames) + "=f";
    if (kind == 17) line = "NOTHING=" + pick(kNames);
    if (kind == 18) line = expression() + "+2=" + pick(kNames) + "A";  // another spelling or a new name
    if (kind == 19) line = "2+=" + pick(kNames);                       // a wrong line with a target
    session.lines.push_back(line);
  }
  return session;
}

TEST(RecalculationFastPath, RandomSessionsMatchTheFullRecalculation) {
  for (uint32_t seed = 1; seed <= 400; ++seed) {
    const fuzz::Session session = seed % 2 == 0 ? ChainSession(seed) : fuzz::RandomSession(seed);
    const int host = int(seed / 2 % 3);
    const std::string full = RunSession(session, host, false), fast = RunSession(session, host, true);
    if (fast != full) {  // the first line where they part, with the session to replay it
      size_t at = 0;
      while (at < fast.size() && at < full.size() && fast[at] == full[at]) ++at;
      const size_t from = full.rfind("\n>", at);
      FAIL() << "seed " << seed << " host " << host << "\n" << fuzz::ToText(session)
             << "\nfull:" << full.substr(from, 600) << "\nfast:" << fast.substr(from, 600);
    }
  }
}

// Only what depends on the change is computed again: for the head of a chain
// the chain; for a variable that nothing reads, that one, the last (which
// leaves the chains the host reads) and at most the one after it (which reads
// the shared state it left); after a switch of the angle unit, the
// definitions with trigonometric words too. The line, and at most and at
// least how many definitions it computes:
TEST(RecalculationFastPath, ComputesWhatDependsOnTheChange) {
  const std::tuple<const char*, uint64_t, uint64_t> cases[] = {
      {"5=lone", 3, 2}, {"7=q", 61, 60}, {"q+0=lone", 3, 2}, {"rad", 0, 0}, {"2=lone", 4, 3}};
  Shared() = SharedState();
  Calc calc;
  calc.RunAll({"1=lone", "3=sep", "2*sin(30)=ang", "1=q"});  // ang answers by the angle unit
  std::string previous = "q";
  for (int k = 1; k < 60; ++k) {
    const std::string name = "q" + std::string(1, char('a' + k / 26)) + char('a' + k % 26);
    calc.Run(previous + "+1=" + name);
    previous = name;
  }
  const uint64_t& computed = calc.in().Definitions.computed;
  for (const auto& [line, most, least] : cases) {
    const uint64_t before = computed;
    calc.Run(line);
    EXPECT_LE(computed - before, most) << line;
    EXPECT_GE(computed - before, least) << line;
  }
  EXPECT_EQ(calc.Out(previous), "66");
  EXPECT_EQ(calc.Out("ang"), calc.Out("2*sin(30)")) << "computed in radians after the switch";
  EXPECT_NE(calc.Out("ang"), "1");
}

}  // namespace
}  // namespace morvex::test
