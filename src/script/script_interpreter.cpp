#include "script/script_interpreter.hpp"

#include <cmath>

#include "script/script_builtins.hpp"

namespace morvex::script {

void Interpreter::RunTopLevel() {
  frame_ = nullptr;
  ExecBlock(program_.top);
}

Value Interpreter::CallFromHost(int32_t index, std::vector<Value> arguments) {
  const Procedure& proc = program_.procedures[static_cast<size_t>(index)];
  budget_.EnterCall();
  arguments.resize(static_cast<size_t>(proc.frame_size));
  budget_.Charge(proc.frame_size);
  Value result = Enter(proc, arguments);
  budget_.LeaveCall();
  return result;
}

// ---- statements ----

Interpreter::Flow Interpreter::ExecBlock(const Block& block) {
  budget_.CheckStack();
  for (const Stmt* s : block) {
    Flow flow = Exec(*s);
    if (flow != Flow::Normal) return flow;
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::Exec(const Stmt& s) {
  budget_.Step();
  line_ = s.line;
  switch (s.kind) {
    case StmtKind::Assign: Slot(*s.target) = Eval(*s.value); return Flow::Normal;
    case StmtKind::Call: Eval(*s.value); return Flow::Normal;
    case StmtKind::If:
      for (size_t i = 0; i < s.conditions.size(); ++i) {
        if (Condition(*s.conditions[i])) return ExecBlock(s.blocks[i]);
      }
      // An Else arm is the block after the conditions' ones.
      return s.blocks.size() > s.conditions.size() ? ExecBlock(s.blocks.back()) : Flow::Normal;
    case StmtKind::For: return ExecFor(s);
    case StmtKind::Do:
    case StmtKind::While: return ExecLoop(s);
    case StmtKind::Select: return ExecSelect(s);
    case StmtKind::Exit:
      switch (s.exit) {
        case ExitKind::For: return Flow::ExitFor;
        case ExitKind::Do: return Flow::ExitDo;
        case ExitKind::Procedure: return Flow::ExitProcedure;
      }
  }
  return Flow::Normal;
}

// Start, end and step are computed once; the body may change the counter.
Interpreter::Flow Interpreter::ExecFor(const Stmt& s) {
  double first = ToDouble(Eval(*s.value));
  double last = ToDouble(Eval(*s.limit));
  double step = s.step != nullptr ? ToDouble(Eval(*s.step)) : 1;
  Slot(*s.target) = Value::Num(first);
  while (true) {
    budget_.Step();
    double current = ToDouble(Slot(*s.target));
    if (step >= 0 ? current > last : current < last) return Flow::Normal;
    Flow flow = ExecBlock(s.blocks[0]);
    if (flow == Flow::ExitFor) return Flow::Normal;
    if (flow != Flow::Normal) return flow;
    line_ = s.line;
    double next = ToDouble(Slot(*s.target)) + step;
    if (!std::isfinite(next)) Raise(error_code::Overflow, "the counter of a For loop");
    Slot(*s.target) = Value::Num(next);
  }
}

// Do ... Loop with its test at the top, at the bottom or nowhere, and While ... Wend.
Interpreter::Flow Interpreter::ExecLoop(const Stmt& s) {
  LoopTest test = s.kind == StmtKind::While ? LoopTest::WhileTop : s.test;
  while (true) {
    budget_.Step();
    line_ = s.line;
    if (test == LoopTest::WhileTop && !Condition(*s.value)) return Flow::Normal;
    if (test == LoopTest::UntilTop && Condition(*s.value)) return Flow::Normal;
    Flow flow = ExecBlock(s.blocks[0]);
    if (flow == Flow::ExitDo && s.kind == StmtKind::Do) return Flow::Normal;
    if (flow != Flow::Normal) return flow;
    line_ = s.line;
    if (test == LoopTest::WhileBottom && !Condition(*s.value)) return Flow::Normal;
    if (test == LoopTest::UntilBottom && Condition(*s.value)) return Flow::Normal;
  }
}

bool Interpreter::CaseMatches(const CaseItem& item, const Value& subject, bool subject_literal) {
  Value first = Eval(*item.first);
  auto holds = [&](BinaryOp op, const Value& other, bool other_literal) {
    return ApplyBinary(op, subject, other, subject_literal, other_literal, budget_).boolean();
  };
  switch (item.kind) {
    case CaseItem::Kind::Equal: return holds(BinaryOp::Equal, first, item.first->is_literal());
    case CaseItem::Kind::Is: return holds(item.op, first, item.first->is_literal());
    case CaseItem::Kind::Range: break;
  }
  Value last = Eval(*item.last);
  return holds(BinaryOp::GreaterEqual, first, item.first->is_literal()) &&
         holds(BinaryOp::LessEqual, last, item.last->is_literal());
}

Interpreter::Flow Interpreter::ExecSelect(const Stmt& s) {
  Value subject = Eval(*s.value);
  for (const CaseClause& clause : s.cases) {
    bool match = clause.items.empty();  // Case Else
    for (const CaseItem& item : clause.items) {
      line_ = s.line;
      if ((match = CaseMatches(item, subject, s.value->is_literal()))) break;
    }
    if (match) return ExecBlock(clause.body);
  }
  return Flow::Normal;
}

// ---- expressions ----

Value& Interpreter::Slot(const Expr& e) {
  if (e.kind == ExprKind::Global) return globals_[static_cast<size_t>(e.index)];
  return (*frame_)[static_cast<size_t>(e.index)].Target();
}

Value Interpreter::Eval(const Expr& e) {
  budget_.Step();
  switch (e.kind) {
    case ExprKind::Literal: return e.literal;
    case ExprKind::Global:
    case ExprKind::Local: return Slot(e);
    case ExprKind::CallProc: return CallProcedure(e);
    case ExprKind::CallBuiltin: return CallBuiltin(e);
    default: return EvalOperator(e);
  }
}

Value Interpreter::EvalOperator(const Expr& e) {
  budget_.CheckStack();
  Value left = Eval(*e.args[0]);
  switch (e.kind) {
    case ExprKind::Negate: return Negate(left);
    case ExprKind::Not: return LogicalNot(left);
    case ExprKind::Binary: break;
    default: Raise(error_code::SyntaxError, "unbound name '" + e.name + "'");
  }
  Value right = Eval(*e.args[1]);
  return ApplyBinary(e.op, left, right, e.args[0]->is_literal(), e.args[1]->is_literal(), budget_);
}

Value Interpreter::CallBuiltin(const Expr& e) {
  budget_.CheckStack();
  constexpr size_t kMostArguments = 4;  // no built-in takes more
  Value args[kMostArguments];
  size_t count = std::min(e.args.size(), kMostArguments);
  for (size_t i = 0; i < count; ++i) args[i] = Eval(*e.args[i]);
  return BuiltinAt(e.index).function(args, count, budget_);
}

Value Interpreter::CallProcedure(const Expr& e) {
  const Procedure& proc = program_.procedures[static_cast<size_t>(e.index)];
  budget_.EnterCall();
  budget_.Charge(proc.frame_size);
  std::vector<Value> frame(static_cast<size_t>(proc.frame_size));
  for (size_t i = 0; i < proc.params.size(); ++i) {
    const Expr& arg = *e.args[i];
    // A plain variable passed to a ByRef parameter is shared with the callee;
    // anything else, or a variable in parentheses, is a copy.
    bool shared = proc.params[i].by_ref && !arg.paren && (arg.kind == ExprKind::Global || arg.kind == ExprKind::Local);
    frame[i] = shared ? Value::Ref(&Slot(arg)) : Eval(arg);
  }
  std::vector<Value>* caller_frame = frame_;
  int32_t caller_line = line_;
  Value result = Enter(proc, frame);
  frame_ = caller_frame;
  line_ = caller_line;
  budget_.LeaveCall();
  return result;
}

Value Interpreter::Enter(const Procedure& proc, std::vector<Value>& frame) {
  frame_ = &frame;
  line_ = proc.line;
  ExecBlock(proc.body);
  return std::move(frame[static_cast<size_t>(proc.result_slot)]);
}

}  // namespace morvex::script
