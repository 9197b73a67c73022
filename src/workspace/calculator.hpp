// The calculator behind clsMorvex: its chains, its variable table and the
// fields behind the public properties. The subsystems work on it through free
// functions (ScanAndDetect, EvaluateChain, RunChain, ...).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "chain/dna.hpp"
#include "core/name_finder.hpp"
#include "core/variable_table.hpp"
#include "morvex/morvex.hpp"
#include "workspace/definition_records.hpp"

namespace morvex::detail {

class Calculator {
 public:
  Calculator() = default;

  dna WorkingChain;  // the cells of the current line
  dna SecondChain;   // the cells of a sub-expression
  // Storage for the copy of the working chain that the silent run works on:
  // kept between lines so that the copy allocates nothing once warm.
  dna SpareChain;
  VariableString Variables;
  // Which of the table's names occur in a line. Each calculator keeps its own,
  // so that lines of calculators taking turns (nested ones included) extend it
  // rather than build it again for the other's table.
  NameFinder Names;
  // Slot i holds the stored chain of variable i; slot 0 is unused and a slot
  // that was never given a chain (XVar's) holds none.
  std::vector<std::optional<dna>> VariableChains;
  std::string ResultText;
  std::string EchoText;

  std::string OutString;
  std::string InString;
  int16_t ErrFirst = 0;
  int16_t ErrLength = 0;
  int16_t ErrNumber = 0;
  std::string ErrDescription;
  std::string StringTyping;
  std::string StringVariable;
  std::string DNAStringField;
  std::string DNAString2Field;
  std::string Expression;
  // Name of the formula word whose stored text holds the error ("" when the
  // error lies in the line), and the last script failure of the line.
  std::string ErrFormula;
  std::string ScriptFailure;

  EventHandlers Events;
  // The events raised so far, a bit for each kind (handler or not), so that
  // the recalculation knows what a definition's computation showed the host.
  // UpdateVariables is the recalculation's own and has no bit.
  enum EventBit : uint32_t {
    kChange = 1,
    kChange2 = 2,
    kWait = 4,
    kProgress = 8,
    kInternalCalc = 16,
    kGetFunctions = 32,
    kInputBox = 64,
    kVBSProgress = 128,
    kHostTurn = 256,
  };
  mutable uint32_t RaisedEvents = 0;
  // The bits of the events that have a handler now.
  uint32_t HandledEvents() const;
  DefinitionRecords Definitions;
  std::string ProgramFolder;
  bool Initialized = false;
  int32_t NestingDepth = 0;  // calculators and files nested inside this one's work

  // Event raising; a missing handler is no call.
  void RaiseChange(int16_t length, int16_t firstChar) const {
    RaisedEvents |= kChange;
    if (Events.Change) Events.Change(length, firstChar);
  }
  void RaiseChange2(int16_t length, int16_t firstChar) const {
    RaisedEvents |= kChange2;
    if (Events.Change2) Events.Change2(length, firstChar);
  }
  void RaiseWait() const {
    RaisedEvents |= kWait;
    if (Events.Wait) Events.Wait();
  }
  // Gives the host's event loop a turn.
  void RaiseHostTurn() const {
    RaisedEvents |= kHostTurn;
    if (Events.HostTurn) Events.HostTurn();
  }
  void RaiseProgress(double percent) const {
    RaisedEvents |= kProgress;
    if (Events.Progress) Events.Progress(percent);
  }
  void RaiseInternalCalc(double percent) const {
    RaisedEvents |= kInternalCalc;
    if (Events.InternalCalc) Events.InternalCalc(percent);
  }
  void RaiseUpdateVariables(double percent) const {
    if (Events.UpdateVariables) Events.UpdateVariables(percent);
  }
  void RaiseVBSProgress(double percent) const {
    RaisedEvents |= kVBSProgress;
    if (Events.VBSProgress) Events.VBSProgress(percent);
  }
  void RaiseGetFunctions(const std::string& name, const std::string& expression) const {
    RaisedEvents |= kGetFunctions;
    if (Events.GetFunctions) Events.GetFunctions(name, expression);
  }
  // Returns the host's answer; without a handler the word stays.
  void RaiseInputBox(std::string& num) const {
    RaisedEvents |= kInputBox;
    if (Events.InputBox) Events.InputBox(num);
  }

  // Empties the outputs of a line: the public properties apart from the
  // DNAString fields.
  void ClearOutputs();

  // Variable table helpers.
  bool VariableExists(std::string_view name) const;
  // Position of the variable (case-blind), 0 when there is none.
  // Every record of the table is stored under its own name, so the hashed key
  // look-up finds the variable whose Key equals the name in any case.
  int32_t VariableIndex(std::string_view name) const { return Variables.IndexOfKey(name); }
  // The stored chain of variable `index`; failure 91 when the slot is missing.
  dna& StoredChain(int32_t index);
  void ResizeVariableChains();
  // Sets up Ans, XVar, YVar and their chains.
  void SetUpVariableTable();
  Class1& Ans() { return Variables.Item(var_index::Ans); }
  Class1& XVar() { return Variables.Item(var_index::XVar); }
  Class1& YVar() { return Variables.Item(var_index::YVar); }
};

// The line dispatcher, as the files and the script path call it back for each
// line they run: the top layer hands it down, so that nothing below it
// depends on the dispatcher.
using LineCalculation = std::string (*)(Calculator& c, std::string& line);

// The one-cell chain of a value, as the table keeps for a prompted variable.
dna MakeValueChain(std::string_view valueText);

}  // namespace morvex::detail
