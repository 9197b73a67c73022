// The compiled form of a script: a tree whose names are bound to variable
// slots, procedures and built-in functions. Once compiled it is read-only.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "script/script_values.hpp"

namespace morvex::script {

enum class ExprKind : uint8_t {
  Literal,
  Name,         // a name not yet bound (only while compiling)
  Global,       // a top-level variable: `index` is its slot
  Local,        // a parameter, local variable or function result: `index` is its frame slot
  CallProc,     // `index` is the procedure
  CallBuiltin,  // `index` is the built-in function
  Negate,
  Not,
  Binary,
};

struct Expr {
  ExprKind kind = ExprKind::Literal;
  BinaryOp op = BinaryOp::Add;
  bool paren = false;           // written in parentheses: a variable so written is passed by value
  bool has_args = false;        // written with an argument list, even an empty one
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

enum class StmtKind : uint8_t { Assign, Call, If, For, Do, While, Select, Exit };
enum class ExitKind : uint8_t { For, Do, Procedure };
enum class LoopTest : uint8_t { None, WhileTop, UntilTop, WhileBottom, UntilBottom };

struct CaseItem {
  enum class Kind : uint8_t { Equal, Range, Is } kind = Kind::Equal;
  BinaryOp op = BinaryOp::Equal;  // the comparison of "Is"
  Expr* first = nullptr;
  Expr* last = nullptr;  // the upper end of "To"
};

struct CaseClause {
  std::vector<CaseItem> items;  // none for Case Else
  Block body;
};

struct Stmt {
  StmtKind kind = StmtKind::Call;
  int32_t line = 0;
  Expr* target = nullptr;  // Assign target; the variable of For
  Expr* value = nullptr;   // Assign value; the call; For start; loop condition; Select subject
  Expr* limit = nullptr;   // For end
  Expr* step = nullptr;    // For step (null: 1)
  LoopTest test = LoopTest::None;
  ExitKind exit = ExitKind::For;
  std::vector<Expr*> conditions;  // If and ElseIf conditions
  std::vector<Block> blocks;      // If arms (then Else); a loop's body in blocks[0]
  std::vector<CaseClause> cases;
};

struct Declaration {
  std::string name;  // lower case
  int32_t line = 0;
  Expr* value = nullptr;  // a Const's value; none for Dim
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
  std::vector<Declaration> declarations;
  // Frame: parameters, then the result, then locals.
  int32_t result_slot = 0;
  int32_t frame_size = 0;
};

struct Program {
  std::vector<Procedure> procedures;
  Block top;
  std::vector<Declaration> declarations;
  int32_t global_count = 0;

  // The nodes; the tree refers to them by plain pointers.
  std::vector<std::unique_ptr<Expr>> expr_arena;
  std::vector<std::unique_ptr<Stmt>> stmt_arena;

  // The procedure of a name in any case, or -1.
  int32_t FindProcedure(std::string_view name) const {
    std::string lower = LowerName(name);
    for (size_t i = 0; i < procedures.size(); ++i) {
      if (procedures[i].lower == lower) return static_cast<int32_t>(i);
    }
    return -1;
  }
};

// Parses and binds a script text. Fails with the line for a text that is no
// script of the subset: a syntax error, a refused construct, an unknown
// function, a wrong argument count, a name declared twice, nesting over the
// parser's limits.
std::unique_ptr<Program> CompileProgram(std::string_view text);

}  // namespace morvex::script
