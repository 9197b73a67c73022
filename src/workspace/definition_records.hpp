// What the recalculation after a plain assignment knows of each definition's
// last computation: the variables it read (with the values and kinds they
// had), the state of the scanner it left, and the letters in which a new
// variable's name could be found. A definition whose inputs are all as they
// were gives what it gave before, so the recalculation may pass it over.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/successor_flags.hpp"

namespace morvex::detail {

// The shared scanner state that one line leaves to the next.
struct CarriedScanState {
  SuccessorTemplate next;
  int16_t charClass = 0;
  int16_t parenDepth = 0;
  int16_t parenDepth2 = 0;
  bool foundVariable = false;
  bool powerRewritten = false;
};

// A variable that a definition read, as it was then.
struct DefinitionInput {
  int32_t position;
  uint64_t valueBits;
  int16_t typeVar;
  bool operator==(const DefinitionInput&) const = default;
};

struct DefinitionRecord {
  bool known = false;      // a computation has been recorded
  bool alwaysRun = false;  // asked the host, used a formula word, named a file, failed, or read letters of a file name
  std::vector<DefinitionInput> inputs;
  std::vector<std::string> nameKeys;  // upper-cased pieces of its letters, where a new name could be found
  bool longLetters = false;           // letters too long to index: every new name is tested against `text`
  std::string text;                   // upper-cased definition, for that test
  CarriedScanState after;
};

// Per calculator. The records follow one lineage of the variable table: any
// change of it other than an append (a removal, a respelling, a new table)
// makes the next recalculation a full one, which records everything anew.
struct DefinitionRecords {
  bool alwaysFull = false;  // compute every definition every time (for comparison)
  uint64_t lineage = 0;
  int32_t count = 0;  // table records at the last recalculation
  std::string angle;  // the angle unit of the last recalculation
  std::vector<DefinitionRecord> records;                          // by table position
  std::unordered_map<int32_t, std::vector<int32_t>> readers;      // position -> definitions that read it
  std::unordered_map<std::string, std::vector<int32_t>> nameKeys;  // piece of letters -> definitions
  std::vector<int32_t> longLetters;                               // definitions with long letters
  std::vector<int32_t> alwaysRun;
  std::vector<int32_t> changed;  // definitions stored since the last recalculation
  std::vector<int32_t> pending;  // definitions to look at in the next recalculation

  bool running = false;  // a recalculation is under way (a line file may start another)
  bool invalid = false;  // the records are not to be trusted: the next recalculation is full

  // Filled by the scan while `listening`: the variables the line names, as
  // they were before it computed anything, and whether it depends on the
  // program's folder too.
  bool listening = false;
  std::vector<DefinitionInput> heard;
  bool heardFileOrLetters = false;
};

}  // namespace morvex::detail
