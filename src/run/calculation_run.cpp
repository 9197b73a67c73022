#include "run/calculation_run.hpp"

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/formula_expansion.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/reducer.hpp"
#include "evaluation/stage_tables.hpp"
#include "run/sub_expression_run.hpp"

namespace morvex::detail {
namespace {

using K = StageKind;
using F = Flow;

// The formula stage of the calculation run: each formula word, from the right
// end of the range to the left (the last cell included), takes the numbers
// beside it into XVar and YVar, its stored text is worked out on the second
// chain, and the result takes the word's place.
void SpliceResult(Reduction& r, int32_t at, int32_t removed, const std::string& formula, const std::string& text) {
  ScanSubExpression(r.c, text, formula);
  r.Notify(1, at);
  const int32_t before = r.chain.Count();
  SpliceChain(r.chain, r.c.SecondChain, at);
  r.Notify(1, at);
  r.last = r.last - removed + (r.chain.Count() - before);
}

StageOutcome LoudFormulaStage(Reduction& r) { return ExpandFormulaWords(r, 0, SpliceResult); }

// The groups of a rewritten word power, each reduced by ReduceRange and
// closed by Change(0, 1); the run goes on with the power pass.
bool LoudRewriteGroups(Reduction& r) {
  constexpr GroupRoundRules kRules{
      .group = {.reduce = ReduceRange, .doneMarker = true, .changeOnRemoval = false}};
  ReduceRewrittenGroups(r, kRules);
  return false;
}

constexpr std::array<Stage, 9> kRunReduceHead = {{
    {.kind = K::Formula},
    {.kind = K::Sign, .flow = F::BackToWordsIfReduced},
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Factorial},
    {.kind = K::Words},
    {.kind = K::OpenNames, .flow = F::RestartIfReduced},
    {.kind = K::WordPower},
    {.kind = K::RewriteGroups},
}};
constexpr auto kRunReduceStages = stages::Join(kRunReduceHead, stages::Tail(F::BackToWordsIfReduced));

constexpr ReducerProfile kRunReduce{.stages = kRunReduceStages,
                                    .channel = Channel::Change,
                                    .factorial = FactorialRule::DoubleForward,
                                    .catchesMissingChain = true,
                                    .formula = LoudFormulaStage,
                                    .rewriteGroups = LoudRewriteGroups};

constexpr ReducerProfile kReduceRange{.stages = stages::kRangeStages,
                                      .channel = Channel::Change,
                                      .factorial = FactorialRule::Int32Backward,
                                      .loneWords = LoneWordRule::ZeroKeepWord,
                                      .signWordHasRow = false};

// A group of the calculation run: reduced in front of the host; a group that
// does not come down to one cell, or gives up a cell, ends the group rounds.
constexpr GroupRule kLoudGroup[] = {{.reduce = RunReduce, .endUnlessOneCell = true}};

// A cell as StoreResult makes it, whatever its value.
bool IsAnsCell(const Cell& cell) {
  return cell.GetFlags() == (flag::AddPattern & flag::All) && cell.NameStr() == TypeNone && cell.StartNumber() == 0 &&
         cell.ContainerKey() == "Ans" && cell.KeyVal() == "Ans";
}

// The value of the line goes to ResultText, Ans and a plain target.
void StoreResult(Calculator& c, const std::string& kept, const std::string& resultText) {
  SharedState& g = Shared();
  const double value = ReadNumber(resultText);
  c.Ans().Value = value;
  c.Ans().TypeVar = var_type::Plain;
  g.gErrCode = 0;
  c.ResizeVariableChains();
  // Ans's chain is one cell under the key "Ans"; the cell that the last
  // line made is taken again when nothing has touched it but its value.
  std::optional<dna>& slot = c.VariableChains[var_index::Ans];
  if (!slot) slot.emplace();
  // A result spelled as the number text spells its value needs no writing.
  NumberText written;
  const std::string_view text = IsOwnNumberText(resultText) ? std::string_view(resultText) : (written = FormatNumber(value)).view();
  if (slot->Count() == 1 && IsAnsCell((*slot)[1])) {
    (*slot)[1].Value(text);
  } else {
    slot->Clear();
    Cell& cell = slot->Add(flag::AddPattern, "Ans");
    cell.KeyVal("Ans");
    cell.Value(text);
  }
  if (kept.empty()) return;
  const int32_t index = c.VariableIndex(kept);
  if (index != 0 && c.Variables.Item(index).TypeVar == var_type::Plain) {
    c.Variables.Item(index).Value = value;
    c.Variables.Respell(index, kept);
  }
}

// The general reduction of the whole chain, then the result and its storing.
void LoudGeneral(Reduction& r) {
  Calculator& c = r.c;
  SharedState& g = Shared();
  const std::string kept = c.StringVariable;
  int32_t first = 0;
  int32_t last = 0;
  RunReduce(c, first, last);

  std::string resultText;
  if (g.gErrCode != 0) {
    c.ResultText.append(ErrorName(g.gErrCode));
  } else if (HasGivenUpCell(r.chain)) {
    g.gErr.NumError = error_number::Unfinished;
    resultText = FirstGivenUpRun(r.chain);
    c.ResultText.append(resultText);
  } else {
    resultText = r.chain.Join();
    c.ResultText.append(resultText);
  }
  if (!kept.empty()) g.gReport.StrVariable = kept;
  if (!g.gEndText.empty()) g.gReport.StrEnd = g.gEndText;
  g.gEndText.clear();
  if (g.gErr.NumError == 0) StoreResult(c, kept, resultText);
  c.StringVariable.clear();
  g.gEndText.clear();
  g.gNext.StartNumber(0);
  g.gParenDepth = 0;
}

constexpr DriverProfile kRunChain{.stages = stages::kLineDriverStages,
                                  .channel = Channel::Change,
                                  .failure = DriverFailure::GiveUpAndEnd,
                                  .noteFoundVariable = true,
                                  .changeAfterBind = true,
                                  .groupRounds = kLoudGroup,
                                  .general = LoudGeneral};

}  // namespace

void RunChain(Calculator& c) { Drive(kRunChain, c); }

void RunReduce(Calculator& c, int32_t& first, int32_t& last) { Reduce(kRunReduce, c, first, last); }

void ReduceRange(Calculator& c, int32_t& first, int32_t& last) { Reduce(kReduceRange, c, first, last); }

}  // namespace morvex::detail
