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

// What kind of line it was: commands leave the error properties of the line
// before (a removal, "$") or set none (the angle units); a line that names a
// file (it may remove variables) ends with those of the file's last line.
std::string Kind(const std::string& line) {
  const std::string upper = test::Upper(line);
  for (const char* command : {"$", "RAD", "RADIANS", "DEG", "DEGREES"}) if (upper == command) return "command";
  if (upper.rfind("NOTHING=", 0) == 0) return "command";
  return upper == "LINES" || upper == "STARTUP" ? "file" : "";
}

TEST(SessionRobustness, RandomSessionsEndInBoundedTimeAndKeepTheirVariables) {
  std::map<std::string, int> outcomes;
  for (uint32_t seed = 1; seed <= 150; ++seed) {
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
        // A script call answers in OutString and leaves the error properties of the line before.
        place = calc.Expression().rfind("VBScript Run ", 0) == 0 ? "script" : Kind(line);
        if (place.empty()) place = test::ErrorPlace(calc);
      } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()), "");
        place = "failure " + std::to_string(failure.code());
      }
      EXPECT_LT(fuzz::ThreadCpuSeconds() - start, fuzz::LineCpuBoundSeconds());
      ++outcomes[place];
      EXPECT_TRUE(place == "none" || place == "line" || place == "formula" || place == "script" ||
                  place == "command" || place == "file" || place.rfind("failure ", 0) == 0) << place;
      EXPECT_TRUE(Shared().gNestingDepth == 0 && Shared().gNestedCalculators == nullptr);
      // Only a removal, or a file that may hold one, removes a variable.
      if (Kind(line).empty()) {
        const std::vector<std::string> after = UpperNames(calc);
        for (const std::string& name : before) {
          EXPECT_NE(std::find(after.begin(), after.end(), name), after.end()) << name << " was lost";
        }
      }
    }
    // Whatever the session did, the calculator still computes.
    EXPECT_EQ(test::FailureCode([&] { calc.Calculate(std::string_view("2+3")); }), 0);
    EXPECT_TRUE(calc.OutString() == "5" || calc.Expression().rfind("VBScript Run ", 0) == 0) << calc.OutString();
  }
  // The sessions reach every kind of outcome.
  for (const char* kind : {"none", "line", "script", "command", "file", "failure 28"}) {
    EXPECT_GT(outcomes[kind], 0) << kind;
  }
}

}  // namespace
}  // namespace morvex
