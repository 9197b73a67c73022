// The plain session: the answer of each line as text. On a terminal it shows a
// prompt, asks the user for the value of an unknown word, waits at a pause and
// draws a progress bar; from a pipe or file it prints one answer per line and
// answers unknown words from --answer.
#pragma once

#include <string>

#include "host_session.hpp"

namespace morvex::cli {

struct PlainTerminal {
  bool interactive = false;   // standard input is a terminal: prompts and questions
  bool progressBar = false;   // standard error is a terminal: draw progress there
};

class PlainSession : public HostSession {
 public:
  PlainSession(clsMorvex& calculator, const Options& options, std::istream& in, std::FILE* out,
               PlainTerminal terminal);

 protected:
  void BeginLine() override;
  void Report(const LineOutcome& outcome) override;
  void Prompt() override;
  void EndOfInput() override;

 private:
  void InstallHandlers();
  void ReportCalculation();
  void ReportCommand(const LineOutcome& outcome);
  void ShowStep(int16_t length, int16_t firstChar);
  void DrawProgress(double percent);
  void ClearProgress();

  PlainTerminal terminal_;
  int functionsListed_ = 0;
  bool progressShown_ = false;
  std::string text_;
};

// A line of blanks and carets that marks `length` characters of `text` from
// the 0-based `first` on (tabs in the text before the mark are kept, so the
// carets stay under their characters). No characters (length < 1) gives "".
std::string CaretMarker(std::string_view text, int first, int length);

}  // namespace morvex::cli
