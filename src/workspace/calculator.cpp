#include "workspace/calculator.hpp"

#include "core/errors.hpp"
#include "core/text_case.hpp"

namespace morvex::detail {

bool Calculator::VariableExists(std::string_view name) const { return VariableIndex(name) != 0; }

dna& Calculator::StoredChain(int32_t index) {
  if (index < 1 || index >= static_cast<int32_t>(VariableChains.size()) ||
      !VariableChains[static_cast<size_t>(index)].has_value()) {
    Fail(failure_code::ObjectNotSet, "the variable at position " + std::to_string(index) + " has no stored chain");
  }
  return *VariableChains[static_cast<size_t>(index)];
}

uint32_t Calculator::HandledEvents() const {
  uint32_t bits = 0;
  if (Events.Change) bits |= kChange;
  if (Events.Change2) bits |= kChange2;
  if (Events.Wait) bits |= kWait;
  if (Events.Progress) bits |= kProgress;
  if (Events.InternalCalc) bits |= kInternalCalc;
  if (Events.GetFunctions) bits |= kGetFunctions;
  if (Events.InputBox) bits |= kInputBox;
  if (Events.VBSProgress) bits |= kVBSProgress;
  if (Events.HostTurn) bits |= kHostTurn;
  return bits;
}

void Calculator::ClearOutputs() {
  InString.clear();
  OutString.clear();
  ErrDescription.clear();
  StringTyping.clear();
  StringVariable.clear();
  Expression.clear();
  ErrNumber = 0;
  ErrFirst = 0;
  ErrLength = 0;
  ErrFormula.clear();
}

void Calculator::ResizeVariableChains() { VariableChains.resize(static_cast<size_t>(Variables.Count()) + 1); }

void Calculator::SetUpVariableTable() {
  Variables = VariableString();
  for (const char* name : {"Ans", "XVar", "YVar"}) {
    Variables.Add(name, name).TypeVar = var_type::Plain;
  }
  ResizeVariableChains();
  VariableChains[var_index::YVar] = MakeValueChain("");
}

dna MakeValueChain(std::string_view valueText) {
  using namespace flag;
  dna chain;
  Cell& cell = chain.Add(BNumber | BFirst | BOper | BPower | BLast | BEnd | BFunction | BPlus | BAns | BChar, "0");
  cell.Value(valueText);
  return chain;
}

}  // namespace morvex::detail
