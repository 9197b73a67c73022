// Random sessions of a user who defines variables from reserved words, formula
// words whose texts name other variables, formulas inside formulas, with line
// files, a start-up file and script calls: every line ends, within a bound of
// CPU time, in an answer, an error whose place lies in its text, or a
// morvex::Failure; no line but a removal costs a variable, and nothing of a
// line's nesting is left behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "core/shared_state.hpp"
#include "session.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

std::vector<std::string> UpperNames(const clsMorvex& calc) {
  std::vector<std::string> names;
  for (const auto& v : calc.VariableList()) names.push_back(test::Upper(v.Key));
  return names;
}

bool NamesAFile(const std::string& line) {
  const std::string upper = test::Upper(line);
  return upper == "LINES" || upper == "STARTUP";
}

// Commands leave the error properties of the line before (a removal, "$") or
// set none (the angle units).
bool IsCommand(const std::string& line) {
  const std::string upper = test::Upper(line);
  return upper.rfind("NOTHING=", 0) == 0 || upper == "$" || upper == "RAD" || upper == "RADIANS" ||
         upper == "DEG" || upper == "DEGREES";
}

// The outcome of a line that went through Calculate.
std::string Outcome(clsMorvex& calc, const std::string& line) {
  // A script call answers in OutString and leaves the error properties of
  // the line before; so does a command, and the line that names a file ends
  // with the error properties of the file's last line.
  if (calc.Expression().rfind("VBScript Run ", 0) == 0) return "script";
  if (IsCommand(line)) return "command";
  if (NamesAFile(line)) return "file";
  return test::ErrorPlace(calc);
}

TEST(SessionRobustness, RandomSessionsEndInBoundedTimeAndKeepTheirVariables) {
  std::map<std::string, int> outcomes;
  for (uint32_t seed = 1; seed <= 300; ++seed) {
    const fuzz::Session session = fuzz::RandomSession(seed);
    SCOPED_TRACE("seed " + std::to_string(seed) + ":\n" + fuzz::ToText(session));
    test::TempFolder folder;
    fuzz::WriteProgramFolder(session, folder.str());
    clsMorvex calc;
    calc.ProgramFolder(folder.str());
    calc.Initialize();
    int asked = 0;
    calc.Events().InputBox = [&](std::string& num) { num = ++asked % 2 == 0 ? "1.5" : ""; };

    for (const std::string& line : session.lines) {
      SCOPED_TRACE("line \"" + line + "\"");
      const std::vector<std::string> before = UpperNames(calc);
      std::string text = line;
      const double start = fuzz::ThreadCpuSeconds();
      std::string place;
      try {
        calc.Calculate(text);
        place = Outcome(calc, line);
      } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()), "");
        place = "failure " + std::to_string(failure.code());
      }
      EXPECT_LT(fuzz::ThreadCpuSeconds() - start, fuzz::LineCpuBoundSeconds());
      ++outcomes[place];
      EXPECT_TRUE(place == "none" || place == "line" || place == "formula" || place == "script" ||
                  place == "command" || place == "file" || place.rfind("failure ", 0) == 0)
          << place;

      EXPECT_EQ(Shared().gNestingDepth, 0);
      EXPECT_EQ(Shared().gNestedCalculators, nullptr);
      // Only a removal, or a file that may hold one, removes a variable.
      if (!IsCommand(line) && !NamesAFile(line)) {
        const std::vector<std::string> after = UpperNames(calc);
        for (const std::string& name : before) {
          EXPECT_NE(std::find(after.begin(), after.end(), name), after.end()) << name << " was lost";
        }
      }
    }
    // Whatever the session did, the calculator still computes.
    std::string check = "2+3";
    try {
      calc.Calculate(check);
      if (calc.Expression().rfind("VBScript Run ", 0) != 0) EXPECT_EQ(calc.OutString(), "5");
    } catch (const Failure& failure) {
      ADD_FAILURE() << "2+3 failed: " << failure.what();
    }
  }
  // The sessions reach every kind of outcome.
  for (const char* kind : {"none", "line", "script", "command", "file", "failure 28"}) {
    EXPECT_GT(outcomes[kind], 0) << kind;
  }
}

}  // namespace
}  // namespace morvex
