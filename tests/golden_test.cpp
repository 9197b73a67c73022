// Golden sessions: text in, text out.
//
// Every *.session file of the folder MORVEX_GOLDEN_DIR is one session: its
// lines go, in order, to one fresh calculator, and after each line the
// properties named below it are compared. Only the properties listed are
// checked.
//
// File format, one entry a line:
//
//   # a comment                 (also blank lines are ignored)
//   > 2+*3                      a line for Calculate
//   OutString: OperatorBadPosition
//   ErrNumber: 5
//   ErrFirst: 2
//   ErrLength: 1
//
// Text after "> " and after "Key:" (one blank after the colon is skipped) is
// taken as written, with trailing blanks dropped and these escapes applied:
// \\ a backslash, \s a blank (for blanks that must show, as in
// "\sNumberBadPosition" or "RADIANS\s"), \r, \n, \t, and \xHH a byte in
// hexadecimal.
//
// Keys:
//   Result, OutString, InString, TText, Expression, StringVariable,
//   StringTyping, ErrDescription, DNAString, AngleUnit
//                      the text; TText is the line as Calculate handed it back,
//                      Result what Calculate returned
//   ErrNumber, ErrFirst, ErrLength
//                      a whole number
//   Events: Change(3,1) Change(1,1)
//                      the Change, Change2 (as Change2(l,f)) and Wait events
//                      raised during the line, in order; empty for none
//   Failure: 6         the line fails with morvex::Failure of this code (a line
//                      that fails without this key fails the test)
//   Variable: x = 5 (1)
//                      the variable exists (name compared without regard to
//                      case) with this value and, if given, this TypeVar
//   NoVariable: x      no variable of that name
//
// Each session starts from the state of a new process: a calculator is made in
// an empty program folder and initialised, the last character class is 0, and
// the host answers every prompt for an unknown word with nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "calculator/shared_state.hpp"
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

// Applies the escapes of the format; false on a malformed escape.
bool Unescape(const std::string& raw, std::string& out) {
  out.clear();
  for (size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\\') {
      out.push_back(raw[i]);
      continue;
    }
    if (++i >= raw.size()) return false;
    switch (raw[i]) {
      case '\\': out.push_back('\\'); break;
      case 's': out.push_back(' '); break;
      case 'r': out.push_back('\r'); break;
      case 'n': out.push_back('\n'); break;
      case 't': out.push_back('\t'); break;
      case 'x': {
        if (i + 2 >= raw.size()) return false;
        unsigned value = 0;
        auto [end, ec] = std::from_chars(raw.data() + i + 1, raw.data() + i + 3, value, 16);
        if (ec != std::errc() || end != raw.data() + i + 3) return false;
        out.push_back(static_cast<char>(value));
        i += 2;
        break;
      }
      default: return false;
    }
  }
  return true;
}

// Shows control characters and blanks at the ends, for failure messages.
std::string Visible(const std::string& text) {
  std::string shown = "\"";
  for (char c : text) {
    if (c == '\r') shown += "\\r";
    else if (c == '\n') shown += "\\n";
    else if (c == '\t') shown += "\\t";
    else shown.push_back(c);
  }
  return shown + "\"";
}

struct LineOutcome {
  std::string text;       // TText after the call
  std::string result;     // what Calculate returned
  std::optional<int32_t> failure;
  std::vector<std::string> events;
};

class Session {
 public:
  explicit Session(const fs::path& file) : file_(file) {
    calc_.ProgramFolder(folder_.str());
    calc_.Initialize();
    Shared().gCharClass = 0;
    EventHandlers& events = calc_.Events();
    events.InputBox = [](std::string& num) { num.clear(); };
    events.Change = [this](int16_t length, int16_t first) {
      outcome_.events.push_back("Change(" + std::to_string(length) + "," + std::to_string(first) + ")");
    };
    events.Change2 = [this](int16_t length, int16_t first) {
      outcome_.events.push_back("Change2(" + std::to_string(length) + "," + std::to_string(first) + ")");
    };
    events.Wait = [this] { outcome_.events.push_back("Wait"); };
  }

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
      Check(line.substr(0, colon), value);
    }
    if (pendingFailure_) UnexpectedFailure();
    return checks_;
  }

 private:
  void GiveLine(const std::string& raw) {
    if (pendingFailure_) UnexpectedFailure();
    std::string text;
    if (!Unescape(raw, text)) {
      ADD_FAILURE() << where_ << ": bad escape in the line " << raw;
      return;
    }
    started_ = true;
    lineText_ = text;
    lineWhere_ = where_;
    outcome_ = LineOutcome();
    try {
      outcome_.result = calc_.Calculate(text);
    } catch (const Failure& failure) {
      outcome_.failure = failure.code();
      pendingFailure_ = true;
      failureMessage_ = failure.what();
    }
    outcome_.text = text;
  }

  void UnexpectedFailure() {
    ADD_FAILURE() << lineWhere_ << ": the line " << Visible(lineText_) << " failed with code " << *outcome_.failure
                  << ": " << failureMessage_;
    pendingFailure_ = false;
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

  void ExpectVariable(const std::string& spec) {
    // name = value (typeVar)
    size_t equals = spec.find(" = ");
    if (equals == std::string::npos) {
      ADD_FAILURE() << where_ << ": Variable needs \"name = value\", not " << Visible(spec);
      return;
    }
    const std::string name = spec.substr(0, equals);
    std::string rest = spec.substr(equals + 3);
    std::optional<int> typeVar;
    if (size_t open = rest.find(" ("); open != std::string::npos && rest.back() == ')') {
      typeVar = std::stoi(rest.substr(open + 2, rest.size() - open - 3));
      rest = rest.substr(0, open);
    }
    double value = 0;
    auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (ec != std::errc() || end != rest.data() + rest.size()) {
      ADD_FAILURE() << where_ << ": Variable needs a number, not " << Visible(rest);
      return;
    }
    const auto* found = FindVariable(name);
    if (found == nullptr) {
      ADD_FAILURE() << where_ << ": no variable " << name << " after " << Visible(lineText_);
      return;
    }
    EXPECT_NEAR(found->Value, value, std::abs(value) * 1e-13) << where_ << ": value of " << name;
    if (typeVar) {
      EXPECT_EQ(found->TypeVar, *typeVar) << where_ << ": TypeVar of " << name;
    }
  }

  const clsMorvex::VariableView* FindVariable(const std::string& name) {
    variables_ = calc_.VariableList();
    std::string upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::toupper(c); });
    for (const auto& variable : variables_) {
      std::string key = variable.Key;
      std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::toupper(c); });
      if (key == upper) return &variable;
    }
    return nullptr;
  }

  void Check(const std::string& key, const std::string& raw) {
    if (!started_) {
      ADD_FAILURE() << where_ << ": a check before the first line";
      return;
    }
    std::string expected;
    if (!Unescape(raw, expected)) {
      ADD_FAILURE() << where_ << ": bad escape in " << raw;
      return;
    }
    ++checks_;
    if (key == "Failure") {
      if (!outcome_.failure) {
        ADD_FAILURE() << where_ << ": the line " << Visible(lineText_) << " did not fail";
        return;
      }
      pendingFailure_ = false;
      ExpectNumber(key, *outcome_.failure, expected);
      return;
    }
    if (key == "Result") return ExpectText(key, outcome_.result, expected);
    if (key == "TText") return ExpectText(key, outcome_.text, expected);
    if (key == "OutString") return ExpectText(key, calc_.OutString(), expected);
    if (key == "InString") return ExpectText(key, calc_.InString(), expected);
    if (key == "Expression") return ExpectText(key, calc_.Expression(), expected);
    if (key == "StringVariable") return ExpectText(key, calc_.StringVariable(), expected);
    if (key == "StringTyping") return ExpectText(key, calc_.StringTyping(), expected);
    if (key == "ErrDescription") return ExpectText(key, calc_.ErrDescription(), expected);
    if (key == "DNAString") return ExpectText(key, calc_.DNAString(), expected);
    if (key == "AngleUnit") return ExpectText(key, calc_.AngleUnit(), expected);
    if (key == "ErrNumber") return ExpectNumber(key, calc_.ErrNumber(), expected);
    if (key == "ErrFirst") return ExpectNumber(key, calc_.ErrFirst(), expected);
    if (key == "ErrLength") return ExpectNumber(key, calc_.ErrLength(), expected);
    if (key == "Events") {
      std::string joined;
      for (const std::string& event : outcome_.events) joined += (joined.empty() ? "" : " ") + event;
      return ExpectText(key, joined, expected);
    }
    if (key == "Variable") return ExpectVariable(expected);
    if (key == "NoVariable") {
      EXPECT_EQ(FindVariable(expected), nullptr) << where_ << ": variable " << expected << " exists";
      return;
    }
    --checks_;
    ADD_FAILURE() << where_ << ": unknown key " << Visible(key);
  }

  fs::path file_;
  test::TempFolder folder_;
  clsMorvex calc_;
  LineOutcome outcome_;
  std::vector<clsMorvex::VariableView> variables_;
  std::string where_, lineWhere_, lineText_, failureMessage_;
  bool started_ = false;
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

TEST(GoldenSessions, EverySessionFileGivesItsExpectedProperties) {
  const auto files = SessionFiles();
  ASSERT_FALSE(files.empty()) << "no .session files in " << MORVEX_GOLDEN_DIR;
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.filename().string());
    Session session(file);
    EXPECT_GT(session.Run(), 0) << file << " checks nothing";
  }
}

TEST(GoldenSessions, FormatEscapes) {
  const std::pair<const char*, const char*> cases[] = {
      {"a\\sb", "a b"}, {"\\s NumberBadPosition", "  NumberBadPosition"}, {"x\\r\\n", "x\r\n"},
      {"\\\\", "\\"},   {"\\x41\\x7c", "A|"},                              {"plain", "plain"},
  };
  for (auto [raw, expected] : cases) {
    std::string out;
    ASSERT_TRUE(Unescape(raw, out)) << raw;
    EXPECT_EQ(out, expected) << raw;
  }
  std::string out;
  for (const char* bad : {"\\", "\\q", "\\x4", "\\xZZ"}) EXPECT_FALSE(Unescape(bad, out)) << bad;
}

}  // namespace
}  // namespace morvex
