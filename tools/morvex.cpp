// morvex: the command-line host of the calculator. Reads lines from the
// terminal (with a line editor) or from standard input and prints each answer,
// as text or (with --json) as one JSON record a line. See --help.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <span>

#include "cli_options.hpp"
#include "json_session.hpp"
#include "line_editor.hpp"
#include "morvex/morvex.hpp"
#include "plain_session.hpp"

namespace {

constexpr int kUsageError = 2;

// Colour unless the output is no terminal, the terminal cannot show it, or
// the user asked for none (NO_COLOR set to anything but "").
bool WantsColour() {
  if (::isatty(STDOUT_FILENO) != 1) return false;
  const char* noColour = std::getenv("NO_COLOR");
  if (noColour != nullptr && *noColour != '\0') return false;
  const char* term = std::getenv("TERM");
  return term == nullptr || std::strcmp(term, "dumb") != 0;
}

// The variable names that Tab may complete, at the moment of the Tab.
std::vector<std::string> VariableNames(const morvex::clsMorvex& calculator) {
  std::vector<std::string> names;
  for (const auto& variable : calculator.VariableList()) names.push_back(variable.Key);
  return names;
}

int RunHost(morvex::cli::Options& options) {
  morvex::clsMorvex calculator;
  if (options.folder) calculator.ProgramFolder(*options.folder);
  calculator.Initialize();

  const bool terminalIn = ::isatty(STDIN_FILENO) == 1;
  const bool terminalOut = ::isatty(STDOUT_FILENO) == 1;
  std::unique_ptr<morvex::cli::LineInput> input;
  if (!options.json && terminalIn && terminalOut) {
    input = std::make_unique<morvex::cli::LineEditor>(
        options.noHistory ? std::nullopt : morvex::cli::DefaultHistoryFile(),
        [&calculator] { return VariableNames(calculator); });
  } else {
    input = std::make_unique<morvex::cli::StreamInput>(std::cin, (!options.json && terminalIn) ? stdout : nullptr);
  }

  if (options.json) {
    morvex::cli::JsonSession session(calculator, options, *input, stdout);
    session.Run();
  } else {
    morvex::cli::PlainTerminal terminal;
    terminal.interactive = terminalIn;
    terminal.progressBar = ::isatty(STDERR_FILENO) == 1;
    terminal.colour = WantsColour();
    terminal.measureWidth = terminalOut;
    morvex::cli::PlainSession session(calculator, options, *input, stdout, terminal);
    session.Run();
  }
  calculator.Terminate();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  const std::span<const char* const> args(argv + (argc > 0 ? 1 : 0), static_cast<std::size_t>(argc > 0 ? argc - 1 : 0));
  morvex::cli::ParseResult parsed = morvex::cli::ParseCommandLine(args);
  if (!parsed.error.empty()) {
    std::fprintf(stderr, "morvex: %s\nTry 'morvex --help' for the options.\n", parsed.error.c_str());
    return kUsageError;
  }
  if (parsed.options.help) {
    const std::string usage = morvex::cli::UsageText();
    std::fwrite(usage.data(), 1, usage.size(), stdout);
    return 0;
  }
  if (parsed.options.version) {
    std::printf("morvex %.*s\n", static_cast<int>(morvex::cli::VersionText().size()), morvex::cli::VersionText().data());
    return 0;
  }
  if (parsed.options.folder) {
    std::error_code error;
    if (!std::filesystem::is_directory(*parsed.options.folder, error)) {
      std::fprintf(stderr, "morvex: --folder: no such folder: %s\n", parsed.options.folder->c_str());
      return kUsageError;
    }
  }
  try {
    return RunHost(parsed.options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "morvex: %s\n", error.what());
    return 1;
  }
}
