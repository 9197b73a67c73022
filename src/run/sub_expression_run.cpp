#include "run/sub_expression_run.hpp"

#include "calculator/nesting.hpp"
#include "calculator/shared_state.hpp"
#include "chain/text_case.hpp"
#include "evaluation/formula_scan.hpp"
#include "evaluation/reducer.hpp"
#include "evaluation/stage_tables.hpp"

namespace morvex::detail {
namespace {

using K = StageKind;
using F = Flow;

// A formula word inside a formula's text: a nested calculator receives the
// definitions of the variables (all but the last of the list) and computes
// the whole second chain as a line; its answer is scanned and reduced in the
// second chain's place. Each level of nesting keeps its own nested calculator.
void ComputeInNestedCalculator(Calculator& c, const Class1& variable) {
  NestingGuard nesting("formula words inside formulas");
  SharedState& g = Shared();
  DNAGroup nestedCalculators;
  DNAGroup* outer = g.gNestedCalculators;
  g.gNestedCalculators = &nestedCalculators;
  struct Restore {
    SharedState& g;
    DNAGroup* outer;
    ~Restore() { g.gNestedCalculators = outer; }
  } restore{g, outer};

  std::string outString, inString, errDescription, stringTyping, stringVariable, dnaString, dnaString2, expression;
  int16_t errFirst = 0, errLength = 0, errNumber = 0;
  clsMorvex& nested = nestedCalculators.Add(outString, inString, errFirst, errLength, errNumber, errDescription,
                                            stringTyping, stringVariable, dnaString, dnaString2, expression,
                                            variable.Key);
  nested.ProgramFolder(c.ProgramFolder);
  nested.Initialize();
  const int32_t count = c.Variables.Count();
  for (int32_t k = 4; k <= count - 1; ++k) {
    try {
      std::string definition = c.StoredChain(k).Join() + "=" + c.Variables.Item(k).Key;
      c.RaiseInternalCalc(static_cast<double>(k) / count);
      nested.Calculate(definition);
    } catch (const Failure& failure) {
      if (IsFatal(failure)) throw;  // this round only; the next definition follows
    }
  }
  c.RaiseInternalCalc(1.0);
  c.DNAString2Field = c.SecondChain.Join();
  std::string line = c.DNAString2Field;
  std::string result = nested.Calculate(line);
  g.gNestedCalculators = outer;
  ScanSubExpression(c, result, variable.Key);
}

// The formula stage of a formula's text: the first formula word from the
// right end of the range hands the whole second chain to a nested calculator,
// and the call ends with it.
StageOutcome NestedFormulaStage(Reduction& r) {
  Calculator& c = r.c;
  c.XVar().Value = 0;
  c.YVar().Value = 0;
  const FormulaWord word = FindFormulaWord(r, r.last, true);
  if (word.at == 0) return StageOutcome::Nothing;
  ComputeInNestedCalculator(c, c.Variables.Item(word.variable));
  return StageOutcome::EndCall;
}

// The groups of a rewritten word power, each reduced by ReduceSubRange; the
// run goes back to the words when it removed parentheses.
bool NestedRewriteGroups(Reduction& r) {
  constexpr GroupRoundRules kRules{
      [](Calculator& c, int32_t open, int32_t close) { ReduceSubRange(c, open, close); }, true, false, true};
  return ReduceRewrittenGroups(r, kRules).removed;
}

constexpr std::array<Stage, 8> kRunSubReduceHead = {{
    {K::Formula},
    {K::Factorial},
    {K::ExponentMark},
    {K::ExponentWord},
    {K::Words},
    {K::OpenNames, F::RestartIfReduced},
    {K::WordPower},
    {K::RewriteGroups, F::BackToWordsIfReduced},
}};
constexpr auto kRunSubReduceStages = stages::Join(kRunSubReduceHead, stages::Tail(F::BackToWordsIfReduced));

constexpr ReducerProfile kRunSubReduce{kRunSubReduceStages, true, Channel::Change2, FactorialRule::Int32Forward,
                                       LoneWordRule::Skip, true, true, NestedFormulaStage, NestedRewriteGroups};

constexpr ReducerProfile kReduceSubRange{stages::kRangeStages, true, Channel::Change2, FactorialRule::Int32Backward,
                                         LoneWordRule::Skip, false, false, nullptr, nullptr};

// The three group rounds of a formula's text differ in what a given-up cell
// and a lone remaining cell do.
bool SubGroup(Reduction& r, int32_t open, int32_t close, int8_t round) {
  SharedState& g = Shared();
  r.Notify(close - open + 1, open);
  int32_t first = open;
  int32_t last = close;
  RunSubReduce(r.c, first, last);
  if (HasGivenUpCell(r.chain)) {
    if (round == 3) g.gErr.NumError = error_number::Unfinished;
    return true;
  }
  const bool remove = round == 1 ? r.chain.Count() > 1 : round == 2 ? true : !g.gFoundVariable;
  if (remove) {
    r.chain.Remove(open);
    r.chain.Remove(open + 1);
    r.Notify(1, open);
  }
  if (round == 3) g.gFoundVariable = false;
  return false;
}

void SubGeneral(Reduction& r) {
  int32_t first = 0;
  int32_t last = 0;
  RunSubReduce(r.c, first, last);
  r.NotifyRaw(0, 1);
  Shared().gParenDepth2 = 0;
}

using D = DriverStageKind;
constexpr std::array<DriverStage, 15> kRunSubChainStages = {{
    {D::Bind},
    {D::Pi},
    {D::Sign},
    {D::ExponentMark},
    {D::ExponentWord},
    {D::Factorial},
    {D::Groups, 1},
    {D::WordPower},
    {D::Groups, 2},
    {D::Power},
    {D::Sign},
    {D::Groups, 3},
    {D::Power},
    {D::Sign},
    {D::General},
}};

constexpr DriverProfile kRunSubChain{kRunSubChainStages, true, Channel::Change2, DriverFailure::EndSilently,
                                     false, true, false, true, SubGroup, SubGeneral};

}  // namespace

void ScanSubExpression(Calculator& c, std::string_view text, std::string_view formula) {
  if (ScanFormulaText(c, text, formula)) RunSubChain(c);
}

void RunSubChain(Calculator& c) { Drive(kRunSubChain, c); }

void RunSubReduce(Calculator& c, int32_t& first, int32_t& last) { Reduce(kRunSubReduce, c, first, last); }

void ReduceSubRange(Calculator& c, int32_t& first, int32_t& last) { Reduce(kReduceSubRange, c, first, last); }

}  // namespace morvex::detail
