// Targets of a line, the stored chains of variables, the recalculation of
// plain variables after an assignment, and unknown words put to the host.
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "morvex/morvex.hpp"

namespace morvex {
namespace {

void RunLine(clsMorvex& calc, const std::string& line) {
  std::string text = line;
  try {
    calc.Calculate(text);
  } catch (const Failure& f) {
    ADD_FAILURE() << "line \"" << line << "\" failed with code " << f.code() << ": " << f.what();
  }
}

std::optional<clsMorvex::VariableView> Variable(const clsMorvex& calc, const std::string& name) {
  for (const auto& v : calc.VariableList()) {
    std::string a = v.Key;
    std::string b = name;
    for (char& ch : a) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    for (char& ch : b) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    if (a == b) return v;
  }
  return std::nullopt;
}

double AnsOf(const clsMorvex& calc) { return calc.VariableList().at(0).Value; }

// The text of each user variable's stored chain, as the host lists it.
std::map<std::string, std::string> StoredTexts(clsMorvex& calc) {
  std::map<std::string, std::string> texts;
  auto saved = calc.Events().GetFunctions;
  calc.Events().GetFunctions = [&](const std::string& name, const std::string& text) { texts[name] = text; };
  calc.FetchFunctions();
  calc.Events().GetFunctions = saved;
  return texts;
}

TEST(Targets, EachLineStoresItsExpressionAndItsValue) {
  struct Step {
    const char* line;
    const char* out;
    const char* expression;  // the Expression property afterwards
    const char* name;        // the target as the table spells it afterwards
    int16_t typeVar;
    double value;   // the target's value (plain targets)
    const char* stored;  // the text of its stored chain
    double ans;
  };
  const Step steps[] = {
      {"3=w", "3", "New Variable w Added", "w", 1, 3, "3", 3},
      {"3=w", "3", "", "w", 1, 3, "3", 3},
      {"2+3=w", "5", "", "w", 1, 5, "2+3", 5},
      // Another case names the same variable, which takes the new spelling.
      {"3=W", "3", "", "W", 1, 3, "3", 3},
      {"XVar^2=f", "f", "New Variable f Added", "f", 2, 0, "XVar^2", 3},
      {"YVar*2=g", "g", "New Variable g Added", "g", 3, 0, "YVar*2", 3},
      {"yvar+xvar=h", "h", "New Variable h Added", "h", 4, 0, "YVar+XVar", 3},
      {"sin(30)+1=k", "1.5", "New Variable k Added", "k", 1, 1.5, "Sin(30)+1", 1.5},
      {"2+3=z cm", "5", "cm", "z", 1, 5, "2+3", 5},
      // A plain variable becomes a formula, and back.
      {"XVar+1=W", "W", "", "W", 2, 3, "XVar+1", 5},
      {"7=w", "7", "", "w", 1, 7, "7", 5},
  };
  clsMorvex calc;
  calc.Initialize();
  for (const Step& s : steps) {
    SCOPED_TRACE(s.line);
    RunLine(calc, s.line);
    EXPECT_EQ(calc.OutString(), s.out);
    EXPECT_EQ(calc.ErrNumber(), 0);
    EXPECT_EQ(calc.Expression(), s.expression);
    const auto v = Variable(calc, s.name);
    ASSERT_TRUE(v.has_value());
    EXPECT_EQ(v->Key, s.name);
    EXPECT_EQ(v->TypeVar, s.typeVar);
    if (s.typeVar == 1) {
      EXPECT_EQ(v->Value, s.value);
    }
    EXPECT_EQ(StoredTexts(calc)[s.name], s.stored);
    if (s.typeVar == 1) {
      // The recalculation of the plain variables empties StringVariable, and
      // the last recomputed variable leaves its value in Ans.
      EXPECT_EQ(calc.StringVariable(), "");
      EXPECT_EQ(AnsOf(calc), s.ans);
    } else {
      EXPECT_EQ(calc.StringVariable(), std::string("\r\n") + s.name);
    }
  }
  // w, f, g, h, k, z: one entry each, w under its latest spelling.
  std::vector<std::string> names;
  for (const auto& v : calc.VariableList()) names.push_back(v.Key);
  const std::vector<std::string> expected = {"Ans", "XVar", "YVar", "w", "f", "g", "h", "k", "z"};
  EXPECT_EQ(names, expected);
}

TEST(Targets, TheLogLineOfAnAssignment) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "2+3=w");
  EXPECT_EQ(calc.InString(), "2+3");
  EXPECT_EQ(calc.StringTyping(), "2+3=5    w      \r\n");
  RunLine(calc, "XVar^2=f");
  EXPECT_EQ(calc.StringTyping(), "XVar^2=f    f      \r\n");
  EXPECT_EQ(calc.InString(), "XVar^2");
}

TEST(Targets, AFormulaTargetComputesNothing) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "4");
  int updates = 0;
  int changes = 0;
  calc.Events().UpdateVariables = [&](double) { ++updates; };
  calc.Events().Change = [&](int16_t, int16_t) { ++changes; };
  RunLine(calc, "XVar^2+1/0=f");
  EXPECT_EQ(calc.OutString(), "f");
  EXPECT_EQ(calc.ErrNumber(), 0);
  EXPECT_EQ(AnsOf(calc), 4.0);
  EXPECT_EQ(updates, 0);
  EXPECT_EQ(changes, 0);
}

TEST(Targets, AWrongLineDropsItsTarget) {
  clsMorvex calc;
  calc.Initialize();
  int updates = 0;
  calc.Events().UpdateVariables = [&](double) { ++updates; };
  RunLine(calc, "2+=x");
  EXPECT_EQ(calc.ErrNumber(), 1);
  EXPECT_FALSE(Variable(calc, "x").has_value());
  EXPECT_EQ(calc.StringVariable(), "\r\n");
  // The line still asked for the recalculation, which has no variable to do.
  EXPECT_EQ(updates, 1);
}

TEST(Targets, FormulaVariablesTakeTheNumbersBesideThem) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "XVar^2=f");
  RunLine(calc, "YVar+XVar=g");
  RunLine(calc, "YVar*10=t");
  struct Step {
    const char* line;
    const char* out;
  };
  const Step steps[] = {
      {"f3", "9"}, {"2g3", "5"}, {"f3+1", "10"}, {"1+f(2+1)", "10"}, {"3t", "30"}, {"2*3t", "60"},
      {"f=u", "0"},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.line);
    RunLine(calc, s.line);
    EXPECT_EQ(calc.OutString(), s.out);
    EXPECT_EQ(calc.ErrNumber(), 0);
  }
}

// Percentages raised by the recalculation after a line.
struct Recalculation {
  std::vector<double> percents;
  void Attach(clsMorvex& calc) {
    calc.Events().UpdateVariables = [this](double p) { percents.push_back(p); };
  }
};

TEST(Recalculation, PlainVariablesAreLiveFormulas) {
  clsMorvex calc;
  calc.Initialize();
  calc.Events().InputBox = [](std::string& num) { num = "2"; };
  Recalculation rec;
  rec.Attach(calc);

  RunLine(calc, "m+1=b");
  EXPECT_EQ(calc.OutString(), "3");
  EXPECT_EQ(Variable(calc, "m")->Value, 2.0);
  EXPECT_EQ(Variable(calc, "b")->Value, 3.0);
  EXPECT_EQ(rec.percents, (std::vector<double>{4.0 / 5, 1.0, 1.0}));

  rec.percents.clear();
  RunLine(calc, "5=m");
  // The line's own answer; the recalculation does not touch the properties.
  EXPECT_EQ(calc.OutString(), "5");
  EXPECT_EQ(calc.StringVariable(), "");
  EXPECT_EQ(Variable(calc, "m")->Value, 5.0);
  EXPECT_EQ(Variable(calc, "b")->Value, 6.0);
  // Ans holds what the last recomputed variable gave it.
  EXPECT_EQ(AnsOf(calc), 6.0);
  EXPECT_EQ(rec.percents, (std::vector<double>{4.0 / 5, 1.0, 1.0}));

  // A formula variable is passed over, but it counts in the percentages.
  RunLine(calc, "XVar^2=f");
  rec.percents.clear();
  RunLine(calc, "b*10=c");
  EXPECT_EQ(Variable(calc, "c")->Value, 60.0);
  EXPECT_EQ(rec.percents, (std::vector<double>{4.0 / 7, 5.0 / 7, 6.0 / 7, 1.0, 1.0}));

  rec.percents.clear();
  RunLine(calc, "7=m");
  EXPECT_EQ(Variable(calc, "b")->Value, 8.0);
  EXPECT_EQ(Variable(calc, "c")->Value, 80.0);
  EXPECT_EQ(AnsOf(calc), 80.0);

  // A line without a target asks for no recalculation.
  rec.percents.clear();
  RunLine(calc, "m+b");
  EXPECT_EQ(calc.OutString(), "15");
  EXPECT_TRUE(rec.percents.empty());
}

TEST(Recalculation, AVariableThatNamesItselfIsComputedAgain) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "3=x");
  RunLine(calc, "x+1=x");
  // The line gives 4, and the recalculation runs "x+1=x" once more.
  EXPECT_EQ(calc.OutString(), "4");
  EXPECT_EQ(Variable(calc, "x")->Value, 5.0);
}

TEST(Recalculation, TheAngleCommandsDoNotRecalculate) {
  clsMorvex calc;
  calc.Initialize();
  RunLine(calc, "Sin30=q");
  Recalculation rec;
  rec.Attach(calc);
  RunLine(calc, "RAD");
  EXPECT_TRUE(rec.percents.empty());
  EXPECT_EQ(Variable(calc, "q")->Value, 0.5);
  RunLine(calc, "1=one");
  // Now q is computed again in radians.
  EXPECT_EQ(Variable(calc, "q")->Value, -0.988031624092862);
}

TEST(Recalculation, AVariableNameInsideAReservedWordIsTakenOnTheWayBack) {
  // The line itself is the sine of 30. Once s exists, the recalculation reads
  // "Sin30=s" again, where the name s takes its letter out of "Sin", and the
  // rest of the word is an unknown name that the host is asked for.
  clsMorvex calc;
  calc.Initialize();
  std::vector<std::string> asked;
  calc.Events().InputBox = [&](std::string& num) {
    asked.push_back(num);
    num = "2";
  };
  RunLine(calc, "Sin30=s");
  EXPECT_EQ(calc.OutString(), "0.5");
  EXPECT_EQ(asked, (std::vector<std::string>{"in"}));
  EXPECT_EQ(Variable(calc, "in")->Value, 2.0);
  EXPECT_EQ(Variable(calc, "s")->Value, 30.0);
}

// Unknown words in a line are put to the host through InputBox.
struct Prompt {
  const char* line;
  std::optional<const char*> answer;  // nullopt: the host has no handler
  std::vector<std::string> asked;     // the words the host was asked for
  const char* out;
  const char* created;                // a variable that must exist afterwards, or ""
  double value;                       // its value
};

void ExpectPrompts(const std::vector<Prompt>& rows, const std::vector<std::string>& setup = {}) {
  for (const Prompt& row : rows) {
    SCOPED_TRACE(std::string("line ") + row.line);
    clsMorvex calc;
    calc.Initialize();
    for (const std::string& s : setup) RunLine(calc, s);
    std::vector<std::string> asked;
    if (row.answer) {
      const std::string answer = *row.answer;
      calc.Events().InputBox = [&asked, answer](std::string& num) {
        asked.push_back(num);
        num = answer;
      };
    }
    const size_t before = calc.VariableList().size();
    RunLine(calc, row.line);
    if (row.answer) {
      EXPECT_EQ(asked, row.asked);
    }
    EXPECT_EQ(calc.OutString(), row.out);
    if (*row.created) {
      const auto v = Variable(calc, row.created);
      ASSERT_TRUE(v.has_value());
      EXPECT_EQ(v->Key, row.created);
      EXPECT_EQ(v->TypeVar, 1);
      EXPECT_EQ(v->Value, row.value);
      EXPECT_EQ(calc.Expression(), std::string("New Variable ") + row.created + " Added");
      EXPECT_EQ(calc.VariableList().size(), before + 1);
    } else {
      EXPECT_EQ(calc.VariableList().size(), before);
    }
  }
}

TEST(UnknownWords, TheAnswerBecomesAPlainVariable) {
  ExpectPrompts({
      {"r*2", "1.5", {"r"}, "3", "r", 1.5},
      // Anything after a number is dropped; no number at all counts as 0.
      {"r*2", "12abc", {"r"}, "24", "r", 12},
      {"r*2", "abc", {"r"}, "0", "r", 0},
      {"r*2", "1e3", {"r"}, "2000", "r", 1000},
      // Without a handler the word itself is the answer, and reads as 0.
      {"r*2", std::nullopt, {}, "0", "r", 0},
      {"x", "7", {"x"}, "7", "x", 7},
      {"Speed*2", "3", {"Speed"}, "6", "Speed", 3},
      {"x", "-2", {"x"}, "-2", "x", -2},
      {"r*2", " 5", {"r"}, "10", "r", 5},
      // The whole run of letters is the word, reserved words inside it or not.
      {"2pix", "3", {"pix"}, "6", "pix", 3},
      {"ExpSin30", "2", {"ExpSin"}, "60", "ExpSin", 2},
  });
}

TEST(UnknownWords, EachWordIsAskedOnceInTheOrderOfTheLine) {
  ExpectPrompts({
      {"ab+ab", "2", {"ab"}, "4", "ab", 2},
      {"a1", "3", {"a"}, "3", "a", 3},
      // "2*fix" ends on the last cell, where FIX is no reserved word.
      {"2*fix", "4", {"fix"}, "8", "fix", 4},
      {"fix(2.5)", "4", {}, "2", "", 0},
      {"sin(1)", "4", {}, "1.74524064372835E-02", "", 0},
      {"SIN(1)", "4", {}, "1.74524064372835E-02", "", 0},
      {"Sin(1)", "4", {}, "1.74524064372835E-02", "", 0},
      {"Ans+1", "4", {}, "1", "", 0},
      {"2*PI", "4", {}, "6.28318530717958", "", 0},
      {"2*yvar+xvar", "4", {}, "0", "", 0},
      // A declined word is put to the host again, also within the line.
      {"ab+ab", "", {"ab", "ab"}, "0", "", 0},
  });
}

TEST(UnknownWords, ExponentMarksAreNeverAsked) {
  for (const char* line : {"e", "E", "2E3", "e1", "2e"}) {
    SCOPED_TRACE(line);
    clsMorvex calc;
    calc.Initialize();
    int asked = 0;
    calc.Events().InputBox = [&](std::string&) { ++asked; };
    RunLine(calc, line);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(calc.VariableList().size(), 3u);
  }
}

TEST(UnknownWords, AKnownNameIsTakenFirst) {
  ExpectPrompts({{"ab", "4", {"b"}, "4", "b", 4}, {"2ab", "5", {"b"}, "10", "b", 5}}, {"1=a"});
}

TEST(UnknownWords, ADeclinedWordStaysUnknownAndIsAskedAgain) {
  clsMorvex calc;
  calc.Initialize();
  std::vector<std::string> asked;
  calc.Events().InputBox = [&](std::string& num) {
    asked.push_back(num);
    num.clear();
  };
  RunLine(calc, "r*2+1");
  EXPECT_EQ(calc.OutString(), "1");
  EXPECT_EQ(calc.ErrNumber(), 0);
  EXPECT_EQ(calc.Expression(), "");
  EXPECT_EQ(calc.VariableList().size(), 3u);
  RunLine(calc, "r*2+1");
  EXPECT_EQ(asked, (std::vector<std::string>{"r", "r"}));
}

TEST(UnknownWords, APromptedVariableStoresItsNumberText) {
  clsMorvex calc;
  calc.Initialize();
  calc.Events().InputBox = [](std::string& num) { num = "1e3"; };
  RunLine(calc, "r+1");
  EXPECT_EQ(calc.OutString(), "1001");
  EXPECT_EQ(StoredTexts(calc)["r"], "1000");
  calc.Events().InputBox = [](std::string& num) { num = "007.50xyz"; };
  RunLine(calc, "q");
  EXPECT_EQ(StoredTexts(calc)["q"], "7.5");
  EXPECT_EQ(calc.OutString(), "7.5");
}

}  // namespace
}  // namespace morvex
