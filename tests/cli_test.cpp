// The morvex command-line host, run as a separate process: input lines go in
// on standard input, and its plain answers or JSON records are checked.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace {

using morvex::test::TempFolder;

struct CliRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

std::string ReadWhole(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs the host with `args`, `input` as its standard input. A host that does
// not finish within ten seconds is killed by its alarm and the run fails.
CliRun RunCli(const std::vector<std::string>& args, std::string_view input) {
  TempFolder io;
  const std::string inPath = io.Write("in.txt", input).string();
  const std::string outPath = (io.path() / "out.txt").string();
  const std::string errPath = (io.path() / "err.txt").string();

  std::vector<std::string> argvText{MORVEX_CLI_PATH};
  argvText.insert(argvText.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : argvText) argv.push_back(arg.data());
  argv.push_back(nullptr);

  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    const int in = open(inPath.c_str(), O_RDONLY);
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out < 0 || err < 0) _exit(126);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    alarm(10);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  CliRun run;
  if (WIFEXITED(status)) {
    run.exitCode = WEXITSTATUS(status);
  } else {
    ADD_FAILURE() << "the host did not exit normally (signal "
                  << (WIFSIGNALED(status) ? WTERMSIG(status) : 0) << ")";
  }
  run.out = ReadWhole(outPath);
  run.err = ReadWhole(errPath);
  return run;
}

// A strict reader of the JSON the host writes; anything that is not valid
// JSON throws. \u escapes above 00FF are refused: every string is Latin-1.
struct Json {
  enum class Kind { Null, Bool, Number, String, Array, Object };
  Kind kind = Kind::Null;
  bool boolean = false;
  double number = 0;
  std::string text;
  std::vector<Json> items;
  std::vector<std::string> keys;  // of an object, in order; values[i] belongs to keys[i]
  std::vector<Json> values;

  const Json& operator[](std::string_view key) const {
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i] == key) return values[i];
    }
    throw std::runtime_error("no member " + std::string(key));
  }
};

class JsonReader {
 public:
  explicit JsonReader(std::string_view text) : text_(text) {}

  Json ReadDocument() {
    Json value = ReadValue();
    SkipBlanks();
    if (pos_ != text_.size()) Fail("text after the value");
    return value;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error("invalid JSON at " + std::to_string(pos_) + ": " + what);
  }
  void SkipBlanks() {
    while (pos_ < text_.size() && std::string_view(" \t\n\r").find(text_[pos_]) != std::string_view::npos) ++pos_;
  }
  bool Take(char c) {
    SkipBlanks();
    if (pos_ >= text_.size() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }
  bool TakeWord(std::string_view word) {
    if (text_.substr(pos_, word.size()) != word) return false;
    pos_ += word.size();
    return true;
  }
  void Digits() {
    const std::size_t from = pos_;
    while (pos_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[pos_]))) ++pos_;
    if (pos_ == from) Fail("digit expected");
  }

  Json ReadValue() {
    SkipBlanks();
    Json value;
    if (Take('{')) {
      value.kind = Json::Kind::Object;
      if (Take('}')) return value;
      do {
        SkipBlanks();
        value.keys.push_back(ReadString());
        if (!Take(':')) Fail("expected :");
        value.values.push_back(ReadValue());
      } while (Take(','));
      if (!Take('}')) Fail("expected }");
    } else if (Take('[')) {
      value.kind = Json::Kind::Array;
      if (Take(']')) return value;
      do value.items.push_back(ReadValue());
      while (Take(','));
      if (!Take(']')) Fail("expected ]");
    } else if (pos_ < text_.size() && text_[pos_] == '"') {
      value.kind = Json::Kind::String;
      value.text = ReadString();
    } else if (TakeWord("null")) {
    } else if (TakeWord("true")) {
      value.kind = Json::Kind::Bool;
      value.boolean = true;
    } else if (TakeWord("false")) {
      value.kind = Json::Kind::Bool;
    } else {
      const std::size_t start = pos_;
      value.kind = Json::Kind::Number;
      TakeWord("-");
      if (!TakeWord("0")) Digits();
      if (TakeWord(".")) Digits();
      if (TakeWord("e") || TakeWord("E")) {
        if (!TakeWord("+")) TakeWord("-");
        Digits();
      }
      value.number = std::stod(std::string(text_.substr(start, pos_ - start)));
    }
    return value;
  }

  std::string ReadString() {
    if (!TakeWord("\"")) Fail("string expected");
    std::string out;
    for (;;) {
      if (pos_ >= text_.size()) Fail("unterminated string");
      const auto c = static_cast<unsigned char>(text_[pos_++]);
      if (c == '"') return out;
      if (c < 0x20) Fail("raw control character in a string");
      if (c != '\\') {
        out += static_cast<char>(c);
        continue;
      }
      if (pos_ >= text_.size()) Fail("unterminated escape");
      const char e = text_[pos_++];
      const std::string_view simple = "\"\\/bfnrt", meant = "\"\\/\b\f\n\r\t";
      if (const std::size_t k = simple.find(e); k != std::string_view::npos) {
        out += meant[k];
      } else if (e == 'u' && pos_ + 4 <= text_.size()) {
        const unsigned long code = std::stoul(std::string(text_.substr(pos_, 4)), nullptr, 16);
        pos_ += 4;
        if (code > 0xFF) Fail("a \\u escape beyond one byte");
        out += static_cast<char>(code);
      } else {
        Fail("unknown escape");
      }
    }
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

const std::vector<std::string> kRecordKeys{"line",         "result",         "TText",    "OutString", "InString",
                                           "ErrNumber",    "ErrFirst",       "ErrLength", "ErrDescription",
                                           "Expression",   "StringTyping",   "StringVariable", "DNAString",
                                           "events",       "failure"};

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Runs the host in --json mode and reads its records, checking that the
// output is plain ASCII and that every record has exactly the record's keys.
std::vector<Json> RunJson(const TempFolder& folder, std::vector<std::string> args, std::string_view input,
                          bool startup = false) {
  args.insert(args.begin(), {"--json", "--folder", folder.str()});
  if (!startup) args.push_back("--no-startup");
  const CliRun run = RunCli(args, input);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  for (const char c : run.out) {
    EXPECT_LT(static_cast<unsigned char>(c), 0x80) << "output is not plain ASCII";
    if (static_cast<unsigned char>(c) >= 0x80) break;
  }
  std::vector<Json> records;
  for (const std::string& line : SplitLines(run.out)) {
    try {
      records.push_back(JsonReader(line).ReadDocument());
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what() << " in: " << line.substr(0, 300);
      continue;
    }
    EXPECT_EQ(records.back().keys, kRecordKeys);
  }
  return records;
}

// The Change events of a record as "Change(3,1)\"2+3\" ...".
std::string ChangesOf(const Json& record) {
  std::ostringstream changes;
  for (const Json& event : record["events"].items) {
    if (event["name"].text == "Change") {
      changes << "Change(" << event["Length"].number << "," << event["FirstChar"].number << ")\"" << event["DNAString"].text << "\" ";
    }
  }
  return changes.str();
}

std::vector<std::string> EventNames(const Json& record) {
  std::vector<std::string> names;
  for (const Json& event : record["events"].items) names.push_back(event["name"].text);
  return names;
}

// One expected record: the input line it echoes and the answer fields.
struct Answer {
  std::string line;
  std::string outString;
  int errNumber = 0;
  int errFirst = 0;
  int errLength = 0;
};

TEST(CliJson, OneRecordPerLineWithTheLinesAnswer) {
  struct Case {
    std::string name;
    std::vector<std::string> args;
    std::string input;
    std::vector<Answer> answers;
  };
  const std::vector<Case> cases{
      {"plain value", {}, "2+3\n", {{"2+3", "5", 0, 0, 3}}},
      {"error with its position", {}, "2+*3\n", {{"2+*3", "OperatorBadPosition", 5, 2, 1}}},
      {"CR LF ends a line", {}, "2+3\r\n4*5\r\n", {{"2+3", "5", 0, 0, 3}, {"4*5", "20", 0, 0, 3}}},
      {"last line without an end", {}, "1+1\n6*7", {{"1+1", "2", 0, 0, 3}, {"6*7", "42", 0, 0, 3}}},
      {"empty line keeps its place", {}, "2+3\n\n4*5\n", {{"2+3", "5", 0, 0, 3}, {"", "5", 0, 0, 3}, {"4*5", "20", 0, 0, 3}}},
      {"answered word", {"--answer", "r=1.5"}, "r*2\n", {{"r*2", "3", 0, 0, 3}}},
      {"answer names ignore case", {"--answer", "R=2", "--answer=k=4"}, "r*k\n", {{"r*k", "8", 0, 0, 3}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFolder folder;
    const std::vector<Json> records = RunJson(folder, c.args, c.input);
    ASSERT_EQ(records.size(), c.answers.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      const Json& record = records[i];
      const Answer& want = c.answers[i];
      EXPECT_EQ(record["line"].text, want.line);
      EXPECT_EQ(record["OutString"].text, want.outString);
      EXPECT_EQ(record["ErrNumber"].number, want.errNumber);
      EXPECT_EQ(record["ErrFirst"].number, want.errFirst);
      EXPECT_EQ(record["ErrLength"].number, want.errLength);
      EXPECT_EQ(record["failure"].kind, Json::Kind::Null);
    }
  }
}

TEST(CliJson, EventsCarryTheChainTextOfTheirMoment) {
  TempFolder folder;
  const std::vector<Json> records = RunJson(folder, {"--answer", "r=1.5"}, "2+3\nr*2\nq*2\n");
  ASSERT_EQ(records.size(), 3u);

  EXPECT_EQ(ChangesOf(records[0]), "Change(3,1)\"2+3\" Change(1,1)\"5\" ");
  EXPECT_EQ(records[0]["result"].text, "5");
  EXPECT_EQ(records[0]["DNAString"].text, "5");

  // The word is asked for before the line is reduced, and the answer is kept.
  const Json& asked = records[1]["events"].items.at(0);
  EXPECT_EQ(asked["name"].text, "InputBox");
  EXPECT_EQ(asked["Num"].text, "r");
  EXPECT_EQ(asked["answer"].text, "1.5");
  EXPECT_EQ(records[1]["result"].text, "3");

  // A word without an --answer is declined.
  const Json& declined = records[2]["events"].items.at(0);
  EXPECT_EQ(declined["name"].text, "InputBox");
  EXPECT_EQ(declined["Num"].text, "q");
  EXPECT_EQ(declined["answer"].text, "");
  EXPECT_EQ(records[2]["failure"].kind, Json::Kind::Null);
}

TEST(CliJson, FailureIsRecordedAndTheSessionGoesOn) {
  TempFolder folder;
  const std::string input = std::string(40000, '1') + "\n2+2\n1+\n";
  const std::vector<Json> records = RunJson(folder, {}, input);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0]["line"].text.size(), 40000u);
  ASSERT_EQ(records[0]["failure"].kind, Json::Kind::Object);
  EXPECT_EQ(records[0]["failure"]["code"].number, 6);  // overflow of the chain's size
  EXPECT_FALSE(records[0]["failure"]["message"].text.empty());
  EXPECT_EQ(records[0]["result"].text, "");
  EXPECT_EQ(records[1]["OutString"].text, "4");
  EXPECT_EQ(records[1]["failure"].kind, Json::Kind::Null);
  EXPECT_EQ(records[2]["failure"].kind, Json::Kind::Null);
}

TEST(CliJson, RecordsAreWrittenExactly) {
  struct Case {
    std::string name;
    std::string input;
    std::string expectedStart;  // the record's text from its start
  };
  const std::vector<Case> cases{
      {"whole record of an error",
       "2+*3\n",
       "{\"line\":\"2+*3\",\"result\":\"OperatorBadPosition\",\"TText\":\"2+*3\","
       "\"OutString\":\"OperatorBadPosition\",\"InString\":\"2+*3\",\"ErrNumber\":5,\"ErrFirst\":2,"
       "\"ErrLength\":1,\"ErrDescription\":\"OperatorBadPosition\",\"Expression\":\"\",\"StringTyping\":\"\","
       "\"StringVariable\":\"\\r\\n\",\"DNAString\":\"2+*3\",\"events\":[],\"failure\":null}\n"},
      {"quote, backslash, tab and control byte", "a\"b\\c\td\x01\x7f\n", "{\"line\":\"a\\\"b\\\\c\\td\\u0001\\u007f\","},
      {"bytes above 127", "\xe9\xff+1\n", "{\"line\":\"\\u00e9\\u00ff+1\","},
      {"NUL inside a line", std::string("1\0" "2\n", 4), "{\"line\":\"1\\u00002\","},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFolder folder;
    const CliRun run = RunCli({"--json", "--no-startup", "--folder", folder.str()}, c.input);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out.substr(0, c.expectedStart.size()), c.expectedStart);
    EXPECT_EQ(SplitLines(run.out).size(), 1u);
    EXPECT_NO_THROW(JsonReader(SplitLines(run.out).at(0)).ReadDocument());
  }
}

TEST(CliJson, HostCommandsPrintRecordsToo) {
  TempFolder folder;
  folder.Write("more.txt", "4*5=y\n$\n1\n1\n1\n");
  const std::string input = "2+3=x\n:functions\n:load " + (folder.path() / "more.txt").string() +
                            "\ny\n:unload\n:functions\n:nosuch\n:quit\n2+2\n";
  const std::vector<Json> records = RunJson(folder, {}, input);
  ASSERT_EQ(records.size(), 8u);  // nothing after :quit

  const Json& listing = records[1];
  EXPECT_EQ(listing["line"].text, ":functions");
  EXPECT_EQ(listing["result"].text, "");
  ASSERT_EQ(listing["events"].items.size(), 1u);
  EXPECT_EQ(listing["events"].items[0]["name"].text, "GetFunctions");
  EXPECT_EQ(listing["events"].items[0]["FuncName"].text, "x");
  EXPECT_EQ(listing["events"].items[0]["Expression"].text, "2+3");

  // The file's lines run inside the command: its pause and its progress show
  // among the command's events, and its variable is there afterwards.
  const Json& load = records[2];
  const std::vector<std::string> names = EventNames(load);
  EXPECT_NE(std::find(names.begin(), names.end(), "Wait"), names.end());
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.back(), "Progress");
  EXPECT_EQ(load["events"].items.back()["Percent"].number, 1.0);
  EXPECT_EQ(load["TText"].text, (folder.path() / "more.txt").string());
  EXPECT_EQ(records[3]["OutString"].text, "20");

  EXPECT_EQ(records[4]["line"].text, ":unload");
  EXPECT_TRUE(records[5]["events"].items.empty()) << "no variables are left after :unload";

  ASSERT_EQ(records[6]["failure"].kind, Json::Kind::Object);
  EXPECT_NE(records[6]["failure"]["message"].text.find("unknown command"), std::string::npos);
  EXPECT_EQ(records[7]["line"].text, ":quit");
}

TEST(CliJson, StartUpFileRunsFirstAsALoadRecord) {
  struct Case {
    std::string name;
    bool withFile;
    bool noStartup;
    std::size_t records;
    bool zDefined;  // the start-up file ran and made z, so the line "z" asks for nothing
  };
  const std::vector<Case> cases{
      {"start-up file defines z", true, false, 2, true},
      {"no start-up file", false, false, 2, false},
      {"--no-startup skips the file", true, true, 1, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFolder folder;
    if (c.withFile) folder.Write("StartUp.txt", "9=z\n1\n1\n1\n");
    const std::vector<Json> records = RunJson(folder, {}, "z\n", !c.noStartup);
    ASSERT_EQ(records.size(), c.records);
    if (!c.noStartup) {
      EXPECT_EQ(records[0]["line"].text, ":load");
      EXPECT_EQ(records[0]["events"].items.empty(), !c.withFile);
    }
    const std::vector<std::string> names = EventNames(records.back());
    EXPECT_EQ(std::count(names.begin(), names.end(), "InputBox"), c.zDefined ? 0 : 1);
    if (c.zDefined) {
      EXPECT_EQ(records.back()["OutString"].text, "9");
    }
  }
}

TEST(CliPlain, AnswersAsText) {
  struct Case {
    std::string name;
    std::vector<std::string> args;
    std::string input;
    std::string output;
  };
  const std::vector<Case> cases{
      {"value", {}, "2+3\n", "5\n"},
      {"caret under the offending token", {}, "2+*3\n", "2+*3\n  ^\nerror 5: OperatorBadPosition\n"},
      {"unfinished reduction", {}, "1/0\n", "1/0\nerror 13\n"},
      {"trailing text on its own line", {}, "2+3 cm\n", "5\ncm\n"},
      {"empty answers keep lines in step", {}, "$\n\n2+3\n", "\n\n5\n"},
      {"answer from the command line", {"--answer", "r=1.5"}, "r*2\n", "3\nNew Variable r Added\n"},
      {"function listing", {}, "2+3=x\n:functions\n", "5\nNew Variable x Added\nx = 2+3\n"},
      {"empty function listing", {}, ":functions\n", "no user variables\n"},
      {"missing line file", {}, ":load /nonexistent/lines.txt\n", "no such file: /nonexistent/lines.txt\n"},
      {"unknown command", {}, ":frob\n2\n", "unknown command :frob; commands are :quit, :unload, :load [PATH], :functions\n2\n"},
      {"steps of a reduction", {"--steps"}, "2*3+4\n", "2*3+4\n^^^\n6+4\n^\n6+4\n^^^\n10\n^^\n10\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFolder folder;
    std::vector<std::string> args{"--no-startup", "--folder", folder.str()};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const CliRun run = RunCli(args, c.input);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, c.output);
  }
}

TEST(CliPlain, FailureIsPrintedAndTheSessionGoesOn) {
  TempFolder folder;
  const CliRun run = RunCli({"--no-startup", "--folder", folder.str()}, std::string(40000, '1') + "\n2+2\n");
  EXPECT_EQ(run.exitCode, 0);
  const std::vector<std::string> lines = SplitLines(run.out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("failure 6: ", 0), 0u) << lines[0];
  EXPECT_GT(lines[0].size(), std::string("failure 6: ").size());
  EXPECT_EQ(lines[1], "4");
}

TEST(CliOptions, CommandLineIsChecked) {
  struct Case {
    std::vector<std::string> args;
    int exitCode;
    std::string inErr;  // a piece of the message on standard error
    std::string inOut;  // a piece of standard output
  };
  const std::vector<Case> cases{
      {{"--frobnicate"}, 2, "unknown option --frobnicate", ""},
      {{"extra"}, 2, "unexpected argument", ""},
      {{"--answer", "novalue"}, 2, "NAME=VALUE", ""},
      {{"--folder"}, 2, "needs a value", ""},
      {{"--folder", "/nonexistent/morvex"}, 2, "no such folder", ""},
      {{"--json=yes"}, 2, "takes no value", ""},
      {{"--help"}, 0, "", "--answer NAME=VALUE"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.front());
    const CliRun run = RunCli(c.args, "");
    EXPECT_EQ(run.exitCode, c.exitCode);
    EXPECT_NE(run.err.find(c.inErr), std::string::npos) << run.err;
    EXPECT_NE(run.out.find(c.inOut), std::string::npos) << run.out;
    if (c.exitCode != 0) {
      EXPECT_TRUE(run.out.empty());
    }
  }
}

}  // namespace
