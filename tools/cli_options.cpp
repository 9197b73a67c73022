#include "cli_options.hpp"

#include <algorithm>

#include "commands.hpp"
#include "function_words.hpp"
#include "morvex/version.hpp"

namespace morvex::cli {
namespace {

// The options that take no value and turn something on.
bool Options::*FlagNamed(std::string_view name) {
  static constexpr std::pair<std::string_view, bool Options::*> kFlags[] = {
      {"--json", &Options::json},           {"--steps", &Options::steps},     {"--no-startup", &Options::noStartup},
      {"--no-history", &Options::noHistory}, {"--version", &Options::version}, {"--help", &Options::help},
      {"-h", &Options::help},
  };
  for (const auto& [flagName, flag] : kFlags) {
    if (flagName == name) return flag;
  }
  return nullptr;
}

}  // namespace

std::optional<std::string> Options::AnswerFor(std::string_view word) const {
  for (auto it = answers.rbegin(); it != answers.rend(); ++it) {
    if (EqualsIgnoringCase(it->first, word)) return it->second;
  }
  return std::nullopt;
}

ParseResult ParseCommandLine(std::span<const char* const> args) {
  ParseResult result;
  Options& options = result.options;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i] ? std::string_view(args[i]) : std::string_view();
    std::string_view name = arg;
    std::optional<std::string_view> inlineValue;
    if (arg.starts_with("--")) {
      if (const auto eq = arg.find('='); eq != std::string_view::npos) {
        name = arg.substr(0, eq);
        inlineValue = arg.substr(eq + 1);
      }
    }
    // The value of an option that takes one: after '=' or the next argument.
    auto takeValue = [&](std::string& out) -> bool {
      if (inlineValue) {
        out = std::string(*inlineValue);
        return true;
      }
      if (i + 1 >= args.size() || args[i + 1] == nullptr) {
        result.error = "option " + std::string(name) + " needs a value";
        return false;
      }
      out = args[++i];
      return true;
    };
    auto noValue = [&]() -> bool {
      if (!inlineValue) return true;
      result.error = "option " + std::string(name) + " takes no value";
      return false;
    };

    if (name == "--folder") {
      std::string folder;
      if (!takeValue(folder)) return result;
      if (folder.empty()) {
        result.error = "option --folder needs a folder";
        return result;
      }
      options.folder = std::move(folder);
    } else if (name == "--answer") {
      std::string pair;
      if (!takeValue(pair)) return result;
      const auto eq = pair.find('=');
      if (eq == std::string::npos || eq == 0) {
        result.error = "option --answer expects NAME=VALUE, got \"" + pair + "\"";
        return result;
      }
      options.answers.emplace_back(pair.substr(0, eq), pair.substr(eq + 1));
    } else if (bool Options::*flag = FlagNamed(name)) {
      if (!noValue()) return result;
      options.*flag = true;
    } else if (arg.starts_with("-")) {
      result.error = "unknown option " + std::string(arg);
      return result;
    } else {
      result.error = "unexpected argument \"" + std::string(arg) + "\" (lines are read from standard input)";
      return result;
    }
  }
  return result;
}

std::string UsageText() {
  std::string text =
      "usage: morvex [options]\n"
      "\n"
      "Reads expression lines (from the terminal, or from standard input) and prints\n"
      "each answer. At a terminal the line is shown as understood with its answer\n"
      "beside it; from a pipe each answer stands on a line of its own.\n"
      "\n"
      "options:\n"
      "  --folder DIR         program folder (StartUp.txt, vbscript.txt, formula files);\n"
      "                       default: the folder of the morvex executable\n"
      "  --json               print one JSON record per input line\n"
      "  --steps              start with the step view on\n"
      "  --answer NAME=VALUE  answer for an unknown word NAME (repeatable)\n"
      "  --no-startup         do not run StartUp.txt\n"
      "  --no-history         keep no history in ~/.morvex_history\n"
      "  --version            print the version\n"
      "  --help               show this text\n"
      "\n"
      "commands:\n";
  for (const CommandSpec& command : Commands()) {
    std::string left = "  :" + std::string(command.word);
    if (!command.argument.empty()) left += " " + std::string(command.argument);
    left.resize(std::max<std::size_t>(left.size() + 1, 22), ' ');
    text += left + std::string(command.help) + "\n";
  }
  text += "\nfunction words (a number follows the word: Sin30, Sqr(2+2)):\n";
  for (const FunctionWord& function : FunctionWords()) {
    std::string left = "  " + std::string(function.word);
    left.resize(std::max<std::size_t>(left.size() + 1, 10), ' ');
    text += left + std::string(function.help) + "\n";
  }
  return text;
}

std::string_view VersionText() { return MORVEX_VERSION_STRING; }

}  // namespace morvex::cli
