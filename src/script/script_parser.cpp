// Compiling a script: the parser builds the tree with names as written, then
// the binder ties every name to a variable slot, a procedure, a built-in
// function or a constant's value, and checks what can be checked before the
// script runs.
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "script/script_builtins.hpp"
#include "script/script_lexer.hpp"
#include "script/script_program.hpp"

namespace morvex::script {
namespace {

struct OperatorInfo {
  BinaryOp op;
  int precedence;  // 0: not a binary operator
};

constexpr int kComparison = 7;
constexpr int kNotOperand = 7;
constexpr int kNegateOperand = 14;

// VBScript's precedence, from Imp (lowest) to ^ (highest).
OperatorInfo BinaryOperatorOf(const Token& t) {
  switch (t.kind) {
    case Tok::Caret: return {BinaryOp::Power, 14};
    case Tok::Star: return {BinaryOp::Multiply, 12};
    case Tok::Slash: return {BinaryOp::Divide, 12};
    case Tok::Backslash: return {BinaryOp::IntDivide, 11};
    case Tok::Plus: return {BinaryOp::Add, 9};
    case Tok::Minus: return {BinaryOp::Subtract, 9};
    case Tok::Ampersand: return {BinaryOp::Concat, 8};
    case Tok::Equal: return {BinaryOp::Equal, kComparison};
    case Tok::NotEqual: return {BinaryOp::NotEqual, kComparison};
    case Tok::Less: return {BinaryOp::Less, kComparison};
    case Tok::Greater: return {BinaryOp::Greater, kComparison};
    case Tok::LessEqual: return {BinaryOp::LessEqual, kComparison};
    case Tok::GreaterEqual: return {BinaryOp::GreaterEqual, kComparison};
    case Tok::Keyword:
      switch (t.keyword) {
        case Kw::Mod: return {BinaryOp::Mod, 10};
        case Kw::And: return {BinaryOp::And, 5};
        case Kw::Or: return {BinaryOp::Or, 4};
        case Kw::Xor: return {BinaryOp::Xor, 3};
        case Kw::Eqv: return {BinaryOp::Eqv, 2};
        case Kw::Imp: return {BinaryOp::Imp, 1};
        default: break;
      }
      break;
    default: break;
  }
  return {BinaryOp::Add, 0};
}

// Counts one level of recursion or nesting; past the limit the text is refused.
class DepthGuard {
 public:
  DepthGuard(int32_t& depth, int32_t limit, int32_t line, const char* what) : depth_(depth) {
    if (++depth_ > limit) {
      --depth_;
      Raise(error_code::OutOfStackSpace, std::string(what) + " nested too deeply", line);
    }
  }
  ~DepthGuard() { --depth_; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;

 private:
  int32_t& depth_;
};

class Parser {
 public:
  Parser(std::vector<Token> tokens, Program& program) : tokens_(std::move(tokens)), program_(program) {}

  void ParseProgram() {
    while (true) {
      SkipSeparators();
      if (Peek().kind == Tok::End) return;
      if (IsProcedureStart()) {
        ParseProcedure();
      } else {
        ParseStatement(program_.top, false);
        ExpectStatementEnd();
      }
    }
  }

 private:
  // ---- tokens ----
  const Token& Peek(size_t ahead = 0) const { return tokens_[std::min(pos_ + ahead, tokens_.size() - 1)]; }
  const Token& Next() {
    const Token& t = tokens_[pos_];
    if (pos_ + 1 < tokens_.size()) ++pos_;
    return t;
  }
  bool IsKeyword(Kw kw, size_t ahead = 0) const {
    return Peek(ahead).kind == Tok::Keyword && Peek(ahead).keyword == kw;
  }
  bool AcceptKeyword(Kw kw) {
    if (!IsKeyword(kw)) return false;
    Next();
    return true;
  }
  bool Accept(Tok kind) {
    if (Peek().kind != kind) return false;
    Next();
    return true;
  }

  [[noreturn]] void Fail(const std::string& what, int32_t code = error_code::SyntaxError) const {
    Raise(code, what, Peek().line);
  }

  std::string Describe(const Token& t) const {
    switch (t.kind) {
      case Tok::End: return "the end of the script";
      case Tok::NewLine: return "the end of the line";
      case Tok::Name:
      case Tok::Keyword: return "'" + t.spelling + "'";
      case Tok::Number: return "a number";
      case Tok::String: return "a string";
      default: return "an operator";
    }
  }
  void Expect(Tok kind, std::string_view what) {
    if (!Accept(kind)) Fail("expected " + std::string(what) + " but found " + Describe(Peek()));
  }
  void ExpectKeyword(Kw kw, std::string_view what) {
    if (!AcceptKeyword(kw)) Fail("expected '" + std::string(what) + "' but found " + Describe(Peek()));
  }
  const Token& ExpectName(std::string_view what) {
    if (IsKeyword(Kw::Refused)) RefuseWord();
    if (Peek().kind != Tok::Name) Fail("expected " + std::string(what) + " but found " + Describe(Peek()));
    return Next();
  }
  [[noreturn]] void RefuseWord() const { Fail("'" + Peek().spelling + "' is not supported by this script engine"); }
  [[noreturn]] void RefuseArrays() const { Fail("arrays are not supported by this script engine"); }

  bool AtStatementEnd(bool inline_if = false) const {
    Tok k = Peek().kind;
    return k == Tok::NewLine || k == Tok::Colon || k == Tok::End || (inline_if && IsKeyword(Kw::Else));
  }
  void ExpectStatementEnd(bool inline_if = false) {
    if (!AtStatementEnd(inline_if)) Fail("expected the end of the statement but found " + Describe(Peek()));
  }
  void SkipSeparators() {
    while (Peek().kind == Tok::NewLine || Peek().kind == Tok::Colon) Next();
  }

  static bool IsBlockEnd(const Token& t) {
    if (t.kind == Tok::End) return true;
    if (t.kind != Tok::Keyword) return false;
    switch (t.keyword) {
      case Kw::End: case Kw::Else: case Kw::ElseIf: case Kw::Loop: case Kw::Next: case Kw::Wend: case Kw::Case:
        return true;
      default: return false;
    }
  }

  bool IsProcedureStart() const {
    size_t at = (IsKeyword(Kw::Public) || IsKeyword(Kw::Private)) ? 1 : 0;
    return IsKeyword(Kw::Function, at) || IsKeyword(Kw::Sub, at);
  }

  // ---- procedures ----
  void ParseProcedure() {
    if (!AcceptKeyword(Kw::Public)) AcceptKeyword(Kw::Private);
    Procedure proc;
    proc.is_function = IsKeyword(Kw::Function);
    proc.line = Next().line;
    const Token& name = ExpectName("the name of the procedure");
    proc.name = name.spelling;
    proc.lower = name.text;
    if (Accept(Tok::LeftParen) && !Accept(Tok::RightParen)) {
      while (true) {
        Param param;
        if (AcceptKeyword(Kw::ByVal)) {
          param.by_ref = false;
        } else {
          AcceptKeyword(Kw::ByRef);
        }
        param.name = ExpectName("a parameter name").text;
        if (Peek().kind == Tok::LeftParen) RefuseArrays();
        for (const Param& other : proc.params) {
          if (other.name == param.name) Fail("the parameter '" + param.name + "' appears twice", error_code::NameRedefined);
        }
        proc.params.push_back(std::move(param));
        if (static_cast<int32_t>(proc.params.size()) > limits::kMaxParameters) Fail("too many parameters");
        if (Accept(Tok::RightParen)) break;
        Expect(Tok::Comma, "',' or ')'");
      }
    }
    ExpectStatementEnd();
    proc_ = &proc;
    proc.body = ParseBlock();
    const char* end = proc.is_function ? "End Function" : "End Sub";
    ExpectKeyword(Kw::End, end);
    ExpectKeyword(proc.is_function ? Kw::Function : Kw::Sub, end);
    ExpectStatementEnd();
    proc_ = nullptr;
    program_.procedures.push_back(std::move(proc));
  }

  std::vector<Declaration>& Declarations() { return proc_ != nullptr ? proc_->declarations : program_.declarations; }

  // ---- statements ----
  Block ParseBlock() {
    DepthGuard guard(block_depth_, limits::kMaxBlockDepth, Peek().line, "blocks");
    Block block;
    while (true) {
      SkipSeparators();
      if (IsBlockEnd(Peek())) return block;
      if (IsProcedureStart()) Fail("a Function or Sub cannot be defined inside another statement or procedure");
      ParseStatement(block, false);
      ExpectStatementEnd();
    }
  }

  // The statements of a single-line If, up to the end of the line or Else.
  Block ParseInlineStatements() {
    DepthGuard guard(block_depth_, limits::kMaxBlockDepth, Peek().line, "blocks");
    Block block;
    while (Peek().kind != Tok::NewLine && Peek().kind != Tok::End && !IsKeyword(Kw::Else)) {
      if (Accept(Tok::Colon)) continue;
      ParseStatement(block, true);
      ExpectStatementEnd(true);
    }
    return block;
  }

  void ParseStatement(Block& out, bool inline_if) {
    const Token& t = Peek();
    if (t.kind == Tok::Name) return ParseNameStatement(out);
    if (t.kind != Tok::Keyword) Fail("expected a statement but found " + Describe(t));
    auto block_statement = [&](auto parse) {
      if (inline_if) Fail(Describe(t) + " cannot stand in a single-line If");
      (this->*parse)(out);
    };
    switch (t.keyword) {
      case Kw::Dim: Next(); return ParseDeclarations(false);
      case Kw::Const: Next(); return ParseDeclarations(true);
      case Kw::Public:
      case Kw::Private:
        if (proc_ != nullptr) Fail(Describe(t) + " is allowed only at the top level of the script");
        Next();
        return ParseDeclarations(AcceptKeyword(Kw::Const));
      case Kw::If: return ParseIf(out, inline_if);
      case Kw::For: return block_statement(&Parser::ParseFor);
      case Kw::Do: return block_statement(&Parser::ParseDo);
      case Kw::While: return block_statement(&Parser::ParseWhile);
      case Kw::Select: return block_statement(&Parser::ParseSelect);
      case Kw::Exit: return ParseExit(out);
      case Kw::Call: {
        Next();
        Expr* call = CallOf(ExpectName("the name of a procedure after Call"));
        if (Accept(Tok::LeftParen)) call->args = ParseArgumentsAfterParen();
        return AddCall(out, call);
      }
      case Kw::Refused: RefuseWord();
      case Kw::Function:
      case Kw::Sub: Fail("a Function or Sub cannot be defined inside another statement or procedure");
      default: Fail("expected a statement but found " + Describe(t));
    }
  }

  Stmt* Add(Block& out, StmtKind kind, int32_t line) {
    program_.stmt_arena.push_back(std::make_unique<Stmt>());
    Stmt* s = program_.stmt_arena.back().get();
    s->kind = kind;
    s->line = line;
    out.push_back(s);
    return s;
  }

  Expr* NewExpr(ExprKind kind, int32_t line) {
    program_.expr_arena.push_back(std::make_unique<Expr>());
    Expr* e = program_.expr_arena.back().get();
    e->kind = kind;
    e->line = line;
    return e;
  }

  Expr* NameExpr(const Token& name) {
    Expr* e = NewExpr(ExprKind::Name, name.line);
    e->name = name.text;
    return e;
  }

  Expr* CallOf(const Token& name) {
    Expr* call = NameExpr(name);
    call->has_args = true;
    call->call_statement = true;
    return call;
  }

  void AddCall(Block& out, Expr* call) {
    SetTreeDepth(call);
    Add(out, StmtKind::Call, call->line)->value = call;
  }

  // An assignment "x = 1", or a call "Foo", "Foo 1, 2", "Foo(1)", "Foo (1) + 1, 2".
  void ParseNameStatement(Block& out) {
    const Token& name = Next();
    if (Accept(Tok::Equal)) {
      Stmt* s = Add(out, StmtKind::Assign, name.line);
      s->target = NameExpr(name);
      s->value = ParseExpression();
      return;
    }
    Expr* call = CallOf(name);
    if (Peek().kind == Tok::LeftParen) {
      size_t saved = pos_;
      Next();
      std::vector<Expr*> args = ParseArgumentsAfterParen();
      if (Peek().kind == Tok::Equal) RefuseArrays();
      if (AtStatementEnd(true) && args.size() != 1) {
        if (args.size() > 1) {
          Fail("use Call, or leave out the parentheses, to call '" + name.spelling + "' with several arguments",
               error_code::ParenthesesOnSubCall);
        }
        return AddCall(out, call);
      }
      pos_ = saved;  // the parenthesis starts the first argument
    }
    if (!AtStatementEnd(true)) {
      do {
        call->args.push_back(ParseExpression());
      } while (Accept(Tok::Comma));
    }
    AddCall(out, call);
  }

  void ParseDeclarations(bool constant) {
    do {
      const Token& name = ExpectName(constant ? "the name of a constant" : "a variable name");
      Declaration declaration{name.text, name.line, nullptr};
      if (Peek().kind == Tok::LeftParen) RefuseArrays();
      if (constant) {
        Expect(Tok::Equal, "'='");
        declaration.value = ParseExpression();
      }
      Declarations().push_back(std::move(declaration));
    } while (Accept(Tok::Comma));
  }

  void ParseIf(Block& out, bool inline_if) {
    Stmt* s = Add(out, StmtKind::If, Next().line);
    s->conditions.push_back(ParseExpression());
    ExpectKeyword(Kw::Then, "Then");
    if (Peek().kind != Tok::NewLine && Peek().kind != Tok::End) {
      s->blocks.push_back(ParseInlineStatements());
      if (AcceptKeyword(Kw::Else)) s->blocks.push_back(ParseInlineStatements());
      return;
    }
    if (inline_if) Fail("a block If cannot stand in a single-line If");
    s->blocks.push_back(ParseBlock());
    while (AcceptKeyword(Kw::ElseIf)) {
      s->conditions.push_back(ParseExpression());
      ExpectKeyword(Kw::Then, "Then");
      s->blocks.push_back(ParseBlock());
    }
    if (AcceptKeyword(Kw::Else)) s->blocks.push_back(ParseBlock());
    ExpectKeyword(Kw::End, "End If");
    ExpectKeyword(Kw::If, "End If");
  }

  Block ParseLoopBody(int32_t& loops) {
    ++loops;
    Block body = ParseBlock();
    --loops;
    return body;
  }

  void ParseFor(Block& out) {
    Stmt* s = Add(out, StmtKind::For, Next().line);
    s->target = NameExpr(ExpectName("the variable of For"));
    Expect(Tok::Equal, "'='");
    s->value = ParseExpression();
    ExpectKeyword(Kw::To, "To");
    s->limit = ParseExpression();
    if (Peek().kind == Tok::Name && Peek().text == "step") {
      Next();
      s->step = ParseExpression();
    }
    ExpectStatementEnd();
    s->blocks.push_back(ParseLoopBody(for_depth_));
    ExpectKeyword(Kw::Next, "Next");
    if (Peek().kind == Tok::Name) {
      if (Peek().text != s->target->name) Fail("Next names '" + Peek().spelling + "', not the loop's variable");
      Next();
    }
  }

  // "While" or "Until" and its condition, if one stands here.
  bool ParseLoopTest(Stmt* s, LoopTest if_while, LoopTest if_until) {
    bool is_while = IsKeyword(Kw::While);
    if (!is_while && !IsKeyword(Kw::Until)) return false;
    if (s->test != LoopTest::None) Fail("a Do loop can test its condition at the top or at the bottom, not both");
    Next();
    s->test = is_while ? if_while : if_until;
    s->value = ParseExpression();
    return true;
  }

  void ParseDo(Block& out) {
    Stmt* s = Add(out, StmtKind::Do, Next().line);
    ParseLoopTest(s, LoopTest::WhileTop, LoopTest::UntilTop);
    ExpectStatementEnd();
    s->blocks.push_back(ParseLoopBody(do_depth_));
    ExpectKeyword(Kw::Loop, "Loop");
    ParseLoopTest(s, LoopTest::WhileBottom, LoopTest::UntilBottom);
  }

  void ParseWhile(Block& out) {
    Stmt* s = Add(out, StmtKind::While, Next().line);
    s->value = ParseExpression();
    ExpectStatementEnd();
    s->blocks.push_back(ParseBlock());
    ExpectKeyword(Kw::Wend, "Wend");
  }

  void ParseSelect(Block& out) {
    Stmt* s = Add(out, StmtKind::Select, Next().line);
    ExpectKeyword(Kw::Case, "Case");
    s->value = ParseExpression();
    ExpectStatementEnd();
    SkipSeparators();
    bool seen_else = false;
    while (!AcceptKeyword(Kw::End)) {
      if (!AcceptKeyword(Kw::Case)) Fail("expected Case or End Select but found " + Describe(Peek()));
      if (seen_else) Fail("Case after Case Else");
      CaseClause& clause = s->cases.emplace_back();
      seen_else = AcceptKeyword(Kw::Else);
      if (!seen_else) {
        do {
          clause.items.push_back(ParseCaseItem());
        } while (Accept(Tok::Comma));
      }
      ExpectStatementEnd();
      clause.body = ParseBlock();
    }
    ExpectKeyword(Kw::Select, "End Select");
  }

  CaseItem ParseCaseItem() {
    CaseItem item;
    if (AcceptKeyword(Kw::Is)) {
      OperatorInfo info = BinaryOperatorOf(Peek());
      if (info.precedence != kComparison) Fail("expected a comparison after Case Is");
      Next();
      item.kind = CaseItem::Kind::Is;
      item.op = info.op;
      item.first = ParseExpression();
      return item;
    }
    item.first = ParseExpression();
    if (AcceptKeyword(Kw::To)) {
      item.kind = CaseItem::Kind::Range;
      item.last = ParseExpression();
    }
    return item;
  }

  void ParseExit(Block& out) {
    Stmt* s = Add(out, StmtKind::Exit, Next().line);
    bool in_function = proc_ != nullptr && proc_->is_function;
    bool in_sub = proc_ != nullptr && !proc_->is_function;
    if (AcceptKeyword(Kw::For)) {
      if (for_depth_ == 0) Fail("Exit For outside a For loop");
      s->exit = ExitKind::For;
    } else if (AcceptKeyword(Kw::Do)) {
      if (do_depth_ == 0) Fail("Exit Do outside a Do loop");
      s->exit = ExitKind::Do;
    } else if (AcceptKeyword(Kw::Function) || AcceptKeyword(Kw::Sub)) {
      bool function = tokens_[pos_ - 1].keyword == Kw::Function;
      if (function ? !in_function : !in_sub) Fail(function ? "Exit Function outside a Function" : "Exit Sub outside a Sub");
      s->exit = ExitKind::Procedure;
    } else {
      Fail("expected For, Do, Function or Sub after Exit");
    }
  }

  // ---- expressions ----
  Expr* ParseExpression() { return ParseBinary(1); }

  void SetTreeDepth(Expr* e) {
    int32_t depth = 0;
    for (const Expr* arg : e->args) depth = std::max(depth, arg->depth);
    e->depth = depth + 1;
    if (e->depth > limits::kMaxExpressionDepth) {
      Raise(error_code::OutOfStackSpace, "expression too long or nested too deeply", e->line);
    }
  }

  Expr* Node(ExprKind kind, int32_t line, std::vector<Expr*> args) {
    Expr* node = NewExpr(kind, line);
    node->args = std::move(args);
    SetTreeDepth(node);
    return node;
  }

  Expr* ParseBinary(int min_precedence) {
    DepthGuard guard(parse_depth_, limits::kMaxParseDepth, Peek().line, "expression");
    Expr* left = ParseUnary();
    while (true) {
      OperatorInfo info = BinaryOperatorOf(Peek());
      if (info.precedence == 0 || info.precedence < min_precedence) return left;
      int32_t line = Next().line;
      Expr* right = ParseBinary(info.precedence + 1);
      left = Node(ExprKind::Binary, line, {left, right});
      left->op = info.op;
    }
  }

  Expr* ParseUnary() {
    const Token& t = Peek();
    if (Accept(Tok::Minus)) return Node(ExprKind::Negate, t.line, {ParseBinary(kNegateOperand)});
    if (Accept(Tok::Plus)) return ParseBinary(kNegateOperand);
    if (AcceptKeyword(Kw::Not)) return Node(ExprKind::Not, t.line, {ParseBinary(kNotOperand)});
    return ParsePrimary();
  }

  std::vector<Expr*> ParseArgumentsAfterParen() {
    std::vector<Expr*> args;
    if (Accept(Tok::RightParen)) return args;
    do {
      args.push_back(ParseExpression());
    } while (Accept(Tok::Comma));
    Expect(Tok::RightParen, "',' or ')'");
    return args;
  }

  Expr* Literal(const Token& t, Value value) {
    Expr* e = NewExpr(ExprKind::Literal, t.line);
    e->literal = std::move(value);
    return e;
  }

  Expr* ParsePrimary() {
    const Token& t = Peek();
    switch (t.kind) {
      case Tok::Number: Next(); return Literal(t, Value::Num(t.number));
      case Tok::String: Next(); return Literal(t, Value::Str(t.text));
      case Tok::Name: {
        Next();
        Expr* e = NameExpr(t);
        if (Accept(Tok::LeftParen)) {
          e->has_args = true;
          e->args = ParseArgumentsAfterParen();
          SetTreeDepth(e);
        }
        return e;
      }
      case Tok::LeftParen: {
        Next();
        Expr* e = ParseExpression();
        Expect(Tok::RightParen, "')'");
        e->paren = true;
        return e;
      }
      case Tok::Keyword:
        switch (t.keyword) {
          case Kw::True: Next(); return Literal(t, Value::Bool(true));
          case Kw::False: Next(); return Literal(t, Value::Bool(false));
          case Kw::Empty: Next(); return Literal(t, Value());
          case Kw::Refused: RefuseWord();
          default: break;
        }
        break;
      default: break;
    }
    Fail("expected an expression but found " + Describe(t));
  }

  std::vector<Token> tokens_;
  size_t pos_ = 0;
  Program& program_;
  Procedure* proc_ = nullptr;
  int32_t for_depth_ = 0;
  int32_t do_depth_ = 0;
  int32_t parse_depth_ = 0;
  int32_t block_depth_ = 0;
};

// ---- binding names ----

struct Symbol {
  enum class Kind : uint8_t { Global, Local, Constant, Procedure, Builtin, Unknown } kind = Kind::Unknown;
  int32_t index = 0;
  Value constant;
};

class Binder {
 public:
  explicit Binder(Program& program) : program_(program) {}

  void Run() {
    for (size_t i = 0; i < program_.procedures.size(); ++i) {
      const Procedure& proc = program_.procedures[i];
      Declare(globals_, proc.lower, {Symbol::Kind::Procedure, static_cast<int32_t>(i), {}}, proc.line);
    }
    DeclareAll(program_.declarations, globals_);
    BindBlock(program_.top);
    for (Procedure& proc : program_.procedures) BindProcedure(proc);
  }

 private:
  using Scope = std::unordered_map<std::string, Symbol>;

  static void Declare(Scope& scope, const std::string& name, Symbol symbol, int32_t line) {
    if (!scope.emplace(name, std::move(symbol)).second) {
      Raise(error_code::NameRedefined, "'" + name + "' is declared twice", line);
    }
  }

  Symbol NewVariable() {
    if (proc_ != nullptr) return {Symbol::Kind::Local, next_local_++, {}};
    return {Symbol::Kind::Global, program_.global_count++, {}};
  }

  Scope& CurrentScope() { return proc_ != nullptr ? locals_ : globals_; }

  void DeclareAll(const std::vector<Declaration>& declarations, Scope& scope) {
    for (const Declaration& d : declarations) {
      if (d.value == nullptr) {
        Declare(scope, d.name, NewVariable(), d.line);
      } else {
        Declare(scope, d.name, {Symbol::Kind::Constant, 0, FoldConstant(d.value, d.line)}, d.line);
      }
    }
  }

  // The value of a constant expression: literals, other constants and operators.
  Value FoldConstant(Expr* e, int32_t line) {
    BindExpr(e);
    Budget budget;
    auto fold = [&](auto& self, const Expr* x) -> Value {
      switch (x->kind) {
        case ExprKind::Literal: return x->literal;
        case ExprKind::Negate: return Negate(self(self, x->args[0]));
        case ExprKind::Not: return LogicalNot(self(self, x->args[0]));
        case ExprKind::Binary:
          return ApplyBinary(x->op, self(self, x->args[0]), self(self, x->args[1]), x->args[0]->is_literal(),
                             x->args[1]->is_literal(), budget);
        default: Raise(error_code::SyntaxError, "a constant needs a value known before the script runs", line);
      }
    };
    try {
      return fold(fold, e);
    } catch (ScriptError& error) {
      if (error.line() == 0) error.set_line(line);
      throw;
    }
  }

  void BindProcedure(Procedure& proc) {
    proc_ = &proc;
    locals_.clear();
    next_local_ = 0;
    for (const Param& param : proc.params) locals_.emplace(param.name, Symbol{Symbol::Kind::Local, next_local_++, {}});
    proc.result_slot = next_local_++;
    for (const Declaration& d : proc.declarations) {
      if (d.name == proc.lower) Raise(error_code::NameRedefined, "'" + d.name + "' is the name of its procedure", d.line);
    }
    DeclareAll(proc.declarations, locals_);
    BindBlock(proc.body);
    proc.frame_size = next_local_;
    proc_ = nullptr;
  }

  Symbol Lookup(const std::string& name, bool has_args) {
    if (proc_ != nullptr) {
      if (auto it = locals_.find(name); it != locals_.end()) return it->second;
      // Inside a Function its own name, without arguments, is its result.
      if (proc_->is_function && name == proc_->lower && !has_args) return {Symbol::Kind::Local, proc_->result_slot, {}};
    }
    if (auto it = globals_.find(name); it != globals_.end()) return it->second;
    Symbol symbol;
    if (!has_args && FindBuiltinConstant(name, symbol.constant)) {
      symbol.kind = Symbol::Kind::Constant;
    } else if (int32_t builtin = FindBuiltin(name); builtin >= 0) {
      symbol = {Symbol::Kind::Builtin, builtin, {}};
    }
    return symbol;
  }

  static void CheckArgumentCount(const Expr* e, int32_t min, int32_t max, std::string_view name) {
    int32_t n = static_cast<int32_t>(e->args.size());
    if (n >= min && n <= max) return;
    std::string expected = std::to_string(min) + (min == max ? "" : " to " + std::to_string(max));
    Raise(error_code::WrongArgumentCount,
          "'" + std::string(name) + "' takes " + expected + " argument(s), not " + std::to_string(n), e->line);
  }

  void BindVariable(Expr* e, const Symbol& symbol) {
    if (e->has_args) Raise(error_code::SyntaxError, "arrays are not supported by this script engine", e->line);
    e->kind = symbol.kind == Symbol::Kind::Global ? ExprKind::Global : ExprKind::Local;
    e->index = symbol.index;
  }

  void BindName(Expr* e) {
    for (Expr* arg : e->args) BindExpr(arg);
    Symbol symbol = Lookup(e->name, e->has_args);
    if (symbol.kind == Symbol::Kind::Unknown) {
      if (e->has_args) Raise(error_code::UnknownName, "'" + e->name + "' is not a known function or procedure", e->line);
      symbol = NewVariable();
      CurrentScope().emplace(e->name, symbol);
    }
    bool callable = symbol.kind == Symbol::Kind::Procedure || symbol.kind == Symbol::Kind::Builtin;
    if (e->call_statement && !callable) Raise(error_code::UnknownName, "'" + e->name + "' is not a procedure", e->line);
    switch (symbol.kind) {
      case Symbol::Kind::Constant:
        if (e->has_args) Raise(error_code::TypeMismatch, "the constant '" + e->name + "' takes no arguments", e->line);
        e->kind = ExprKind::Literal;
        e->literal = symbol.constant;
        return;
      case Symbol::Kind::Procedure: {
        const Procedure& proc = program_.procedures[static_cast<size_t>(symbol.index)];
        int32_t n = static_cast<int32_t>(proc.params.size());
        CheckArgumentCount(e, n, n, proc.name);
        e->kind = ExprKind::CallProc;
        e->index = symbol.index;
        return;
      }
      case Symbol::Kind::Builtin: {
        const Builtin& builtin = BuiltinAt(symbol.index);
        CheckArgumentCount(e, builtin.min_args, builtin.max_args, builtin.name);
        e->kind = ExprKind::CallBuiltin;
        e->index = symbol.index;
        return;
      }
      default: BindVariable(e, symbol);
    }
  }

  // The variable an assignment or a For loop writes.
  void BindTarget(Expr* e) {
    Symbol symbol = Lookup(e->name, false);
    if (symbol.kind == Symbol::Kind::Unknown) {
      symbol = NewVariable();
      CurrentScope().emplace(e->name, symbol);
    }
    if (symbol.kind != Symbol::Kind::Global && symbol.kind != Symbol::Kind::Local) {
      Raise(error_code::IllegalAssignment, "'" + e->name + "' is not a variable", e->line);
    }
    BindVariable(e, symbol);
  }

  void BindExpr(Expr* e) {
    if (e->kind == ExprKind::Name) return BindName(e);
    for (Expr* arg : e->args) BindExpr(arg);
    // A negative number written in the script stays a literal.
    if (e->kind == ExprKind::Negate && e->args[0]->is_literal() && !e->args[0]->literal.is_string()) {
      Value negated = Negate(e->args[0]->literal);
      e->kind = ExprKind::Literal;
      e->literal = std::move(negated);
      e->args.clear();
    }
  }

  void BindBlock(Block& block) {
    for (Stmt* s : block) BindStmt(*s);
  }

  void BindStmt(Stmt& s) {
    for (Expr* e : {s.value, s.limit, s.step}) {
      if (e != nullptr) BindExpr(e);
    }
    if (s.target != nullptr) BindTarget(s.target);
    for (Expr* c : s.conditions) BindExpr(c);
    for (Block& b : s.blocks) BindBlock(b);
    for (CaseClause& clause : s.cases) {
      for (CaseItem& item : clause.items) {
        BindExpr(item.first);
        if (item.last != nullptr) BindExpr(item.last);
      }
      BindBlock(clause.body);
    }
  }

  Program& program_;
  Scope globals_;
  Scope locals_;
  Procedure* proc_ = nullptr;
  int32_t next_local_ = 0;
};

}  // namespace

std::unique_ptr<Program> CompileProgram(std::string_view text) {
  auto program = std::make_unique<Program>();
  Parser(Tokenize(text), *program).ParseProgram();
  Binder(*program).Run();
  return program;
}

}  // namespace morvex::script
