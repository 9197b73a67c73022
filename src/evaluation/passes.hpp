// The pass primitives of the reductions. A pass scans positions upward from
// first + 1; its limit is fixed when a scan begins; after each reduction a new
// scan starts from the front (or from the step's place, when the step left
// every earlier position as it found it); the pass ends after a scan that
// finds nothing.
// Each primitive returns whether it reduced anything, and reports its steps
// through the reduction's channel.
#pragma once

#include <cstdint>
#include <string_view>

#include "evaluation/reduction.hpp"

namespace morvex::detail {

// What one step of a pass did.
enum class Step : uint8_t {
  None,     // no match here: the scan goes on
  Reduced,  // a reduction: a new scan starts from the front
  ReducedHere,  // a reduction that left the cells before its place as they were,
                // and the positions before it found nothing: the new scan starts here
  Marked,   // cells given up, the scan goes on with the next position
  EndPass,  // the pass ends here, without a new scan
};

// Runs `step(i)` over first + 1 .. last - tail (the limit fixed per scan).
template <class StepFn>
bool RunPass(Reduction& r, int32_t tail, StepFn step) {
  bool reduced = false;
  int32_t from = r.first + 1;
  for (;;) {
    const int32_t limit = std::min(r.last, r.chain.Count()) - tail;
    bool restart = false;
    for (int32_t i = from; i <= limit; ++i) {
      Step outcome = step(i);
      if (outcome == Step::Reduced || outcome == Step::ReducedHere) {
        reduced = true;
        restart = true;
        from = outcome == Step::Reduced ? r.first + 1 : i;
        break;
      }
      if (outcome == Step::EndPass) return true;
      if (outcome == Step::Marked) reduced = true;
    }
    if (!restart) return reduced;
  }
}

// Variables of the line become numbers: every variable's name is looked for
// (setting gFoundVariable when `noteFound`), a plain one is bound. `plainOnly`
// compares plain variables alone; `changeAfter` adds the Change after the step.
void BindVariables(Reduction& r, bool noteFound, bool plainOnly, bool changeAfter);
// The cell "PI" (or any case of it when `anyCase`) becomes the text of pi.
void BindPi(Reduction& r, bool anyCase);
// A unary sign in front of a number goes into the number.
bool SignPass(Reduction& r);
// The mark "E" (exactly) or the word "EXP" (any case) before a number: a power
// of ten, scaled by a number on its left.
bool ExponentPass(Reduction& r, bool word);
// n! by the reduction's factorial rule.
bool FactorialPass(Reduction& r);
// Function words with their argument; runs again while it makes steps.
bool WordPass(Reduction& r);
// Open names (letters, XVar, YVar) count as 0.
bool OpenNamesPass(Reduction& r);
// A word power w ^ n a is rewritten as ( w a ) ^ n. Returns false and gives up
// w ^ n (with error 13) when the third cell is no number: `failed` says so.
bool WordPowerPass(Reduction& r, bool& failed);
// An operator between two numbers, left to right: the power (code 5), one of
// the operators of codes 51 to 59, times and divide (4), plus and minus (3).
// The operators differ only in their row of a table: how the step is shown to
// the host, when it is given up, and what it computes.
bool BinaryPass(Reduction& r, int16_t type);
// Two numbers side by side multiply.
bool AdjacentPass(Reduction& r);

// How a group of parentheses is reduced and closed: by a driver's round of
// groups, or by the rounds of the groups that a rewritten word power made.
enum class GroupRemoval : uint8_t {
  UnlessVariableMet,  // its parentheses go, unless a variable was met in it
  WhileChainLonger,   // they go while the chain holds more than one cell
  Always,
};
struct GroupRule {
  void (*reduce)(Calculator& c, int32_t& first, int32_t& last);
  bool doneMarker = false;          // Change(0, 1) after the reduction tells the host the group is done
  bool endUnlessOneCell = false;    // a group that does not come down to one cell ends the rounds
  bool givenUpIsUnfinished = true;  // a given-up cell, which ends the rounds, is error 13
  GroupRemoval removal = GroupRemoval::UnlessVariableMet;
  bool changeOnRemoval = true;      // a Change over the place of the removed parentheses
  bool forgetsVariable = true;      // gFoundVariable goes false after the group
};
enum class GroupOutcome : uint8_t { Ended, Removed, Kept };
// Reduces the group open..close in front of the host (a Change over it first),
// then closes it by the rule: the rounds end, or its parentheses went, or they stay.
GroupOutcome ReduceGroup(Reduction& r, const GroupRule& rule, int32_t open, int32_t close);

// The groups that a rewritten word power made, in rounds: the last "(" of the
// range and the first ")" after it, reduced and closed by `group`.
struct GroupRoundRules {
  GroupRule group;
  bool searchToFirst = false;  // the search goes down to `first` itself, while the range is not empty
};
struct GroupRounds {
  bool treated = false;  // a group was reduced
  bool removed = false;  // parentheses were removed
};
GroupRounds ReduceRewrittenGroups(Reduction& r, const GroupRoundRules& rules);

// The last "(" from `from` down to `downTo`, and the first ")" from it on, over the whole chain.
bool FindGroup(const dna& chain, int32_t from, int32_t downTo, int32_t& open, int32_t& close);

}  // namespace morvex::detail
