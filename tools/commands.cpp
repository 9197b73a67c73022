#include "commands.hpp"

#include <array>

namespace morvex::cli {
namespace {

constexpr std::array kCommands{
    CommandSpec{"help", CommandKind::Help, "", "this text: commands, options and the function words"},
    CommandSpec{"vars", CommandKind::Vars, "", "each variable with its value and its formula"},
    CommandSpec{"functions", CommandKind::Functions, "", "the user variables as NAME = FORMULA"},
    CommandSpec{"steps", CommandKind::Steps, "", "turn the step view on or off"},
    CommandSpec{"deg", CommandKind::Degree, "", "angles in degrees (as the line DEG)"},
    CommandSpec{"rad", CommandKind::Radian, "", "angles in radians (as the line RAD)"},
    CommandSpec{"load", CommandKind::Load, "[PATH]", "run a line file (no PATH: StartUp.txt)"},
    CommandSpec{"unload", CommandKind::Unload, "", "forget all variables"},
    CommandSpec{"quit", CommandKind::Quit, "", "end the session (so does Ctrl-D)"},
};

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// "unknown command :x", with the command it most likely meant when the word
// begins one.
std::string UnknownCommandHint(std::string_view word) {
  std::string hint = "unknown command :" + std::string(word);
  if (!word.empty()) {
    for (const CommandSpec& entry : kCommands) {
      if (StartsWithIgnoringCase(entry.word, word)) return hint + "; did you mean :" + std::string(entry.word) + "?";
    }
  }
  return hint + "; :help lists the commands";
}

}  // namespace

std::span<const CommandSpec> Commands() { return kCommands; }

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && StartsWithIgnoringCase(a, b);
}

bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  if (prefix.size() > text.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (Lower(text[i]) != Lower(prefix[i])) return false;
  }
  return true;
}

HostCommand ParseHostCommand(std::string_view line) {
  HostCommand command;
  if (line.empty() || line.front() != ':') return command;
  const std::string_view rest = line.substr(1);
  std::size_t wordEnd = 0;
  while (wordEnd < rest.size() && !IsBlank(rest[wordEnd])) ++wordEnd;
  const std::string_view word = rest.substr(0, wordEnd);
  const std::string_view argument = Trim(rest.substr(wordEnd));

  for (const CommandSpec& entry : kCommands) {
    if (!EqualsIgnoringCase(entry.word, word)) continue;
    if (entry.argument.empty() && !argument.empty()) {
      command.kind = CommandKind::Unknown;
      command.problem = ":" + std::string(entry.word) + " takes no argument";
      return command;
    }
    command.kind = entry.kind;
    command.argument = std::string(argument);
    return command;
  }
  command.kind = CommandKind::Unknown;
  command.problem = UnknownCommandHint(word);
  return command;
}

}  // namespace morvex::cli
