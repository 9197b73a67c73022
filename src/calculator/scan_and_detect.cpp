// ScanAndDetect runs the stages of a line in order. Its last stage, the
// hand-over: the checked chain is echoed, its commas go, the target's kind is
// decided, the silent run tries the line on a saved copy, the target variable
// gets its stored chain, and the loud run gives the result text.
#include "calculator/scan_and_detect.hpp"

#include "calculator/line_dispatcher.hpp"
#include "calculator/recalculation.hpp"
#include "core/double_bits.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/reduction.hpp"
#include "evaluation/silent_run.hpp"
#include "files/line_files.hpp"
#include "run/calculation_run.hpp"
#include "scanner/folding.hpp"
#include "scanner/scanner.hpp"
#include "variables/formula_stage.hpp"

namespace morvex::detail {
namespace {

int16_t DecideTargetType(const Calculator& c) {
  if (c.StringVariable.empty()) return 0;
  bool hasX = false;
  bool hasY = false;
  for (const Cell& cell : c.WorkingChain) {
    hasX = hasX || cell.NameStr() == TypeXVar;
    hasY = hasY || cell.NameStr() == TypeYVar;
  }
  if (hasX && hasY) return var_type::FormulaXY;
  if (hasY) return var_type::FormulaY;
  if (hasX) return var_type::FormulaX;
  return var_type::Plain;
}

// The target variable is made if it is new, takes the kind of the line, and
// its slot receives the chain of the expression as it stands before it is computed.
void StoreTarget(Calculator& c, int16_t targetType) {
  const std::string& name = c.StringVariable;
  int32_t index = c.VariableIndex(name);
  if (index == 0) {
    c.Variables.Add(name, name);
    c.Expression = "New Variable " + name + " Added";
    index = c.Variables.Count();
  }
  c.Variables.Item(index).TypeVar = targetType;
  c.ResizeVariableChains();
  dna stored;
  bool first = true;
  for (const Cell& cell : c.WorkingChain) {
    Cell& copy = stored.Add(cell.GetFlags(), first ? std::string_view(name) : std::string_view());
    copy.Value(cell.Value());
    copy.KeyVal(name);
    first = false;
  }
  c.VariableChains[static_cast<size_t>(index)] = std::move(stored);
  NoteDefinitionStored(c, index);
}

// What the recalculation records of a definition's scan: every cell whose
// text is a variable's name is read by the runs, as they bind by name.
void HearInputs(Calculator& c) {
  DefinitionRecords& d = c.Definitions;
  d.heardInputs.clear();
  for (const Cell& cell : c.WorkingChain) {
    const int32_t index = c.VariableIndex(cell.Value());
    if (index == 0) continue;
    const Class1& variable = c.Variables.Item(index);
    d.heardInputs.push_back({index, BitsOf(variable.Value), variable.TypeVar});
  }
}


// The error's name, or the failing text of the given-up cells, as the result.
void CollectError(Calculator& c) {
  SharedState& g = Shared();
  if (g.gErrCode != 0) {
    c.ResultText.append(ErrorName(g.gErrCode));
    return;
  }
  if (HasGivenUpCell(c.WorkingChain)) {
    g.gErr.NumError = error_number::Unfinished;
    c.ResultText.append(FirstGivenUpRun(c.WorkingChain));
  }
}

}  // namespace

void HandOver(Calculator& c) {
  SharedState& g = Shared();
  c.WorkingChain.JoinInto(c.EchoText);
  RemoveCommas(c.WorkingChain);

  // A target with no expression ("=x") makes no variable and gives no result.
  if (!c.StringVariable.empty() && c.WorkingChain.Count() == 0) {
    c.StringVariable.clear();
    g.gReport.StrVariable.clear();
    return;
  }
  const int16_t targetType = DecideTargetType(c);
  if (targetType == var_type::Plain) g.gRecalculate = true;

  // The chain is saved before the silent run and restored after it; both
  // copies assign every cell's code in chain order, which the template sees.
  // Where nothing can have changed the chain, the copies are replayed on the
  // template without being made.
  const bool silentRun = g.gErr.NumError == 0 && c.StringVariable.empty() &&
                         !(PassOverRedundantSilentRun() && SilentRunIsRedundant(c));
  // The copy goes into the calculator's spare storage, taken out for the
  // time of the run so that a nested use of it finds its own.
  dna saved = std::move(c.SpareChain);
  if (g.gErr.NumError != 0) {
    ReplayCopy(c.WorkingChain);  // the save alone
    c.SpareChain = std::move(saved);
    c.StringVariable.clear();
    g.gReport.StrVariable.clear();
    CollectError(c);
    return;
  }
  if (silentRun) {
    CopyChainInto(c.WorkingChain, saved);
    EvaluateChain(c);
    ReplayCopy(saved);
    std::swap(c.WorkingChain, saved);
  } else {
    ReplayCopy(c.WorkingChain, 2);  // the save and the restore
  }
  c.SpareChain = std::move(saved);

  if (!c.StringVariable.empty()) {
    StoreTarget(c, targetType);
    if (targetType >= var_type::FormulaX) {
      if (g.gErrCode == 0) {
        g.gReport.StrVariable = c.StringVariable;
        c.ResultText = c.StringVariable;
        g.gReport.StrEnd = g.gEndText;
      } else {
        c.ResultText.append(ErrorName(g.gErrCode));
      }
      c.StringVariable.clear();
      return;
    }
  }
  RunChain(c);
  if (!c.ResultText.empty()) {
    c.StringVariable.clear();
    return;
  }
  CollectError(c);
}

void ScanAndDetect(Calculator& c, std::string_view text) {
  if (text.empty()) return;
  // Only the scan that the recalculation starts is heard, not the lines of a
  // file that it may run.
  const bool listen = c.Definitions.listening;
  c.Definitions.listening = false;
  const LineCut cut = CutLine(c, text);
  if (listen) c.Definitions.heardSpelling = ToUpper(c.WorkingChain.Join());
  if (cut.letters) {
    if (std::optional<std::string> formulaFile = RunFormulaStage(c)) {
      if (listen) c.Definitions.heardFolder = true;
      LoadHText(c, *formulaFile, Calculate);
      return;
    }
  }
  // A chain that begins with letters was compared with the folder's files.
  if (listen && c.WorkingChain.Count() > 0 && c.WorkingChain[1].NameStr() == TypeChar) c.Definitions.heardFolder = true;
  if (cut.letters) FoldChain(c);
  // Without letters the chain is as it was cut.
  DetectChain(c, !cut.letters && cut.rowsOfChain);
  if (listen) HearInputs(c);
  HandOver(c);
}

}  // namespace morvex::detail
