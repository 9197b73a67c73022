// morvex: the command-line host of the calculator. Reads lines from standard
// input and prints each answer, as text or (with --json) as one JSON record a
// line. See --help.
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <span>

#include "cli_options.hpp"
#include "json_session.hpp"
#include "morvex/morvex.hpp"
#include "plain_session.hpp"

namespace {

constexpr int kUsageError = 2;

int RunHost(const morvex::cli::Options& options) {
  morvex::clsMorvex calculator;
  if (options.folder) calculator.ProgramFolder(*options.folder);
  calculator.Initialize();

  if (options.json) {
    morvex::cli::JsonSession session(calculator, options, std::cin, stdout);
    session.Run();
  } else {
    morvex::cli::PlainTerminal terminal;
    terminal.interactive = ::isatty(STDIN_FILENO) == 1;
    terminal.progressBar = ::isatty(STDERR_FILENO) == 1;
    morvex::cli::PlainSession session(calculator, options, std::cin, stdout, terminal);
    session.Run();
  }
  calculator.Terminate();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  const std::span<const char* const> args(argv + (argc > 0 ? 1 : 0), static_cast<std::size_t>(argc > 0 ? argc - 1 : 0));
  const morvex::cli::ParseResult parsed = morvex::cli::ParseCommandLine(args);
  if (!parsed.error.empty()) {
    std::fprintf(stderr, "morvex: %s\nTry 'morvex --help' for the options.\n", parsed.error.c_str());
    return kUsageError;
  }
  if (parsed.options.help) {
    const std::string usage = morvex::cli::UsageText();
    std::fwrite(usage.data(), 1, usage.size(), stdout);
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
