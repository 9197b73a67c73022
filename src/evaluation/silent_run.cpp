#include "evaluation/silent_run.hpp"

#include <array>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/formula_expansion.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/reducer.hpp"
#include "evaluation/stage_tables.hpp"
#include "scanner/formula_scan.hpp"

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
  constexpr GroupRoundRules kRules{.group = {.reduce = EvaluateReduce2}};
  return ReduceRewrittenGroups(r, kRules).treated;
}

constexpr std::array<Stage, 8> kEvaluateReduceHead = {{
    {.kind = K::Formula},
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Factorial},
    {.kind = K::Words},
    {.kind = K::OpenNames, .flow = F::RestartIfReduced},
    {.kind = K::WordPower},
    {.kind = K::RewriteGroups, .flow = F::BackToWordsIfReduced},
}};
constexpr auto kEvaluateReduceStages = stages::Join(kEvaluateReduceHead, stages::Tail(F::Next));

constexpr ReducerProfile kEvaluateReduce{.stages = kEvaluateReduceStages,
                                         .catchesMissingChain = true,
                                         .formula = SilentFormulaStage,
                                         .rewriteGroups = SilentRewriteGroups};

// The twin of the loud range reducers, silent.
constexpr ReducerProfile kEvaluateReduce2{.stages = stages::kRangeStages, .loneWords = LoneWordRule::ZeroNumber};

// A group of the silent driver: reduced, then its parentheses go (unless a
// variable was met: then on the next round). A given-up cell ends the groups.
constexpr GroupRule kSilentGroup[] = {{.reduce = EvaluateReduce}};

void SilentGeneral(Reduction& r) {
  int32_t first = 0;
  int32_t last = 0;
  EvaluateReduce(r.c, first, last);
  SharedState& g = Shared();
  if (r.c.StringVariable.empty() && g.gErrCode == 0 && HasGivenUpCell(r.chain)) g.gErr.NumError = error_number::Unfinished;
}

void NoGeneral(Reduction&) {}

constexpr DriverProfile kEvaluateChain{.stages = stages::kLineDriverStages,
                                       .noteFoundVariable = true,
                                       .groupRounds = kSilentGroup,
                                       .general = SilentGeneral};

// The definition of a formula word, spliced into a line's chain in the silent
// run: what the general reduction would take as its first steps.
constexpr std::array<Stage, 7> kPreReduceStages = {{
    {.kind = K::Pi},
    {.kind = K::Sign},
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Factorial},
    {.kind = K::WordPower},
    {.kind = K::Sign},
}};

constexpr DriverProfile kPreReduceChain{.stages = kPreReduceStages, .general = NoGeneral};

}  // namespace

void EvaluateChain(Calculator& c) { Drive(kEvaluateChain, c); }

void EvaluateReduce(Calculator& c, int32_t& first, int32_t& last) { Reduce(kEvaluateReduce, c, first, last); }

void EvaluateReduce2(Calculator& c, int32_t& first, int32_t& last) { Reduce(kEvaluateReduce2, c, first, last); }

void PreReduceChain(Calculator& c) { Drive(kPreReduceChain, c); }

void ScanSubExpression2(Calculator& c, std::string_view text, std::string_view formula) {
  if (ScanFormulaText(c, text, formula)) PreReduceChain(c);
}

}  // namespace morvex::detail
