#include "evaluation/reducer.hpp"

#include <array>
#include <bit>

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
bool BroughtNewCells(StageKind kind, const SharedState& g) {
  return kind == StageKind::Formula ||
         ((kind == StageKind::WordPower || kind == StageKind::RewriteGroups) && g.gPowerRewritten);
}

StageOutcome AsOutcome(bool reduced) { return reduced ? StageOutcome::Reduced : StageOutcome::Nothing; }

// One bit per stage that may act, as a reducer runs through its table many
// times between two notes of the chain's codes.
using StageSet = uint32_t;
constexpr size_t kMaxStages = 32;
StageSet LiveStages(std::span<const Stage> stages, const Reduction& r) {
  StageSet live = 0;
  for (size_t i = 0; i < stages.size(); ++i) {
    if (stages[i].looksFor.Empty() || r.MayHoldAny(stages[i].looksFor)) live |= StageSet{1} << i;
  }
  return live;
}

// The same, remembered: a table and a set of codes give the same stages
// every time, and the lines of a session meet the same few sets again and again.
StageSet RememberedLiveStages(std::span<const Stage> stages, const Reduction& r) {
  struct Entry {
    const Stage* stages = nullptr;
    TypeSet codes;
    StageSet live = 0;
  };
  static thread_local std::array<Entry, 32> remembered;
  const TypeSet& codes = r.NotedTypes();
  const uint64_t key = (codes.bits[0] + codes.bits[1] * 31 + reinterpret_cast<uintptr_t>(stages.data())) * 0x9E3779B97F4A7C15u;
  Entry& entry = remembered[key >> 59];  // the top five bits of the mixed key
  if (entry.stages != stages.data() || entry.codes.bits[0] != codes.bits[0] || entry.codes.bits[1] != codes.bits[1]) {
    entry = {stages.data(), codes, LiveStages(stages, r)};
  }
  return entry.live;
}

// The first stage from `pc` on that may act; the end of the table if none.
size_t NextLiveStage(StageSet live, size_t pc, size_t end) {
  const StageSet ahead = pc < kMaxStages ? live >> pc : 0;
  return ahead == 0 ? end : pc + static_cast<size_t>(std::countr_zero(ahead));
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

StageOutcome RunStage(const ReducerProfile& profile, const Stage& stage, Reduction& r, SharedState& g) {
  if (stage.kind == StageKind::WordPower && !r.MayHold(TypePowerNum)) {
    g.gPowerRewritten = false;
    return StageOutcome::Nothing;
  }
  switch (stage.kind) {
    case StageKind::Formula:
      return profile.formula(r);
    case StageKind::WordPower: {
      g.gPowerRewritten = false;
      bool failed = false;
      WordPowerPass(r, failed);
      return StageOutcome::Nothing;
    }
    case StageKind::RewriteGroups:
      if (!g.gPowerRewritten) return StageOutcome::Nothing;
      return AsOutcome(profile.rewriteGroups(r));
    default:
      return AsOutcome(RunPassStage(stage, r));
  }
}

// What a driver stage leaves: the driver goes on, goes on with kinds of cells
// that the chain may not have held (a group's formula words, a rewritten word
// power), or goes on to its general reduction at once.
enum class DriverStep : uint8_t { Next, NewCells, General };

DriverStep RunDriverStage(const DriverProfile& profile, const Stage& stage, Reduction& r) {
  switch (stage.kind) {
    case StageKind::Bind:
      BindVariables(r, profile.noteFoundVariable, profile.plainOnly, profile.changeAfterBind);
      return DriverStep::Next;
    case StageKind::Pi:
      BindPi(r, profile.piAnyCase);
      return DriverStep::Next;
    case StageKind::Groups: {
      if (!r.MayHold(TypeStart)) return DriverStep::Next;
      const GroupRule& rule = profile.groupRounds[static_cast<size_t>(stage.round)];
      int32_t open = 0;
      int32_t close = 0;
      DriverStep step = DriverStep::Next;
      while (FindGroup(r.chain, r.chain.Count(), 1, open, close)) {
        if (ReduceGroup(r, rule, open, close) == GroupOutcome::Ended) return DriverStep::General;
        step = DriverStep::NewCells;
      }
      return step;
    }
    case StageKind::WordPower: {
      bool failed = false;
      const bool rewritten = WordPowerPass(r, failed);
      if (failed) return DriverStep::General;
      return rewritten ? DriverStep::NewCells : DriverStep::Next;
    }
    default:
      RunPassStage(stage, r);
      return DriverStep::Next;
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
  const std::span<const Stage> stages = profile.stages;
  SharedState& g = Shared();
  const size_t wordsIndex = IndexOfKind(stages, StageKind::Words);
  // A formula stage in front notes the codes after it runs, which is the first use of them.
  if (stages.empty() || stages[0].kind != StageKind::Formula) r.NoteChainTypes();
  if (stages.size() > kMaxStages) Fail(failure_code::InvalidCall, "a reducer of more stages than it can follow");
  StageSet live = ~StageSet{0};  // what no note yet rules out
  uint32_t liveFromNote = 0;
  size_t pc = 0;
  bool tookMissingChain = false;
  for (;;) {
    try {
      for (;;) {
        if (r.TypesNoted() != liveFromNote) {
          live = RememberedLiveStages(stages, r);
          liveFromNote = r.TypesNoted();
        }
        pc = NextLiveStage(live, pc, stages.size());
        if (pc >= stages.size()) break;
        StageOutcome outcome = RunStage(profile, stages[pc], r, g);
        if (BroughtNewCells(stages[pc].kind, g)) r.NoteChainTypes();
        if (outcome == StageOutcome::EndCall) break;
        pc = NextStage(stages, pc, wordsIndex, outcome == StageOutcome::Reduced);
      }
      break;
    } catch (const Failure& failure) {
      if (IsFatal(failure) || tookMissingChain) throw;
      const bool inFormulaStage = pc < stages.size() && stages[pc].kind == StageKind::Formula;
      if (failure.code() == failure_code::ObjectNotSet && profile.catchesMissingChain && inFormulaStage) {
        tookMissingChain = true;  // the formula stage ends; the next stage begins
        r.NoteChainTypes();
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
  // Binding makes numbers alone: the codes are noted when a stage that looks
  // at them comes.
  bool typesStale = true;
  try {
    for (const Stage& stage : profile.stages) {
      r.WholeChain();
      if (stage.kind == StageKind::General) {
        profile.general(r);
        return;
      }
      if (typesStale && stage.kind != StageKind::Bind && stage.kind != StageKind::Pi) {
        r.NoteChainTypes();
        typesStale = false;
      }
      const DriverStep step = RunDriverStage(profile, stage, r);
      if (step == DriverStep::General) {
        r.WholeChain();
        profile.general(r);
        return;
      }
      if (step == DriverStep::NewCells) typesStale = true;
    }
  } catch (const Failure& failure) {
    if (IsFatal(failure)) throw;
    if (profile.failure == DriverFailure::GiveUpAndEnd && failure.code() == failure_code::Overflow) GiveUpByArity(r);
  }
}

}  // namespace morvex::detail
