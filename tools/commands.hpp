// The host's own commands: lines that start with ':'. Command words are
// compared without regard to case.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace morvex::cli {

enum class CommandKind { None, Help, Vars, Functions, Steps, Degree, Radian, Load, Unload, Quit, Unknown };

struct CommandSpec {
  std::string_view word;      // without the ':'
  CommandKind kind;
  std::string_view argument;  // "" when the command takes none
  std::string_view help;
};

// Every command, in the order :help lists them.
std::span<const CommandSpec> Commands();

// A line of the host: kind None means the line goes to Calculate.
struct HostCommand {
  CommandKind kind = CommandKind::None;
  std::string argument;  // :load's path (blanks around it removed)
  std::string problem;   // for Unknown: a one-line hint
};

HostCommand ParseHostCommand(std::string_view line);

bool EqualsIgnoringCase(std::string_view a, std::string_view b);
bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix);

}  // namespace morvex::cli
