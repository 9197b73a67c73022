// Command-line options of the morvex host.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morvex::cli {

struct Options {
  std::optional<std::string> folder;  // the program's folder; unset keeps the library's default
  bool json = false;                  // one JSON record per line instead of plain answers
  bool steps = false;                 // show each reduction step of a line
  bool noStartup = false;             // skip StartUp.txt
  bool noHistory = false;             // keep no history file
  bool help = false;
  bool version = false;
  // Answers for words the calculator asks about, in the order given.
  std::vector<std::pair<std::string, std::string>> answers;

  // The answer given for `word` (names compared without regard to ASCII case;
  // a later --answer for the same name wins), or nothing.
  std::optional<std::string> AnswerFor(std::string_view word) const;
};

struct ParseResult {
  Options options;
  std::string error;  // empty when the command line was understood
};

// Reads the arguments after the program name. Accepts "--folder DIR" and
// "--folder=DIR" (the same for --answer).
ParseResult ParseCommandLine(std::span<const char* const> args);

// The text printed by --help and :help: options, commands, function words.
std::string UsageText();

// The version of the program, as the project names it.
std::string_view VersionText();

}  // namespace morvex::cli
