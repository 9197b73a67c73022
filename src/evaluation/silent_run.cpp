#include "evaluation/silent_run.hpp"

#include <array>

#include "core/double_bits.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/formula_expansion.hpp"
#include "evaluation/function_words.hpp"
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

bool HasDigit(std::string_view text) {
  for (char ch : text) {
    if (ch >= '0' && ch <= '9') return true;
  }
  return false;
}

// Whether the cell at i, of a chain of `count` cells, is one of plain
// arithmetic: see SilentRunIsRedundant.
bool IsPlainCell(const Calculator& c, const dna& chain, int32_t i, int32_t count) {
  const Cell& cell = chain[i];
  const int16_t next = i < count ? chain[i + 1].NameStr() : int16_t{TypeNone};
  switch (cell.NameStr()) {
    case TypeNumber:
      return HasDigit(cell.Value());
    case TypePlus:
    case TypeOper:
    case TypePower:
    case TypeStart:
    case TypeEnd:
      return true;
    case TypeSign:
      return next == TypeNumber;
    case TypeFactorial:
      return i > 1 && chain[i - 1].NameStr() == TypeNumber;
    case TypeWord: {
      const std::string_view word = cell.Value();
      if (word == "E" || EqualsIgnoreCase(word, "EXP")) return next == TypeNumber || next == TypeSign;
      if (!IsTotalFunctionWord(word) || c.VariableIndex(word) != 0) return false;
      return next == TypeNumber || next == TypeWord || next == TypeSign || next == TypeStart;
    }
    default:
      // The comparisons and selections; not the remainder, whose division by 0 fails.
      return cell.NameStr() >= TypeLess && cell.NameStr() < TypeBar;
  }
}

}  // namespace

// The silent run leaves error 13, XVar and YVar at 0, the formula scans'
// second chain and error, and what its codes wrote into the successor
// template. For a chain of plain arithmetic none of these can differ:
// - its cells are numbers (with a digit), the operators + - * / ^ and 51 to
//   58, parentheses, signs before a number, E and Exp before a number or sign,
//   "!" after a number, and the function words but Ln that name no variable,
//   before a number, a word, a sign or "(". Neither run binds, expands or
//   rewrites a word power; the driver's passes before the groups are the same
//   in both and leave no sign, exponent or "!"; inside a group every step gives
//   a number, gives up its cells or fails by overflow (which gives them up),
//   so each group comes down to one number in both runs or ends the groups
//   with a given-up cell in both, and the two reducers take the same steps.
//   The silent run thus sets error 13 only where the calculation run ends with
//   a given-up cell, which sets it too (gErrCode is 0, as detection passed);
// - XVar and YVar already hold +0;
// - the silent run assigns codes 1 and 0 alone, which leave the template's
//   depth as it was, and the replay of the restore then writes the template
//   as a second replay does.
bool SilentRunIsRedundant(Calculator& c) {
  if (Shared().gErrCode != 0 || BitsOf(c.XVar().Value) != 0 || BitsOf(c.YVar().Value) != 0) return false;
  const dna& chain = c.WorkingChain;
  const int32_t count = chain.Count();
  for (int32_t i = 1; i <= count; ++i) {
    if (!IsPlainCell(c, chain, i, count)) return false;
  }
  return true;
}

bool& PassOverRedundantSilentRun() {
  static thread_local bool passOver = true;
  return passOver;
}

void EvaluateChain(Calculator& c) { Drive(kEvaluateChain, c); }

void EvaluateReduce(Calculator& c, int32_t& first, int32_t& last) { Reduce(kEvaluateReduce, c, first, last); }

void EvaluateReduce2(Calculator& c, int32_t& first, int32_t& last) { Reduce(kEvaluateReduce2, c, first, last); }

void PreReduceChain(Calculator& c) { Drive(kPreReduceChain, c); }

void ScanSubExpression2(Calculator& c, std::string_view text, std::string_view formula) {
  if (ScanFormulaText(c, text, formula)) PreReduceChain(c);
}

}  // namespace morvex::detail
