#include "run/sub_expression_run.hpp"

#include "core/nesting.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/formula_expansion.hpp"
#include "evaluation/reducer.hpp"
#include "evaluation/stage_tables.hpp"
#include "scanner/formula_scan.hpp"

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
  for (int32_t k = var_index::FirstUser; k <= count - 1; ++k) {
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
  constexpr GroupRoundRules kRules{.group = {.reduce = ReduceSubRange}, .searchToFirst = true};
  return ReduceRewrittenGroups(r, kRules).removed;
}

constexpr std::array<Stage, 8> kRunSubReduceHead = {{
    {.kind = K::Formula},
    {.kind = K::Factorial},
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Words},
    {.kind = K::OpenNames, .flow = F::RestartIfReduced},
    {.kind = K::WordPower},
    {.kind = K::RewriteGroups, .flow = F::BackToWordsIfReduced},
}};
constexpr auto kRunSubReduceStages = stages::Join(kRunSubReduceHead, stages::Tail(F::BackToWordsIfReduced));

constexpr ReducerProfile kRunSubReduce{.stages = kRunSubReduceStages,
                                       .secondChain = true,
                                       .channel = Channel::Change2,
                                       .factorial = FactorialRule::Int32Forward,
                                       .catchesMissingChain = true,
                                       .formula = NestedFormulaStage,
                                       .rewriteGroups = NestedRewriteGroups};

constexpr ReducerProfile kReduceSubRange{.stages = stages::kRangeStages,
                                         .secondChain = true,
                                         .channel = Channel::Change2,
                                         .factorial = FactorialRule::Int32Backward,
                                         .signWordHasRow = false};

// The three group rounds of a formula's text differ in what a given-up cell
// and a lone remaining cell do.
constexpr GroupRule kSubGroupRounds[] = {
    {.reduce = RunSubReduce,
     .givenUpIsUnfinished = false,
     .removal = GroupRemoval::WhileChainLonger,
     .forgetsVariable = false},
    {.reduce = RunSubReduce, .givenUpIsUnfinished = false, .removal = GroupRemoval::Always, .forgetsVariable = false},
    {.reduce = RunSubReduce},
};

void SubGeneral(Reduction& r) {
  int32_t first = 0;
  int32_t last = 0;
  RunSubReduce(r.c, first, last);
  r.NotifyRaw(0, 1);
  Shared().gParenDepth2 = 0;
}

constexpr std::array<Stage, 15> kRunSubChainStages = {{
    {.kind = K::Bind},
    {.kind = K::Pi},
    {.kind = K::Sign},
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Factorial},
    {.kind = K::Groups, .round = 0},
    {.kind = K::WordPower},
    {.kind = K::Groups, .round = 1},
    {.kind = K::Binary, .operatorType = TypePower},
    {.kind = K::Sign},
    {.kind = K::Groups, .round = 2},
    {.kind = K::Binary, .operatorType = TypePower},
    {.kind = K::Sign},
    {.kind = K::General},
}};

constexpr DriverProfile kRunSubChain{.stages = kRunSubChainStages,
                                     .secondChain = true,
                                     .channel = Channel::Change2,
                                     .plainOnly = true,
                                     .piAnyCase = true,
                                     .groupRounds = kSubGroupRounds,
                                     .general = SubGeneral};

}  // namespace

void ScanSubExpression(Calculator& c, std::string_view text, std::string_view formula) {
  if (ScanFormulaText(c, text, formula)) RunSubChain(c);
}

void RunSubChain(Calculator& c) { Drive(kRunSubChain, c); }

void RunSubReduce(Calculator& c, int32_t& first, int32_t& last) { Reduce(kRunSubReduce, c, first, last); }

void ReduceSubRange(Calculator& c, int32_t& first, int32_t& last) { Reduce(kReduceSubRange, c, first, last); }

}  // namespace morvex::detail
