#include "host_session.hpp"

#include <exception>
#include <utility>

namespace morvex::cli {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

constexpr std::string_view kKnownCommands = "commands are :quit, :unload, :load [PATH], :functions";

}  // namespace

HostCommand ParseHostCommand(std::string_view line) {
  HostCommand command;
  if (line.empty() || line.front() != ':') return command;
  std::string_view rest = line.substr(1);
  std::size_t wordEnd = 0;
  while (wordEnd < rest.size() && !IsBlank(rest[wordEnd])) ++wordEnd;
  const std::string_view word = rest.substr(0, wordEnd);
  const std::string_view argument = Trim(rest.substr(wordEnd));

  if (SameWordIgnoringCase(word, "load")) {
    command.kind = CommandKind::Load;
    command.argument = std::string(argument);
    return command;
  }
  if (SameWordIgnoringCase(word, "quit")) {
    command.kind = CommandKind::Quit;
  } else if (SameWordIgnoringCase(word, "unload")) {
    command.kind = CommandKind::Unload;
  } else if (SameWordIgnoringCase(word, "functions")) {
    command.kind = CommandKind::Functions;
  } else {
    command.kind = CommandKind::Unknown;
    command.problem = "unknown command :" + std::string(word) + "; " + std::string(kKnownCommands);
    return command;
  }
  if (!argument.empty()) {
    command.problem = ":" + std::string(word) + " takes no argument";
    command.kind = CommandKind::Unknown;
  }
  return command;
}

bool ReadInputLine(std::istream& in, std::string& line) {
  if (!std::getline(in, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

HostSession::HostSession(clsMorvex& calculator, const Options& options, std::istream& in, std::FILE* out)
    : calculator_(calculator), options_(options), in_(in), out_(out) {}

void HostSession::Write(std::string_view text) {
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), out_);
}

void HostSession::Flush() { std::fflush(out_); }

LineOutcome HostSession::Execute(std::string line, HostCommand command) {
  LineOutcome outcome;
  outcome.command = std::move(command);
  BeginLine();
  try {
    switch (outcome.command.kind) {
      case CommandKind::None: {
        std::string text = line;
        try {
          outcome.result = calculator_.Calculate(text);
        } catch (...) {
          outcome.ttext = text;
          throw;
        }
        outcome.ttext = std::move(text);
        break;
      }
      case CommandKind::Load: {
        std::string path = outcome.command.argument;
        try {
          if (path.empty()) {
            calculator_.LoadHText();
          } else {
            calculator_.LoadHText(path);
          }
        } catch (...) {
          outcome.ttext = path;
          throw;
        }
        outcome.ttext = std::move(path);
        break;
      }
      case CommandKind::Unload:
        calculator_.UnLoadVars();
        break;
      case CommandKind::Functions:
        calculator_.FetchFunctions();
        break;
      case CommandKind::Quit:
        break;
      case CommandKind::Unknown:
        outcome.failure = FailureInfo{0, outcome.command.problem, false};
        break;
    }
  } catch (const Failure& failure) {
    outcome.failure = FailureInfo{failure.code(), failure.what(), true};
  } catch (const std::exception& error) {
    // Not the library's own exception type: report it all the same, so that
    // one bad line does not end the session.
    outcome.failure = FailureInfo{0, std::string("unexpected failure: ") + error.what(), true};
  }
  outcome.line = std::move(line);
  return outcome;
}

void HostSession::Run() {
  if (!options_.noStartup) {
    LineOutcome outcome = Execute(":load", HostCommand{CommandKind::Load, "", ""});
    outcome.startup = true;
    Report(outcome);
    Flush();
  }
  std::string line;
  for (;;) {
    Prompt();
    Flush();
    if (!ReadInputLine(in_, line)) {
      EndOfInput();
      Flush();
      return;
    }
    HostCommand command = ParseHostCommand(line);
    const bool quit = command.kind == CommandKind::Quit;
    const LineOutcome outcome = Execute(line, std::move(command));
    Report(outcome);
    Flush();
    if (quit) return;
  }
}

}  // namespace morvex::cli
