// The plain session: the answer of each line as text. At a terminal it shows
// a prompt, the line as understood with its answer beside it, asks the user
// for the value of an unknown word, waits at a pause and draws a progress bar;
// from a pipe or file it prints one answer per line and answers unknown words
// from --answer. With the step view on, each reduction step is a row
// "before -> after" above the answer.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host_session.hpp"
#include "step_view.hpp"
#include "text_layout.hpp"

namespace morvex::cli {

struct PlainTerminal {
  bool interactive = false;   // a user at a terminal: questions, pauses, answers beside the line
  bool progressBar = false;   // standard error is a terminal: draw progress there
  bool colour = false;        // colour instead of brackets and plain text
  bool measureWidth = false;  // standard output is a terminal: lay out to its width
};

class PlainSession : public HostSession {
 public:
  PlainSession(clsMorvex& calculator, Options& options, LineInput& input, std::FILE* out, PlainTerminal terminal);

 protected:
  void BeginLine(const std::string& line, const HostCommand& command) override;
  void Report(const LineOutcome& outcome) override;
  void EndOfInput() override;

 private:
  void InstallHandlers();
  void AskForValue(std::string& num);
  void ShowLineStep(StepRow&& row);
  void FinishSteps();
  void ReportCalculation();
  void ReportError(int16_t number);
  void ReportCommand(const LineOutcome& outcome);
  std::string VariableTable();
  std::size_t Width() const;
  void DrawProgress(double percent);
  void ClearProgress();

  PlainTerminal terminal_;
  Palette palette_;
  StepTracker lineSteps_;
  StepTracker formulaSteps_;
  std::vector<StepRow> formulaRows_;  // shown under the line's step that used them
  bool calculationLine_ = false;
  bool lineTurnTaken_ = false;        // the line is done; steps now are the recalculation
  bool recalculationHeadShown_ = false;
  std::vector<std::pair<std::string, std::string>> listed_;  // GetFunctions of this line
  bool progressShown_ = false;
  std::string text_;
};

}  // namespace morvex::cli
