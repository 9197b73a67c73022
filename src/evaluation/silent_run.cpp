#include "evaluation/silent_run.hpp"

#include <array>

#include "calculator/shared_state.hpp"
#include "chain/text_case.hpp"
#include "evaluation/formula_scan.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/reducer.hpp"
#include "evaluation/stage_tables.hpp"

namespace morvex::detail {
namespace {

using K = StageKind;
using F = Flow;

// The formula stage of the silent run: each formula word (and each plain
// variable) met in the range takes its operands into XVar and YVar and is
// replaced by the cells of its stored text, which the later stages reduce
// with XVar and YVar as open names, that is as 0. The last cell of the range
// is not looked at.
void SpliceDefinition(Reduction& r, int32_t at, int32_t, const std::string& formula, const std::string& text) {
  ScanSubExpression2(r.c, text, formula);
  SpliceChain(r.chain, r.c.SecondChain, at);
  PreReduceChain(r.c);
  r.last = r.chain.Count();
}

StageOutcome SilentFormulaStage(Reduction& r) { return ExpandFormulaWords(r, 1, SpliceDefinition); }

// The groups that a word power rewriting made, each reduced by
// EvaluateReduce2; a group treated at all sends the run back to the words.
bool SilentRewriteGroups(Reduction& r) {
  constexpr GroupRoundRules kRules{[](Calculator& c, int32_t open, int32_t close) { EvaluateReduce2(c, open, close); },
                                   false, false, false};
  return ReduceRewrittenGroups(r, kRules).treated;
}

constexpr std::array<Stage, 8> kEvaluateReduceHead = {{
    {K::Formula},
    {K::ExponentMark},
    {K::ExponentWord},
    {K::Factorial},
    {K::Words},
    {K::OpenNames, F::RestartIfReduced},
    {K::WordPower},
    {K::RewriteGroups, F::BackToWordsIfReduced},
}};
constexpr auto kEvaluateReduceStages = stages::Join(kEvaluateReduceHead, stages::Tail(F::Next));

constexpr ReducerProfile kEvaluateReduce{kEvaluateReduceStages, false, Channel::Silent, FactorialRule::DoubleForward,
                                         LoneWordRule::Skip, true, true, SilentFormulaStage, SilentRewriteGroups};

// The twin of the loud range reducers, silent.
constexpr ReducerProfile kEvaluateReduce2{stages::kRangeStages, false, Channel::Silent, FactorialRule::DoubleForward,
                                          LoneWordRule::ZeroNumber, true, false, nullptr, nullptr};

// A group of the silent driver: reduced, then its parentheses go (unless a
// variable was met: then on the next round). A given-up cell ends the groups.
bool SilentGroup(Reduction& r, int32_t open, int32_t close, int8_t) {
  SharedState& g = Shared();
  int32_t first = open;
  int32_t last = close;
  EvaluateReduce(r.c, first, last);
  if (HasGivenUpCell(r.chain)) {
    g.gErr.NumError = error_number::Unfinished;
    return true;
  }
  if (!g.gFoundVariable) {
    r.chain.Remove(open);
    r.chain.Remove(open + 1);
  }
  g.gFoundVariable = false;
  return false;
}

void SilentGeneral(Reduction& r) {
  int32_t first = 0;
  int32_t last = 0;
  EvaluateReduce(r.c, first, last);
  SharedState& g = Shared();
  if (r.c.StringVariable.empty() && g.gErrCode == 0 && HasGivenUpCell(r.chain)) g.gErr.NumError = error_number::Unfinished;
}

void NoGeneral(Reduction&) {}

using D = DriverStageKind;
constexpr DriverProfile kEvaluateChain{stages::kLineDriverStages, false, Channel::Silent, DriverFailure::EndSilently,
                                       true, false, false, false, SilentGroup, SilentGeneral};

constexpr std::array<DriverStage, 7> kPreReduceStages = {{
    {D::Pi},
    {D::Sign},
    {D::ExponentMark},
    {D::ExponentWord},
    {D::Factorial},
    {D::WordPower},
    {D::Sign},
}};

constexpr DriverProfile kPreReduceChain{kPreReduceStages, false, Channel::Silent, DriverFailure::EndSilently,
                                        false, false, false, false, SilentGroup, NoGeneral};

}  // namespace

void EvaluateChain(Calculator& c) { Drive(kEvaluateChain, c); }

void EvaluateReduce(Calculator& c, int32_t& first, int32_t& last) { Reduce(kEvaluateReduce, c, first, last); }

void EvaluateReduce2(Calculator& c, int32_t& first, int32_t& last) { Reduce(kEvaluateReduce2, c, first, last); }

void PreReduceChain(Calculator& c) { Drive(kPreReduceChain, c); }

void ScanSubExpression2(Calculator& c, std::string_view text, std::string_view formula) {
  if (ScanFormulaText(c, text, formula)) PreReduceChain(c);
}

}  // namespace morvex::detail
