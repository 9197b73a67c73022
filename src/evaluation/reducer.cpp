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

// Whether the chain may hold kinds of cells that it did not hold at the last
// note: after the formula stage (which also begins every restart), and after a
// word power was rewritten (its stage and the groups stage behind it). The
// other passes make numbers and given-up cells alone, and of the passes that
// follow them before the next formula stage none asks about a given-up cell.
bool BroughtNewCells(StageKind kind) {
  return kind == StageKind::Formula ||
         ((kind == StageKind::WordPower || kind == StageKind::RewriteGroups) && Shared().gPowerRewritten);
}

StageOutcome AsOutcome(bool reduced) { return reduced ? StageOutcome::Reduced : StageOutcome::Nothing; }

// The code a stage's pass looks for, when a chain without it leaves the pass
// nothing to do; 0 for stages that always run.
int16_t PassTarget(const Stage& stage) {
  switch (stage.kind) {
    case StageKind::Sign: return TypeSign;
    case StageKind::Words: return TypeWord;
    case StageKind::WordPower: return TypePowerNum;
    case StageKind::Binary: return stage.operatorType;
    default: return 0;
  }
}

// The passes, as reducers and drivers both run them.
bool RunPassStage(const Stage& stage, Reduction& r) {
  switch (stage.kind) {
    case StageKind::Sign: return SignPass(r);
    case StageKind::ExponentMark: return ExponentPass(r, false);
    case StageKind::ExponentWord: return ExponentPass(r, true);
    case StageKind::Factorial: return FactorialPass(r);
    case StageKind::Words: return WordPass(r);
    case StageKind::OpenNames: return OpenNamesPass(r);
    case StageKind::Binary: return BinaryPass(r, stage.operatorType);
    case StageKind::Adjacent: return AdjacentPass(r);
    default: Fail(failure_code::InvalidCall, "a stage that is no pass, in the place of a pass");
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
    case StageKind::WordPower: {
      Shared().gPowerRewritten = false;
      bool failed = false;
      WordPowerPass(r, failed);
      return StageOutcome::Nothing;
    }
    case StageKind::RewriteGroups:
      if (!Shared().gPowerRewritten) return StageOutcome::Nothing;
      return AsOutcome(profile.rewriteGroups(r));
    default:
      return AsOutcome(RunPassStage(stage, r));
  }
}

// A driver stage; returns true when the driver goes on to its general reduction at once.
bool RunDriverStage(const DriverProfile& profile, const Stage& stage, Reduction& r) {
  switch (stage.kind) {
    case StageKind::Bind:
      BindVariables(r, profile.noteFoundVariable, profile.plainOnly, profile.changeAfterBind);
      return false;
    case StageKind::Pi:
      BindPi(r, profile.piAnyCase);
      return false;
    case StageKind::Groups: {
      const GroupRule& rule = profile.groupRounds[static_cast<size_t>(stage.round)];
      int32_t open = 0;
      int32_t close = 0;
      while (FindGroup(r.chain, r.chain.Count(), 1, open, close)) {
        if (ReduceGroup(r, rule, open, close) == GroupOutcome::Ended) return true;
      }
      return false;
    }
    case StageKind::WordPower: {
      bool failed = false;
      WordPowerPass(r, failed);
      return failed;
    }
    default:
      RunPassStage(stage, r);
      return false;
  }
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
        if (BroughtNewCells(profile.stages[pc].kind)) r.NoteChainTypes();
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
  r.WholeChain();
  r.NoteChainTypes();
  bool typesStale = false;
  try {
    for (const Stage& stage : profile.stages) {
      r.WholeChain();
      if (typesStale) r.NoteChainTypes();
      // Groups (through their formula words) and word powers can bring kinds
      // of cells that the chain did not hold before.
      typesStale = stage.kind == StageKind::Groups || stage.kind == StageKind::WordPower;
      if (stage.kind == StageKind::General) {
        profile.general(r);
        return;
      }
      if (RunDriverStage(profile, stage, r)) {
        r.WholeChain();
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
