// Calculate: decides whether a line is a script call, a command or an
// expression, runs it, and fills the output properties. After a plain
// assignment every plain user variable is computed again from its stored chain.
#include "calculator/line_dispatcher.hpp"

#include "calculator/recalculation.hpp"
#include "calculator/scan_and_detect.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/reducer.hpp"
#include "files/script_path.hpp"
#include "platform/folder_watch.hpp"

namespace morvex::detail {
namespace {

constexpr std::string_view kRemoveCommand = "NOTHING=";
constexpr std::string_view kLineBreak = "\r\n";

// Once the script file exists, Calculate goes on after a failing statement
// (the failure is noted and dropped); without it a failure reaches the host.
class Statements {
 public:
  void ResumeOnFailure() { resume_ = true; }
  template <class Step>
  void operator()(Step&& step) {
    if (!resume_) {
      step();
      return;
    }
    try {
      step();
    } catch (const Failure& failure) {
      if (IsFatal(failure)) throw;  // nesting too deep reaches the host in any case
      // noted: the line goes on with the next statement
    }
  }

 private:
  bool resume_ = false;
};

bool IsOneOf(std::string_view line, std::string_view a, std::string_view b) {
  return EqualsIgnoreCase(line, a) || EqualsIgnoreCase(line, b);
}

void ClearOutputs(Calculator& c) {
  Shared().gFormulaFileName.clear();
  c.ClearOutputs();
}

// "NOTHING=name": the variable and its slot go, so later slots move down in
// step with the table. The three built-in variables are kept: every line needs them.
void RemoveVariable(Calculator& c, std::string_view name) {
  int32_t index = c.VariableIndex(name);
  if (index <= 3) return;
  c.Expression = "Remove " + std::string(name);
  c.OutString = "OK";
  c.InString = std::string(kRemoveCommand) + std::string(name);
  c.Variables.Remove(index);
  if (index < static_cast<int32_t>(c.VariableChains.size())) c.VariableChains.erase(c.VariableChains.begin() + index);
  c.StringTyping = c.Expression;
}

void SelectAngleUnit(Calculator& c, std::string& TText, bool radian) {
  Shared().gAngle.Degre = radian ? "Radian" : "Degree";
  c.Expression = radian ? "Radian Mod Selected" : "Degree Mod Selected";
  TText = radian ? "Radians" : "Degrees";
  c.OutString = "OK";
  c.InString = TText;
}

// The script call's answer replaces the line's.
void TakeScriptResult(Calculator& c, std::string& TText, const std::string& result, Statements& run) {
  SharedState& g = Shared();
  run([&] { c.Expression = "VBScript Run " + g.gScriptName; });
  run([&] {
    c.OutString = result;
    c.ResultText = result;
  });
  run([&] {
    c.InString = TText;
    c.EchoText = TText;
  });
  run([&] { c.StringTyping = TText + "=" + result; });
  run([&] { c.Ans().Value = ReadNumberStrict(result); });
}

void CopyErrorProperties(Calculator& c, const std::string& TText) {
  const CErrOcur& err = Shared().gErr;
  if (err.NumError == error_number::Unfinished) {
    c.ErrNumber = error_number::Unfinished;
    c.ErrDescription = err.DescError;
  } else if (err.NumError != 0) {
    c.ErrNumber = CheckedInt16(err.NumError);
    c.ErrDescription = err.DescError;
    c.ErrFirst = CheckedInt16(err.FirstError - 1);
    c.ErrLength = CheckedInt16(err.LengthError);
    c.ErrFormula = err.Formula;
  }
  if (err.NumError == 0 || err.NumError == error_number::Unfinished) {
    c.ErrFirst = 0;
    c.ErrLength = CheckedInt16(static_cast<int64_t>(TText.size()));
  }
}

void RunExpression(Calculator& c, std::string& TText, Statements& run) {
  SharedState& g = Shared();
  run([&] {
    c.ResultText.clear();
    g.gErr.Reset();
  });
  run([&] { ScanAndDetect(c, std::string(TText)); });
  if (!g.gFormulaFileName.empty()) return;  // a formula file none of whose lines ran
  run([&] {
    c.OutString = c.ResultText;
    TText = c.EchoText;
    c.InString = c.EchoText;
  });
  run([&] {
    if (!g.gReport.StrEnd.empty()) c.Expression = g.gReport.StrEnd;
  });
  run([&] {
    if (g.gErr.NumError == 0 && (!c.ResultText.empty() || !g.gReport.StrEnd.empty())) {
      // Appended piece by piece: the log grows in place, with no joined copy per line.
      c.StringTyping.append(c.EchoText).append("=").append(c.ResultText).append("    ");
      c.StringTyping.append(g.gReport.StrVariable).append("      ").append(g.gReport.StrEnd).append(kLineBreak);
    }
  });
  run([&] { c.StringVariable.append(kLineBreak).append(g.gReport.StrVariable); });
  run([&] { CopyErrorProperties(c, TText); });
  run([&] { c.RaiseHostTurn(); });
}

}  // namespace

std::string Calculate(Calculator& c, std::string& TText) {
  if (!c.Initialized) Fail(failure_code::ObjectNotSet, "the calculator is used before Initialize");
  SharedState& g = Shared();
  std::string result;
  g.gScriptDeclined = true;
  // The script failure belongs to the host's line, with the lines that its
  // script calls and line files compute inside it.
  if (g.gNestingDepth == 0) c.ScriptFailure.clear();
  Statements run;
  // The program's folder is asked once what changed; the line's file checks
  // then cost no system call while nothing did.
  const platform::FolderWatchLine folderWatch;

  if (ScriptFileExists(c)) {
    run.ResumeOnFailure();
    std::string scriptResult;
    run([&] { scriptResult = RunScriptLine(c, TText, Calculate); });
    if (!g.gScriptDeclined || !scriptResult.empty()) {
      TakeScriptResult(c, TText, scriptResult, run);
      return result;  // a script call answers through OutString alone
    }
  }
  if (TText.empty()) return result;
  if (TText == "$") {
    c.RaiseWait();
    return result;
  }
  if (TText.size() >= kRemoveCommand.size() && EqualsIgnoreCase(TText.substr(0, kRemoveCommand.size()), kRemoveCommand)) {
    run([&] { RemoveVariable(c, std::string_view(TText).substr(kRemoveCommand.size())); });
    return result;
  }
  ClearOutputs(c);
  if (IsOneOf(TText, "RADIANS", "RAD") || IsOneOf(TText, "DEGREES", "DEG")) {
    SelectAngleUnit(c, TText, IsOneOf(TText, "RADIANS", "RAD"));
    result = c.ResultText;
  } else {
    RunExpression(c, TText, run);
    if (!g.gFormulaFileName.empty()) return result;
    result = c.ResultText;
  }
  // The recalculation leaves the line's properties as they are, ErrFirst too,
  // which a scan of a wrong formula text sets to the cell's position.
  const int16_t errFirst = c.ErrFirst;
  run([&] { RecalculateVariables(c); });
  c.ErrFirst = errFirst;
  return result;
}

}  // namespace morvex::detail
