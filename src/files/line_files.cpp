// Line files: the start-up file and the formula files run line by line. Only
// the entries of the first block run, and of them all but the last two: the
// count rules of the loop below are the calculator's documented behaviour.
#include "files/line_files.hpp"

#include "core/nesting.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "files/fast_text_stream.hpp"
#include "platform/file_system.hpp"

namespace morvex::detail {
namespace {

constexpr std::string_view kStartUpFile = "StartUp.txt";
constexpr std::string_view kPauseLine = "$";

// After each line (and at the end) its outputs are cleared; StringTyping and
// ErrLength stay.
void ClearLineOutputs(Calculator& c) {
  SharedState& g = Shared();
  c.InString.clear();
  c.OutString.clear();
  c.ErrNumber = 0;
  c.ErrDescription.clear();
  c.ErrFirst = 0;
  c.Expression.clear();
  g.gReport.StrEnd.clear();
  g.gReport.StrInput.clear();
  g.gReport.StrOutput.clear();
  g.gReport.StrVariable.clear();
  c.StringVariable.clear();
}

void Pause(Calculator& c) {
  const Report& report = Shared().gReport;
  c.StringVariable = report.StrVariable;
  c.Expression = report.StrEnd;
  c.RaiseWait();
  c.StringVariable = report.StrVariable;  // what a handler did to these does not last
  c.Expression = report.StrEnd;
}

}  // namespace

void LoadHText(Calculator& c, std::string& path, LineCalculation calculate) {
  c.ResultText.clear();
  c.EchoText.clear();
  Shared().gErr = CErrOcur();
  const std::string file = path.empty() ? platform::FindFile(c.ProgramFolder, kStartUpFile, EqualsIgnoreCase) : path;
  if (!platform::FileExists(file)) return;
  NestingGuard nesting("line files");

  FastTextStream stream;
  stream.OpenTextFileForReading(file);
  WalkLineFile(stream, [&](int16_t count, int16_t total) {
    if (total == 0) Fail(failure_code::DivisionByZero, "division by zero: a file of one line without a line end");
    c.RaiseProgress(static_cast<double>(count) / total);
    c.ResultText.clear();
    c.EchoText.clear();
    std::string line = CurrentLine(stream);
    if (line == kPauseLine) {
      Pause(c);
    } else {
      c.OutString = calculate(c, line);
    }
    c.RaiseChange(0, 1);
    c.ResultText.clear();
    c.RaiseHostTurn();
    ClearLineOutputs(c);
  });
  c.RaiseProgress(1.0);
  ClearLineOutputs(c);
}

}  // namespace morvex::detail
