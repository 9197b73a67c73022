// The morvex command-line host: its pieces (commands, completion, the step
// view, the layout) directly, and the program as a separate process, through
// a pipe and through a pseudo-terminal.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "morvex/version.hpp"

#include "commands.hpp"
#include "function_words.hpp"
#include "step_view.hpp"
#include "test_support.hpp"
#include "text_layout.hpp"

namespace {

using morvex::test::TempFolder;
// Records keep their keys in the order of the line.
using json = nlohmann::ordered_json;
namespace cli = morvex::cli;

// ---------------------------------------------------------------- pieces

TEST(CliCommands, LinesStartingWithAColonAreCommands) {
  struct Case {
    std::string line;
    cli::CommandKind kind;
    std::string argumentOrProblem;
  };
  const std::vector<Case> cases{
      {"2+3", cli::CommandKind::None, ""},
      {":QUIT", cli::CommandKind::Quit, ""},
      {":load  /tmp/x.txt ", cli::CommandKind::Load, "/tmp/x.txt"},
      {":steps", cli::CommandKind::Steps, ""},
      {":vars now", cli::CommandKind::Unknown, ":vars takes no argument"},
      {":st", cli::CommandKind::Unknown, "unknown command :st; did you mean :steps?"},
      {":frob", cli::CommandKind::Unknown, "unknown command :frob; :help lists the commands"},
      {":", cli::CommandKind::Unknown, "unknown command :; :help lists the commands"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const cli::HostCommand command = cli::ParseHostCommand(c.line);
    EXPECT_EQ(command.kind, c.kind);
    EXPECT_EQ(c.kind == cli::CommandKind::Unknown ? command.problem : command.argument, c.argumentOrProblem);
  }
}

TEST(CliCompletion, CandidatesForTheWordBeforeTheCursor) {
  const std::vector<std::string> variables{"Ans", "XVar", "YVar", "area", "f"};
  struct Case {
    std::string line;  // the cursor at its end
    std::vector<std::string> candidates;
  };
  const std::vector<Case> cases{
      {"sq", {"Sqr"}},
      {"2*ARCc", {"ArcCos", "ArcCot"}},
      {"1+ar", {"ArcCos", "ArcCot", "ArcSin", "ArcTan", "area"}},
      {"an", {"Ans"}},                      // a function word and a variable, offered once
      {"f", {"f", "Fix"}},                  // case-blind order, the shorter first
      {":s", {":steps"}},
      {":", {":deg", ":functions", ":help", ":load", ":quit", ":rad", ":steps", ":unload", ":vars"}},
      {"2:s", {"Sign", "Sin", "Sqr"}},     // a colon inside a line starts no command
      {"zz", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const std::size_t start = cli::WordStart(c.line, c.line.size());
    EXPECT_EQ(cli::CompletionCandidates(std::string_view(c.line).substr(0, start),
                                        std::string_view(c.line).substr(start), variables),
              c.candidates);
  }
}

// Feeds (text, first, length) events to a tracker and gives its rows, plain.
std::string Rows(const std::vector<std::tuple<std::string, int, int>>& events) {
  std::string rows;
  cli::StepTracker tracker(0, [&](cli::StepRow&& row) { rows += cli::FormatStepRow(row, cli::Palette::Plain(), 200); });
  for (const auto& [text, first, length] : events) tracker.OnEvent(text, first, length);
  return rows;
}

TEST(CliStepView, EventsBecomeRowsOfWorkedArithmetic) {
  struct Case {
    std::string name;
    std::vector<std::tuple<std::string, int, int>> events;
    std::string rows;
  };
  const std::vector<Case> cases{
      {"before and after of each step",
       {{"2*3+4", 1, 3}, {"6+4", 1, 1}, {"6+4", 1, 3}, {"10", 1, 2}},
       "  [2*3]+4 -> [6]+4\n  [6+4] -> [10]\n"},
      {"a step with no after event",
       {{"PI*2", 1, 2}, {"3.14159265358979*2", 1, 18}, {"6.28318530717958", 1, 16}},
       "  [PI]*2 -> [3.14159265358979]*2\n  [3.14159265358979*2] -> [6.28318530717958]\n"},
      {"a group, then the step inside it",
       {{"(2+3)*4", 1, 5}, {"(2+3)*4", 2, 3}, {"(5)*4", 2, 1}, {"5*4", 1, 1}},
       "  ([2+3])*4 -> ([5])*4\n  [(5)]*4 -> [5]*4\n"},
      {"two neighbouring cells make one stretch", {{"23", 1, 1}, {"23", 2, 1}, {"6", 1, 1}}, "  [23] -> [6]\n"},
      {"marks of length 0 are passed over", {{"2+3", 1, 3}, {"2+3", 1, 0}, {"5", 1, 1}}, "  [2+3] -> [5]\n"},
      {"a quiet change makes no row",
       {{"(Sin30)^2", 2, 5}, {"(0.5)^2", 2, 3}, {"0.5^2", 1, 5}, {"0.25", 1, 4}},
       "  ([Sin30])^2 -> ([0.5])^2\n  [0.5^2] -> [0.25]\n"},
      {"an after event that names part of what was produced",
       {{"Sin^230", 1, 5}, {"(Sin30)^2", 2, 5}, {"0.5^2", 1, 5}, {"0.25", 1, 4}},
       "  [Sin^230] -> [(Sin30)^2]\n  [0.5^2] -> [0.25]\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Rows(c.events), c.rows);
  }
}

TEST(CliLayout, RowsAndAnswersFitTheWidth) {
  const cli::StepRow row{1, "12345+1", {0, 7}, "12346", {0, 5}};
  EXPECT_EQ(cli::FormatStepRow(row, cli::Palette::Plain(), 30), "      [12345+1] -> [12346]\n");
  EXPECT_EQ(cli::FormatStepRow(row, cli::Palette::Plain(), 20), "      [12345+1]\n      -> [12346]\n");
  EXPECT_EQ(cli::FormatStepRow(row, cli::Palette::Colour(), 40),
            "      \x1b[1;31m12345+1\x1b[0m\x1b[2m -> \x1b[0m\x1b[1;32m12346\x1b[0m\n");

  EXPECT_EQ(cli::AnswerBesideLine("Sin(30)+1.5E2", "150.5", "rounded", cli::Palette::Plain(), 80),
            "Sin(30)+1.5E2 = 150.5   rounded\n");
  EXPECT_EQ(cli::AnswerBesideLine("Sin(30)+1.5E2", "150.5", "rounded", cli::Palette::Plain(), 24),
            "Sin(30)+1.5E2 = 150.5\n  rounded\n");
  EXPECT_EQ(cli::AnswerBesideLine(std::string(30, '1'), "1.11111111111111E+29", "", cli::Palette::Plain(), 40),
            std::string(30, '1') + "\n  = 1.11111111111111E+29\n");
  EXPECT_EQ(cli::CaretMarker("a\tb+*c", 4, 1), " \t  ^");
}

// ---------------------------------------------------------------- the program

struct CliRun {
  int exitCode = -1;
  std::string out;
  std::string err;
  long peakKilobytes = 0;
};

std::string ReadWhole(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<char*> ArgvOf(std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  return argv;
}

// Runs the host with `args`, `input` as its standard input, and its output in
// a file (or thrown away). A host that does not finish within `seconds` is
// killed by its alarm and the run fails.
CliRun RunCli(const std::vector<std::string>& args, std::string_view input, bool keepOutput = true,
              unsigned seconds = 10) {
  TempFolder io;
  const std::string inPath = io.Write("in.txt", input).string();
  const std::string outPath = keepOutput ? (io.path() / "out.txt").string() : "/dev/null";
  const std::string errPath = (io.path() / "err.txt").string();
  std::vector<std::string> argvText{MORVEX_CLI_PATH};
  argvText.insert(argvText.end(), args.begin(), args.end());
  std::vector<char*> argv = ArgvOf(argvText);

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
    alarm(seconds);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  CliRun run;
  run.peakKilobytes = usage.ru_maxrss;
  if (WIFEXITED(status)) {
    run.exitCode = WEXITSTATUS(status);
  } else {
    ADD_FAILURE() << "the host did not exit normally (signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0) << ")";
  }
  if (keepOutput) run.out = ReadWhole(outPath);
  run.err = ReadWhole(errPath);
  return run;
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

const std::vector<std::string> kRecordKeys{
    "line",       "events",         "result",        "TText",        "OutString",      "InString",
    "ErrNumber",  "ErrFirst",       "ErrLength",     "ErrDescription", "ErrFormula",   "Expression",
    "ScriptFailure", "StringTyping", "StringVariable", "DNAString",   "DNAString2",     "failure"};

// Runs the host in --json mode and reads its records, checking that the
// output is plain ASCII and that every record has exactly the record's keys,
// in their order.
std::vector<json> RunJson(const TempFolder& folder, std::vector<std::string> args, std::string_view input,
                          bool startup = false) {
  args.insert(args.begin(), {"--json", "--folder", folder.str()});
  if (!startup) args.push_back("--no-startup");
  const CliRun run = RunCli(args, input);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_TRUE(std::all_of(run.out.begin(), run.out.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
      << "output is not plain ASCII";
  std::vector<json> records;
  for (const std::string& line : SplitLines(run.out)) {
    const json record = json::parse(line, nullptr, false);
    if (record.is_discarded()) {
      ADD_FAILURE() << "invalid JSON: " << line.substr(0, 300);
      continue;
    }
    std::vector<std::string> keys;
    for (const auto& member : record.items()) keys.push_back(member.key());
    EXPECT_EQ(keys, kRecordKeys);
    records.push_back(record);
  }
  return records;
}

// The Change events of a record as "Change(3,1)\"2+3\" ...".
std::string ChangesOf(const json& record) {
  std::ostringstream changes;
  for (const json& event : record["events"]) {
    if (event["name"] == "Change") {
      changes << "Change(" << event["Length"] << "," << event["FirstChar"] << ")" << event["DNAString"] << " ";
    }
  }
  return changes.str();
}

std::vector<std::string> EventNames(const json& record) {
  std::vector<std::string> names;
  for (const json& event : record["events"]) names.push_back(event["name"]);
  return names;
}

TEST(CliJson, OneRecordPerLineWithTheLinesAnswer) {
  struct Answer {
    std::string line;
    std::string outString;
    int errNumber, errFirst, errLength;
  };
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
      {"angle commands run the calculator's lines", {}, ":rad\n:deg\n", {{":rad", "OK", 0, 0, 0}, {":deg", "OK", 0, 0, 0}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFolder folder;
    const std::vector<json> records = RunJson(folder, c.args, c.input);
    ASSERT_EQ(records.size(), c.answers.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      const Answer& want = c.answers[i];
      EXPECT_EQ(records[i]["line"], want.line);
      EXPECT_EQ(records[i]["OutString"], want.outString);
      EXPECT_EQ(records[i]["ErrNumber"], want.errNumber);
      EXPECT_EQ(records[i]["ErrFirst"], want.errFirst);
      EXPECT_EQ(records[i]["ErrLength"], want.errLength);
      EXPECT_EQ(records[i]["ErrFormula"], "");
      EXPECT_TRUE(records[i]["failure"].is_null());
    }
  }
}

TEST(CliJson, EventsCarryTheChainTextOfTheirMoment) {
  TempFolder folder;
  const std::vector<json> records = RunJson(folder, {"--answer", "r=1.5"}, "2+3\nr*2\nq*2\n");
  ASSERT_EQ(records.size(), 3u);

  EXPECT_EQ(ChangesOf(records[0]), "Change(3,1)\"2+3\" Change(1,1)\"5\" ");
  EXPECT_EQ(records[0]["result"], "5");
  EXPECT_EQ(records[0]["DNAString"], "5");

  // The word is asked for before the line is reduced, and the answer is kept.
  const json& asked = records[1]["events"].at(0);
  EXPECT_EQ(asked["name"], "InputBox");
  EXPECT_EQ(asked["Num"], "r");
  EXPECT_EQ(asked["answer"], "1.5");
  EXPECT_EQ(records[1]["result"], "3");

  // A word without an --answer is declined.
  const json& declined = records[2]["events"].at(0);
  EXPECT_EQ(declined["name"], "InputBox");
  EXPECT_EQ(declined["Num"], "q");
  EXPECT_EQ(declined["answer"], "");
  EXPECT_TRUE(records[2]["failure"].is_null());
}

TEST(CliJson, FailureIsRecordedAndTheSessionGoesOn) {
  TempFolder folder;
  const std::string input = std::string(40000, '1') + "\n2+2\n1+\n";
  const std::vector<json> records = RunJson(folder, {}, input);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0]["line"].get<std::string>().size(), 40000u);
  ASSERT_TRUE(records[0]["failure"].is_object());
  EXPECT_EQ(records[0]["failure"]["code"], 6);  // overflow of the chain's size
  EXPECT_FALSE(records[0]["failure"]["message"].get<std::string>().empty());
  EXPECT_EQ(records[0]["result"], "");
  EXPECT_EQ(records[1]["OutString"], "4");
  EXPECT_TRUE(records[1]["failure"].is_null());
  EXPECT_TRUE(records[2]["failure"].is_null());
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
       "{\"line\":\"2+*3\",\"events\":[],\"result\":\"OperatorBadPosition\",\"TText\":\"2+*3\","
       "\"OutString\":\"OperatorBadPosition\",\"InString\":\"2+*3\",\"ErrNumber\":5,\"ErrFirst\":2,"
       "\"ErrLength\":1,\"ErrDescription\":\"OperatorBadPosition\",\"ErrFormula\":\"\",\"Expression\":\"\","
       "\"ScriptFailure\":\"\",\"StringTyping\":\"\",\"StringVariable\":\"\\r\\n\",\"DNAString\":\"2+*3\","
       "\"DNAString2\":\"\",\"failure\":null}\n"},
      {"events between the line and the answer", "2+3\n",
       "{\"line\":\"2+3\",\"events\":[{\"name\":\"Change\",\"Length\":3,\"FirstChar\":1,\"DNAString\":\"2+3\"},"
       "{\"name\":\"Change\",\"Length\":1,\"FirstChar\":1,\"DNAString\":\"5\"}],\"result\":\"5\","},
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
    ASSERT_EQ(SplitLines(run.out).size(), 1u);
    EXPECT_TRUE(json::accept(SplitLines(run.out).at(0)));
  }
}

// Every event of a line carries the whole chain, so a line of thousands of
// parentheses writes some hundred megabytes of events; they go out as they
// come, and the host's memory stays that of one line.
TEST(CliJson, EventsStreamInTheMemoryOfOneLine) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine";
#endif
#endif
  TempFolder folder;
  const std::string line = std::string(5000, '(') + "1" + std::string(5000, ')') + "\n";
  const CliRun run = RunCli({"--json", "--no-startup", "--folder", folder.str()}, line, false, 120);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_LT(run.peakKilobytes, 40 * 1024) << "peak resident size in kB";
}

TEST(CliJson, HostCommandsPrintRecordsToo) {
  TempFolder folder;
  folder.Write("more.txt", "4*5=y\n$\n1\n1\n1\n");
  const std::string input = "2+3=x\n:functions\n:load " + (folder.path() / "more.txt").string() +
                            "\ny\n:unload\n:functions\n:nosuch\n:quit\n2+2\n";
  const std::vector<json> records = RunJson(folder, {}, input);
  ASSERT_EQ(records.size(), 8u);  // nothing after :quit

  const json& listing = records[1];
  EXPECT_EQ(listing["line"], ":functions");
  EXPECT_EQ(listing["result"], "");
  EXPECT_EQ(listing["events"], json::parse(R"([{"name":"GetFunctions","FuncName":"x","Expression":"2+3"}])"));

  // The file's lines run inside the command: its pause and its progress show
  // among the command's events, and its variable is there afterwards.
  const json& load = records[2];
  const std::vector<std::string> names = EventNames(load);
  EXPECT_NE(std::find(names.begin(), names.end(), "Wait"), names.end());
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.back(), "Progress");
  EXPECT_EQ(load["events"].back()["Percent"], 1.0);
  EXPECT_EQ(load["TText"], (folder.path() / "more.txt").string());
  EXPECT_EQ(records[3]["OutString"], "20");

  EXPECT_EQ(records[4]["line"], ":unload");
  EXPECT_TRUE(records[5]["events"].empty()) << "no variables are left after :unload";

  ASSERT_TRUE(records[6]["failure"].is_object());
  EXPECT_NE(records[6]["failure"]["message"].get<std::string>().find("unknown command"), std::string::npos);
  EXPECT_EQ(records[7]["line"], ":quit");
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
    const std::vector<json> records = RunJson(folder, {}, "z\n", !c.noStartup);
    ASSERT_EQ(records.size(), c.records);
    if (!c.noStartup) {
      EXPECT_EQ(records[0]["line"], ":load");
      EXPECT_EQ(records[0]["events"].empty(), !c.withFile);
    }
    const std::vector<std::string> names = EventNames(records.back());
    EXPECT_EQ(std::count(names.begin(), names.end(), "InputBox"), c.zDefined ? 0 : 1);
    if (c.zDefined) {
      EXPECT_EQ(records.back()["OutString"], "9");
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
      {"a step that cannot be done", {}, "2+1/0\n", "2+1/0\n  ^^^\nerror 13: cannot be computed\n"},
      {"trailing text on its own line", {}, "2+3 cm\n", "5\ncm\n"},
      {"empty answers keep lines in step", {}, "$\n\n2+3\n", "\n\n5\n"},
      {"answer from the command line", {"--answer", "r=1.5"}, "r*2\n", "3\nNew Variable r Added\n"},
      {"function listing", {}, "2+3=x\n:functions\n", "5\nNew Variable x Added\nx = 2+3\n"},
      {"empty function listing", {}, ":functions\n", "no user variables\n"},
      {"variables with values and formulas", {}, "2+3=len\nXVar^2=sq\n:vars\n",
       "5\nNew Variable len Added\nsq\nNew Variable sq Added\nAns   5\nXVar  0\nYVar  0\nlen   5       2+3\nsq    (XVar)  XVar^2\n"},
      {"angle unit", {}, ":rad\nsin(pi/2)\n:deg\nsin90\n", "angles in radians\n1\nangles in degrees\n1\n"},
      {"missing line file", {}, ":load /nonexistent/lines.txt\n", "no such file: /nonexistent/lines.txt\n"},
      {"unknown command", {}, ":frob\n2\n", "unknown command :frob; :help lists the commands\n2\n"},
      {"steps of a reduction", {"--steps"}, "2*3+4\n", "  [2*3]+4 -> [6]+4\n  [6+4] -> [10]\n10\n"},
      {"steps toggled", {}, ":steps\n2+3\n:steps\n2+3\n", "step view on\n  [2+3] -> [5]\n5\nstep view off\n5\n"},
      {"steps of a formula under the step that used them", {"--steps"}, "XVar^2=f\n1+f3\n",
       "f\nNew Variable f Added\n  1+[f] -> 1+[9]\n      [XVar]^2 -> [3]^2\n      [3^2] -> [9]\n  [1+9] -> [10]\n10\n"},
      {"steps of the variables computed again", {"--steps"}, "2=a\na*3=b\n5=a\n",
       "2\nNew Variable a Added\n  [a]*3 -> [2]*3\n  [2*3] -> [6]\n"
       "  the variables computed again:\n  [a]*3 -> [2]*3\n  [2*3] -> [6]\n6\nNew Variable b Added\n"
       "  the variables computed again:\n  [a]*3 -> [5]*3\n  [5*3] -> [15]\n5\n"},
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

TEST(CliPlain, ScriptFailureIsANoteUnderTheAnswer) {
  TempFolder folder;
  // CR LF line ends, and two more: the last two entries of the file are not read.
  folder.Write("vbscript.txt", "Function loopy()\r\n  Do\r\n  Loop\r\nEnd Function\r\n\r\n\r\n");
  const CliRun run = RunCli({"--no-startup", "--folder", folder.str()}, "loopy\n2+3\n", true, 60);
  EXPECT_EQ(run.out, "0\nnote: loopy: stopped by the step budget\n5\n");
  const std::vector<json> records = RunJson(folder, {}, "loopy\n2+3\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0]["ScriptFailure"], "loopy: stopped by the step budget");
  EXPECT_EQ(records[1]["ScriptFailure"], "");
}

TEST(CliPlain, StepsOfSinSquaredPlusCosSquaredFitOnAScreen) {
  TempFolder folder;
  const CliRun run = RunCli({"--no-startup", "--steps", "--folder", folder.str()}, "sin^2(30)+cos^2(30)\n");
  const std::vector<std::string> lines = SplitLines(run.out);
  EXPECT_LE(lines.size(), 20u) << run.out;
  for (const std::string& line : lines) EXPECT_LE(line.size(), 80u) << line;
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "1");
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
      {{"--no-history=1"}, 2, "takes no value", ""},
      {{"--help"}, 0, "", "  Sqr     square root\n"},
      {{"--version"}, 0, "", "morvex " MORVEX_VERSION_STRING "\n"},
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

// ---------------------------------------------------------------- a terminal

// The host on a pseudo-terminal, as a user at a terminal runs it.
class PtySession {
 public:
  explicit PtySession(const std::string& home) {
    std::vector<std::string> argvText{MORVEX_CLI_PATH, "--no-startup", "--folder", home};
    std::vector<char*> argv = ArgvOf(argvText);
    winsize size{};
    size.ws_row = 40;
    size.ws_col = 100;
    child_ = forkpty(&master_, nullptr, nullptr, &size);
    if (child_ == 0) {
      setenv("HOME", home.c_str(), 1);
      setenv("TERM", "xterm", 1);
      setenv("NO_COLOR", "1", 1);
      alarm(20);
      execv(argv[0], argv.data());
      _exit(127);
    }
  }
  // False where the system gives no pseudo-terminal.
  bool started() const { return child_ > 0; }

  ~PtySession() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    if (master_ >= 0) close(master_);
  }

  // Types once the line editor reads keys one by one: before that the
  // terminal would take keys such as Ctrl-R for its own line editing.
  void Type(std::string_view keys) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    termios mode{};
    while (tcgetattr(master_, &mode) == 0 && (mode.c_lflag & ICANON) != 0 &&
           std::chrono::steady_clock::now() < deadline) {
      usleep(10000);
    }
    ASSERT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  // Reads until the screen text from `from` on holds `text`; false after
  // five seconds without it.
  bool WaitFor(std::string_view text, std::size_t from = 0) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (transcript_.find(text, from) == std::string::npos) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      pollfd ready{master_, POLLIN, 0};
      if (poll(&ready, 1, 100) <= 0) continue;
      char buffer[4096];
      const ssize_t got = read(master_, buffer, sizeof buffer);
      if (got <= 0) return false;
      transcript_.append(buffer, static_cast<std::size_t>(got));
    }
    return true;
  }

  int Finish() {
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const std::string& transcript() const { return transcript_; }

 private:
  int master_ = -1;
  pid_t child_ = -1;
  std::string transcript_;
};

TEST(CliTerminal, LineEditorRecallsCompletesAndKeepsHistory) {
  TempFolder home;
  {
    PtySession session(home.str());
    if (!session.started()) GTEST_SKIP() << "no pseudo-terminal on this system";
    ASSERT_TRUE(session.WaitFor("> "));
    session.Type("2+3\r");
    ASSERT_TRUE(session.WaitFor("2+3 = 5")) << session.transcript();
    // Up recalls the line: the escape text of the arrow never reaches the
    // calculator, which would ask for a value of "A".
    std::size_t mark = session.transcript().size();
    session.Type("\x1b[A\r");
    ASSERT_TRUE(session.WaitFor("2+3 = 5", mark)) << session.transcript();
    mark = session.transcript().size();
    session.Type("sq\t16\r");  // Tab completes the function word
    ASSERT_TRUE(session.WaitFor("Sqr16 = 4", mark)) << session.transcript();
    mark = session.transcript().size();
    session.Type("w*2\r");
    ASSERT_TRUE(session.WaitFor("value of w? ", mark)) << session.transcript();
    session.Type("\r");  // declined
    ASSERT_TRUE(session.WaitFor("no value given: w stays an unknown word", mark)) << session.transcript();
    mark = session.transcript().size();
    session.Type(":vars\r");
    ASSERT_TRUE(session.WaitFor("YVar  0", mark)) << session.transcript();
    session.Type(":quit\r");
    EXPECT_EQ(session.Finish(), 0);
    EXPECT_EQ(session.transcript().find("value of A"), std::string::npos) << session.transcript();
    EXPECT_EQ(session.transcript().find("\nA "), std::string::npos) << "no variable A in :vars";
  }
  const std::string history = ReadWhole(home.path() / ".morvex_history");
  EXPECT_NE(history.find("2+3"), std::string::npos) << history;
  EXPECT_NE(history.find("Sqr16"), std::string::npos) << history;

  // The next session starts with that history: Ctrl-R finds a line in it.
  PtySession again(home.str());
  ASSERT_TRUE(again.WaitFor("> "));
  again.Type("\x12Sq\r");
  EXPECT_TRUE(again.WaitFor("Sqr16 = 4")) << again.transcript();
  again.Type("\x04");  // Ctrl-D ends the session
  EXPECT_EQ(again.Finish(), 0);
}

}  // namespace
