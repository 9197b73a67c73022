// The recalculation that passes over unchanged definitions against the one
// that computes every definition: the same random sessions, each started
// from a fresh shared state, must leave every variable, Ans, the properties,
// every line's answer and every event the same; and the pass-over must
// really pass definitions over.
#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <sstream>

#include "calculator/recalculation.hpp"
#include "core/shared_state.hpp"
#include "session.hpp"
#include "test_support.hpp"

namespace morvex::test {
namespace {

enum class Host { Silent, Asking, Watching };  // no handler; UpdateVariables and InputBox; every handler

// What a host sees of a session, line by line.
std::string RunSession(const fuzz::Session& session, Host host, bool fastPath) {
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
    if (host != Host::Silent) {
      calc.Events().UpdateVariables = [&](double share) { log << " U" << share; };
      calc.Events().InputBox = [&](std::string& num) {
        log << " ?" << num;
        num = ++asked % 3 == 0 ? "" : std::to_string(asked);
      };
    }
    if (host == Host::Watching) {
      calc.Events().Change = [&](int16_t length, int16_t first) { log << " C" << length << ',' << first; };
      calc.Events().Change2 = [&](int16_t length, int16_t first) { log << " D" << length << ',' << first; };
      calc.Events().Progress = [&](double share) { log << " P" << share; };
      calc.Events().InternalCalc = [&](double share) { log << " I" << share; };
    }
    for (const std::string& line : session.lines) {
      std::string text = line;
      log << "\n> " << line << "\n";
      try {
        log << "= " << calc.Calculate(text);
      } catch (const Failure& failure) {
        log << "failure " << failure.code() << ' ' << failure.what();
      }
      log << "\n| " << calc.OutString() << " | " << calc.InString() << " | " << calc.Expression() << " | "
          << calc.StringVariable() << " | " << calc.StringTyping() << " | " << calc.ErrNumber() << ' '
          << calc.ErrFirst() << ' ' << calc.ErrLength() << ' ' << calc.ErrDescription() << ' ' << calc.ErrFormula()
          << " | " << calc.DNAString() << " | " << calc.DNAString2() << "\n";
      for (const auto& variable : calc.VariableList()) {
        log << variable.Key << ':' << variable.TypeVar << ':' << std::bit_cast<uint64_t>(variable.Value) << ' ';
      }
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
  auto expression = [&] {
    std::string text = random() % 3 == 0 ? pick(kTerms) : pick(kNames);
    for (uint32_t k = random() % 3; k > 0; --k) text += pick(kOps) + (random() % 3 == 0 ? pick(kTerms) : pick(kNames));
    return text;
  };
  fuzz::Session session;
  for (const char* name : {"a", "b", "c"}) session.lines.push_back(std::to_string(random() % 9 + 1) + "=" + name);
  const int lines = 20 + static_cast<int>(random() % 30);
  for (int k = 0; k < lines; ++k) {
    const uint32_t kind = random() % 20;
    if (kind < 10) {
      session.lines.push_back(expression() + "=" + pick(kNames));
    } else if (kind < 13) {
      session.lines.push_back(std::to_string(random() % 9 + 1) + "=" + pick(kNames));
    } else if (kind < 15) {
      session.lines.push_back(expression());
    } else if (kind == 15) {
      session.lines.push_back(random() % 2 == 0 ? "rad" : "deg");
    } else if (kind == 16) {
      session.lines.push_back("XVar*" + pick(kNames) + "=f");
    } else if (kind == 17) {
      session.lines.push_back("NOTHING=" + pick(kNames));
    } else if (kind == 18) {
      session.lines.push_back(expression() + "+2=" + pick(kNames) + "A");  // another spelling or a new name
    } else {
      session.lines.push_back("2+=" + pick(kNames));  // a wrong line with a target
    }
  }
  return session;
}

TEST(RecalculationFastPath, RandomSessionsMatchTheFullRecalculation) {
  for (uint32_t seed = 1; seed <= 400; ++seed) {
    const fuzz::Session session = seed % 2 == 0 ? ChainSession(seed) : fuzz::RandomSession(seed);
    const Host host = static_cast<Host>(seed / 2 % 3);
    const std::string full = RunSession(session, host, false);
    const std::string fast = RunSession(session, host, true);
    if (fast != full) {
      // The first line where they part, with the session to replay it.
      size_t at = 0;
      while (at < fast.size() && at < full.size() && fast[at] == full[at]) ++at;
      const size_t from = full.rfind("\n>", at);
      ADD_FAILURE() << "seed " << seed << " host " << static_cast<int>(host) << "\n"
                    << fuzz::ToText(session) << "\nfull:" << full.substr(from, 600)
                    << "\nfast:" << fast.substr(from, 600);
      return;
    }
  }
}

// Only what depends on the changed value is computed again: a new value for
// the head of a chain computes the chain; one for a variable that nothing
// reads computes that variable, the last (whose computation leaves the chains
// the host can read) and at most the one after it (which reads the shared
// state the changed one left); after a switch of the angle unit, the
// definitions with trigonometric words too.
TEST(RecalculationFastPath, ComputesWhatDependsOnTheChange) {
  struct Case {
    const char* line;
    uint64_t most;  // definitions computed by the recalculation, at most
    uint64_t least;
  };
  const Case cases[] = {
      {"5=lone", 3, 2}, {"7=q", 61, 60}, {"q+0=lone", 3, 2}, {"rad", 0, 0}, {"2=lone", 4, 3},
  };
  {
    Shared() = SharedState();
    Calc calc;
    calc.Run("1=lone");
    calc.Run("3=sep");
    calc.Run("2*sin(30)=ang");  // answers by the angle unit
    std::string previous = "q";
    calc.Run("1=q");
    for (int k = 1; k < 60; ++k) {
      const std::string name = "q" + std::string(1, static_cast<char>('a' + k / 26)) + static_cast<char>('a' + k % 26);
      calc.Run(previous + "+1=" + name);
      previous = name;
    }
    detail::DefinitionRecords& records = calc.in().Definitions;
    for (const Case& test : cases) {
      const uint64_t before = records.computed;
      calc.Run(test.line);
      EXPECT_LE(records.computed - before, test.most) << test.line;
      EXPECT_GE(records.computed - before, test.least) << test.line;
    }
    EXPECT_EQ(calc.Out(previous), "66");
    EXPECT_EQ(calc.Out("ang"), calc.Out("2*sin(30)")) << "computed in radians after the switch";
    EXPECT_NE(calc.Out("ang"), "1");
  }
}

}  // namespace
}  // namespace morvex::test
