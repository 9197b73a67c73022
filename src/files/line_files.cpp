// Line files: the start-up file and the formula files run line by line. Only
// the entries of the first block run, and of them all but the last two: the
// count rules of the loop below are the calculator's documented behaviour.
#include "files/line_files.hpp"

#include "core/nesting.hpp"
#include "core/shared_state.hpp"
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
  const std::string file = path.empty() ? platform::FindFileIgnoringCase(c.ProgramFolder, kStartUpFile) : path;
  if (!platform::FileExists(file)) return;
  NestingGuard nesting("line files");

  FastTextStream stream;
  stream.OpenTextFileForReading(file);
  const int16_t total = CheckedInt16(stream.NumberOfBufferLines());
  int16_t count = 0;
  for (;;) {
    if (stream.AtEndOfFile()) break;
    count = CheckedInt16(count + 1);
    if (count == total - 1) break;
    if (total == 0) Fail(failure_code::DivisionByZero, "division by zero: a file of one line without a line end");
    c.RaiseProgress(static_cast<double>(count) / total);
    c.ResultText.clear();
    c.EchoText.clear();
    std::string line = stream.getBufferLine(CheckedInt16(stream.IndexNextBufferLine()));
    if (line == kPauseLine) {
      Pause(c);
    } else {
      c.OutString = calculate(c, line);
    }
    c.RaiseChange(0, 1);
    c.ResultText.clear();
    c.RaiseHostTurn();
    ClearLineOutputs(c);
    stream.ReadLine();
    if (stream.getBufferLine(CheckedInt16(stream.IndexNextBufferLine())) == FastTextStream::LineOutOfBoundsText) break;
  }
  c.RaiseProgress(1.0);
  ClearLineOutputs(c);
}

}  // namespace morvex::detail
