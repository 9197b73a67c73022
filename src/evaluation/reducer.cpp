#include "evaluation/reducer.hpp"

#include "core/shared_state.hpp"

namespace morvex::detail {
namespace {

size_t IndexOfKind(std::span<const Stage> stages, StageKind kind) {
  for (size_t i = 0; i < stages.size(); ++i) {
    if (stages[i].kind == kind) return i;
  }
  return stages.size();
}

// Stages after which the chain may hold kinds of cells it did not hold before.
bool BringsNewCells(StageKind kind) {
  return kind == StageKind::Formula || kind == StageKind::WordPower || kind == StageKind::RewriteGroups;
}

StageOutcome AsOutcome(bool reduced) { return reduced ? StageOutcome::Reduced : StageOutcome::Nothing; }

// The code a stage's pass looks for, when a chain without it leaves the pass
// nothing to do; 0 for stages that always run.
int16_t PassTarget(const Stage& stage) {
  switch (stage.kind) {
    case StageKind::HeadSign:
    case StageKind::Sign: return TypeSign;
    case StageKind::Words: return TypeWord;
    case StageKind::WordPower: return TypePowerNum;
    case StageKind::Power: return TypePower;
    case StageKind::Operator: return stage.operatorType;
    case StageKind::TimesDivide: return TypeOper;
    case StageKind::PlusMinus: return TypePlus;
    default: return 0;
  }
}

StageOutcome RunStage(const ReducerProfile& profile, const Stage& stage, Reduction& r) {
  if (const int16_t target = PassTarget(stage); target != 0 && !r.MayHold(target)) {
    if (stage.kind == StageKind::WordPower) Shared().gPowerRewritten = false;
    return StageOutcome::Nothing;
  }
  switch (stage.kind) {
    case StageKind::Formula:
      return profile.formula(r);
    case StageKind::HeadSign:
    case StageKind::Sign:
      return AsOutcome(SignPass(r));
    case StageKind::ExponentMark:
      return AsOutcome(ExponentPass(r, false));
    case StageKind::ExponentWord:
      return AsOutcome(ExponentPass(r, true));
    case StageKind::Factorial:
      return AsOutcome(FactorialPass(r));
    case StageKind::Words:
      return AsOutcome(WordPass(r));
    case StageKind::OpenNames:
      return AsOutcome(OpenNamesPass(r));
    case StageKind::WordPower: {
      Shared().gPowerRewritten = false;
      bool failed = false;
      WordPowerPass(r, failed);
      return StageOutcome::Nothing;
    }
    case StageKind::RewriteGroups:
      if (!Shared().gPowerRewritten) return StageOutcome::Nothing;
      return AsOutcome(profile.rewriteGroups(r));
    case StageKind::Power:
      return AsOutcome(PowerPass(r));
    case StageKind::Operator:
      return AsOutcome(OperatorPass(r, stage.operatorType));
    case StageKind::Adjacent:
      return AsOutcome(AdjacentPass(r));
    case StageKind::TimesDivide:
      return AsOutcome(TimesDividePass(r));
    case StageKind::PlusMinus:
      return AsOutcome(PlusMinusPass(r));
  }
  return StageOutcome::Nothing;
}

size_t NextStage(std::span<const Stage> stages, size_t pc, size_t wordsIndex, bool reduced) {
  switch (stages[pc].flow) {
    case Flow::Next:
      return pc + 1;
    case Flow::BackToWordsIfReduced:
      return reduced ? wordsIndex : pc + 1;
    case Flow::RestartIfReduced:
      return reduced ? 0 : pc + 1;
  }
  return pc + 1;
}

}  // namespace

bool IsFatal(const Failure& failure) { return failure.code() == failure_code::OutOfStackSpace; }

void Reduce(const ReducerProfile& profile, Calculator& c, int32_t& first, int32_t& last) {
  Reduction r(c, profile.secondChain ? c.SecondChain : c.WorkingChain, profile.channel);
  r.factorial = profile.factorial;
  r.loneWords = profile.loneWords;
  r.signWordHasRow = profile.signWordHasRow;
  r.first = first;
  r.last = first == 0 ? r.chain.Count() : last;
  const size_t wordsIndex = IndexOfKind(profile.stages, StageKind::Words);
  r.NoteChainTypes();
  size_t pc = 0;
  bool tookMissingChain = false;
  for (;;) {
    try {
      while (pc < profile.stages.size()) {
        StageOutcome outcome = RunStage(profile, profile.stages[pc], r);
        if (BringsNewCells(profile.stages[pc].kind)) r.NoteChainTypes();
        if (outcome == StageOutcome::EndCall) break;
        pc = NextStage(profile.stages, pc, wordsIndex, outcome == StageOutcome::Reduced);
      }
      break;
    } catch (const Failure& failure) {
      if (IsFatal(failure) || tookMissingChain) throw;
      const bool inFormulaStage = pc < profile.stages.size() && profile.stages[pc].kind == StageKind::Formula;
      if (failure.code() == failure_code::ObjectNotSet && profile.catchesMissingChain && inFormulaStage) {
        tookMissingChain = true;  // the formula stage ends; the next stage begins
        ++pc;
        continue;
      }
      if (failure.code() == failure_code::Overflow) GiveUpByArity(r);
      break;
    }
  }
  first = r.first;
  last = r.last;
}

void Drive(const DriverProfile& profile, Calculator& c) {
  Reduction r(c, profile.secondChain ? c.SecondChain : c.WorkingChain, profile.channel);
  r.factorial = FactorialRule::DoubleForward;
  auto whole = [&] { r.WholeChain(); };
  whole();
  r.NoteChainTypes();
  bool typesStale = false;
  try {
    for (const DriverStage& stage : profile.stages) {
      whole();
      if (typesStale) r.NoteChainTypes();
      // Groups (through their formula words) and word powers can bring kinds
      // of cells that the chain did not hold before.
      typesStale = stage.kind == DriverStageKind::Groups || stage.kind == DriverStageKind::WordPower;
      bool toGeneral = false;
      switch (stage.kind) {
        case DriverStageKind::Bind:
          BindVariables(r, profile.noteFoundVariable, profile.plainOnly, profile.changeAfterBind);
          break;
        case DriverStageKind::Pi:
          BindPi(r, profile.piAnyCase);
          break;
        case DriverStageKind::Sign:
          SignPass(r);
          break;
        case DriverStageKind::ExponentMark:
          ExponentPass(r, false);
          break;
        case DriverStageKind::ExponentWord:
          ExponentPass(r, true);
          break;
        case DriverStageKind::Factorial:
          FactorialPass(r);
          break;
        case DriverStageKind::Groups: {
          int32_t open = 0;
          int32_t close = 0;
          while (!toGeneral && FindGroup(r.chain, r.chain.Count(), 1, open, close)) {
            toGeneral = profile.group(r, open, close, stage.round);
          }
          break;
        }
        case DriverStageKind::WordPower:
          WordPowerPass(r, toGeneral);
          break;
        case DriverStageKind::Power:
          PowerPass(r);
          break;
        case DriverStageKind::General:
          profile.general(r);
          return;
      }
      if (toGeneral) {
        whole();
        profile.general(r);
        return;
      }
    }
  } catch (const Failure& failure) {
    if (IsFatal(failure)) throw;
    if (profile.failure == DriverFailure::GiveUpAndEnd && failure.code() == failure_code::Overflow) GiveUpByArity(r);
  }
}

}  // namespace morvex::detail
