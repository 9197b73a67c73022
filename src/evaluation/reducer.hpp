// The stage tables of the reducers and drivers, and the interpreter that runs
// them. A reducer brings a range of a chain down to a number by a fixed order
// of passes: that order is the precedence of the language. The reducers differ
// in their order, their channel of events and a few rules; each is a table.
#pragma once

#include <cstdint>
#include <span>

#include "evaluation/passes.hpp"
#include "evaluation/reduction.hpp"

namespace morvex::detail {

enum class StageOutcome : uint8_t { Nothing, Reduced, EndCall };

// What a stage does. Reducers run the passes and their own stages (Formula,
// WordPower, RewriteGroups); drivers run the passes and theirs (Bind, Pi,
// WordPower, Groups, General). A pass does the same in both.
enum class StageKind : uint8_t {
  // The passes.
  Sign,           // unary signs
  ExponentMark,   // "E"
  ExponentWord,   // "EXP"
  Factorial,
  Words,          // function words with their argument
  OpenNames,      // unknown names count as 0
  Binary,         // the operator of the stage between two numbers (power, 51 to 59, * /, + -)
  Adjacent,       // implied multiplication
  // The stages of a reducer.
  Formula,        // formula words are expanded (or computed by a nested calculator)
  WordPower,      // w ^ n a rewritten as ( w a ) ^ n
  RewriteGroups,  // the groups that the rewriting made
  // The stages of a driver (which works on the whole chain).
  Bind,           // variables of the line
  Pi,
  Groups,         // parenthesised groups, by the driver's group rule of the stage's round
  General,        // the general reduction of the whole chain, then the driver's finish
};

// Where a reducer goes after a stage.
enum class Flow : uint8_t {
  Next,
  BackToWordsIfReduced,  // to the function word pass when the stage reduced anything
  RestartIfReduced,      // to the first stage when the stage changed anything
};

// The codes that a stage's pass looks for: a chain without any of them leaves
// it nothing to do. Empty for the stages that always run (the word power
// stage among them, as it also clears the mark of a rewriting).
constexpr TypeSet LooksFor(StageKind kind, int16_t operatorType) {
  switch (kind) {
    case StageKind::Sign: return {TypeSign};
    // A cell spelled "E" or "Exp" is a word, a letter, a variable's name or a given-up cell.
    case StageKind::ExponentMark:
    case StageKind::ExponentWord: return {TypeWord, TypeChar, TypeVariable, TypeNone};
    // A cell spelled "!" is a factorial or a given-up cell.
    case StageKind::Factorial: return {TypeFactorial, TypeNone};
    case StageKind::Words: return {TypeWord};
    case StageKind::OpenNames: return {TypeChar, TypeXVar, TypeYVar};
    case StageKind::Binary: return {operatorType};
    default: return {};
  }
}

struct Stage {
  StageKind kind;
  Flow flow = Flow::Next;
  int16_t operatorType = 0;  // the operator of a Binary stage
  int8_t round = 0;          // the group rule of a Groups stage
  TypeSet looksFor = LooksFor(kind, operatorType);
};

struct ReducerProfile {
  std::span<const Stage> stages;
  bool secondChain = false;  // works on the second chain (else the working chain)
  Channel channel = Channel::Silent;
  FactorialRule factorial = FactorialRule::DoubleForward;
  LoneWordRule loneWords = LoneWordRule::Skip;
  bool signWordHasRow = true;
  bool catchesMissingChain = false;  // a variable without a stored chain ends the formula stage only
  StageOutcome (*formula)(Reduction&) = nullptr;  // the formula stage, when the table has one
  bool (*rewriteGroups)(Reduction&) = nullptr;    // the groups stage, when the table has one
};

// Runs a reducer over first..last (first 0: the whole chain); both follow the cells.
void Reduce(const ReducerProfile& profile, Calculator& c, int32_t& first, int32_t& last);

enum class DriverFailure : uint8_t {
  EndSilently,    // the run ends, nothing marked
  GiveUpAndEnd,   // an overflow gives up the operands of the step in progress, then the run ends
};

struct DriverProfile {
  std::span<const Stage> stages;
  bool secondChain = false;
  Channel channel = Channel::Silent;
  DriverFailure failure = DriverFailure::EndSilently;
  bool noteFoundVariable = false;  // binding notes gFoundVariable
  bool plainOnly = false;          // binding compares plain variables alone
  bool changeAfterBind = false;    // binding raises a Change after the step too
  bool piAnyCase = false;
  std::span<const GroupRule> groupRounds = {};  // the rule of each round of groups
  void (*general)(Reduction&) = nullptr;   // the general reduction and what follows it
};

// Runs a driver over the whole chain.
void Drive(const DriverProfile& profile, Calculator& c);

// True for failures that no handler of the calculator keeps: the nesting of
// formulas or files that ran too deep must reach the host.
bool IsFatal(const Failure& failure);

}  // namespace morvex::detail
