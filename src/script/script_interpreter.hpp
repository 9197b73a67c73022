// Runs a compiled program: its top-level statements, and calls of its
// procedures from the host. Walks the tree; names are already slots.
#pragma once

#include <cstdint>
#include <vector>

#include "script/script_program.hpp"

namespace morvex::script {

class Interpreter {
 public:
  // `globals` must have program.global_count slots and stay in place while the
  // interpreter runs. The budget must have been started by the caller.
  Interpreter(const Program& program, std::vector<Value>& globals, Budget& budget)
      : program_(program), globals_(globals), budget_(budget) {}

  void RunTopLevel();
  // Calls procedure `index` with the host's values, one per parameter.
  Value CallFromHost(int32_t index, std::vector<Value> arguments);

  // The line of the statement that was running when the run stopped.
  int32_t line() const { return line_; }

 private:
  enum class Flow : uint8_t { Normal, ExitFor, ExitDo, ExitProcedure };

  Flow ExecBlock(const Block& block);
  Flow Exec(const Stmt& s);
  // Kept out of line, so that the frames of the recursion through Eval, Exec
  // and calls stay small.
  [[gnu::noinline]] Flow ExecFor(const Stmt& s);
  [[gnu::noinline]] Flow ExecLoop(const Stmt& s);
  [[gnu::noinline]] Flow ExecSelect(const Stmt& s);
  [[gnu::noinline]] bool CaseMatches(const CaseItem& item, const Value& subject, bool subject_literal);
  bool Condition(const Expr& e) { return ToBool(Eval(e)); }

  Value Eval(const Expr& e);
  [[gnu::noinline]] Value EvalOperator(const Expr& e);
  [[gnu::noinline]] Value CallBuiltin(const Expr& e);
  [[gnu::noinline]] Value CallProcedure(const Expr& e);
  Value Enter(const Procedure& proc, std::vector<Value>& frame);
  Value& Slot(const Expr& e);

  const Program& program_;
  std::vector<Value>& globals_;
  Budget& budget_;
  std::vector<Value>* frame_ = nullptr;
  int32_t line_ = 0;
};

}  // namespace morvex::script
