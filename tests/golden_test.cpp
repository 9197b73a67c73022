// Golden sessions: text in, text out.
//
// Every *.session file of the folder MORVEX_GOLDEN_DIR is run: its lines go,
// in order, to a calculator, and after each line the properties named below it
// are compared. Only the properties listed are checked.
//
//   # a comment                 (also blank lines are ignored)
//   === label                   a fresh calculator from here on (see below)
//   > 2+*3                      a line for Calculate
//   OutString: OperatorBadPosition
//   ErrFirst: 2
//
// Text after "> " and after "Key:" (one blank after the colon is skipped) is
// taken as written, with trailing blanks dropped and these escapes applied:
// \\ a backslash, \s a blank (for blanks that must show, as in
// "\sNumberBadPosition" or "RADIANS\s"), \r, \n, \t, and \xHH a byte.
//
// Set-up, before the lines it is meant for:
//   Answer: r=1.5      the host answers a prompt for the word r (any case)
//                      with 1.5; "*=2" answers every word; "none" takes the
//                      InputBox handler away. By default every prompt is
//                      answered with nothing.
//   Folder: a.txt=1=ran\n\n\n
//                      writes a file into the program folder; "Folder: name<<"
//                      takes the lines that follow, each ended by CR LF, up to a
//                      line "<<", as the file's bytes
// Set-up before the first "===" of a file holds for each of its sections.
//
// Checks of the last line:
//   Result, OutString, InString, TText, Expression, StringVariable,
//   StringTyping, ErrDescription, ErrFormula, DNAString, DNAString2, AngleUnit
//                      the text; TText is the line as Calculate handed it back,
//                      Result what Calculate returned
//   ErrNumber, ErrFirst, ErrLength
//                      a whole number
//   Events: Change(3,1) UpdateVariables(0.8)
//                      the Change, Change2, Wait, UpdateVariables,
//                      InternalCalc, Progress and VBSProgress events raised
//                      during the line, in order (numbers in their shortest
//                      exact form); empty for none
//   Shares: UpdateVariables(0.8) UpdateVariables(1)
//                      only the events that report a share done
//   Trace: Change(3,1)"2+3" Change2(0,1)"9"
//                      only Change and Change2, each with DNAString (Change)
//                      or DNAString2 (Change2) as the handler saw it
//   Trace2: Change2(0,1)"9"
//                      the same for Change2 alone
//   Asked: r q         the words put to the host's InputBox, in order
//   Failure: 6         the line fails with morvex::Failure of this code (a line
//                      that fails without this key fails the test)
//   Variable: x = 5 (1)
//                      the variable exists (name compared without regard to
//                      case) with exactly this value ("*" for any) and, if
//                      given, this TypeVar
//   NoVariable: x      no variable of that name
//   Variables: Ans XVar YVar x
//                      the names of the variable table, in order
//   Functions: x=2+3; f=XVar+1
//                      what FetchFunctions lists: each user variable and the
//                      text of its stored chain
//
// A file, and each "===" section of it, starts from the state of a new
// process: a calculator is made in an empty program folder and initialised,
// the last character class is 0, and no answers are set.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/shared_state.hpp"
#include "morvex/morvex.hpp"
#include "test_support.hpp"

#ifndef MORVEX_GOLDEN_DIR
#error "MORVEX_GOLDEN_DIR must name the folder of the golden sessions"
#endif

namespace morvex {
namespace {

namespace fs = std::filesystem;

std::string TrimRight(std::string text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.pop_back();
  return text;
}

// Shows a text with its control characters escaped, for failure messages.
std::string Visible(const std::string& text) { return ::testing::PrintToString(text); }

std::string Number(double value) {
  char buffer[32];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, end);
}

std::string Joined(const std::vector<std::string>& items, const char* separator = " ") {
  std::string joined;
  for (const std::string& item : items) joined += (joined.empty() ? "" : separator) + item;
  return joined;
}

struct LineOutcome {
  std::string text;    // TText after the call
  std::string result;  // what Calculate returned
  std::optional<int32_t> failure;
  std::vector<std::string> events, shares, trace, trace2, asked;
};

// One calculator of a session, with the host that records its events.
struct Host {
  test::TempFolder folder;
  clsMorvex calc;
  LineOutcome outcome;
  std::vector<std::pair<std::string, std::string>> answers;  // upper-case word, answer
  std::vector<clsMorvex::VariableView> variables;

  Host() {
    calc.ProgramFolder(folder.str());
    calc.Initialize();
    Shared().gCharClass = 0;
    EventHandlers& events = calc.Events();
    events.InputBox = [this](std::string& num) {
      outcome.asked.push_back(num);
      const std::string word = test::Upper(num);
      num.clear();
      for (const auto& [key, answer] : answers) {
        if (key == "*" || key == word) num = answer;
      }
    };
    events.Change = [this](int16_t length, int16_t first) { Mark("Change", length, first, calc.DNAString()); };
    events.Change2 = [this](int16_t length, int16_t first) {
      Mark("Change2", length, first, calc.DNAString2());
      outcome.trace2.push_back(outcome.trace.back());
    };
    events.Wait = [this] { outcome.events.push_back("Wait"); };
    events.UpdateVariables = [this](double p) { Share("UpdateVariables", p); };
    events.InternalCalc = [this](double p) { Share("InternalCalc", p); };
    events.Progress = [this](double p) { Share("Progress", p); };
    events.VBSProgress = [this](double p) { Share("VBSProgress", p); };
  }

  void Share(const char* name, double share) {
    outcome.events.push_back(std::string(name) + "(" + Number(share) + ")");
    outcome.shares.push_back(outcome.events.back());
  }

  void Mark(const char* name, int16_t length, int16_t first, const std::string& text) {
    const std::string event = std::string(name) + "(" + std::to_string(length) + "," + std::to_string(first) + ")";
    outcome.events.push_back(event);
    outcome.trace.push_back(event + "\"" + text + "\"");
  }

  const clsMorvex::VariableView* Find(const std::string& name) {
    variables = calc.VariableList();
    for (const auto& variable : variables) {
      if (test::Upper(variable.Key) == test::Upper(name)) return &variable;
    }
    return nullptr;
  }
};

class Session {
 public:
  explicit Session(const fs::path& file) : file_(file), host_(std::make_unique<Host>()) {}

  // Runs the file; returns the number of checks made.
  int Run() {
    std::ifstream in(file_, std::ios::binary);
    if (!in) {
      ADD_FAILURE() << "cannot read " << file_;
      return 0;
    }
    std::string raw;
    int number = 0;
    while (std::getline(in, raw)) {
      ++number;
      where_ = file_.filename().string() + ":" + std::to_string(number);
      std::string line = TrimRight(raw);
      if (line.empty() || line[0] == '#') continue;
      if (line.rfind("===", 0) == 0) {
        Settle();
        sectioned_ = true;
        host_ = std::make_unique<Host>();
        for (const auto& [key, value] : common_) SetUp(key, value);
        started_ = false;
        continue;
      }
      if (line[0] == '>') {
        GiveLine(line.substr(line.size() > 1 && line[1] == ' ' ? 2 : 1));
        continue;
      }
      size_t colon = line.find(':');
      if (colon == std::string::npos) {
        ADD_FAILURE() << where_ << ": neither a line, a check nor a comment: " << line;
        continue;
      }
      std::string value = line.substr(colon + 1);
      if (!value.empty() && value[0] == ' ') value.erase(0, 1);
      std::string expected;
      if (!test::Unescape(value, expected)) {
        ADD_FAILURE() << where_ << ": bad escape in " << value;
        continue;
      }
      const std::string key = line.substr(0, colon);
      if (key == "Folder" && expected.size() > 2 && expected.compare(expected.size() - 2, 2, "<<") == 0) {
        // The file's lines follow, each ended by CR LF, up to a line "<<".
        std::string bytes;
        while (std::getline(in, raw) && (++number, TrimRight(raw) != "<<")) bytes += TrimRight(raw) + "\r\n";
        expected.replace(expected.size() - 2, 2, "=" + bytes);
      }
      if (!SetUp(key, expected)) {
        Check(key, expected);
      } else if (!sectioned_) {
        common_.emplace_back(key, expected);
      }
    }
    Settle();
    return checks_;
  }

 private:
  LineOutcome& outcome() { return host_->outcome; }
  clsMorvex& calc() { return host_->calc; }

  void Settle() {
    if (pendingFailure_) {
      ADD_FAILURE() << lineWhere_ << ": the line " << Visible(lineText_) << " failed with code "
                    << *outcome().failure << ": " << failureMessage_;
    }
    pendingFailure_ = false;
  }

  bool SetUp(const std::string& key, const std::string& value) {
    if (key == "Answer") {
      if (value == "none") {
        calc().Events().InputBox = nullptr;
        return true;
      }
      const size_t equals = value.find('=');
      if (equals == std::string::npos) {
        ADD_FAILURE() << where_ << ": Answer needs \"word=answer\" or \"none\"";
      } else {
        host_->answers.emplace_back(test::Upper(value.substr(0, equals)), value.substr(equals + 1));
      }
      return true;
    }
    if (key == "Folder") {
      const size_t equals = value.find('=');
      if (equals == std::string::npos) {
        ADD_FAILURE() << where_ << ": Folder needs \"name=bytes\"";
      } else {
        host_->folder.Write(value.substr(0, equals), value.substr(equals + 1));
      }
      return true;
    }
    return false;
  }

  void GiveLine(const std::string& raw) {
    Settle();
    std::string text;
    if (!test::Unescape(raw, text)) {
      ADD_FAILURE() << where_ << ": bad escape in the line " << raw;
      return;
    }
    started_ = true;
    lineText_ = text;
    lineWhere_ = where_;
    outcome() = LineOutcome();
    try {
      outcome().result = calc().Calculate(text);
    } catch (const Failure& failure) {
      outcome().failure = failure.code();
      pendingFailure_ = true;
      failureMessage_ = failure.what();
      EXPECT_STRNE(failure.what(), "") << where_ << ": a failure says what failed";
    }
    outcome().text = text;
  }

  void ExpectText(const std::string& key, const std::string& actual, const std::string& expected) {
    EXPECT_EQ(actual, expected) << where_ << ": " << key << " after " << Visible(lineText_) << " is "
                                << Visible(actual) << ", expected " << Visible(expected);
  }

  void ExpectNumber(const std::string& key, int64_t actual, const std::string& expected) {
    int64_t wanted = 0;
    auto [end, ec] = std::from_chars(expected.data(), expected.data() + expected.size(), wanted);
    if (ec != std::errc() || end != expected.data() + expected.size()) {
      ADD_FAILURE() << where_ << ": " << key << " needs a whole number, not " << Visible(expected);
      return;
    }
    EXPECT_EQ(actual, wanted) << where_ << ": " << key << " after " << Visible(lineText_);
  }

  // name = value (typeVar)
  void ExpectVariable(const std::string& wanted) {
    size_t equals = wanted.find(" = ");
    if (equals == std::string::npos) {
      ADD_FAILURE() << where_ << ": Variable needs \"name = value\", not " << Visible(wanted);
      return;
    }
    const std::string name = wanted.substr(0, equals);
    std::string rest = wanted.substr(equals + 3);
    std::optional<int> typeVar;
    if (size_t open = rest.find(" ("); open != std::string::npos && rest.back() == ')') {
      typeVar = std::stoi(rest.substr(open + 2, rest.size() - open - 3));
      rest = rest.substr(0, open);
    }
    double value = 0;
    auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (rest != "*" && (ec != std::errc() || end != rest.data() + rest.size())) {
      ADD_FAILURE() << where_ << ": Variable needs a number or *, not " << Visible(rest);
      return;
    }
    const auto* found = host_->Find(name);
    if (found == nullptr) {
      ADD_FAILURE() << where_ << ": no variable " << name << " after " << Visible(lineText_);
      return;
    }
    if (rest != "*") {
      EXPECT_EQ(found->Value, value) << where_ << ": value of " << name;
    }
    if (typeVar) {
      EXPECT_EQ(found->TypeVar, *typeVar) << where_ << ": TypeVar of " << name;
    }
  }

  std::string Listing() {
    std::vector<std::string> entries;
    calc().Events().GetFunctions = [&](const std::string& name, const std::string& text) {
      entries.push_back(name + "=" + text);
    };
    calc().FetchFunctions();
    calc().Events().GetFunctions = nullptr;
    return Joined(entries, "; ");
  }

  void Check(const std::string& key, const std::string& expected) {
    if (!started_) {
      ADD_FAILURE() << where_ << ": a check before the first line";
      return;
    }
    ++checks_;
    clsMorvex& m = calc();
    if (key == "Failure") {
      if (!outcome().failure) {
        ADD_FAILURE() << where_ << ": the line " << Visible(lineText_) << " did not fail";
        return;
      }
      pendingFailure_ = false;
      return ExpectNumber(key, *outcome().failure, expected);
    }
    if (key == "Result") return ExpectText(key, outcome().result, expected);
    if (key == "TText") return ExpectText(key, outcome().text, expected);
    if (key == "OutString") return ExpectText(key, m.OutString(), expected);
    if (key == "InString") return ExpectText(key, m.InString(), expected);
    if (key == "Expression") return ExpectText(key, m.Expression(), expected);
    if (key == "StringVariable") return ExpectText(key, m.StringVariable(), expected);
    if (key == "StringTyping") return ExpectText(key, m.StringTyping(), expected);
    if (key == "ErrDescription") return ExpectText(key, m.ErrDescription(), expected);
    if (key == "ErrFormula") return ExpectText(key, m.ErrFormula(), expected);
    if (key == "DNAString") return ExpectText(key, m.DNAString(), expected);
    if (key == "DNAString2") return ExpectText(key, m.DNAString2(), expected);
    if (key == "AngleUnit") return ExpectText(key, m.AngleUnit(), expected);
    if (key == "ErrNumber") return ExpectNumber(key, m.ErrNumber(), expected);
    if (key == "ErrFirst") return ExpectNumber(key, m.ErrFirst(), expected);
    if (key == "ErrLength") return ExpectNumber(key, m.ErrLength(), expected);
    if (key == "Events") return ExpectText(key, Joined(outcome().events), expected);
    if (key == "Shares") return ExpectText(key, Joined(outcome().shares), expected);
    if (key == "Trace2") return ExpectText(key, Joined(outcome().trace2), expected);
    if (key == "Trace") return ExpectText(key, Joined(outcome().trace), expected);
    if (key == "Asked") return ExpectText(key, Joined(outcome().asked), expected);
    if (key == "Functions") return ExpectText(key, Listing(), expected);
    if (key == "Variable") return ExpectVariable(expected);
    if (key == "Variables") {
      std::vector<std::string> names;
      for (const auto& variable : m.VariableList()) names.push_back(variable.Key);
      return ExpectText(key, Joined(names), expected);
    }
    if (key == "NoVariable") {
      EXPECT_EQ(host_->Find(expected), nullptr) << where_ << ": variable " << expected << " exists";
      return;
    }
    --checks_;
    ADD_FAILURE() << where_ << ": unknown key " << Visible(key);
  }

  fs::path file_;
  std::unique_ptr<Host> host_;
  std::string where_, lineWhere_, lineText_, failureMessage_;
  bool started_ = false;
  bool sectioned_ = false;  // a "===" has been seen
  std::vector<std::pair<std::string, std::string>> common_;  // set-up before the first "==="
  bool pendingFailure_ = false;
  int checks_ = 0;
};

std::vector<fs::path> SessionFiles() {
  std::vector<fs::path> files;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(MORVEX_GOLDEN_DIR, error)) {
    if (entry.is_regular_file() && entry.path().extension() == ".session") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class GoldenSession : public ::testing::TestWithParam<fs::path> {};

TEST_P(GoldenSession, GivesItsExpectedProperties) {
  Session session(GetParam());
  EXPECT_GT(session.Run(), 0) << GetParam() << " checks nothing";
}

INSTANTIATE_TEST_SUITE_P(Files, GoldenSession, ::testing::ValuesIn(SessionFiles()),
                         [](const ::testing::TestParamInfo<fs::path>& info) { return info.param.stem().string(); });

TEST(GoldenSessions, TheFolderHoldsSessions) { EXPECT_FALSE(SessionFiles().empty()) << MORVEX_GOLDEN_DIR; }

TEST(GoldenSessions, FormatEscapes) {
  const std::pair<const char*, const char*> cases[] = {
      {"a\\sb", "a b"}, {"\\s NumberBadPosition", "  NumberBadPosition"}, {"x\\r\\n", "x\r\n"},
      {"\\\\", "\\"},   {"\\x41\\x7c", "A|"},                              {"plain", "plain"},
  };
  for (auto [raw, expected] : cases) {
    std::string out;
    ASSERT_TRUE(test::Unescape(raw, out)) << raw;
    EXPECT_EQ(out, expected) << raw;
  }
  std::string out;
  for (const char* bad : {"\\", "\\q", "\\x4", "\\xZZ"}) EXPECT_FALSE(test::Unescape(bad, out)) << bad;
}

}  // namespace
}  // namespace morvex
