// The session loop shared by the plain and the JSON host: it reads lines,
// tells the host's own ':' commands from calculator lines, runs each one on the
// calculator and hands the outcome to the session's report. A failure of the
// calculator (morvex::Failure) is caught and reported; the session goes on
// with the same calculator.
#pragma once

#include <cstdint>
#include <cstdio>
#include <istream>
#include <optional>
#include <string>
#include <string_view>

#include "cli_options.hpp"
#include "morvex/morvex.hpp"

namespace morvex::cli {

enum class CommandKind { None, Quit, Unload, Load, Functions, Unknown };

// A line of the host: Kind None means the line goes to Calculate.
struct HostCommand {
  CommandKind kind = CommandKind::None;
  std::string argument;  // :load's path (blanks around it removed)
  std::string problem;   // for Unknown: what is wrong with the command
};

// Lines that start with ':' are commands of the host; command words are
// compared without regard to case.
HostCommand ParseHostCommand(std::string_view line);

// Reads one line: LF or CR LF ends it, and the end is not part of the line; a
// last line without an end counts too. False at the end of the input.
bool ReadInputLine(std::istream& in, std::string& line);

struct FailureInfo {
  int32_t code = 0;
  std::string message;
  bool fromLibrary = true;  // false: a problem the host found (an unknown command)
};

// What running one line gave.
struct LineOutcome {
  std::string line;
  HostCommand command;
  bool startup = false;  // the automatic run of StartUp.txt
  std::string result;    // what Calculate returned; "" for commands
  std::string ttext;     // Calculate's argument (for :load the path) after the call
  std::optional<FailureInfo> failure;
};

class HostSession {
 public:
  HostSession(clsMorvex& calculator, const Options& options, std::istream& in, std::FILE* out);
  virtual ~HostSession() = default;
  HostSession(const HostSession&) = delete;
  HostSession& operator=(const HostSession&) = delete;

  // Runs StartUp.txt (unless --no-startup) and then every input line until the
  // end of the input or :quit.
  void Run();

 protected:
  // Called before each line or command runs.
  virtual void BeginLine() {}
  // Reports a line once it has run.
  virtual void Report(const LineOutcome& outcome) = 0;
  // Written before each line is read; a terminal session shows its prompt.
  virtual void Prompt() {}
  // Called once at the end of the input (not after :quit).
  virtual void EndOfInput() {}

  void Write(std::string_view text);
  void Flush();

  clsMorvex& calculator_;
  const Options& options_;
  std::istream& in_;
  std::FILE* out_;

 private:
  LineOutcome Execute(std::string line, HostCommand command);
};

}  // namespace morvex::cli
