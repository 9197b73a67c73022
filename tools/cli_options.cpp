#include "cli_options.hpp"

namespace morvex::cli {

bool SameWordIgnoringCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto lower = [](unsigned char c) { return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + 32) : c; };
    if (lower(static_cast<unsigned char>(a[i])) != lower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

std::optional<std::string> Options::AnswerFor(std::string_view word) const {
  for (auto it = answers.rbegin(); it != answers.rend(); ++it) {
    if (SameWordIgnoringCase(it->first, word)) return it->second;
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
    } else if (name == "--json") {
      if (!noValue()) return result;
      options.json = true;
    } else if (name == "--steps") {
      if (!noValue()) return result;
      options.steps = true;
    } else if (name == "--no-startup") {
      if (!noValue()) return result;
      options.noStartup = true;
    } else if (name == "--help" || name == "-h") {
      if (!noValue()) return result;
      options.help = true;
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
  return "usage: morvex [options] < lines\n"
         "\n"
         "Reads expression lines from standard input and prints each answer.\n"
         "\n"
         "options:\n"
         "  --folder DIR       program folder (StartUp.txt, vbscript.txt, formula files);\n"
         "                     default: the folder of the morvex executable\n"
         "  --json             print one JSON record per input line\n"
         "  --steps            show the line after each reduction step\n"
         "  --answer NAME=VALUE  answer for an unknown word NAME (repeatable)\n"
         "  --no-startup       do not run StartUp.txt\n"
         "  --help             show this text\n"
         "\n"
         "commands (lines starting with ':'):\n"
         "  :quit              end the session\n"
         "  :unload            forget all variables\n"
         "  :load [PATH]       run a line file (no PATH: StartUp.txt)\n"
         "  :functions         list the user variables and their formulas\n";
}

}  // namespace morvex::cli
