#include "host_session.hpp"

#include <exception>
#include <utility>

namespace morvex::cli {

HostSession::HostSession(clsMorvex& calculator, Options& options, LineInput& input, std::FILE* out)
    : calculator_(calculator), options_(options), input_(input), out_(out) {}

void HostSession::Write(std::string_view text) {
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), out_);
}

void HostSession::Flush() { std::fflush(out_); }

void HostSession::RunCalculation(LineOutcome& outcome, std::string text) {
  try {
    outcome.result = calculator_.Calculate(text);
  } catch (...) {
    outcome.ttext = std::move(text);
    throw;
  }
  outcome.ttext = std::move(text);
}

void HostSession::RunCommand(LineOutcome& outcome) {
  switch (outcome.command.kind) {
    case CommandKind::None:
      RunCalculation(outcome, outcome.line);
      return;
    case CommandKind::Degree:
      RunCalculation(outcome, "DEG");
      return;
    case CommandKind::Radian:
      RunCalculation(outcome, "RAD");
      return;
    case CommandKind::Load: {
      std::string path = outcome.command.argument;
      try {
        if (path.empty()) {
          calculator_.LoadHText();
        } else {
          calculator_.LoadHText(path);
        }
      } catch (...) {
        outcome.ttext = std::move(path);
        throw;
      }
      outcome.ttext = std::move(path);
      return;
    }
    case CommandKind::Unload:
      calculator_.UnLoadVars();
      return;
    case CommandKind::Functions:
    case CommandKind::Vars:
      calculator_.FetchFunctions();
      return;
    case CommandKind::Steps:
      options_.steps = !options_.steps;
      return;
    case CommandKind::Help:
    case CommandKind::Quit:
      return;
    case CommandKind::Unknown:
      outcome.failure = FailureInfo{0, outcome.command.problem, false};
      return;
  }
}

LineOutcome HostSession::Execute(std::string line, HostCommand command) {
  LineOutcome outcome;
  outcome.line = std::move(line);
  outcome.command = std::move(command);
  BeginLine(outcome.line, outcome.command);
  try {
    RunCommand(outcome);
  } catch (const Failure& failure) {
    outcome.failure = FailureInfo{failure.code(), failure.what(), true};
  } catch (const std::exception& error) {
    // Not the library's own exception type: report it all the same, so that
    // one bad line does not end the session.
    outcome.failure = FailureInfo{0, std::string("unexpected failure: ") + error.what(), true};
  }
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
    Flush();
    if (!input_.ReadLine("> ", line)) {
      EndOfInput();
      Flush();
      return;
    }
    input_.Remember(line);
    HostCommand command = ParseHostCommand(line);
    const bool quit = command.kind == CommandKind::Quit;
    const LineOutcome outcome = Execute(line, std::move(command));
    Report(outcome);
    Flush();
    if (quit) return;
  }
}

}  // namespace morvex::cli
