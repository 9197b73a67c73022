// The parsed form of a script. The parser builds it with names as written; the
// resolver then binds every name to a variable slot, a procedure or a built-in
// function, after which the program is read-only and may be shared by engines.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/script/script_operators.hpp"
#include "platform/script/script_value.hpp"

namespace morvex::script {

enum class ExprKind : uint8_t {
  Literal,      // a constant value
  Name,         // a name not yet resolved (only between parser and resolver)
  Global,       // a variable of the script's top level: `index` is its slot
  Local,        // a parameter, local variable or function result: `index` is its frame slot
  Undefined,    // under Option Explicit, a name never declared: fails when evaluated
  IndexGlobal,  // an element of an array in a global variable
  IndexLocal,   // an element of an array in a local variable
  CallProc,     // a call of a script procedure: `index` is the procedure
  CallBuiltin,  // a call of a built-in function: `index` is the built-in
  Negate,
  Not,
  Binary,
};

struct Expr {
  ExprKind kind = ExprKind::Literal;
  BinaryOp op = BinaryOp::Add;
  bool paren = false;           // written in parentheses: a variable so written is passed by value
  bool has_args = false;        // a name written with an argument list, even an empty one
  bool call_statement = false;  // the name of a call statement: it must be a procedure
  int32_t depth = 1;            // height of the tree below and including this node
  int32_t line = 0;
  int32_t index = -1;
  Value literal;
  std::string name;  // lower case
  std::vector<Expr*> args;

  bool is_literal() const { return kind == ExprKind::Literal; }
};

struct Stmt;
using Block = std::vector<Stmt*>;

enum class StmtKind : uint8_t { Assign, Call, If, For, ForEach, Do, While, Select, Exit, ReDim, Erase };
enum class ExitKind : uint8_t { For, Do, Function, Sub };
enum class LoopTest : uint8_t { None, WhileTop, UntilTop, WhileBottom, UntilBottom };

struct CaseItem {
  enum class Kind : uint8_t { Equal, Range, Is } kind = Kind::Equal;
  BinaryOp op = BinaryOp::Equal;  // the comparison of "Is"
  Expr* first = nullptr;
  Expr* last = nullptr;  // the upper end of "To"
};

struct CaseClause {
  std::vector<CaseItem> items;  // none for Case Else
  bool is_else = false;
  Block body;
};

struct ReDimItem {
  Expr* target = nullptr;
  std::vector<Expr*> bounds;
};

struct Stmt {
  StmtKind kind = StmtKind::Call;
  int32_t line = 0;
  Expr* target = nullptr;  // Assign target; the variable of For and For Each
  Expr* value = nullptr;   // Assign value; the call; For start; For Each array; loop condition; Select subject
  Expr* limit = nullptr;   // For end
  Expr* step = nullptr;    // For step (null: 1)
  LoopTest test = LoopTest::None;
  ExitKind exit = ExitKind::For;
  bool preserve = false;
  bool has_else = false;
  std::vector<Expr*> conditions;  // If and ElseIf conditions
  std::vector<Block> blocks;      // If arms (then Else); loop bodies in blocks[0]
  std::vector<CaseClause> cases;
  std::vector<ReDimItem> redims;
  std::vector<Expr*> erased;
};

// "Dim a", "Dim a(3, 4)", "Dim a()".
struct VarDecl {
  std::string name;  // lower case
  int32_t line = 0;
  bool is_array = false;
  std::vector<Expr*> bounds;  // none: a dynamic array
};

struct ConstDecl {
  std::string name;
  int32_t line = 0;
  Expr* value = nullptr;
};

// An array a scope creates when it starts: fixed bounds from Dim, or a dynamic
// array (no extents) from "Dim a()".
struct ArrayInit {
  int32_t slot = 0;
  std::vector<int32_t> extents;
};

struct Param {
  std::string name;  // lower case
  bool by_ref = true;
};

struct Procedure {
  std::string name;   // as written
  std::string lower;  // lower case
  bool is_function = false;
  int32_t line = 0;
  std::vector<Param> params;
  Block body;
  std::vector<VarDecl> vars;
  std::vector<ConstDecl> consts;
  // Filled by the resolver. Frame: parameters, then the result, then locals.
  int32_t result_slot = 0;
  int32_t frame_size = 0;
  std::vector<ArrayInit> arrays;
};

struct Program {
  bool option_explicit = false;
  std::vector<Procedure> procedures;
  Block top;
  std::vector<VarDecl> vars;
  std::vector<ConstDecl> consts;
  // Filled by the resolver.
  int32_t global_count = 0;
  std::vector<std::string> global_names;
  std::vector<ArrayInit> global_arrays;

  // The nodes; the tree refers to them by plain pointers.
  std::vector<std::unique_ptr<Expr>> expr_arena;
  std::vector<std::unique_ptr<Stmt>> stmt_arena;

  Expr* NewExpr(ExprKind kind, int32_t line) {
    expr_arena.push_back(std::make_unique<Expr>());
    Expr* e = expr_arena.back().get();
    e->kind = kind;
    e->line = line;
    return e;
  }
  Stmt* NewStmt(StmtKind kind, int32_t line) {
    stmt_arena.push_back(std::make_unique<Stmt>());
    Stmt* s = stmt_arena.back().get();
    s->kind = kind;
    s->line = line;
    return s;
  }
  // The procedure of a lower-case name, or -1.
  int32_t FindProcedure(std::string_view lower) const {
    for (size_t i = 0; i < procedures.size(); ++i) {
      if (procedures[i].lower == lower) return static_cast<int32_t>(i);
    }
    return -1;
  }
};

}  // namespace morvex::script
