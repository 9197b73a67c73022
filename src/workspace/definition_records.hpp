// What the recalculation after a plain assignment remembers of each plain
// definition's last computation: what the computation read (the variables it
// names, the shared state the line before left), and everything it left
// behind. A definition whose reads are all as they were would give what it
// gave before, so the recalculation may pass it over and put back what it
// left instead of computing it again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/errors.hpp"
#include "core/successor_flags.hpp"

namespace morvex::detail {

// The shared state that one definition's computation leaves to the next and
// that the next one reads before it writes it.
struct CarriedState {
  Flags nextFlags = 0;
  int16_t nextDepth = 0;
  int16_t charClass = 0;
  int16_t parenDepth2 = 0;
  bool foundVariable = false;
  bool powerRewritten = false;
  bool resultEmpty = true;  // ResultText was empty
  uint64_t xBits = 0;       // the values and kinds of XVar and YVar
  uint64_t yBits = 0;
  int16_t xType = 0;
  int16_t yType = 0;
  std::string formulaFileName;
  bool operator==(const CarriedState&) const = default;
};

// Everything else a computation leaves, which the next computation either
// overwrites before reading or which a host sees.
struct LeftState {
  CarriedState carried;
  int16_t parenDepth = 0;
  int32_t errCode = 0;
  CErrOcur err;
  Report report;
  std::string endText;
  std::string echoText;
  std::string stringVariable;
  uint64_t ansBits = 0;
  int16_t ansType = 0;
};

// A variable that a definition read, as it was then.
struct DefinitionInput {
  int32_t position = 0;
  uint64_t valueBits = 0;
  int16_t typeVar = 0;
};

struct DefinitionRecord {
  bool valid = false;      // a computation is recorded and nothing has replaced the definition since
  bool known = false;      // a computation was recorded (its inputs and letters are indexed)
  bool passable = false;   // the computation can be put back without being made
  uint32_t events = 0;     // the events it raised (bits of Calculator::RaisedEvents)
  std::vector<DefinitionInput> inputs;
  std::string spelled;     // the expression upper-cased, where a new name could be found
  bool readsAngle = false; // it holds a word whose answer depends on the angle unit
  std::string angle;       // the angle unit it was computed in
  CarriedState before;
  LeftState after;
  std::string appended;    // what it appended to ResultText
  uint64_t valueBits = 0;  // the variable's value afterwards
};

// Per calculator. The records follow one lineage of the variable table: any
// change of it other than an append (a removal, a respelling, a new table)
// makes the next recalculation compute every definition and record it anew.
struct DefinitionRecords {
  bool running = false;    // a recalculation of this calculator is under way
  int32_t computing = 0;   // the definition it computes at the moment
  bool disturbed = false;  // a line file changed definitions while it ran
  bool trusted = false;  // the records describe the table as it stands
  uint64_t lineage = 0;
  int32_t count = 0;     // table records the last recalculation saw
  std::vector<DefinitionRecord> records;                // by table position
  // By table position, apart from the records for a quick walk: what passing
  // the definition over appends to ResultText; "" when it is to be looked at.
  std::vector<std::string> passText;
  // The texts joined in table order, where each position's text starts in
  // the join, and the last position at or before each that has a text: a run
  // of passed-over definitions appends one piece. Positions from
  // `joinedFrom` on changed since the join was made.
  std::string joined;
  std::vector<size_t> joinedAt;
  std::vector<int32_t> lastText;
  int32_t joinedFrom = 0;
  std::vector<std::vector<int32_t>> readers;            // position -> definitions that read it
  std::unordered_map<uint32_t, std::vector<int32_t>> grams;  // one to three letters -> definitions holding them
  std::vector<int32_t> toExamine;  // definitions to look at in the next recalculation
  std::vector<int32_t> angleReaders;  // definitions whose answer depends on the angle unit
  std::string angle;                  // the angle unit of the last recalculation
  uint64_t computed = 0;           // definitions computed by recalculations so far

  // Filled by the scan of the definition being computed: the spelling of its
  // expression, the variables its cells name (as they were before the run),
  // and whether the scan looked at the program's folder.
  bool listening = false;
  std::string heardSpelling;
  std::vector<DefinitionInput> heardInputs;
  bool heardFolder = false;
};

}  // namespace morvex::detail
