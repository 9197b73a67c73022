// The session loop shared by the plain and the JSON host: it reads lines,
// tells the host's own ':' commands from calculator lines, runs each one on the
// calculator and hands the outcome to the session's report. A failure of the
// calculator (morvex::Failure) is caught and reported; the session goes on
// with the same calculator.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "cli_options.hpp"
#include "commands.hpp"
#include "line_input.hpp"
#include "morvex/morvex.hpp"

namespace morvex::cli {

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
  std::string result;    // what Calculate returned; "" for most commands
  std::string ttext;     // Calculate's argument (for :load the path) after the call
  std::optional<FailureInfo> failure;
};

class HostSession {
 public:
  HostSession(clsMorvex& calculator, Options& options, LineInput& input, std::FILE* out);
  virtual ~HostSession() = default;
  HostSession(const HostSession&) = delete;
  HostSession& operator=(const HostSession&) = delete;

  // Runs StartUp.txt (unless --no-startup) and then every input line until the
  // end of the input or :quit.
  void Run();

 protected:
  // Called before each line or command runs.
  virtual void BeginLine(const std::string& /*line*/, const HostCommand& /*command*/) {}
  // Reports a line once it has run.
  virtual void Report(const LineOutcome& outcome) = 0;
  // Called once at the end of the input (not after :quit).
  virtual void EndOfInput() {}

  void Write(std::string_view text);
  void Flush();

  clsMorvex& calculator_;
  Options& options_;  // :steps changes the step view
  LineInput& input_;
  std::FILE* out_;

 private:
  LineOutcome Execute(std::string line, HostCommand command);
  void RunCommand(LineOutcome& outcome);
  void RunCalculation(LineOutcome& outcome, std::string text);
};

}  // namespace morvex::cli
