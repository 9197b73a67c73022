#include "plain_session.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <optional>
#include <utility>

namespace morvex::cli {
namespace {

constexpr int kBarWidth = 30;

std::string IntegerText(int64_t value) {
  char buffer[24];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, end) : std::string();
}

bool FileExists(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

std::string JoinFolder(const std::string& folder, std::string_view name) {
  if (folder.empty()) return std::string(name);
  std::string path = folder;
  if (path.back() != '/') path += '/';
  path += name;
  return path;
}

}  // namespace

std::string CaretMarker(std::string_view text, int first, int length) {
  if (length < 1) return {};
  first = std::max(first, 0);
  std::string marker;
  marker.reserve(static_cast<std::size_t>(first) + static_cast<std::size_t>(length));
  for (int i = 0; i < first; ++i) {
    const bool tab = static_cast<std::size_t>(i) < text.size() && text[static_cast<std::size_t>(i)] == '\t';
    marker += tab ? '\t' : ' ';
  }
  marker.append(static_cast<std::size_t>(length), '^');
  return marker;
}

PlainSession::PlainSession(clsMorvex& calculator, const Options& options, std::istream& in, std::FILE* out,
                           PlainTerminal terminal)
    : HostSession(calculator, options, in, out), terminal_(terminal) {
  InstallHandlers();
}

void PlainSession::InstallHandlers() {
  EventHandlers& events = calculator_.Events();
  if (options_.steps) {
    events.Change = [this](int16_t length, int16_t firstChar) { ShowStep(length, firstChar); };
  }
  events.Wait = [this] {
    if (!terminal_.interactive) return;
    ClearProgress();
    Write("-- paused, press Enter --");
    Flush();
    std::string ignored;
    ReadInputLine(in_, ignored);
  };
  events.Progress = [this](double percent) { DrawProgress(percent); };
  events.UpdateVariables = [this](double percent) { DrawProgress(percent); };
  events.GetFunctions = [this](const std::string& name, const std::string& expression) {
    ++functionsListed_;
    text_.assign(name).append(" = ").append(expression).append("\n");
    Write(text_);
  };
  events.InputBox = [this](std::string& num) {
    const std::string word = num;
    // An answer from the command line is used first, even at the prompt.
    if (std::optional<std::string> given = options_.AnswerFor(word)) {
      num = std::move(*given);
    } else if (terminal_.interactive) {
      ClearProgress();
      Write("value of " + word + "? ");
      Flush();
      std::string answer;
      num = ReadInputLine(in_, answer) ? answer : std::string();
    } else {
      num.clear();  // declined
    }
  };
}

void PlainSession::ShowStep(int16_t length, int16_t firstChar) {
  ClearProgress();
  const std::string text = calculator_.DNAString();
  text_.assign(text).append("\n");
  const std::string marker = CaretMarker(text, firstChar - 1, length);
  if (!marker.empty()) text_.append(marker).append("\n");
  Write(text_);
}

void PlainSession::DrawProgress(double percent) {
  if (!terminal_.progressBar) return;
  if (!(percent < 1.0)) {  // done (or not a number): the bar goes away
    ClearProgress();
    return;
  }
  percent = std::max(percent, 0.0);
  const int filled = static_cast<int>(percent * kBarWidth);
  std::string bar = "\r[";
  bar.append(static_cast<std::size_t>(filled), '#');
  bar.append(static_cast<std::size_t>(kBarWidth - filled), '.');
  bar += "] ";
  bar += IntegerText(static_cast<int64_t>(std::floor(percent * 100.0)));
  bar += '%';
  std::fwrite(bar.data(), 1, bar.size(), stderr);
  std::fflush(stderr);
  progressShown_ = true;
}

void PlainSession::ClearProgress() {
  if (!progressShown_) return;
  const std::string blank = "\r" + std::string(kBarWidth + 8, ' ') + "\r";
  std::fwrite(blank.data(), 1, blank.size(), stderr);
  std::fflush(stderr);
  progressShown_ = false;
}

void PlainSession::BeginLine() {
  functionsListed_ = 0;
  // Some lines ("$", the empty line, removing an unknown variable) leave the
  // answer of the line before in place. The plain answer is what this line
  // produced, so the three properties it prints start out empty.
  calculator_.ClearOutputs();
}

void PlainSession::Prompt() {
  if (terminal_.interactive) Write("> ");
}

void PlainSession::EndOfInput() {
  // Ctrl-D leaves the cursor after the prompt.
  if (terminal_.interactive) Write("\n");
}

void PlainSession::Report(const LineOutcome& outcome) {
  ClearProgress();
  if (outcome.failure) {
    if (outcome.failure->fromLibrary) {
      Write("failure " + IntegerText(outcome.failure->code) + ": " + outcome.failure->message + "\n");
    } else {
      Write(outcome.failure->message + "\n");
    }
    return;
  }
  if (outcome.command.kind == CommandKind::None) {
    ReportCalculation();
  } else {
    ReportCommand(outcome);
  }
}

void PlainSession::ReportCalculation() {
  const int16_t number = calculator_.ErrNumber();
  if (number == 0 && calculator_.OutString().empty() && calculator_.Expression().empty()) {
    // A line with no answer (the empty line, "$"): from a pipe an empty line
    // keeps the answers in step with the input; at the prompt nothing.
    if (!terminal_.interactive) Write("\n");
    return;
  }
  text_.clear();
  if (number != 0 && number != 13) {
    const std::string& echoed = calculator_.InString();
    text_.append(echoed).append("\n");
    text_.append(CaretMarker(echoed, calculator_.ErrFirst(), std::max<int>(calculator_.ErrLength(), 1)))
        .append("\n");
    text_.append("error ").append(IntegerText(number)).append(": ").append(calculator_.ErrDescription()).append("\n");
  } else {
    text_.append(calculator_.OutString()).append("\n");
    if (number == 13) text_.append("error 13\n");
  }
  if (!calculator_.Expression().empty()) text_.append(calculator_.Expression()).append("\n");
  Write(text_);
}

void PlainSession::ReportCommand(const LineOutcome& outcome) {
  switch (outcome.command.kind) {
    case CommandKind::Load: {
      if (outcome.startup) return;  // the start-up file runs silently
      const std::string file = outcome.command.argument.empty()
                                   ? JoinFolder(calculator_.ProgramFolder(), "StartUp.txt")
                                   : outcome.command.argument;
      Write(FileExists(file) ? std::string("OK\n") : "no such file: " + file + "\n");
      return;
    }
    case CommandKind::Unload:
      Write("OK\n");
      return;
    case CommandKind::Functions:
      if (functionsListed_ == 0) Write("no user variables\n");
      return;
    case CommandKind::Quit:
    case CommandKind::None:
    case CommandKind::Unknown:
      return;
  }
}

}  // namespace morvex::cli
