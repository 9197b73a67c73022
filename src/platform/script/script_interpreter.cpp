#include "platform/script/script_interpreter.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/script/script_builtins.hpp"
#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"
#include "platform/script/script_limits.hpp"
#include "platform/script/script_operators.hpp"

namespace morvex::script {
namespace {

[[noreturn, gnu::noinline, gnu::cold]] void Undefined(const Expr& e) {
  Raise(error_code::VariableUndefined, "'" + e.name + "'");
}

[[noreturn, gnu::noinline, gnu::cold]] void NotAnArray(const Expr& e) {
  Raise(error_code::TypeMismatch, "'" + e.name + "' is not an array");
}

[[noreturn, gnu::noinline, gnu::cold]] void Unresolved(const Expr& e) {
  Raise(error_code::SyntaxError, "unresolved name '" + e.name + "'");
}

[[noreturn, gnu::noinline, gnu::cold]] void FixedArray() {
  Raise(error_code::ArrayFixed, "an array declared with fixed bounds cannot be replaced");
}

size_t ElementCount(const std::vector<int32_t>& extents) {
  size_t total = 1;
  for (int32_t extent : extents) {
    total *= static_cast<size_t>(extent);
    if (total > limits::kMaxArrayElements) {
      Raise(error_code::OutOfMemory, "an array of more than " + std::to_string(limits::kMaxArrayElements) +
                                         " elements");
    }
  }
  return total;
}

}  // namespace

// ---- entry points ----

void Interpreter::ResetGlobals() {
  globals_.assign(static_cast<size_t>(program_.global_count), Value());
  for (const ArrayInit& init : program_.global_arrays) {
    NewArray(globals_[static_cast<size_t>(init.slot)], init.extents, !init.extents.empty());
  }
}

void Interpreter::RunTopLevel() {
  frame_ = nullptr;
  procedure_ = nullptr;
  ExecBlock(program_.top);
}

Value Interpreter::CallFromHost(int32_t index, std::vector<Value>& arguments) {
  const Procedure& proc = program_.procedures[static_cast<size_t>(index)];
  budget_.EnterCall();
  FrameGuard frame(slots_, static_cast<size_t>(proc.frame_size));
  budget_.Charge(proc.frame_size);
  for (size_t i = 0; i < proc.params.size(); ++i) {
    frame.slots()[i] = proc.params[i].by_ref ? Value::Ref(&arguments[i]) : arguments[i];
  }
  Value result = Enter(proc, frame.slots());
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
    case StmtKind::Assign: Assign(*s.target, Eval(*s.value)); return Flow::Normal;
    case StmtKind::Call: Eval(*s.value); return Flow::Normal;
    case StmtKind::If:
      for (size_t i = 0; i < s.conditions.size(); ++i) {
        if (Condition(*s.conditions[i])) return ExecBlock(s.blocks[i]);
      }
      return s.has_else ? ExecBlock(s.blocks.back()) : Flow::Normal;
    case StmtKind::For: return ExecFor(s);
    case StmtKind::ForEach: return ExecForEach(s);
    case StmtKind::Do: return ExecDo(s);
    case StmtKind::While: return ExecWhile(s);
    case StmtKind::Select: return ExecSelect(s);
    case StmtKind::Exit:
      switch (s.exit) {
        case ExitKind::For: return Flow::ExitFor;
        case ExitKind::Do: return Flow::ExitDo;
        default: return Flow::ExitProcedure;
      }
    case StmtKind::ReDim: ExecReDim(s); return Flow::Normal;
    case StmtKind::Erase: ExecErase(s); return Flow::Normal;
  }
  return Flow::Normal;
}

bool Interpreter::Condition(const Expr& e) {
  Value v = Eval(e);
  // A Null condition is not met.
  return !v.is_null() && ToBool(v);
}

Interpreter::Flow Interpreter::ExecFor(const Stmt& s) {
  Value start = Eval(*s.value);
  double last = ToDouble(Eval(*s.limit));
  Value step = s.step != nullptr ? Eval(*s.step) : Value::Int(1);
  double step_value = ToDouble(step);
  if (start.is_string()) start = Value::Dbl(ToDouble(start));
  if (step.is_string()) step = Value::Dbl(step_value);
  ToDouble(start);  // Null or an array fails here
  Store(Slot(*s.target), std::move(start));
  while (true) {
    budget_.Step();
    double current = ToDouble(Slot(*s.target));
    if (step_value >= 0 ? current > last : current < last) return Flow::Normal;
    Flow flow = ExecBlock(s.blocks[0]);
    if (flow == Flow::ExitFor) return Flow::Normal;
    if (flow != Flow::Normal) return flow;
    line_ = s.line;
    Value& slot = Slot(*s.target);
    if (!ForFastStep(slot, step)) Store(slot, ApplyBinary(BinaryOp::Add, slot, step, false, false, budget_));
  }
}

// The usual step of a For loop, a Double or a whole number that stays in its
// type, without the general addition.
bool Interpreter::ForFastStep(Value& counter, const Value& step) {
  if (counter.type() == VType::Double && step.type() == VType::Double) {
    double next = counter.dbl() + step.dbl();
    if (!std::isfinite(next)) return false;
    counter = Value::Dbl(next);
    return true;
  }
  if (counter.type() == VType::Integer && step.type() == VType::Integer) {
    int32_t next = counter.integer() + step.integer();
    if (next < INT16_MIN || next > INT16_MAX) return false;
    counter = Value::Int(static_cast<int16_t>(next));
    return true;
  }
  return false;
}

Interpreter::Flow Interpreter::ExecForEach(const Stmt& s) {
  Value collection = Eval(*s.value);
  if (!collection.is_array()) Raise(error_code::NotACollection, "For Each needs an array");
  // The loop runs over the array as it was when it started.
  ArrayRef array = collection.array();
  for (const Value& item : array->items) {
    budget_.Step();
    Store(Slot(*s.target), item);
    Flow flow = ExecBlock(s.blocks[0]);
    if (flow == Flow::ExitFor) return Flow::Normal;
    if (flow != Flow::Normal) return flow;
    line_ = s.line;
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::ExecDo(const Stmt& s) {
  while (true) {
    budget_.Step();
    if (s.test == LoopTest::WhileTop && !Condition(*s.value)) return Flow::Normal;
    if (s.test == LoopTest::UntilTop && Condition(*s.value)) return Flow::Normal;
    Flow flow = ExecBlock(s.blocks[0]);
    if (flow == Flow::ExitDo) return Flow::Normal;
    if (flow != Flow::Normal) return flow;
    line_ = s.line;
    if (s.test == LoopTest::WhileBottom && !Condition(*s.value)) return Flow::Normal;
    if (s.test == LoopTest::UntilBottom && Condition(*s.value)) return Flow::Normal;
  }
}

Interpreter::Flow Interpreter::ExecWhile(const Stmt& s) {
  while (true) {
    budget_.Step();
    line_ = s.line;
    if (!Condition(*s.value)) return Flow::Normal;
    Flow flow = ExecBlock(s.blocks[0]);
    if (flow != Flow::Normal) return flow;
  }
}

Interpreter::Flow Interpreter::ExecSelect(const Stmt& s) {
  Value subject = Eval(*s.value);
  bool subject_literal = s.value->is_literal();
  for (const CaseClause& clause : s.cases) {
    bool match = clause.is_else;
    for (const CaseItem& item : clause.items) {
      line_ = s.line;
      Value first = Eval(*item.first);
      bool first_literal = item.first->is_literal();
      switch (item.kind) {
        case CaseItem::Kind::Equal:
          match = Compare(subject, first, subject_literal, first_literal, budget_) == Ordering::Equal;
          break;
        case CaseItem::Kind::Range: {
          Value last = Eval(*item.last);
          Ordering low = Compare(subject, first, subject_literal, first_literal, budget_);
          Ordering high = Compare(subject, last, subject_literal, item.last->is_literal(), budget_);
          match = (low == Ordering::Equal || low == Ordering::Greater) &&
                  (high == Ordering::Equal || high == Ordering::Less);
          break;
        }
        case CaseItem::Kind::Is: {
          Value result = ApplyBinary(item.op, subject, first, subject_literal, first_literal, budget_);
          match = !result.is_null() && result.boolean();
          break;
        }
      }
      if (match) break;
    }
    if (match) return ExecBlock(clause.body);
  }
  return Flow::Normal;
}

void Interpreter::ExecReDim(const Stmt& s) {
  for (const ReDimItem& item : s.redims) {
    std::vector<int32_t> extents;
    for (const Expr* bound : item.bounds) {
      int32_t last = ToLong(Eval(*bound));
      if (last < -1) Raise(error_code::SubscriptOutOfRange, "the bound " + std::to_string(last));
      if (last >= static_cast<int32_t>(limits::kMaxArrayElements)) {
        Raise(error_code::OutOfMemory, "an array of more than " + std::to_string(limits::kMaxArrayElements) +
                                           " elements");
      }
      extents.push_back(last + 1);
    }
    if (static_cast<int32_t>(extents.size()) > limits::kMaxArrayDimensions) {
      Raise(error_code::SubscriptOutOfRange, "too many dimensions");
    }
    size_t total = ElementCount(extents);
    Value& slot = Slot(*item.target);
    if (slot.is_array() && slot.array()->fixed) Raise(error_code::ArrayFixed, "'" + item.target->name + "'");
    budget_.Charge(static_cast<int64_t>(total) + 1);
    auto array = std::make_shared<ArrayData>();
    if (s.preserve && slot.is_array() && slot.array()->allocated()) {
      const ArrayData& old = *slot.array();
      if (old.extents.size() != extents.size() ||
          !std::equal(extents.begin(), extents.end() - 1, old.extents.begin())) {
        Raise(error_code::SubscriptOutOfRange, "ReDim Preserve can change only the last dimension");
      }
      budget_.Charge(static_cast<int64_t>(old.items.size()));
      array->items.reserve(total);
      array->items.assign(old.items.begin(), old.items.begin() + static_cast<std::ptrdiff_t>(
                                                                   std::min(total, old.items.size())));
      array->nesting = old.nesting;
    }
    array->items.resize(total);
    array->extents = std::move(extents);
    slot = Value::Arr(std::move(array));
  }
}

void Interpreter::ExecErase(const Stmt& s) {
  for (const Expr* e : s.erased) {
    Value& slot = Slot(*e);
    if (!slot.is_array()) Raise(error_code::TypeMismatch, "Erase needs an array");
    if (slot.array()->fixed) {
      ArrayData& array = Writable(slot);
      budget_.Charge(static_cast<int64_t>(array.items.size()));
      std::fill(array.items.begin(), array.items.end(), Value());
      array.nesting = 1;
    } else {
      slot = Value::Arr(std::make_shared<ArrayData>());
    }
  }
}

// ---- variables and arrays ----

Value& Interpreter::Slot(const Expr& e) {
  switch (e.kind) {
    case ExprKind::Global:
    case ExprKind::IndexGlobal: return globals_[static_cast<size_t>(e.index)];
    case ExprKind::Local:
    case ExprKind::IndexLocal: return frame_[e.index].Target();
    case ExprKind::Undefined: Undefined(e);
    default: break;
  }
  Raise(error_code::IllegalAssignment, "not a variable");
}

void Interpreter::NewArray(Value& slot, const std::vector<int32_t>& extents, bool fixed) {
  auto array = std::make_shared<ArrayData>();
  array->extents = extents;
  array->fixed = fixed;
  if (!extents.empty()) {
    size_t total = ElementCount(extents);
    budget_.Charge(static_cast<int64_t>(total));
    array->items.resize(total);
  }
  slot = Value::Arr(std::move(array));
}

Value Interpreter::Unfixed(Value value) {
  // A copy of an array declared with fixed bounds is an ordinary array.
  if (value.is_array() && value.array()->fixed) {
    budget_.Charge(static_cast<int64_t>(value.array()->items.size()));
    auto copy = std::make_shared<ArrayData>(*value.array());
    copy->fixed = false;
    return Value::Arr(std::move(copy));
  }
  return value;
}

void Interpreter::Store(Value& slot, Value value) {
  Value& target = slot.Target();
  if (target.is_array() && target.array()->fixed) FixedArray();
  if (value.is_array()) value = Unfixed(std::move(value));
  target = std::move(value);
}

ArrayData& Interpreter::Writable(Value& slot) {
  ArrayRef& array = slot.array();
  if (array.use_count() > 1) {
    // Shared with another variable: copy before changing.
    budget_.Charge(static_cast<int64_t>(array->items.size()));
    array = std::make_shared<ArrayData>(*array);
  }
  return *array;
}

void Interpreter::EvalIndexes(const Expr& e, std::vector<int32_t>& indexes) {
  indexes.clear();
  for (const Expr* arg : e.args) indexes.push_back(ToLong(Eval(*arg)));
}

size_t Interpreter::ElementOffset(const ArrayData& array, const std::vector<int32_t>& indexes, const Expr& e) const {
  if (!array.allocated()) Raise(error_code::SubscriptOutOfRange, "'" + e.name + "' has no elements yet");
  if (indexes.size() != array.extents.size()) {
    Raise(error_code::SubscriptOutOfRange, "'" + e.name + "' has " + std::to_string(array.extents.size()) +
                                               " dimension(s), not " + std::to_string(indexes.size()));
  }
  size_t offset = 0;
  size_t stride = 1;
  for (size_t d = 0; d < indexes.size(); ++d) {
    if (indexes[d] < 0 || indexes[d] >= array.extents[d]) {
      Raise(error_code::SubscriptOutOfRange, "'" + e.name + "(" + std::to_string(indexes[d]) + ")'");
    }
    offset += static_cast<size_t>(indexes[d]) * stride;
    stride *= static_cast<size_t>(array.extents[d]);
  }
  return offset;
}

Value Interpreter::ReadElement(const Expr& e) {
  std::vector<int32_t> indexes;
  EvalIndexes(e, indexes);
  const Value& slot = Slot(e);
  if (!slot.is_array()) NotAnArray(e);
  const ArrayData& array = *slot.array();
  return array.items[ElementOffset(array, indexes, e)];
}

void Interpreter::Assign(const Expr& target, Value value) {
  if (target.kind != ExprKind::IndexGlobal && target.kind != ExprKind::IndexLocal) {
    Store(Slot(target), std::move(value));
    return;
  }
  AssignElement(target, std::move(value));
}

void Interpreter::AssignElement(const Expr& target, Value value) {
  std::vector<int32_t> indexes;
  EvalIndexes(target, indexes);
  Value& slot = Slot(target);
  if (!slot.is_array()) NotAnArray(target);
  value = Unfixed(std::move(value));
  int32_t nesting = value.is_array() ? value.array()->nesting + 1 : 1;
  if (nesting > limits::kMaxArrayNesting) Raise(error_code::OutOfStackSpace, "arrays nested too deeply");
  ArrayData& array = Writable(slot);
  size_t offset = ElementOffset(array, indexes, target);
  array.nesting = std::max(array.nesting, nesting);
  array.items[offset] = std::move(value);
}

// ---- expressions ----

Value Interpreter::Eval(const Expr& e) {
  budget_.Step();
  switch (e.kind) {
    case ExprKind::Literal: return e.literal;
    case ExprKind::Global: return globals_[static_cast<size_t>(e.index)];
    case ExprKind::Local: return frame_[e.index].Target();
    case ExprKind::Undefined: Undefined(e);
    case ExprKind::IndexGlobal:
    case ExprKind::IndexLocal: return ReadElement(e);
    case ExprKind::CallProc: return CallProcedure(e);
    case ExprKind::CallBuiltin: return CallBuiltin(e);
    case ExprKind::Negate:
    case ExprKind::Not: return EvalUnary(e);
    case ExprKind::Binary: return EvalBinary(e);
    case ExprKind::Name: break;
  }
  Unresolved(e);
}

Value Interpreter::EvalUnary(const Expr& e) {
  Value operand = Eval(*e.args[0]);
  return e.kind == ExprKind::Negate ? Negate(operand) : LogicalNot(operand);
}

Value Interpreter::EvalBinary(const Expr& e) {
  budget_.CheckStack();
  Value left = Eval(*e.args[0]);
  Value right = Eval(*e.args[1]);
  return ApplyBinary(e.op, left, right, e.args[0]->is_literal(), e.args[1]->is_literal(), budget_);
}

Value Interpreter::CallBuiltin(const Expr& e) {
  budget_.CheckStack();
  const Builtin& builtin = BuiltinAt(e.index);
  constexpr size_t kInline = 6;
  size_t count = e.args.size();
  if (count <= kInline) {
    Value args[kInline];
    for (size_t i = 0; i < count; ++i) args[i] = Eval(*e.args[i]);
    return builtin.function(args, count, budget_);
  }
  std::vector<Value> args;
  args.reserve(count);
  for (const Expr* arg : e.args) args.push_back(Eval(*arg));
  return builtin.function(args.data(), count, budget_);
}

Value Interpreter::CallProcedure(const Expr& e) {
  const Procedure& proc = program_.procedures[static_cast<size_t>(e.index)];
  budget_.EnterCall();
  FrameGuard frame(slots_, static_cast<size_t>(proc.frame_size));
  budget_.Charge(proc.frame_size);
  for (size_t i = 0; i < proc.params.size(); ++i) {
    const Expr& arg = *e.args[i];
    // A plain variable passed to a ByRef parameter is shared with the callee;
    // anything else, or a variable in parentheses, is a copy.
    if (proc.params[i].by_ref && !arg.paren && (arg.kind == ExprKind::Global || arg.kind == ExprKind::Local)) {
      frame.slots()[i] = Value::Ref(&Slot(arg));
    } else {
      frame.slots()[i] = Unfixed(Eval(arg));
    }
  }
  const Procedure* caller = procedure_;
  Value* caller_frame = frame_;
  int32_t caller_line = line_;
  Value result = Enter(proc, frame.slots());
  procedure_ = caller;
  frame_ = caller_frame;
  line_ = caller_line;
  budget_.LeaveCall();
  return result;
}

Value Interpreter::Enter(const Procedure& proc, Value* frame) {
  for (const ArrayInit& init : proc.arrays) {
    NewArray(frame[init.slot], init.extents, !init.extents.empty());
  }
  frame_ = frame;
  procedure_ = &proc;
  line_ = proc.line;
  ExecBlock(proc.body);
  return std::move(frame[proc.result_slot]);
}

}  // namespace morvex::script
