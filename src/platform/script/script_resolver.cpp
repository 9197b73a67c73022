#include "platform/script/script_resolver.hpp"

#include <string>
#include <unordered_map>

#include "platform/script/script_builtins.hpp"
#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"
#include "platform/script/script_limits.hpp"

namespace morvex::script {
namespace {

struct Symbol {
  enum class Kind : uint8_t { Variable, Constant, Procedure } kind = Kind::Variable;
  int32_t index = 0;  // slot or procedure
  Value constant;
};

// What a name stands for where it is used.
struct Binding {
  enum class Kind : uint8_t { Global, Local, Constant, Procedure, Builtin, Refused, Unknown } kind = Kind::Unknown;
  int32_t index = 0;
  Value constant;
  std::string_view reason;  // of a refused name
};

class Resolver {
 public:
  explicit Resolver(Program& program) : program_(program) {}

  void Run() {
    for (size_t i = 0; i < program_.procedures.size(); ++i) {
      const Procedure& proc = program_.procedures[i];
      if (globals_.count(proc.lower) != 0) {
        Raise(error_code::NameRedefined, "'" + proc.name + "' is defined twice", proc.line);
      }
      Symbol symbol;
      symbol.kind = Symbol::Kind::Procedure;
      symbol.index = static_cast<int32_t>(i);
      globals_.emplace(proc.lower, symbol);
    }
    DeclareConstants(program_.consts, globals_);
    for (const VarDecl& decl : program_.vars) DeclareVariable(decl, globals_);
    ResolveBlock(program_.top);
    for (Procedure& proc : program_.procedures) ResolveProcedure(proc);
  }

 private:
  using Scope = std::unordered_map<std::string, Symbol>;

  // ---- declarations ----
  int32_t NewSlot(const std::string& name) {
    if (proc_ != nullptr) return next_local_++;
    program_.global_names.push_back(name);
    return program_.global_count++;
  }

  void DeclareConstants(const std::vector<ConstDecl>& consts, Scope& scope) {
    for (const ConstDecl& decl : consts) {
      if (scope.count(decl.name) != 0) {
        Raise(error_code::NameRedefined, "'" + decl.name + "' is declared twice", decl.line);
      }
      Symbol symbol;
      symbol.kind = Symbol::Kind::Constant;
      symbol.constant = FoldConstant(decl.value, decl.line);
      scope.emplace(decl.name, std::move(symbol));
    }
  }

  void DeclareVariable(const VarDecl& decl, Scope& scope) {
    if (scope.count(decl.name) != 0) {
      Raise(error_code::NameRedefined, "'" + decl.name + "' is declared twice", decl.line);
    }
    Symbol symbol;
    symbol.index = NewSlot(decl.name);
    scope.emplace(decl.name, symbol);
    if (!decl.is_array) return;
    ArrayInit init;
    init.slot = symbol.index;
    size_t total = 1;
    for (Expr* bound : decl.bounds) {
      Value upper = FoldConstant(bound, decl.line);
      int32_t last = 0;
      try {
        last = ToLong(upper);
      } catch (ScriptError& e) {
        e.set_line(decl.line);
        throw;
      }
      if (last < -1) Raise(error_code::SubscriptOutOfRange, "the bound " + std::to_string(last), decl.line);
      if (last >= static_cast<int32_t>(limits::kMaxArrayElements)) {
        Raise(error_code::OutOfMemory, "the array '" + decl.name + "' is too large", decl.line);
      }
      init.extents.push_back(last + 1);
      total *= static_cast<size_t>(last + 1);
      if (total > limits::kMaxArrayElements) {
        Raise(error_code::OutOfMemory, "the array '" + decl.name + "' is too large", decl.line);
      }
    }
    if (static_cast<int32_t>(init.extents.size()) > limits::kMaxArrayDimensions) {
      Raise(error_code::SubscriptOutOfRange, "too many dimensions", decl.line);
    }
    (proc_ != nullptr ? proc_->arrays : program_.global_arrays).push_back(std::move(init));
  }

  // The value of a constant expression: literals, other constants and operators.
  Value FoldConstant(Expr* e, int32_t line) {
    ResolveExpr(e);
    try {
      return Evaluate(e, line);
    } catch (ScriptError& error) {
      if (error.line() == 0) error.set_line(line);
      throw;
    }
  }

  Value Evaluate(const Expr* e, int32_t line) {
    Budget budget;
    switch (e->kind) {
      case ExprKind::Literal: return e->literal;
      case ExprKind::Negate: return Negate(Evaluate(e->args[0], line));
      case ExprKind::Not: return LogicalNot(Evaluate(e->args[0], line));
      case ExprKind::Binary:
        return ApplyBinary(e->op, Evaluate(e->args[0], line), Evaluate(e->args[1], line), e->args[0]->is_literal(),
                           e->args[1]->is_literal(), budget);
      default:
        Raise(error_code::SyntaxError, "a constant or an array bound needs a value known before the script runs",
              line);
    }
  }

  void ResolveProcedure(Procedure& proc) {
    proc_ = &proc;
    locals_.clear();
    next_local_ = 0;
    for (const Param& param : proc.params) {
      Symbol symbol;
      symbol.index = next_local_++;
      locals_.emplace(param.name, symbol);
    }
    proc.result_slot = next_local_++;
    DeclareConstants(proc.consts, locals_);
    for (const VarDecl& decl : proc.vars) {
      if (decl.name == proc.lower) {
        Raise(error_code::NameRedefined, "'" + decl.name + "' is the name of its procedure", decl.line);
      }
      DeclareVariable(decl, locals_);
    }
    ResolveBlock(proc.body);
    proc.frame_size = next_local_;
    proc_ = nullptr;
  }

  // ---- names ----
  Binding Lookup(const std::string& name, bool has_args) {
    Binding b;
    auto from_symbol = [&b](const Symbol& s, bool local) {
      switch (s.kind) {
        case Symbol::Kind::Variable: b.kind = local ? Binding::Kind::Local : Binding::Kind::Global; break;
        case Symbol::Kind::Constant: b.kind = Binding::Kind::Constant; break;
        case Symbol::Kind::Procedure: b.kind = Binding::Kind::Procedure; break;
      }
      b.index = s.index;
      b.constant = s.constant;
    };
    if (proc_ != nullptr) {
      auto it = locals_.find(name);
      if (it != locals_.end()) {
        from_symbol(it->second, true);
        return b;
      }
      // Inside a Function its own name, without arguments, is its result.
      if (proc_->is_function && name == proc_->lower && !has_args) {
        b.kind = Binding::Kind::Local;
        b.index = proc_->result_slot;
        return b;
      }
    }
    auto it = globals_.find(name);
    if (it != globals_.end()) {
      from_symbol(it->second, false);
      return b;
    }
    if (!has_args && FindBuiltinConstant(name, b.constant)) {
      b.kind = Binding::Kind::Constant;
      return b;
    }
    int32_t builtin = FindBuiltin(name);
    if (builtin >= 0) {
      b.kind = Binding::Kind::Builtin;
      b.index = builtin;
      return b;
    }
    std::string_view reason = RefusedName(name);
    if (!reason.empty()) {
      b.kind = Binding::Kind::Refused;
      b.reason = reason;
    }
    return b;
  }

  // An undeclared name: a new variable of the current scope, or under Option
  // Explicit a name that fails when the statement runs.
  void DeclareImplicitly(Expr* e) {
    if (program_.option_explicit) {
      e->kind = ExprKind::Undefined;
      return;
    }
    Symbol symbol;
    symbol.index = NewSlot(e->name);
    (proc_ != nullptr ? locals_ : globals_).emplace(e->name, symbol);
    e->kind = proc_ != nullptr ? ExprKind::Local : ExprKind::Global;
    e->index = symbol.index;
  }

  void CheckArgumentCount(const Expr* e, int32_t min, int32_t max, const std::string& what) {
    int32_t n = static_cast<int32_t>(e->args.size());
    if (n < min || (max >= 0 && n > max)) {
      std::string expected = min == max ? std::to_string(min)
                                        : (max < 0 ? std::to_string(min) + " or more"
                                                   : std::to_string(min) + " to " + std::to_string(max));
      Raise(error_code::WrongArgumentCount,
            what + " takes " + expected + " argument" + (expected == "1" ? "" : "s") + ", not " + std::to_string(n),
            e->line);
    }
  }

  // A name bound to a variable slot (indexed when it has arguments).
  static void BindVariable(Expr* e, const Binding& b) {
    e->index = b.index;
    if (b.kind == Binding::Kind::Global) {
      e->kind = e->has_args ? ExprKind::IndexGlobal : ExprKind::Global;
    } else {
      e->kind = e->has_args ? ExprKind::IndexLocal : ExprKind::Local;
    }
  }

  // A name in quotes for a message (built by appends: g++ 12 warns wrongly on
  // a chain of + over a temporary here).
  static std::string Quoted(std::string_view name) {
    std::string text;
    text.reserve(name.size() + 2);
    text.push_back('\'');
    text.append(name);
    text.push_back('\'');
    return text;
  }

  void BindCall(Expr* e, const Binding& b) {
    if (b.kind == Binding::Kind::Procedure) {
      const Procedure& proc = program_.procedures[static_cast<size_t>(b.index)];
      int32_t n = static_cast<int32_t>(proc.params.size());
      CheckArgumentCount(e, n, n, Quoted(proc.name));
      e->kind = ExprKind::CallProc;
    } else {
      const Builtin& builtin = BuiltinAt(b.index);
      CheckArgumentCount(e, builtin.min_args, builtin.max_args, Quoted(builtin.name));
      e->kind = ExprKind::CallBuiltin;
    }
    e->index = b.index;
  }

  [[noreturn]] void Refuse(const Expr* e, const Binding& b) {
    Raise(error_code::UnknownName, "'" + e->name + "' is refused: " + std::string(b.reason), e->line);
  }

  void ResolveName(Expr* e) {
    for (Expr* arg : e->args) ResolveExpr(arg);
    Binding b = Lookup(e->name, e->has_args);
    if (e->call_statement && b.kind != Binding::Kind::Procedure && b.kind != Binding::Kind::Builtin) {
      if (b.kind == Binding::Kind::Refused) Refuse(e, b);
      std::string what = b.kind == Binding::Kind::Unknown ? "is not a known procedure" : "is not a procedure";
      Raise(error_code::UnknownName, "'" + e->name + "' " + what, e->line);
    }
    switch (b.kind) {
      case Binding::Kind::Global:
      case Binding::Kind::Local:
        BindVariable(e, b);
        return;
      case Binding::Kind::Constant:
        if (e->has_args) Raise(error_code::TypeMismatch, "the constant '" + e->name + "' takes no arguments", e->line);
        e->kind = ExprKind::Literal;
        e->literal = b.constant;
        return;
      case Binding::Kind::Procedure:
      case Binding::Kind::Builtin: BindCall(e, b); return;
      case Binding::Kind::Refused: Refuse(e, b);
      case Binding::Kind::Unknown:
        if (e->has_args) {
          Raise(error_code::UnknownName, "'" + e->name + "' is not a known function, procedure or array", e->line);
        }
        DeclareImplicitly(e);
        return;
    }
  }

  // A variable that a statement assigns to (also For, ReDim, Erase).
  void ResolveTarget(Expr* e, bool declares = false) {
    for (Expr* arg : e->args) ResolveExpr(arg);
    Binding b = Lookup(e->name, e->has_args);
    switch (b.kind) {
      case Binding::Kind::Global:
      case Binding::Kind::Local:
        BindVariable(e, b);
        return;
      case Binding::Kind::Refused: Refuse(e, b);
      case Binding::Kind::Unknown:
        if (declares && program_.option_explicit) {
          // ReDim declares the array it sizes, even under Option Explicit.
          Symbol symbol;
          symbol.index = NewSlot(e->name);
          (proc_ != nullptr ? locals_ : globals_).emplace(e->name, symbol);
          e->kind = proc_ != nullptr ? ExprKind::Local : ExprKind::Global;
          e->index = symbol.index;
          return;
        }
        DeclareImplicitly(e);
        if (e->has_args && e->kind != ExprKind::Undefined) {
          e->kind = e->kind == ExprKind::Global ? ExprKind::IndexGlobal : ExprKind::IndexLocal;
        }
        return;
      default:
        Raise(error_code::IllegalAssignment, "'" + e->name + "' is not a variable", e->line);
    }
  }

  void ResolveExpr(Expr* e) {
    switch (e->kind) {
      case ExprKind::Name: ResolveName(e); return;
      case ExprKind::Negate:
        ResolveExpr(e->args[0]);
        // A negative number written in the script stays a literal.
        if (e->args[0]->is_literal() && e->args[0]->literal.is_number_like()) {
          Value negated = Negate(e->args[0]->literal);
          e->kind = ExprKind::Literal;
          e->literal = std::move(negated);
          e->args.clear();
        }
        return;
      default:
        for (Expr* arg : e->args) ResolveExpr(arg);
        return;
    }
  }

  void ResolveBlock(Block& block) {
    for (Stmt* s : block) ResolveStmt(*s);
  }

  void ResolveStmt(Stmt& s) {
    if (s.value != nullptr) ResolveExpr(s.value);
    if (s.limit != nullptr) ResolveExpr(s.limit);
    if (s.step != nullptr) ResolveExpr(s.step);
    if (s.target != nullptr) ResolveTarget(s.target);
    if (s.kind == StmtKind::For || s.kind == StmtKind::ForEach) {
      if (s.target->kind != ExprKind::Global && s.target->kind != ExprKind::Local &&
          s.target->kind != ExprKind::Undefined) {
        Raise(error_code::SyntaxError, "the variable of a For loop must be a plain variable", s.line);
      }
    }
    for (Expr* c : s.conditions) ResolveExpr(c);
    for (Block& b : s.blocks) ResolveBlock(b);
    for (CaseClause& clause : s.cases) {
      for (CaseItem& item : clause.items) {
        ResolveExpr(item.first);
        if (item.last != nullptr) ResolveExpr(item.last);
      }
      ResolveBlock(clause.body);
    }
    for (ReDimItem& item : s.redims) {
      for (Expr* bound : item.bounds) ResolveExpr(bound);
      ResolveTarget(item.target, true);
    }
    for (Expr* e : s.erased) ResolveTarget(e);
  }

  Program& program_;
  Scope globals_;
  Scope locals_;
  Procedure* proc_ = nullptr;
  int32_t next_local_ = 0;
};

}  // namespace

void ResolveProgram(Program& program) { Resolver(program).Run(); }

}  // namespace morvex::script
