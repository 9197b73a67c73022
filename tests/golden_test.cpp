// Golden lines: one case a line, text in, text out.
//
// Every *.lines file of MORVEX_GOLDEN_DIR is a list of calculator sessions. A
// blank line or a header "=== title" starts a fresh calculator (an empty
// program folder, Initialize, last character class 0, no answers set); the
// lines of one block go to the same calculator, in order. "#" starts a comment.
//
//   LINE => ANSWER [ ; CHECK ]...
//
// LINE is handed to Calculate as written (nothing before " => " is the empty
// line). ANSWER is one of
//   4                        OutString is "4" and ErrNumber 0 ("" for empty)
//   error 5 TEXT [at F] [len L]
//                            ErrNumber 5, OutString TEXT ("*" for any),
//                            ErrFirst F, ErrLength L
//   failure 6                Calculate fails with morvex::Failure of code 6
//   *                        nothing about the answer
// and a CHECK one of
//   in, expr, var, typing, desc, dna, dna2, formula, angle, result, text  TEXT
//        InString, Expression, StringVariable, StringTyping, ErrDescription,
//        DNAString, DNAString2, ErrFormula, AngleUnit, what Calculate
//        returned, the line as Calculate handed it back
//   first N, len N           ErrFirst, ErrLength of a line without error
//   events Change(3,1) Wait UpdateVariables(0.8)
//                            every event of the line, in order ("" for none)
//   shares ...               only the events that report a share done
//   trace Change(3,1)"2+3"   Change and Change2 with the chain text the
//                            handler saw; trace2: Change2 alone
//   asked r q                the words put to the host's InputBox
//   x = 5 (1)                variable x (any case) holds 5 ("*": any value)
//                            and, if given, that TypeVar
//   no x                     there is no variable x
//   vars Ans XVar YVar x     the names of the variable table, in order
//   functions x=2+3, f=XVar+1
//                            what FetchFunctions lists
// A line without " => " is handed to Calculate unchecked (set-up), except
//   Answer: r=1.5            the host answers a prompt for r (any case) with
//                            1.5 ("*=2" answers every word, "none" removes the
//                            InputBox handler)
//   File: a.txt=bytes        writes a file into the program folder; with
//   File: a.txt<<            "<<" the lines that follow up to "<<", each ended
//                            by CR LF, are its bytes
// Set-up that opens a file and is followed by a blank line holds for every
// block of the file.
//
// Besides what a case names, every line is held to the rules that hold for
// all: a plain numeric answer is also the value of Ans (unless the
// recalculation after an assignment ran); a line with an error
// leaves Ans as it was; an error's ErrDescription is its name (empty for 13);
// error 13 selects the whole echo (ErrFirst 0, ErrLength of InString).
//
// Texts take these escapes: \\ a backslash, \s a blank (for blanks that must
// show), \r, \n, \t, and \xHH a byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "core/shared_state.hpp"
#include "morvex/morvex.hpp"
#include "test_support.hpp"

#ifndef MORVEX_GOLDEN_DIR
#error "MORVEX_GOLDEN_DIR must name the folder of the golden files"
#endif

namespace morvex {
namespace {

namespace fs = std::filesystem;

std::string TrimRight(std::string text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.pop_back();
  return text;
}

std::string Visible(const std::string& text) { return ::testing::PrintToString(text); }

std::string Number(double value) {
  char buffer[32];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, end);
}

std::optional<double> ParseNumber(const std::string& text) {
  double value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string Joined(const std::vector<std::string>& items, const char* separator = " ") {
  std::string joined;
  for (const std::string& item : items) joined += (joined.empty() ? "" : separator) + item;
  return joined;
}

// Splits "a ; b ; c" at " ; ".
std::vector<std::string> SplitChecks(const std::string& text) {
  std::vector<std::string> parts;
  size_t from = 0;
  for (size_t at; (at = text.find(" ; ", from)) != std::string::npos; from = at + 3) parts.push_back(text.substr(from, at - from));
  parts.push_back(text.substr(from));
  return parts;
}

// What a line did, besides the calculator's properties.
struct LineOutcome {
  std::string text, result;
  std::optional<int32_t> failure;
  std::vector<std::string> events, shares, trace, trace2, asked;
};

// One calculator of a session, with the host that records its events.
struct Host {
  test::TempFolder folder;
  clsMorvex calc;
  LineOutcome outcome;
  std::vector<std::pair<std::string, std::string>> answers;  // upper-case word, answer

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

  std::optional<clsMorvex::VariableView> Find(const std::string& name) const {
    for (const auto& variable : calc.VariableList()) {
      if (test::Upper(variable.Key) == test::Upper(name)) return variable;
    }
    return std::nullopt;
  }

  double Ans() const { return calc.VariableList().at(0).Value; }

  std::string Listing() {
    std::vector<std::string> entries;
    calc.Events().GetFunctions = [&](const std::string& name, const std::string& text) { entries.push_back(name + "=" + text); };
    calc.FetchFunctions();
    calc.Events().GetFunctions = nullptr;
    return Joined(entries, ", ");
  }
};

class GoldenFile {
 public:
  explicit GoldenFile(const fs::path& file) : file_(file) {}

  // Runs the file; returns the number of lines checked.
  int Run() {
    std::ifstream in(file_, std::ios::binary);
    if (!in) {
      ADD_FAILURE() << "cannot read " << file_;
      return 0;
    }
    std::string raw;
    for (int number = 1; std::getline(in, raw); ++number) {
      where_ = file_.filename().string() + ":" + std::to_string(number);
      const std::string line = TrimRight(raw);
      if (line.empty() || line.rfind("===", 0) == 0) {
        if (!ranLine_ && common_.empty()) common_ = blockSetUp_;
        blockSetUp_.clear();
        host_.reset();
      } else if (line[0] == '#') {
        continue;
      } else if (line.rfind("Answer: ", 0) == 0) {
        SetUp('A', Unescaped(line.substr(8)));
      } else if (line.rfind("File: ", 0) == 0) {
        std::string file = Unescaped(line.substr(6));
        if (file.size() > 2 && file.compare(file.size() - 2, 2, "<<") == 0) {
          std::string bytes;
          while (std::getline(in, raw) && (++number, TrimRight(raw) != "<<")) bytes += TrimRight(raw) + "\r\n";
          file.replace(file.size() - 2, 2, "=" + bytes);
        }
        SetUp('F', file);
      } else {
        RunCase(line);
      }
    }
    return cases_;
  }

 private:
  Host& host() {
    if (!host_) {
      host_ = std::make_unique<Host>();
      for (const auto& [kind, value] : common_) Apply(kind, value);
    }
    return *host_;
  }

  void SetUp(char kind, const std::string& value) {
    host();
    blockSetUp_.emplace_back(kind, value);
    Apply(kind, value);
  }

  void Apply(char kind, const std::string& value) {
    if (kind == 'A') SetAnswer(value);
    else WriteFile(value);
  }

  std::string Unescaped(const std::string& raw) {
    std::string out;
    if (!test::Unescape(raw, out)) ADD_FAILURE() << where_ << ": bad escape in " << raw;
    return out;
  }

  void SetAnswer(const std::string& value) {
    const size_t equals = value.find('=');
    if (value == "none") {
      host_->calc.Events().InputBox = nullptr;
    } else if (equals == std::string::npos) {
      ADD_FAILURE() << where_ << ": Answer needs \"word=answer\" or \"none\"";
    } else {
      host_->answers.emplace_back(test::Upper(value.substr(0, equals)), value.substr(equals + 1));
    }
  }

  void WriteFile(const std::string& value) {
    const size_t equals = value.find('=');
    if (equals == std::string::npos) return (void)(ADD_FAILURE() << where_ << ": File needs \"name=bytes\"");
    host_->folder.Write(value.substr(0, equals), value.substr(equals + 1));
  }

  void RunCase(const std::string& line) {
    const bool emptyLine = line.rfind("=> ", 0) == 0;
    const size_t arrow = emptyLine ? 0 : line.find(" => ");
    const bool checked = arrow != std::string::npos;
    const std::string text = emptyLine ? "" : Unescaped(checked ? line.substr(0, arrow) : line);
    Host& h = host();
    h.outcome = LineOutcome();
    const double ansBefore = h.Ans();
    std::string failureMessage;
    h.outcome.text = text;
    try {
      h.outcome.result = h.calc.Calculate(h.outcome.text);
    } catch (const Failure& failure) {
      h.outcome.failure = failure.code();
      failureMessage = failure.what();
    }
    line_ = text;
    ranLine_ = true;
    if (!checked) {
      if (h.outcome.failure) ADD_FAILURE() << where_ << ": " << Visible(text) << " failed: " << failureMessage;
      return;
    }
    ++cases_;
    const std::vector<std::string> parts = SplitChecks(line.substr(emptyLine ? 3 : arrow + 4));
    CheckAnswer(parts[0], ansBefore);
    for (size_t i = 1; i < parts.size(); ++i) Check(parts[i]);
  }

  void ExpectText(const char* what, const std::string& actual, const std::string& expected) {
    EXPECT_EQ(actual, expected) << where_ << ": " << what << " after " << Visible(line_);
  }

  void ExpectNumber(const char* what, int64_t actual, const std::string& expected) {
    const auto wanted = ParseNumber(expected);
    if (!wanted) return (void)(ADD_FAILURE() << where_ << ": " << what << " needs a number, not " << Visible(expected));
    EXPECT_EQ(actual, static_cast<int64_t>(*wanted)) << where_ << ": " << what << " after " << Visible(line_);
  }

  void CheckAnswer(const std::string& answer, double ansBefore) {
    Host& h = host();
    clsMorvex& m = h.calc;
    if (answer.rfind("failure ", 0) == 0) {
      if (!h.outcome.failure) return (void)(ADD_FAILURE() << where_ << ": " << Visible(line_) << " did not fail");
      return ExpectNumber("the failure's code", *h.outcome.failure, answer.substr(8));
    }
    if (h.outcome.failure) {
      return (void)(ADD_FAILURE() << where_ << ": " << Visible(line_) << " failed with code " << *h.outcome.failure);
    }
    if (answer == "*") return;
    if (answer.rfind("error ", 0) != 0) {
      const std::string out = answer == "\"\"" ? "" : Unescaped(answer);
      ExpectText("OutString", m.OutString(), out);
      EXPECT_EQ(m.ErrNumber(), 0) << where_ << ": ErrNumber after " << Visible(line_);
      // The recalculation after an assignment leaves Ans at the last variable it computed.
      const bool recalculated = !h.outcome.shares.empty() && h.outcome.shares[0].rfind("UpdateVariables", 0) == 0;
      if (const auto value = ParseNumber(out); value && m.ErrNumber() == 0 && !recalculated) {
        EXPECT_EQ(h.Ans(), *value) << where_ << ": Ans after " << Visible(line_);
      }
      return;
    }
    // error N TEXT [at F] [len L]
    std::vector<std::string> words;
    for (size_t from = 6, at; from <= answer.size(); from = at + 1) {
      at = std::min(answer.find(' ', from), answer.size());
      words.push_back(answer.substr(from, at - from));
    }
    if (words.size() < 2) return (void)(ADD_FAILURE() << where_ << ": error needs a number and a text");
    ExpectNumber("ErrNumber", m.ErrNumber(), words[0]);
    if (words[1] != "*") ExpectText("OutString", m.OutString(), words[1] == "\"\"" ? "" : Unescaped(words[1]));
    for (size_t i = 2; i + 1 < words.size(); i += 2) {
      if (words[i] == "at") ExpectNumber("ErrFirst", m.ErrFirst(), words[i + 1]);
      else if (words[i] == "len") ExpectNumber("ErrLength", m.ErrLength(), words[i + 1]);
      else ADD_FAILURE() << where_ << ": unknown part " << Visible(words[i]);
    }
    EXPECT_EQ(h.Ans(), ansBefore) << where_ << ": an error keeps Ans, after " << Visible(line_);
    const bool givenUp = m.ErrNumber() == 13;
    ExpectText("ErrDescription", m.ErrDescription(), givenUp ? "" : std::string(ErrorName(m.ErrNumber())));
    if (givenUp) {
      EXPECT_EQ(m.ErrFirst(), 0) << where_;
      EXPECT_EQ(m.ErrLength(), static_cast<int64_t>(m.InString().size())) << where_ << ": ErrLength";
    }
  }

  void Check(const std::string& check) {
    Host& h = host();
    clsMorvex& m = h.calc;
    const size_t blank = check.find(' ');
    const std::string key = check.substr(0, blank);
    const std::string value = blank == std::string::npos ? "" : Unescaped(check.substr(blank + 1));
    if (check.find(" = ") != std::string::npos) return CheckVariable(check);
    if (key == "in") return ExpectText("InString", m.InString(), value);
    if (key == "expr") return ExpectText("Expression", m.Expression(), value);
    if (key == "var") return ExpectText("StringVariable", m.StringVariable(), value);
    if (key == "typing") return ExpectText("StringTyping", m.StringTyping(), value);
    if (key == "desc") return ExpectText("ErrDescription", m.ErrDescription(), value);
    if (key == "dna") return ExpectText("DNAString", m.DNAString(), value);
    if (key == "dna2") return ExpectText("DNAString2", m.DNAString2(), value);
    if (key == "formula") return ExpectText("ErrFormula", m.ErrFormula(), value);
    if (key == "angle") return ExpectText("AngleUnit", m.AngleUnit(), value);
    if (key == "result") return ExpectText("the result", h.outcome.result, value);
    if (key == "text") return ExpectText("the line handed back", h.outcome.text, value);
    if (key == "first") return ExpectNumber("ErrFirst", m.ErrFirst(), value);
    if (key == "len") return ExpectNumber("ErrLength", m.ErrLength(), value);
    if (key == "events") return ExpectText("events", Joined(h.outcome.events), value);
    if (key == "shares") return ExpectText("shares", Joined(h.outcome.shares), value);
    if (key == "trace") return ExpectText("trace", Joined(h.outcome.trace), value);
    if (key == "trace2") return ExpectText("trace2", Joined(h.outcome.trace2), value);
    if (key == "asked") return ExpectText("asked", Joined(h.outcome.asked), value);
    if (key == "functions") return ExpectText("functions", h.Listing(), value);
    if (key == "no") {
      EXPECT_FALSE(h.Find(value).has_value()) << where_ << ": variable " << value << " exists";
      return;
    }
    if (key == "vars") {
      std::vector<std::string> names;
      for (const auto& variable : m.VariableList()) names.push_back(variable.Key);
      return ExpectText("the variables", Joined(names), value);
    }
    ADD_FAILURE() << where_ << ": unknown check " << Visible(check);
  }

  // name = value (typeVar)
  void CheckVariable(const std::string& check) {
    const size_t equals = check.find(" = ");
    const std::string name = check.substr(0, equals);
    std::string rest = check.substr(equals + 3);
    std::optional<int> typeVar;
    if (size_t open = rest.find(" ("); open != std::string::npos && rest.back() == ')') {
      typeVar = std::stoi(rest.substr(open + 2));
      rest.resize(open);
    }
    const auto value = ParseNumber(rest);
    if (rest != "*" && !value) return (void)(ADD_FAILURE() << where_ << ": a variable needs a number or *, not " << rest);
    const auto found = host().Find(name);
    if (!found) return (void)(ADD_FAILURE() << where_ << ": no variable " << name << " after " << Visible(line_));
    if (value) EXPECT_EQ(found->Value, *value) << where_ << ": value of " << name;
    if (typeVar) EXPECT_EQ(found->TypeVar, *typeVar) << where_ << ": TypeVar of " << name;
  }

  fs::path file_;
  std::unique_ptr<Host> host_;
  std::vector<std::pair<char, std::string>> common_, blockSetUp_;  // 'A'nswer or 'F'ile
  std::string where_, line_;
  int cases_ = 0;
  bool ranLine_ = false;  // set-up before the first line may hold for the whole file
};

std::vector<fs::path> GoldenFiles() {
  std::vector<fs::path> files;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(MORVEX_GOLDEN_DIR, error)) {
    if (entry.is_regular_file() && entry.path().extension() == ".lines") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class Golden : public ::testing::TestWithParam<fs::path> {};

TEST_P(Golden, GivesItsExpectedProperties) { EXPECT_GT(GoldenFile(GetParam()).Run(), 0) << GetParam() << " checks nothing"; }

INSTANTIATE_TEST_SUITE_P(Files, Golden, ::testing::ValuesIn(GoldenFiles()),
                         [](const ::testing::TestParamInfo<fs::path>& info) { return info.param.stem().string(); });

}  // namespace
}  // namespace morvex
