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
using json = nlohmann::ordered_json;  // records keep their keys in the order of the line
namespace cli = morvex::cli;

// ---------------------------------------------------------------- pieces

TEST(CliPieces, CommandsCompletionAndLayout) {
  using Kind = cli::CommandKind;
  const std::tuple<std::string, Kind, std::string> commands[] = {  // line, kind, argument or problem
      {"2+3", Kind::None, ""},
      {":QUIT", Kind::Quit, ""},
      {":load  /tmp/x.txt ", Kind::Load, "/tmp/x.txt"},
      {":vars now", Kind::Unknown, ":vars takes no argument"},
      {":st", Kind::Unknown, "unknown command :st; did you mean :steps?"},
      {":", Kind::Unknown, "unknown command :; :help lists the commands"}};
  for (const auto& [line, kind, text] : commands) {
    const cli::HostCommand command = cli::ParseHostCommand(line);
    EXPECT_EQ(command.kind, kind) << line;
    EXPECT_EQ(kind == Kind::Unknown ? command.problem : command.argument, text) << line;
  }
  const std::vector<std::string> variables{"Ans", "XVar", "YVar", "area", "f"};
  const std::pair<std::string, std::vector<std::string>> completions[] = {  // the cursor at the line's end
      {"1+ar", {"ArcCos", "ArcCot", "ArcSin", "ArcTan", "area"}},
      {"an", {"Ans"}},      // a function word and a variable, offered once
      {"f", {"f", "Fix"}},  // case-blind order, the shorter first
      {":", {":deg", ":functions", ":help", ":load", ":quit", ":rad", ":steps", ":unload", ":vars"}},
      {"2:s", {"Sign", "Sin", "Sqr"}},  // a colon inside a line starts no command
      {"zz", {}}};
  for (const auto& [line, candidates] : completions) {
    const std::size_t start = cli::WordStart(line, line.size());
    EXPECT_EQ(cli::CompletionCandidates(std::string_view(line).substr(0, start), std::string_view(line).substr(start), variables),
              candidates) << line;
  }
  const cli::StepRow row{1, "12345+1", {0, 7}, "12346", {0, 5}};
  EXPECT_EQ(cli::FormatStepRow(row, cli::Palette::Plain(), 30), "      [12345+1] -> [12346]\n");
  EXPECT_EQ(cli::FormatStepRow(row, cli::Palette::Plain(), 20), "      [12345+1]\n      -> [12346]\n");
  EXPECT_EQ(cli::FormatStepRow(row, cli::Palette::Colour(), 40),
            "      \x1b[1;31m12345+1\x1b[0m\x1b[2m -> \x1b[0m\x1b[1;32m12346\x1b[0m\n");
  EXPECT_EQ(cli::AnswerBesideLine("Sin(30)+1.5E2", "150.5", "rounded", cli::Palette::Plain(), 80),
            "Sin(30)+1.5E2 = 150.5   rounded\n");
  EXPECT_EQ(cli::AnswerBesideLine("Sin(30)+1.5E2", "150.5", "rounded", cli::Palette::Plain(), 24),
            "Sin(30)+1.5E2 = 150.5\n  rounded\n");
  EXPECT_EQ(cli::AnswerBesideLine(std::string(30, '1'), "1.1E+29", "", cli::Palette::Plain(), 34),
            std::string(30, '1') + "\n  = 1.1E+29\n");
  EXPECT_EQ(cli::CaretMarker("a\tb+*c", 4, 1), " \t  ^");
}

// ---------------------------------------------------------------- the program

struct CliRun {
  int exitCode = -1;
  std::string out, err;
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
CliRun RunCli(std::vector<std::string> args, std::string_view input, bool keepOutput = true, unsigned seconds = 60) {
  TempFolder io;
  const std::string inPath = io.Write("in.txt", input).string(), errPath = (io.path() / "err.txt").string();
  const std::string outPath = keepOutput ? (io.path() / "out.txt").string() : "/dev/null";
  args.insert(args.begin(), MORVEX_CLI_PATH);
  std::vector<char*> argv = ArgvOf(args);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    const int in = open(inPath.c_str(), O_RDONLY), out = open(outPath.c_str(), flags, 0600),
              err = open(errPath.c_str(), flags, 0600);
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
  if (WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  else ADD_FAILURE() << "the host ended by signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
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

// Runs the host in --json mode and reads its records; the output must be plain ASCII.
std::vector<json> RunJson(const TempFolder& folder, std::vector<std::string> args, std::string_view input,
                          bool startup = false) {
  args.insert(args.begin(), {"--json", "--folder", folder.str()});
  if (!startup) args.push_back("--no-startup");
  const CliRun run = RunCli(args, input);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_TRUE(std::all_of(run.out.begin(), run.out.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }));
  std::vector<json> records;
  for (const std::string& line : SplitLines(run.out)) {
    records.push_back(json::parse(line, nullptr, false));
    EXPECT_FALSE(records.back().is_discarded()) << "invalid JSON: " << line.substr(0, 300);
  }
  return records;
}

// The names of a record's events, with the answer of each question asked.
std::string EventsOf(const json& record) {
  std::string names;
  for (const json& event : record["events"]) {
    names += event["name"].get<std::string>();
    if (event.contains("answer")) names += "(" + event["Num"].get<std::string>() + "=" + event["answer"].get<std::string>() + ")";
    names += " ";
  }
  return names;
}

// Each record of a session in short: its line, OutString, ErrNumber, ErrFirst
// and ErrLength, its events, and the failure's code if it failed. A word is
// asked for before the line is reduced; a word without an --answer is declined.
TEST(CliJson, OneRecordPerLineWithTheLinesAnswer) {
  const std::tuple<std::vector<std::string>, std::string, std::string> cases[] = {  // args, input, records
      {{}, "2+3\r\n\n4*5", "2+3 5 0 0 3 Change Change | 5 0 0 3 |4*5 20 0 0 3 Change Change |"},
      {{"--answer", "R=2", "--answer=k=4"}, "r*k\n", "r*k 8 0 0 3 InputBox(r=2) InputBox(k=4) Change Change Change Change Change Change |"},
      {{"--answer", "r=1.5"}, "q\n", "q 0 0 0 1 InputBox(q=) Change |"},
      {{}, std::string(40000, '1') + "\n2+2\n", "  0 0 0 failure 6|2+2 4 0 0 3 Change Change |"},
  };
  for (const auto& [args, input, expected] : cases) {
    TempFolder folder;
    std::string records;
    for (const json& r : RunJson(folder, args, input)) {
      const std::string line = r["line"];
      records += (line.size() > 100 ? "" : line) + " " + r["OutString"].get<std::string>() + " " + r["ErrNumber"].dump() + " " +
                 r["ErrFirst"].dump() + " " + r["ErrLength"].dump() + " " + EventsOf(r);
      if (!r["failure"].is_null()) {
        records += "failure " + r["failure"]["code"].dump();
        EXPECT_FALSE(r["failure"]["message"].get<std::string>().empty());
      }
      records += "|";
    }
    EXPECT_EQ(records, expected) << input.substr(0, 20);
  }
}

// Every key in its place, and the escapes of JSON for quotes, controls, bytes above 127 and NUL.
TEST(CliJson, RecordsAreWrittenExactly) {
  TempFolder folder;
  const CliRun run = RunCli({"--json", "--no-startup", "--folder", folder.str()},
                            std::string("2+*3\n2+3\na\"b\\c\td\x01\x7f\xe9\n") + std::string("1\0" "2\n", 4));
  const std::string expected[] = {
      "{\"line\":\"2+*3\",\"events\":[],\"result\":\"OperatorBadPosition\",\"TText\":\"2+*3\","
      "\"OutString\":\"OperatorBadPosition\",\"InString\":\"2+*3\",\"ErrNumber\":5,\"ErrFirst\":2,"
      "\"ErrLength\":1,\"ErrDescription\":\"OperatorBadPosition\",\"ErrFormula\":\"\",\"Expression\":\"\","
      "\"ScriptFailure\":\"\",\"StringTyping\":\"\",\"StringVariable\":\"\\r\\n\",\"DNAString\":\"2+*3\","
      "\"DNAString2\":\"\",\"failure\":null}",
      "{\"line\":\"2+3\",\"events\":[{\"name\":\"Change\",\"Length\":3,\"FirstChar\":1,\"DNAString\":\"2+3\"},"
      "{\"name\":\"Change\",\"Length\":1,\"FirstChar\":1,\"DNAString\":\"5\"}],\"result\":\"5\",",
      "{\"line\":\"a\\\"b\\\\c\\td\\u0001\\u007f\\u00e9\",", "{\"line\":\"1\\u00002\","};
  const std::vector<std::string> lines = SplitLines(run.out);
  ASSERT_EQ(lines.size(), 4u) << run.out;
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(lines[i].substr(0, expected[i].size()), expected[i]);
    EXPECT_TRUE(json::accept(lines[i]));
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

const char kLoopy[] = "Function loopy()\r\n  Do\r\n  Loop\r\nEnd Function\r\n\r\n\r\n";

TEST(CliJson, HostCommandsAndTheStartUpFilePrintRecordsToo) {
  TempFolder folder;
  folder.Write("more.txt", "4*5=y\n$\n1\n1\n1\n");
  folder.Write("StartUp.txt", "9=z\n1\n1\n1\n");
  folder.Write("vbscript.txt", kLoopy);
  const std::string input = "z+1=x\n:functions\n:load " + (folder.path() / "more.txt").string() +
                            "\ny\n:unload\n:functions\n:nosuch\nloopy\n:quit\n2+2\n";
  const std::vector<json> r = RunJson(folder, {}, input, true);
  ASSERT_EQ(r.size(), 10u);  // nothing after :quit
  EXPECT_EQ(r[0]["line"], ":load");  // the start-up file first
  EXPECT_EQ(r[1]["OutString"], "10");
  EXPECT_EQ(r[2]["events"], json::parse(R"([{"name":"GetFunctions","FuncName":"z","Expression":"9"},{"name":"GetFunctions","FuncName":"x","Expression":"z+1"}])"));
  // The file's lines run inside the command: its pause and its progress show
  // among the command's events, and its variable is there afterwards.
  EXPECT_NE(EventsOf(r[3]).find("Wait Change Progress"), std::string::npos) << EventsOf(r[3]);
  EXPECT_EQ(r[3]["events"].back()["name"], "Progress");
  EXPECT_EQ(r[3]["events"].back()["Percent"], 1.0);
  EXPECT_EQ(r[3]["TText"], (folder.path() / "more.txt").string());
  EXPECT_EQ(r[4]["OutString"], "20");
  EXPECT_TRUE(r[6]["events"].empty()) << "no variables are left after :unload";
  EXPECT_NE(r[7]["failure"]["message"].get<std::string>().find("unknown command"), std::string::npos);
  EXPECT_EQ(r[8]["ScriptFailure"], "loopy: stopped by the step budget");
  EXPECT_EQ(r[9]["line"], ":quit");
  // Without --no-startup and without a start-up file the :load record has no events.
  TempFolder empty;
  EXPECT_TRUE(RunJson(empty, {}, "", true).at(0)["events"].empty());
}

// Sessions of lines that do not depend on each other, one run each.
TEST(CliPlain, AnswersAsText) {
  const std::tuple<std::vector<std::string>, std::string, std::string> cases[] = {  // args, input, output
      {{}, ":functions\n2+3=x\n:functions\n2+*3\n2+1/0\n2+3 cm\n$\n\n:rad\nsin(pi/2)\n:deg\n:load /nonexistent/lines.txt\n:frob\n" +
               std::string(40000, '1') + "\n2+2\n:steps\n2+3\n:steps\n2+3\n",
       "no user variables\n5\nNew Variable x Added\nx = 2+3\n2+*3\n  ^\nerror 5: OperatorBadPosition\n"
       "2+1/0\n  ^^^\nerror 13: cannot be computed\n5\ncm\n\n\nangles in radians\n1\nangles in degrees\n"
       "no such file: /nonexistent/lines.txt\nunknown command :frob; :help lists the commands\n"
       "failure 6: a chain holds at most 32,767 cells\n4\nstep view on\n  [2+3] -> [5]\n5\nstep view off\n5\n"},
      {{}, "2+3=len\nXVar^2=sq\n:vars\n",
       "5\nNew Variable len Added\nsq\nNew Variable sq Added\nAns   5\nXVar  0\nYVar  0\nlen   5       2+3\nsq    (XVar)  XVar^2\n"},
      {{"--steps"}, "(2+3)*4\nXVar^2=f\n1+f3\n",
       "  ([2+3])*4 -> ([5])*4\n  [(5)]*4 -> [5]*4\n  [5*4] -> [20]\n20\n"
       "f\nNew Variable f Added\n  1+[f] -> 1+[9]\n      [XVar]^2 -> [3]^2\n      [3^2] -> [9]\n  [1+9] -> [10]\n10\n"},
      {{"--steps"}, "2=a\na*3=b\n5=a\n",
       "2\nNew Variable a Added\n  [a]*3 -> [2]*3\n  [2*3] -> [6]\n"
       "  the variables computed again:\n  [a]*3 -> [2]*3\n  [2*3] -> [6]\n6\nNew Variable b Added\n"
       "  the variables computed again:\n  [a]*3 -> [5]*3\n  [5*3] -> [15]\n5\n"},
      {{}, "loopy\n2+3\n", "0\nnote: loopy: stopped by the step budget\n5\n"},
  };
  for (const auto& [extra, input, output] : cases) {
    TempFolder folder;
    if (input.rfind("loopy", 0) == 0) folder.Write("vbscript.txt", kLoopy);
    std::vector<std::string> args{"--no-startup", "--folder", folder.str()};
    args.insert(args.end(), extra.begin(), extra.end());
    const CliRun run = RunCli(args, input);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, output) << input.substr(0, 40);
  }
}

TEST(CliOptions, CommandLineIsChecked) {
  const std::tuple<std::vector<std::string>, int, std::string> cases[] = {  // args, exit code, a piece of the message
      {{"--frobnicate"}, 2, "unknown option --frobnicate"},
      {{"extra"}, 2, "unexpected argument"},
      {{"--answer", "novalue"}, 2, "NAME=VALUE"},
      {{"--folder"}, 2, "needs a value"},
      {{"--folder", "/nonexistent/morvex"}, 2, "no such folder"},
      {{"--json=yes"}, 2, "takes no value"},
      {{"--help"}, 0, "  Sqr     square root\n"},
      {{"--version"}, 0, "morvex " MORVEX_VERSION_STRING "\n"},
  };
  for (const auto& [args, exitCode, piece] : cases) {
    const CliRun run = RunCli(args, "");
    EXPECT_EQ(run.exitCode, exitCode) << args.front();
    // A failure writes its message on standard error and nothing on standard output.
    EXPECT_NE((exitCode ? run.err : run.out).find(piece), std::string::npos) << run.err << run.out;
    if (exitCode != 0) { EXPECT_EQ(run.out, ""); }
  }
}

// ---------------------------------------------------------------- a terminal

// The host on a pseudo-terminal, as a user at a terminal runs it.
class PtySession {
 public:
  explicit PtySession(const std::string& home) {
    std::vector<std::string> argvText{MORVEX_CLI_PATH, "--no-startup", "--folder", home};
    std::vector<char*> argv = ArgvOf(argvText);
    winsize size{40, 100, 0, 0};
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
  bool started() const { return child_ > 0; }  // false where the system gives no pseudo-terminal

  ~PtySession() {
    if (child_ > 0 && kill(child_, SIGKILL) == 0) waitpid(child_, nullptr, 0);
    if (master_ >= 0) close(master_);
  }

  // Types `keys` once the line editor reads keys one by one (before that the
  // terminal would take keys such as Ctrl-R for its own line editing), then
  // reads until the screen text after the keys holds `text`; false after five
  // seconds without it.
  bool Type(std::string_view keys, std::string_view text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    termios mode{};
    while (tcgetattr(master_, &mode) == 0 && (mode.c_lflag & ICANON) != 0 && std::chrono::steady_clock::now() < deadline) {
      usleep(10000);
    }
    const std::size_t from = transcript_.size();
    if (write(master_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) return false;
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
    // Up recalls the line: the escape text of the arrow never reaches the
    // calculator, which would ask for a value of "A". Tab completes a function
    // word. Ctrl-C drops the line being typed and the session goes on.
    const std::pair<const char*, const char*> steps[] = {
        {"", "> "},          {"2+3\r", "2+3 = 5"},
        {"\x1b[A\r", "2+3 = 5"}, {"sq\t16\r", "Sqr16 = 4"},
        {"w*2\r", "value of w? "}, {"\r", "no value given: w stays an unknown word"},
        {":vars\r", "YVar  0"}, {"7*\x03", "^C\r\n> "}, {"1+1\r", "1+1 = 2"},
    };
    for (const auto& [keys, text] : steps) ASSERT_TRUE(session.Type(keys, text)) << session.transcript();
    ASSERT_TRUE(session.Type(":quit\r", ""));
    EXPECT_EQ(session.Finish(), 0);
    EXPECT_EQ(session.transcript().find("value of A"), std::string::npos) << session.transcript();
    EXPECT_EQ(session.transcript().find("\nA "), std::string::npos) << "no variable A in :vars";
  }
  EXPECT_NE(ReadWhole(home.path() / ".morvex_history").find("Sqr16"), std::string::npos);

  // The next session starts with that history: Ctrl-R finds a line in it.
  PtySession again(home.str());
  ASSERT_TRUE(again.Type("", "> "));
  EXPECT_TRUE(again.Type("\x12Sq\r", "Sqr16 = 4")) << again.transcript();
  ASSERT_TRUE(again.Type("\x04", ""));  // Ctrl-D ends the session
  EXPECT_EQ(again.Finish(), 0);
}

}  // namespace
