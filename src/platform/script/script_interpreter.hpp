// Runs a resolved program: its top-level statements, and calls of its
// procedures from the host. Walks the tree; names are already slots.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/script/script_ast.hpp"
#include "platform/script/script_budget.hpp"
#include "platform/script/script_frames.hpp"
#include "platform/script/script_value.hpp"

namespace morvex::script {

class Interpreter {
 public:
  // `globals` must have program.global_count slots and stay in place while
  // the interpreter runs. The budget must have been started by the caller.
  Interpreter(const Program& program, std::vector<Value>& globals, SlotStack& slots, Budget& budget)
      : program_(program), globals_(globals), slots_(slots), budget_(budget) {}

  // Fresh top-level variables: Empty, and the arrays declared with Dim.
  void ResetGlobals();
  void RunTopLevel();
  // Calls procedure `index` with the host's values; a by-reference parameter
  // refers to its element of `arguments`, which must have one per parameter.
  Value CallFromHost(int32_t index, std::vector<Value>& arguments);

  // Where the run was when it stopped: after an error, the line and the
  // procedure (null at the top level) of the statement that failed.
  int32_t line() const { return line_; }
  const Procedure* procedure() const { return procedure_; }

 private:
  enum class Flow : uint8_t { Normal, ExitFor, ExitDo, ExitProcedure };

  Flow ExecBlock(const Block& block);
  Flow Exec(const Stmt& s);
  [[gnu::noinline]] Flow ExecFor(const Stmt& s);
  [[gnu::noinline]] Flow ExecForEach(const Stmt& s);
  [[gnu::noinline]] Flow ExecDo(const Stmt& s);
  [[gnu::noinline]] Flow ExecWhile(const Stmt& s);
  [[gnu::noinline]] Flow ExecSelect(const Stmt& s);
  [[gnu::noinline]] void ExecReDim(const Stmt& s);
  [[gnu::noinline]] void ExecErase(const Stmt& s);

  Value Eval(const Expr& e);
  // The parts of Eval and Exec kept out of line, so that the frames of the
  // recursion through Eval, Exec and calls stay small.
  [[gnu::noinline]] Value EvalBinary(const Expr& e);
  [[gnu::noinline]] Value EvalUnary(const Expr& e);
  [[gnu::noinline]] void AssignElement(const Expr& target, Value value);
  bool ForFastStep(Value& counter, const Value& step);
  bool Condition(const Expr& e);
  [[gnu::noinline]] Value CallBuiltin(const Expr& e);
  Value CallProcedure(const Expr& e);
  Value Enter(const Procedure& proc, Value* frame);

  // The slot of a plain variable (Global, Local, or the base of an Index).
  Value& Slot(const Expr& e);
  void Assign(const Expr& target, Value value);
  [[gnu::noinline]] Value ReadElement(const Expr& e);
  // Evaluates the indexes of `e` and finds the element in `array`.
  size_t ElementOffset(const ArrayData& array, const std::vector<int32_t>& indexes, const Expr& e) const;
  void EvalIndexes(const Expr& e, std::vector<int32_t>& indexes);
  ArrayData& Writable(Value& slot);
  void Store(Value& slot, Value value);
  Value Unfixed(Value value);
  void NewArray(Value& slot, const std::vector<int32_t>& extents, bool fixed);

  const Program& program_;
  std::vector<Value>& globals_;
  SlotStack& slots_;
  Budget& budget_;
  Value* frame_ = nullptr;
  const Procedure* procedure_ = nullptr;
  int32_t line_ = 0;
};

}  // namespace morvex::script
