#include "plain_session.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <optional>
#include <utility>

namespace morvex::cli {
namespace {

constexpr int kBarWidth = 30;
constexpr std::size_t kPlainWidth = 80;

std::string IntegerText(int64_t value) {
  char buffer[24];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, end) : std::string();
}

// A variable's value as the calculator writes numbers: 15 significant digits.
std::string ValueText(double value) {
  char buffer[32];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15);
  return ec == std::errc() ? std::string(buffer, end) : std::string("?");
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

std::string PaddedTo(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

// What a formula variable takes, by its TypeVar.
std::string_view FormulaKind(int16_t typeVar) {
  switch (typeVar) {
    case 2: return "(XVar)";
    case 3: return "(YVar)";
    case 4: return "(YVar, XVar)";
    default: return "";
  }
}

}  // namespace

PlainSession::PlainSession(clsMorvex& calculator, Options& options, LineInput& input, std::FILE* out,
                           PlainTerminal terminal)
    : HostSession(calculator, options, input, out),
      terminal_(terminal),
      palette_(terminal.colour ? Palette::Colour() : Palette::Plain()),
      lineSteps_(0, [this](StepRow&& row) { ShowLineStep(std::move(row)); }),
      formulaSteps_(1, [this](StepRow&& row) { formulaRows_.push_back(std::move(row)); }) {
  InstallHandlers();
}

void PlainSession::InstallHandlers() {
  EventHandlers& events = calculator_.Events();
  events.Change = [this](int16_t length, int16_t firstChar) {
    if (options_.steps) lineSteps_.OnEvent(calculator_.DNAString(), firstChar, length);
  };
  events.Change2 = [this](int16_t length, int16_t firstChar) {
    if (!options_.steps) return;
    if (length == 0) {
      formulaSteps_.Restart();  // the formula's text is done; the next one is new
    } else {
      formulaSteps_.OnEvent(calculator_.DNAString2(), firstChar, length);
    }
  };
  // The chain's text starts afresh after each line (of a file, too) and for
  // each variable that the recalculation computes again.
  events.HostTurn = [this] {
    lineSteps_.Restart();
    if (calculationLine_) lineTurnTaken_ = true;
  };
  events.Wait = [this] {
    if (!terminal_.interactive) return;
    ClearProgress();
    std::string ignored;
    input_.ReadLine("-- paused, press Enter --", ignored);
  };
  events.Progress = [this](double percent) { DrawProgress(percent); };
  events.UpdateVariables = [this](double percent) {
    lineSteps_.Restart();
    DrawProgress(percent);
  };
  events.GetFunctions = [this](const std::string& name, const std::string& expression) {
    listed_.emplace_back(name, expression);
  };
  events.InputBox = [this](std::string& num) { AskForValue(num); };
}

void PlainSession::AskForValue(std::string& num) {
  const std::string word = num;
  // An answer from the command line is used first, even at the prompt.
  if (std::optional<std::string> given = options_.AnswerFor(word)) {
    num = std::move(*given);
    return;
  }
  num.clear();  // declined, unless the user answers
  if (!terminal_.interactive) return;
  ClearProgress();
  std::string answer;
  if (!input_.ReadLine("value of " + word + "? ", answer)) Write("\n");
  num = answer;
  if (num.empty()) Write(StyledLine("no value given: " + word + " stays an unknown word", palette_.note, palette_));
}

void PlainSession::ShowLineStep(StepRow&& row) {
  ClearProgress();
  if (lineTurnTaken_ && !recalculationHeadShown_) {
    recalculationHeadShown_ = true;
    Write("  " + StyledLine("the variables computed again:", palette_.dim, palette_));
  }
  Write(FormatStepRow(row, palette_, Width()));
  for (const StepRow& formulaRow : formulaRows_) Write(FormatStepRow(formulaRow, palette_, Width()));
  formulaRows_.clear();
}

void PlainSession::FinishSteps() {
  for (const StepRow& formulaRow : formulaRows_) Write(FormatStepRow(formulaRow, palette_, Width()));
  formulaRows_.clear();
  lineSteps_.Restart();
  formulaSteps_.Restart();
}

std::size_t PlainSession::Width() const {
  winsize size{};
  if (terminal_.measureWidth && ::ioctl(::fileno(out_), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return kPlainWidth;
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

void PlainSession::BeginLine(const std::string& /*line*/, const HostCommand& command) {
  listed_.clear();
  calculationLine_ = command.kind == CommandKind::None;
  lineTurnTaken_ = false;
  recalculationHeadShown_ = false;
  FinishSteps();
  // Some lines ("$", the empty line, removing an unknown variable) leave the
  // answer of the line before in place. The plain answer is what this line
  // produced, so the properties it prints start out empty.
  calculator_.ClearOutputs();
}

void PlainSession::EndOfInput() {
  // Ctrl-D leaves the cursor after the prompt.
  if (terminal_.interactive) Write("\n");
}

void PlainSession::Report(const LineOutcome& outcome) {
  ClearProgress();
  FinishSteps();
  if (outcome.failure) {
    const FailureInfo& failure = *outcome.failure;
    const std::string prefix = failure.fromLibrary ? "failure " + IntegerText(failure.code) + ": " : "";
    Write(StyledLine(prefix + failure.message, palette_.error, palette_));
  } else if (outcome.command.kind == CommandKind::None) {
    ReportCalculation();
  } else {
    ReportCommand(outcome);
  }
  if (!calculator_.ScriptFailure().empty()) {
    Write(StyledLine("note: " + calculator_.ScriptFailure(), palette_.note, palette_));
  }
}

void PlainSession::ReportCalculation() {
  const int16_t number = calculator_.ErrNumber();
  if (number != 0) {
    ReportError(number);
    return;
  }
  const std::string& answer = calculator_.OutString();
  const std::string& note = calculator_.Expression();
  if (answer.empty() && note.empty()) {
    // A line with no answer (the empty line, "$"): from a pipe an empty line
    // keeps the answers in step with the input; at the prompt nothing.
    if (!terminal_.interactive) Write("\n");
    return;
  }
  if (terminal_.interactive) {
    Write(AnswerBesideLine(calculator_.InString(), answer, note, palette_, Width()));
    return;
  }
  text_.assign(answer).append("\n");
  if (!note.empty()) text_.append(note).append("\n");
  Write(text_);
}

// The text that holds the error with carets under it, and the error's number
// and name. The text is the line, or the stored text of the formula word that
// holds the error. Error 13 (a step that cannot be done) has no position: the
// carets go under the part that failed where the line shows it.
void PlainSession::ReportError(int16_t number) {
  std::string shown = calculator_.InString();
  int first = calculator_.ErrFirst();
  int length = std::max<int>(calculator_.ErrLength(), 1);
  std::string description = calculator_.ErrDescription();
  text_.clear();
  if (number == 13) {
    const std::string& failed = calculator_.OutString();
    const std::size_t at = failed.empty() ? std::string::npos : shown.find(failed);
    first = static_cast<int>(at == std::string::npos ? 0 : at);
    length = static_cast<int>(at == std::string::npos ? 0 : failed.size());
    if (description.empty()) description = "cannot be computed";
  } else if (!calculator_.ErrFormula().empty()) {
    shown = calculator_.DNAString2();
    text_.append("in the formula of ").append(calculator_.ErrFormula()).append(":\n");
  }
  text_.append(shown).append("\n");
  const std::string marker = CaretMarker(shown, first, length);
  if (!marker.empty()) text_ += StyledLine(marker, palette_.error, palette_);
  text_ += StyledLine("error " + IntegerText(number) + ": " + description, palette_.error, palette_);
  if (!calculator_.Expression().empty()) text_ += StyledLine(calculator_.Expression(), palette_.note, palette_);
  Write(text_);
}

std::string PlainSession::VariableTable() {
  std::vector<clsMorvex::VariableView> variables = calculator_.VariableList();
  std::vector<std::string> values;
  std::size_t nameWidth = 0;
  std::size_t valueWidth = 0;
  for (const clsMorvex::VariableView& variable : variables) {
    values.emplace_back(variable.TypeVar == 1 ? ValueText(variable.Value) : std::string(FormulaKind(variable.TypeVar)));
    nameWidth = std::max(nameWidth, variable.Key.size());
    valueWidth = std::max(valueWidth, values.back().size());
  }
  std::string table;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    std::string row = PaddedTo(variables[i].Key, nameWidth + 2) + PaddedTo(values[i], valueWidth + 2);
    for (const auto& [name, formula] : listed_) {
      if (EqualsIgnoringCase(name, variables[i].Key)) row += formula;
    }
    while (!row.empty() && row.back() == ' ') row.pop_back();
    table += row + "\n";
  }
  return table;
}

void PlainSession::ReportCommand(const LineOutcome& outcome) {
  switch (outcome.command.kind) {
    case CommandKind::Help:
      Write(UsageText());
      return;
    case CommandKind::Vars:
      Write(VariableTable());
      return;
    case CommandKind::Functions:
      if (listed_.empty()) Write("no user variables\n");
      for (const auto& [name, formula] : listed_) Write(name + " = " + formula + "\n");
      return;
    case CommandKind::Steps:
      Write(options_.steps ? "step view on\n" : "step view off\n");
      return;
    case CommandKind::Degree:
    case CommandKind::Radian:
      Write(calculator_.AngleUnit() == "Radian" ? "angles in radians\n" : "angles in degrees\n");
      return;
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
    case CommandKind::Quit:
    case CommandKind::None:
    case CommandKind::Unknown:
      return;
  }
}

}  // namespace morvex::cli
