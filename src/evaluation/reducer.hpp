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

// What a reducer stage does.
enum class StageKind : uint8_t {
  Formula,        // formula words are expanded (or computed by a nested calculator)
  HeadSign,       // unary signs before anything else
  ExponentMark,   // "E"
  ExponentWord,   // "EXP"
  Factorial,
  Words,          // function words with their argument
  OpenNames,      // unknown names count as 0
  WordPower,      // w ^ n a rewritten as ( w a ) ^ n
  RewriteGroups,  // the groups that the rewriting made
  Power,
  Operator,       // one of the operators 51 to 59 (the stage's operator)
  Adjacent,       // implied multiplication
  Sign,
  TimesDivide,
  PlusMinus,
};

// Where the run goes after a stage.
enum class Flow : uint8_t {
  Next,
  BackToWordsIfReduced,  // to the function word pass when the stage reduced anything
  RestartIfReduced,      // to the first stage when the stage changed anything
};

struct Stage {
  StageKind kind;
  Flow flow = Flow::Next;
  int16_t operatorType = 0;
};

struct ReducerProfile {
  std::span<const Stage> stages;
  bool secondChain;  // works on the second chain (else the working chain)
  Channel channel;
  FactorialRule factorial;
  LoneWordRule loneWords;
  bool signWordHasRow;
  bool catchesMissingChain;  // a variable without a stored chain ends the formula stage only
  StageOutcome (*formula)(Reduction&);  // the formula stage, when the table has one
  bool (*rewriteGroups)(Reduction&);    // the groups stage, when the table has one
};

// Runs a reducer over first..last (first 0: the whole chain); both follow the cells.
void Reduce(const ReducerProfile& profile, Calculator& c, int32_t& first, int32_t& last);

// What a driver stage does. Drivers work on the whole chain.
enum class DriverStageKind : uint8_t {
  Bind,          // variables of the line
  Pi,
  Sign,
  ExponentMark,
  ExponentWord,
  Factorial,
  Groups,        // parenthesised groups, by the driver's group rule (round 1, 2, 3)
  WordPower,
  Power,
  General,       // the general reduction of the whole chain, then the driver's finish
};

struct DriverStage {
  DriverStageKind kind;
  int8_t round = 0;
};

enum class DriverFailure : uint8_t {
  EndSilently,    // the run ends, nothing marked
  GiveUpAndEnd,   // an overflow gives up the operands of the step in progress, then the run ends
};

struct DriverProfile {
  std::span<const DriverStage> stages;
  bool secondChain;
  Channel channel;
  DriverFailure failure;
  bool noteFoundVariable;  // binding notes gFoundVariable
  bool plainOnly;          // binding compares plain variables alone
  bool changeAfterBind;    // binding raises a Change after the step too
  bool piAnyCase;
  // A group round: reduces the group, says whether to go on to the general
  // reduction at once (true) and removes its parentheses as the driver's rule says.
  bool (*group)(Reduction&, int32_t open, int32_t close, int8_t round);
  void (*general)(Reduction&);  // the general reduction and what follows it
};

// Runs a driver over the whole chain.
void Drive(const DriverProfile& profile, Calculator& c);

// True for failures that no handler of the calculator keeps: the nesting of
// formulas or files that ran too deep must reach the host.
bool IsFatal(const Failure& failure);

}  // namespace morvex::detail
