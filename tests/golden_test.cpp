// Golden lines: every *.lines file of MORVEX_GOLDEN_DIR is a list of sessions.
// A blank line or "=== title" starts a fresh calculator (empty program folder,
// last character class 0), "#" a comment. A case is "LINE => ANSWER [ ; CHECK ]..."
// ("=> " alone: the empty line). ANSWER: the OutString (ErrNumber 0, no
// ErrDescription, Ans takes a number), "error N OUT [at F] [len L]" (OUT "*"
// for any; Ans kept, ErrDescription the error's name, error 13 selects the
// whole echo), "failure N" (morvex::Failure of that code) or "*". CHECK: a key
// of kProperties and its text, "x = 5 (1)" (variable x of any case, "*" any
// value, its TypeVar) or "no x". A line without " => " runs unchecked, except
// "Answer: r=1.5" (the host's answer for r, "*" any word, "none" no handler)
// and "File: a=bytes" (a file of the program folder; "File: a<<" takes the
// lines up to "<<", each ended by CR LF); set-up before a file's first blank
// line holds for all its blocks. "key: arg | arg => expected" runs a stage of
// kInternals ("!" and the code of a failure). Escapes: \\ \s \r \n \t \xHH.
#include <gtest/gtest.h>

#include <charconv>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>

#include "core/errors.hpp"
#include "core/shared_state.hpp"
#include "evaluation/function_words.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/silent_run.hpp"
#include "run/calculation_run.hpp"
#include "run/sub_expression_run.hpp"
#include "scanner/scanner.hpp"
#include "script/fifteen_digits.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

namespace fs = std::filesystem;
using Args = std::vector<std::string>;

std::string Shortest(double value) {
  char buffer[40];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

std::optional<double> ParseNumber(const std::string& text) {
  double value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

double D(const std::string& text) { return ParseNumber(text).value_or(std::strtod(text.c_str(), nullptr)); }

std::string Joined(const std::vector<std::string>& items, const char* separator = " ") {
  std::string joined;
  for (const std::string& item : items) joined += (joined.empty() ? "" : separator) + item;
  return joined;
}

std::string Codes(const dna& chain) {
  std::string text;
  for (const Cell& cell : chain) text += " " + std::to_string(cell.NameStr());
  return text;
}

// A chain laid out from "value:code value:code".
void LayOut(dna& chain, const std::string& cells) {
  chain = dna();
  std::istringstream words(cells);
  for (std::string written; words >> written;) {
    Cell& cell = chain.Add(flag::AddPattern);
    cell.Value(written.substr(0, written.rfind(':')));
    cell.NameStr(static_cast<int16_t>(std::stoi(written.substr(written.rfind(':') + 1))));
  }
}

// A formula's text scanned on the second chain, loud or silent: its codes, then
// the error's number, place and length, which the error record must agree with.
std::string Scanned(const std::string& text, bool silent) {
  test::Calc calc;
  calc.Record();
  Shared().gErrCode = 0;
  if (silent) detail::ScanSubExpression2(calc.in(), text, "f");
  else detail::ScanSubExpression(calc.in(), text, "f");
  const CErrOcur& error = Shared().gErr;
  // The loud scan stops at an error before any event and leaves the text whole.
  if (!silent && (!calc.events.empty() || calc.in().SecondChain.Join() != text)) return "events or text changed";
  if (error.NumError != Shared().gErrCode || error.DescError != ErrorName(error.NumError)) return "record differs";
  if (error.Formula != (error.NumError != 0 ? "f" : "")) return "formula not named";
  const std::string codes = Codes(calc.in().SecondChain);
  return (codes.empty() ? "" : codes.substr(1) + " ") + "| " + std::to_string(error.NumError) + " " +
         std::to_string(error.FirstError) + " " + std::to_string(error.LengthError);
}

// A group reduced by the named reducer: the chain, its codes, and its events.
std::string Reduced(const std::string& reducer, const std::string& cells) {
  test::Calc calc;
  calc.Record();
  Shared().gFoundVariable = false;
  dna& chain = reducer.rfind("Sub", 0) == 0 ? calc.in().SecondChain : calc.in().WorkingChain;
  LayOut(chain, cells);
  int32_t first = 1, last = chain.Count();
  static const std::map<std::string, void (*)(detail::Calculator&, int32_t&, int32_t&)> kReducers = {
      {"Range", detail::ReduceRange}, {"SubRange", detail::ReduceSubRange}, {"Silent2", detail::EvaluateReduce2},
      {"Loud", detail::RunReduce}, {"Sub", detail::RunSubReduce}};
  kReducers.at(reducer)(calc.in(), first, last);
  std::string text = chain.Join() + " |" + Codes(chain) + (calc.events.empty() ? "" : " |");
  for (const test::Event& e : calc.events) {
    text += std::string(e.channel == 'C' ? " Change(" : " Change2(") + std::to_string(e.length) + "," +
            std::to_string(e.first) + ")\"" + e.text + "\"";
  }
  return text;
}

// The number writer against its general rounding alone, on seeded random values:
// any magnitude, results of short decimals, halves of the 15-digit grid and
// their neighbours. "same", or the first value the two write differently.
std::string FormatsLikeTheGeneralRounding(uint64_t seed, int count) {
  std::mt19937_64 random(seed);
  auto decimal = [&](int places) { return double(int64_t(random() % 2000001) - 1000000) / std::pow(10, random() % places); };
  for (int i = 0; i < count; ++i) {
    const double any = std::ldexp(double(int64_t(random())), int(random() % 200) - 100), a = decimal(8), b = decimal(5);
    const double half = (double(random() % 900000000000000 + 100000000000000) + 0.5) / std::pow(10, random() % 30);
    for (double x : {any, a + b, a * b, a / b, half, std::nextafter(half, 0), std::nextafter(half, 1)}) {
      if (x == 0 || !std::isfinite(x)) continue;
      char one[40], two[40] = "-";
      const std::string written(one, digits::WriteFifteenDigits(one, x)), slow(two, digits::LayOut(two + (x < 0), digits::RoundByText(std::fabs(x))));
      if (written != slow) return Shortest(x) + " " + written + " " + slow;
    }
  }
  return "same";
}

const char* kOutcomes[] = {"Value", "ArgumentText", "Pole", "Domain", "None"};

const std::map<std::string, std::function<std::string(const Args&)>> kInternals = {
    // FormatNumber, which NumberToText must agree with.
    {"format", [](const Args& a) {
       const std::string text(FormatNumber(D(a[0])).view());
       return text == NumberToText(D(a[0])) ? text : "NumberToText disagrees";
     }},
    {"formats", [](const Args& a) { return FormatsLikeTheGeneralRounding(std::stoull(a[0]), std::stoi(a[1])); }},
    {"read", [](const Args& a) { return Shortest(ReadNumber(a[0])); }},
    {"strict", [](const Args& a) { return Shortest(ReadNumberStrict(a[0])); }},
    {"round", [](const Args& a) { return std::to_string(RoundToLong(D(a[0]))); }},
    // The checked arithmetic: "/ | 1 | 0", "exp | 710".
    {"math", [](const Args& a) {
       static const std::map<std::string, double (*)(double, double)> kSteps = {{"/", CheckedDivide}, {"^", CheckedPower},
           {"+", CheckedAdd}, {"*", CheckedMultiply}, {"exp", [](double x, double) { return CheckedExp(x); }},
           {"log", [](double x, double) { return CheckedLog(x); }}, {"sqrt", [](double x, double) { return CheckedSqrt(x); }}};
       return Shortest(kSteps.at(a[0])(D(a[1]), a.size() > 2 ? D(a[2]) : 0));
     }},
    // A word, its argument and the angle unit: the value text, or the outcome.
    {"word", [](const Args& a) {
       const WordResult result = ApplyWordRule(a[0], a[1], a[2]);
       if (result.outcome == WordOutcome::Value) return std::string(result.text.view());
       return std::string(kOutcomes[static_cast<int>(result.outcome)]);
     }},
    {"scan", [](const Args& a) { return Scanned(a[0], false); }},
    {"scan2", [](const Args& a) { return Scanned(a[0], true); }},
    {"reduce", [](const Args& a) { return Reduced(a[0], a[1]); }},
    {"errorname", [](const Args& a) { return std::string(ErrorName(std::stoi(a[0]))); }},
};

// One calculator of a session, with the host that answers prompts and records its events.
struct Host : test::Calc {
  struct Logged {
    char kind;  // 'C' Change, '2' Change2, 'W' Wait, 'S' an event that reports a share
    std::string name, chain;
  };
  std::string text, result;
  std::optional<int32_t> failure;
  std::vector<Logged> log;
  std::vector<std::pair<std::string, std::string>> answers;  // upper-case word, answer

  Host() {
    Shared().gCharClass = 0;
    EventHandlers& on = m.Events();
    on.InputBox = [this](std::string& num) {
      asked.push_back(num);
      const std::string word = test::Upper(num);
      num.clear();
      for (const auto& [key, answer] : answers) {
        if (key == "*" || key == word) num = answer;
      }
    };
    on.Change = [this](int16_t length, int16_t first) { Mark('C', "Change", length, first, m.DNAString()); };
    on.Change2 = [this](int16_t length, int16_t first) { Mark('2', "Change2", length, first, m.DNAString2()); };
    on.Wait = [this] { log.push_back({'W', "Wait", ""}); };
    for (auto [handler, name] : {std::pair{&on.UpdateVariables, "UpdateVariables"}, {&on.InternalCalc, "InternalCalc"},
                                 {&on.Progress, "Progress"}, {&on.VBSProgress, "VBSProgress"}}) {
      *handler = [this, label = std::string(name)](double p) { log.push_back({'S', label + "(" + Shortest(p) + ")", ""}); };
    }
  }
  void Mark(char kind, const char* name, int16_t length, int16_t first, const std::string& chain) {
    log.push_back({kind, std::string(name) + "(" + std::to_string(length) + "," + std::to_string(first) + ")", chain});
  }
  // The logged events of the given kinds, with the chain text of each if asked.
  std::string Events(const std::string& kinds, bool chains) const {
    std::vector<std::string> names;
    for (const Logged& e : log) {
      if (kinds.find(e.kind) != std::string::npos) names.push_back(e.name + (chains ? "\"" + e.chain + "\"" : ""));
    }
    return Joined(names);
  }
};

const std::map<std::string, std::function<std::string(Host&)>> kProperties = {
    {"in", [](Host& h) { return h.m.InString(); }},
    {"expr", [](Host& h) { return h.m.Expression(); }},
    {"var", [](Host& h) { return h.m.StringVariable(); }},
    {"typing", [](Host& h) { return h.m.StringTyping(); }},
    {"dna", [](Host& h) { return h.m.DNAString(); }},
    {"dna2", [](Host& h) { return h.m.DNAString2(); }},
    {"formula", [](Host& h) { return h.m.ErrFormula(); }},
    {"angle", [](Host& h) { return h.m.AngleUnit(); }},
    {"first", [](Host& h) { return std::to_string(h.m.ErrFirst()); }},
    {"len", [](Host& h) { return std::to_string(h.m.ErrLength()); }},
    {"result", [](Host& h) { return h.result; }},                   // what Calculate returned
    {"text", [](Host& h) { return h.text; }},                       // the line as Calculate left it
    {"events", [](Host& h) { return h.Events("C2WS", false); }},    // every event of the line
    {"shares", [](Host& h) { return h.Events("S", false); }},       // the events that report a share
    {"trace", [](Host& h) { return h.Events("C2", true); }},        // Change and Change2 with the chain text
    {"trace2", [](Host& h) { return h.Events("2", true); }},        // Change2 alone
    {"asked", [](Host& h) { return Joined(h.asked); }},             // the words put to InputBox
    {"vars", [](Host& h) {
       std::vector<std::string> names;
       for (const auto& variable : h.m.VariableList()) names.push_back(variable.Key);
       return Joined(names);
     }},
    {"functions", [](Host& h) {  // what FetchFunctions lists
       std::vector<std::string> entries;
       h.m.Events().GetFunctions = [&](const std::string& name, const std::string& text) { entries.push_back(name + "=" + text); };
       h.m.FetchFunctions();
       h.m.Events().GetFunctions = nullptr;
       return Joined(entries, ", ");
     }},
};

class GoldenFile {
 public:
  // Runs the file; returns the number of cases checked.
  int Run(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string raw, line;
    auto trim = [](const std::string& text) { return text.substr(0, text.find_last_not_of(" \t\r") + 1); };
    for (int number = 1; std::getline(in, raw); ++number) {
      where_ = file.filename().string() + ":" + std::to_string(number);
      line = trim(raw);
      const size_t colon = line.find(": ");
      if (line.empty() || line.rfind("===", 0) == 0) {
        if (!ranLine_ && common_.empty()) common_ = blockSetUp_;
        blockSetUp_.clear();
        host_.reset();
      } else if (line[0] == '#') {
        continue;
      } else if (line.rfind("Answer: ", 0) == 0 || line.rfind("File: ", 0) == 0) {
        std::string value = Unescaped(line.substr(line.find(' ') + 1));
        if (line[0] == 'F' && value.size() > 2 && value.compare(value.size() - 2, 2, "<<") == 0) {
          value.replace(value.size() - 2, 2, "=");
          while (std::getline(in, raw) && (++number, trim(raw) != "<<")) value += trim(raw) + "\r\n";
        }
        Host& h = host();
        blockSetUp_.emplace_back(line[0], value);
        Apply(h, line[0], value);
      } else if (colon != std::string::npos && kInternals.count(line.substr(0, colon))) {
        RunInternal(line, colon);
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
      for (const auto& [kind, value] : common_) Apply(*host_, kind, value);
    }
    return *host_;
  }

  void Apply(Host& h, char kind, const std::string& value) {
    const size_t equals = value.find('=');
    if (kind == 'A' && value == "none") h.m.Events().InputBox = nullptr;
    else if (equals == std::string::npos) ADD_FAILURE() << where_ << ": set-up needs \"name=value\"";
    else if (kind == 'A') h.answers.emplace_back(test::Upper(value.substr(0, equals)), value.substr(equals + 1));
    else h.folder.Write(value.substr(0, equals), value.substr(equals + 1));
  }

  std::string Unescaped(const std::string& raw) {
    std::string out;
    if (!test::Unescape(raw, out)) ADD_FAILURE() << where_ << ": bad escape in " << raw;
    return out;
  }

  void Expect(const std::string& what, const std::string& actual, const std::string& expected) {
    EXPECT_EQ(actual, expected) << where_ << ": " << what << " after \"" << line_ << "\"";
  }

  void RunInternal(const std::string& line, size_t colon) {
    const size_t arrow = line.rfind(" =>");
    if (arrow == std::string::npos) return (void)(ADD_FAILURE() << where_ << ": not a case");
    Args args;
    for (size_t from = colon + 2, bar = 0; from <= arrow; from = bar + 3) {
      bar = std::min(line.find(" | ", from), arrow);
      args.push_back(Unescaped(line.substr(from, bar - from)));
    }
    std::string got;
    try {
      got = kInternals.at(line.substr(0, colon))(args);
    } catch (const Failure& failure) {
      EXPECT_STRNE(failure.what(), "") << where_;
      got = "!" + std::to_string(failure.code());
    }
    ++cases_;
    line_ = line;
    Expect("the result", got, Unescaped(line.substr(std::min(arrow + 4, line.size()))));
  }

  void RunCase(const std::string& line) {
    const size_t arrow = line.rfind("=> ", 0) == 0 ? 0 : line.find(" => ");
    const bool checked = arrow != std::string::npos;
    Host& h = host();
    h.text = line_ = arrow == 0 ? "" : Unescaped(checked ? line.substr(0, arrow) : line);
    h.result.clear();
    h.failure.reset();
    h.log.clear();
    h.asked.clear();
    const double ansBefore = h.Ans();
    try {
      h.result = h.m.Calculate(h.text);
    } catch (const Failure& failure) {
      h.failure = failure.code();
    }
    ranLine_ = true;
    if (!checked) {
      if (h.failure) ADD_FAILURE() << where_ << ": \"" << line_ << "\" failed with code " << *h.failure;
      return;
    }
    ++cases_;
    std::vector<std::string> parts;
    std::string rest = line.substr(arrow == 0 ? 3 : arrow + 4);
    for (size_t at; (at = rest.find(" ; ")) != std::string::npos; rest.erase(0, at + 3)) parts.push_back(rest.substr(0, at));
    parts.push_back(rest);
    CheckAnswer(h, parts[0], ansBefore);
    for (size_t i = 1; i < parts.size(); ++i) Check(h, parts[i]);
  }

  void CheckAnswer(Host& h, const std::string& answer, double ansBefore) {
    clsMorvex& m = h.m;
    if (answer.rfind("failure ", 0) == 0 || h.failure) {
      return Expect("the failure", h.failure ? "failure " + std::to_string(*h.failure) : "no failure", answer);
    }
    if (answer == "*") return;
    if (answer.rfind("error ", 0) != 0) {
      const std::string out = answer == "\"\"" ? "" : Unescaped(answer);
      Expect("OutString", m.OutString(), out);
      Expect("ErrNumber and ErrDescription", std::to_string(m.ErrNumber()) + m.ErrDescription(), "0");
      // The recalculation after an assignment leaves Ans at the last variable it computed.
      const bool recalculated = h.Events("S", false).rfind("UpdateVariables", 0) == 0;
      if (const auto value = ParseNumber(out); value && !recalculated) {
        EXPECT_EQ(h.Ans(), *value) << where_ << ": Ans";
      }
      return;
    }
    std::istringstream words(answer.substr(6));
    std::string number, out, key, value;
    words >> number >> out;
    Expect("ErrNumber", std::to_string(m.ErrNumber()), number);
    if (out != "*") Expect("OutString", m.OutString(), out == "\"\"" ? "" : Unescaped(out));
    while (words >> key >> value) {
      Expect(key, key == "at" ? std::to_string(m.ErrFirst()) : key == "len" ? std::to_string(m.ErrLength()) : "?", value);
    }
    EXPECT_EQ(h.Ans(), ansBefore) << where_ << ": an error keeps Ans";
    const bool givenUp = m.ErrNumber() == 13;
    Expect("ErrDescription", m.ErrDescription(), givenUp ? "" : std::string(ErrorName(m.ErrNumber())));
    if (givenUp) Expect("the selection", test::ErrorPlace(m), "none");
  }

  void Check(Host& h, const std::string& check) {
    const size_t blank = check.find(' '), equals = check.find(" = ");
    const std::string key = check.substr(0, blank);
    const std::string value = blank == std::string::npos ? "" : Unescaped(check.substr(blank + 1));
    if (equals != std::string::npos) {  // name = value [(TypeVar)]
      const auto found = h.Var(check.substr(0, equals));
      if (!found) return (void)(ADD_FAILURE() << where_ << ": no variable in " << check << " after \"" << line_ << "\"");
      std::istringstream parts(check.substr(equals + 3));
      std::string number, type;
      parts >> number >> type;
      if (number != "*") { EXPECT_EQ(found->Value, D(number)) << where_ << ": " << check; }
      if (!type.empty()) Expect(check, "(" + std::to_string(found->TypeVar) + ")", type);
    } else if (key == "no") {
      EXPECT_FALSE(h.Var(value)) << where_ << ": variable " << value << " exists";
    } else if (kProperties.count(key)) {
      Expect(key, kProperties.at(key)(h), value);
    } else {
      ADD_FAILURE() << where_ << ": unknown check " << check;
    }
  }

  std::unique_ptr<Host> host_;
  std::vector<std::pair<char, std::string>> common_, blockSetUp_;  // 'A'nswer or 'F'ile
  std::string where_, line_;
  int cases_ = 0;
  bool ranLine_ = false;
};

std::vector<fs::path> GoldenFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(MORVEX_GOLDEN_DIR)) {
    if (entry.path().extension() == ".lines") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class Golden : public ::testing::TestWithParam<fs::path> {};

TEST_P(Golden, GivesItsExpectedProperties) { EXPECT_GT(GoldenFile().Run(GetParam()), 0) << GetParam() << " checks nothing"; }

INSTANTIATE_TEST_SUITE_P(Files, Golden, ::testing::ValuesIn(GoldenFiles()),
                         [](const ::testing::TestParamInfo<fs::path>& info) { return info.param.stem().string(); });

}  // namespace
}  // namespace morvex
