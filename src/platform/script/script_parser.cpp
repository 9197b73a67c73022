#include "platform/script/script_parser.hpp"

#include <algorithm>
#include <utility>

#include "platform/script/script_error.hpp"
#include "platform/script/script_lexer.hpp"
#include "platform/script/script_limits.hpp"

namespace morvex::script {
namespace {

std::string_view KeywordText(Kw kw) {
  switch (kw) {
    case Kw::Class: return "Class";
    case Kw::With: return "With";
    case Kw::Set: return "Set";
    case Kw::New: return "New";
    case Kw::Nothing: return "Nothing";
    case Kw::Property: return "Property";
    case Kw::On: return "On Error";
    case Kw::GoTo: return "GoTo";
    case Kw::Resume: return "Resume";
    case Kw::Stop: return "Stop";
    case Kw::Is: return "Is";
    default: return "this keyword";
  }
}

struct OperatorInfo {
  BinaryOp op;
  int precedence;  // 0: not a binary operator
};

// VBScript's precedence, from Imp (lowest) to ^ (highest); Not is 6 and unary minus 13.
OperatorInfo BinaryOperatorOf(const Token& t) {
  switch (t.kind) {
    case Tok::Caret: return {BinaryOp::Power, 14};
    case Tok::Star: return {BinaryOp::Multiply, 12};
    case Tok::Slash: return {BinaryOp::Divide, 12};
    case Tok::Backslash: return {BinaryOp::IntDivide, 11};
    case Tok::Plus: return {BinaryOp::Add, 9};
    case Tok::Minus: return {BinaryOp::Subtract, 9};
    case Tok::Ampersand: return {BinaryOp::Concat, 8};
    case Tok::Equal: return {BinaryOp::Equal, 7};
    case Tok::NotEqual: return {BinaryOp::NotEqual, 7};
    case Tok::Less: return {BinaryOp::Less, 7};
    case Tok::Greater: return {BinaryOp::Greater, 7};
    case Tok::LessEqual: return {BinaryOp::LessEqual, 7};
    case Tok::GreaterEqual: return {BinaryOp::GreaterEqual, 7};
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

constexpr int kNotOperandPrecedence = 7;
constexpr int kNegateOperandPrecedence = 14;

class Parser {
 public:
  Parser(std::vector<Token> tokens, Program& program) : tokens_(std::move(tokens)), program_(program) {
    vars_ = &program_.vars;
    consts_ = &program_.consts;
  }

  void ParseProgram() {
    SkipSeparators();
    if (IsKeyword(Kw::Option)) {
      Next();
      if (Peek().kind != Tok::Name || Peek().text != "explicit") Fail("expected Explicit after Option");
      Next();
      program_.option_explicit = true;
      ExpectStatementEnd();
    }
    while (true) {
      SkipSeparators();
      const Token& t = Peek();
      if (t.kind == Tok::End) break;
      if (IsProcedureStart()) {
        ParseProcedure();
      } else if (IsBlockTerminator(t)) {
        Fail("unexpected '" + t.spelling + "'");
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
  bool IsName(std::string_view lower, size_t ahead = 0) const {
    return Peek(ahead).kind == Tok::Name && Peek(ahead).text == lower;
  }

  [[noreturn]] void Fail(const std::string& what, int32_t code = error_code::SyntaxError) const {
    Raise(code, what, Peek().line);
  }
  [[noreturn]] void Refuse(std::string_view what) const {
    Fail(std::string(what) + " is not supported by this script engine");
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
    if (Peek().kind == Tok::Keyword) Fail("expected " + std::string(what) + " but found the keyword " + Describe(Peek()));
    if (Peek().kind != Tok::Name) Fail("expected " + std::string(what) + " but found " + Describe(Peek()));
    return Next();
  }

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

  static bool IsBlockTerminator(const Token& t) {
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

  // ---- nesting guards ----
  class DepthGuard {
   public:
    DepthGuard(int32_t& depth, int32_t limit, const Parser& parser, const char* what) : depth_(depth) {
      if (++depth_ > limit) {
        --depth_;
        parser.Fail(std::string(what) + " nested too deeply", error_code::OutOfStackSpace);
      }
    }
    ~DepthGuard() { --depth_; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

   private:
    int32_t& depth_;
  };

  // ---- procedures ----
  void ParseProcedure() {
    if (!AcceptKeyword(Kw::Public)) AcceptKeyword(Kw::Private);
    Procedure proc;
    proc.is_function = IsKeyword(Kw::Function);
    proc.line = Next().line;
    const Token& name = ExpectName(proc.is_function ? "the name of the Function" : "the name of the Sub");
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
        if (Accept(Tok::LeftParen)) Expect(Tok::RightParen, "')'");
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
    vars_ = &proc.vars;
    consts_ = &proc.consts;
    proc.body = ParseBlock();
    ExpectKeyword(Kw::End, proc.is_function ? "End Function" : "End Sub");
    ExpectKeyword(proc.is_function ? Kw::Function : Kw::Sub, proc.is_function ? "Function" : "Sub");
    ExpectStatementEnd();
    proc_ = nullptr;
    vars_ = &program_.vars;
    consts_ = &program_.consts;
    program_.procedures.push_back(std::move(proc));
  }

  // ---- statements ----
  Block ParseBlock() {
    DepthGuard guard(block_depth_, limits::kMaxBlockDepth, *this, "blocks");
    Block block;
    while (true) {
      SkipSeparators();
      const Token& t = Peek();
      if (t.kind == Tok::End || IsBlockTerminator(t)) return block;
      if (IsProcedureStart()) Fail("a Function or Sub cannot be defined inside another statement or procedure");
      ParseStatement(block, false);
      ExpectStatementEnd();
    }
  }

  // The statements of a single-line If, up to the end of the line or Else.
  Block ParseInlineStatements() {
    DepthGuard guard(block_depth_, limits::kMaxBlockDepth, *this, "blocks");
    Block block;
    while (true) {
      if (Peek().kind == Tok::NewLine || Peek().kind == Tok::End || IsKeyword(Kw::Else)) return block;
      if (Accept(Tok::Colon)) continue;
      ParseStatement(block, true);
      ExpectStatementEnd(true);
    }
  }

  void ParseStatement(Block& out, bool inline_if) {
    const Token& t = Peek();
    if (t.kind == Tok::Name) {
      ParseNameStatement(out, inline_if);
      return;
    }
    if (t.kind != Tok::Keyword) Fail("expected a statement but found " + Describe(t));
    switch (t.keyword) {
      case Kw::Dim: Next(); ParseVarDecls(); return;
      case Kw::Public:
      case Kw::Private:
        if (proc_ != nullptr) Fail("'" + t.spelling + "' is allowed only at the top level of the script");
        Next();
        if (AcceptKeyword(Kw::Const)) {
          ParseConsts();
        } else {
          ParseVarDecls();
        }
        return;
      case Kw::Const: Next(); ParseConsts(); return;
      case Kw::ReDim: ParseReDim(out); return;
      case Kw::Erase: ParseErase(out); return;
      case Kw::If: ParseIf(out, inline_if); return;
      case Kw::For: NoInline(inline_if, "For"); ParseFor(out); return;
      case Kw::Do: NoInline(inline_if, "Do"); ParseDo(out); return;
      case Kw::While: NoInline(inline_if, "While"); ParseWhile(out); return;
      case Kw::Select: NoInline(inline_if, "Select Case"); ParseSelect(out); return;
      case Kw::Exit: ParseExit(out); return;
      case Kw::Call: ParseCallKeyword(out); return;
      case Kw::Let:
        Next();
        if (Peek().kind != Tok::Name) Fail("expected a variable after Let");
        ParseNameStatement(out, inline_if, true);
        return;
      case Kw::Option: Fail("Option Explicit must be the first statement of the script");
      case Kw::Function:
      case Kw::Sub: Fail("a Function or Sub cannot be defined inside another statement or procedure");
      case Kw::Set: Refuse("Set (objects)");
      case Kw::Class:
      case Kw::With:
      case Kw::New:
      case Kw::Property:
      case Kw::On:
      case Kw::GoTo:
      case Kw::Resume:
      case Kw::Stop: Refuse(KeywordText(t.keyword));
      default: Fail("expected a statement but found " + Describe(t));
    }
  }

  void NoInline(bool inline_if, std::string_view what) {
    if (inline_if) Fail(std::string(what) + " cannot stand in a single-line If");
  }

  Stmt* Add(Block& out, StmtKind kind, int32_t line) {
    Stmt* s = program_.NewStmt(kind, line);
    out.push_back(s);
    return s;
  }

  Expr* NameExpr(const Token& name) {
    Expr* e = program_.NewExpr(ExprKind::Name, name.line);
    e->name = name.text;
    return e;
  }

  void RefuseMemberAccess() {
    if (Peek().kind == Tok::Dot) Refuse("Access to object members with '.'");
  }

  // An assignment "x = 1", "a(i) = 1", or a call "Foo", "Foo 1, 2", "Foo (1)".
  void ParseNameStatement(Block& out, bool inline_if, bool assignment_only = false) {
    const Token& name = Next();
    RefuseMemberAccess();
    Expr* target = NameExpr(name);
    if (Accept(Tok::Equal)) {
      Stmt* s = Add(out, StmtKind::Assign, name.line);
      s->target = target;
      s->value = ParseExpression();
      return;
    }
    if (Peek().kind == Tok::LeftParen) {
      size_t saved = pos_;
      Next();
      std::vector<Expr*> args = ParseArgumentsAfterParen();
      RefuseMemberAccess();
      if (Accept(Tok::Equal)) {
        target->has_args = true;
        target->args = std::move(args);
        Stmt* s = Add(out, StmtKind::Assign, name.line);
        s->target = target;
        s->value = ParseExpression();
        return;
      }
      if (assignment_only) Fail("expected '=' after the variable of Let");
      if (AtStatementEnd(inline_if)) {
        if (args.size() >= 2) {
          Fail("use Call, or leave out the parentheses, to call '" + name.spelling + "' with several arguments",
               error_code::ParenthesesOnSubCall);
        }
        if (args.empty()) {
          target->has_args = true;
          target->call_statement = true;
          Add(out, StmtKind::Call, name.line)->value = target;
          return;
        }
      }
      // "Foo (a) + 1, b": the parenthesis starts the first argument.
      pos_ = saved;
    }
    if (assignment_only) Fail("expected '=' after the variable of Let");
    target->has_args = true;
    target->call_statement = true;
    if (!AtStatementEnd(inline_if)) {
      while (true) {
        target->args.push_back(ParseExpression());
        if (!Accept(Tok::Comma)) break;
      }
    }
    SetCallDepth(target);
    Add(out, StmtKind::Call, name.line)->value = target;
  }

  void ParseCallKeyword(Block& out) {
    Next();
    const Token& name = ExpectName("the name of a procedure after Call");
    RefuseMemberAccess();
    Expr* call = NameExpr(name);
    call->has_args = true;
    call->call_statement = true;
    if (Accept(Tok::LeftParen)) call->args = ParseArgumentsAfterParen();
    SetCallDepth(call);
    Add(out, StmtKind::Call, name.line)->value = call;
  }

  void ParseVarDecls() {
    while (true) {
      const Token& name = ExpectName("a variable name");
      VarDecl decl;
      decl.name = name.text;
      decl.line = name.line;
      if (Accept(Tok::LeftParen)) {
        decl.is_array = true;
        if (!Accept(Tok::RightParen)) {
          while (true) {
            decl.bounds.push_back(ParseExpression());
            if (Accept(Tok::RightParen)) break;
            Expect(Tok::Comma, "',' or ')'");
          }
        }
      }
      vars_->push_back(std::move(decl));
      if (!Accept(Tok::Comma)) break;
    }
  }

  void ParseConsts() {
    while (true) {
      const Token& name = ExpectName("the name of a constant");
      ConstDecl decl;
      decl.name = name.text;
      decl.line = name.line;
      Expect(Tok::Equal, "'='");
      decl.value = ParseExpression();
      consts_->push_back(decl);
      if (!Accept(Tok::Comma)) break;
    }
  }

  void ParseReDim(Block& out) {
    Stmt* s = Add(out, StmtKind::ReDim, Next().line);
    if (IsName("preserve") && Peek(1).kind == Tok::Name) {
      Next();
      s->preserve = true;
    }
    while (true) {
      ReDimItem item;
      item.target = NameExpr(ExpectName("the name of an array"));
      Expect(Tok::LeftParen, "'(' and the new bounds");
      while (true) {
        item.bounds.push_back(ParseExpression());
        if (Accept(Tok::RightParen)) break;
        Expect(Tok::Comma, "',' or ')'");
      }
      s->redims.push_back(std::move(item));
      if (!Accept(Tok::Comma)) break;
    }
  }

  void ParseErase(Block& out) {
    Stmt* s = Add(out, StmtKind::Erase, Next().line);
    while (true) {
      s->erased.push_back(NameExpr(ExpectName("the name of an array")));
      if (!Accept(Tok::Comma)) break;
    }
  }

  void ParseIf(Block& out, bool inline_if) {
    Stmt* s = Add(out, StmtKind::If, Next().line);
    s->conditions.push_back(ParseExpression());
    ExpectKeyword(Kw::Then, "Then");
    if (Peek().kind != Tok::NewLine && Peek().kind != Tok::End) {
      s->blocks.push_back(ParseInlineStatements());
      if (AcceptKeyword(Kw::Else)) {
        s->has_else = true;
        s->blocks.push_back(ParseInlineStatements());
      }
      return;
    }
    if (inline_if) Fail("a block If cannot stand in a single-line If");
    s->blocks.push_back(ParseBlock());
    while (true) {
      if (AcceptKeyword(Kw::ElseIf)) {
        s->conditions.push_back(ParseExpression());
        ExpectKeyword(Kw::Then, "Then");
        s->blocks.push_back(ParseBlock());
      } else if (AcceptKeyword(Kw::Else)) {
        s->has_else = true;
        s->blocks.push_back(ParseBlock());
        ExpectKeyword(Kw::End, "End If");
        ExpectKeyword(Kw::If, "If");
        return;
      } else if (AcceptKeyword(Kw::End)) {
        ExpectKeyword(Kw::If, "If");
        return;
      } else {
        Fail("expected End If but found " + Describe(Peek()));
      }
    }
  }

  Block ParseLoopBody(int32_t& counter) {
    ++counter;
    Block body = ParseBlock();
    --counter;
    return body;
  }

  void AcceptNextName(const Expr* variable) {
    if (Peek().kind == Tok::Name) {
      if (Peek().text != variable->name) Fail("Next names '" + Peek().spelling + "', not the loop's variable");
      Next();
    }
  }

  void ParseFor(Block& out) {
    int32_t line = Next().line;
    if (AcceptKeyword(Kw::Each)) {
      Stmt* s = Add(out, StmtKind::ForEach, line);
      s->target = NameExpr(ExpectName("the variable of For Each"));
      ExpectKeyword(Kw::In, "In");
      s->value = ParseExpression();
      ExpectStatementEnd();
      s->blocks.push_back(ParseLoopBody(for_depth_));
      ExpectKeyword(Kw::Next, "Next");
      AcceptNextName(s->target);
      return;
    }
    Stmt* s = Add(out, StmtKind::For, line);
    s->target = NameExpr(ExpectName("the variable of For"));
    Expect(Tok::Equal, "'='");
    s->value = ParseExpression();
    ExpectKeyword(Kw::To, "To");
    s->limit = ParseExpression();
    if (IsName("step")) {
      Next();
      s->step = ParseExpression();
    }
    ExpectStatementEnd();
    s->blocks.push_back(ParseLoopBody(for_depth_));
    ExpectKeyword(Kw::Next, "Next");
    AcceptNextName(s->target);
  }

  void ParseDo(Block& out) {
    Stmt* s = Add(out, StmtKind::Do, Next().line);
    if (AcceptKeyword(Kw::While)) {
      s->test = LoopTest::WhileTop;
      s->value = ParseExpression();
    } else if (AcceptKeyword(Kw::Until)) {
      s->test = LoopTest::UntilTop;
      s->value = ParseExpression();
    }
    ExpectStatementEnd();
    s->blocks.push_back(ParseLoopBody(do_depth_));
    ExpectKeyword(Kw::Loop, "Loop");
    bool bottom_while = IsKeyword(Kw::While);
    if (bottom_while || IsKeyword(Kw::Until)) {
      if (s->test != LoopTest::None) Fail("a Do loop can test its condition at the top or at the bottom, not both");
      Next();
      s->test = bottom_while ? LoopTest::WhileBottom : LoopTest::UntilBottom;
      s->value = ParseExpression();
    }
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
    while (true) {
      if (AcceptKeyword(Kw::End)) {
        ExpectKeyword(Kw::Select, "Select");
        return;
      }
      if (!AcceptKeyword(Kw::Case)) Fail("expected Case or End Select but found " + Describe(Peek()));
      if (seen_else) Fail("Case after Case Else");
      CaseClause clause;
      if (AcceptKeyword(Kw::Else)) {
        clause.is_else = true;
        seen_else = true;
      } else {
        while (true) {
          clause.items.push_back(ParseCaseItem());
          if (!Accept(Tok::Comma)) break;
        }
      }
      ExpectStatementEnd();
      clause.body = ParseBlock();
      s->cases.push_back(std::move(clause));
    }
  }

  CaseItem ParseCaseItem() {
    CaseItem item;
    if (AcceptKeyword(Kw::Is)) {
      OperatorInfo info = BinaryOperatorOf(Peek());
      if (info.precedence != 7) Fail("expected a comparison after Case Is");
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
    if (AcceptKeyword(Kw::For)) {
      if (for_depth_ == 0) Fail("Exit For outside a For loop");
      s->exit = ExitKind::For;
    } else if (AcceptKeyword(Kw::Do)) {
      if (do_depth_ == 0) Fail("Exit Do outside a Do loop");
      s->exit = ExitKind::Do;
    } else if (AcceptKeyword(Kw::Function)) {
      if (proc_ == nullptr || !proc_->is_function) Fail("Exit Function outside a Function");
      s->exit = ExitKind::Function;
    } else if (AcceptKeyword(Kw::Sub)) {
      if (proc_ == nullptr || proc_->is_function) Fail("Exit Sub outside a Sub");
      s->exit = ExitKind::Sub;
    } else {
      Fail("expected For, Do, Function or Sub after Exit");
    }
  }

  // ---- expressions ----
  Expr* ParseExpression() { return ParseBinary(1); }

  void CheckTreeDepth(Expr* e) {
    if (e->depth > limits::kMaxExpressionDepth) {
      Raise(error_code::OutOfStackSpace, "expression too long or nested too deeply", e->line);
    }
  }

  void SetCallDepth(Expr* e) {
    int32_t depth = 0;
    for (const Expr* arg : e->args) depth = std::max(depth, arg->depth);
    e->depth = depth + 1;
    CheckTreeDepth(e);
  }

  Expr* ParseBinary(int min_precedence) {
    DepthGuard guard(parse_depth_, limits::kMaxParseDepth, *this, "expression");
    Expr* left = ParseUnary();
    while (true) {
      if (IsKeyword(Kw::Is)) Refuse("'Is' (comparison of objects)");
      OperatorInfo info = BinaryOperatorOf(Peek());
      if (info.precedence == 0 || info.precedence < min_precedence) return left;
      int32_t line = Next().line;
      Expr* right = ParseBinary(info.precedence + 1);
      Expr* node = program_.NewExpr(ExprKind::Binary, line);
      node->op = info.op;
      node->args = {left, right};
      node->depth = std::max(left->depth, right->depth) + 1;
      CheckTreeDepth(node);
      left = node;
    }
  }

  Expr* Unary(ExprKind kind, int32_t line, Expr* operand) {
    Expr* node = program_.NewExpr(kind, line);
    node->args = {operand};
    node->depth = operand->depth + 1;
    CheckTreeDepth(node);
    return node;
  }

  Expr* ParseUnary() {
    DepthGuard guard(parse_depth_, limits::kMaxParseDepth, *this, "expression");
    const Token& t = Peek();
    if (t.kind == Tok::Minus) {
      Next();
      return Unary(ExprKind::Negate, t.line, ParseBinary(kNegateOperandPrecedence));
    }
    if (t.kind == Tok::Plus) {
      Next();
      return ParseBinary(kNegateOperandPrecedence);
    }
    if (t.kind == Tok::Keyword && t.keyword == Kw::Not) {
      Next();
      return Unary(ExprKind::Not, t.line, ParseBinary(kNotOperandPrecedence));
    }
    Expr* e = ParsePrimary();
    RefuseMemberAccess();
    return e;
  }

  std::vector<Expr*> ParseArgumentsAfterParen() {
    std::vector<Expr*> args;
    if (Accept(Tok::RightParen)) return args;
    while (true) {
      args.push_back(ParseExpression());
      if (Accept(Tok::RightParen)) return args;
      Expect(Tok::Comma, "',' or ')'");
    }
  }

  Expr* Literal(const Token& t, Value value) {
    Expr* e = program_.NewExpr(ExprKind::Literal, t.line);
    e->literal = std::move(value);
    return e;
  }

  Expr* ParsePrimary() {
    size_t start = pos_;
    const Token& t = Next();
    switch (t.kind) {
      case Tok::Number: return Literal(t, t.number);
      case Tok::String: return Literal(t, Value::Str(t.text));
      case Tok::Name: {
        Expr* e = NameExpr(t);
        if (Accept(Tok::LeftParen)) {
          e->has_args = true;
          e->args = ParseArgumentsAfterParen();
          SetCallDepth(e);
        }
        return e;
      }
      case Tok::LeftParen: {
        Expr* e = ParseExpression();
        Expect(Tok::RightParen, "')'");
        e->paren = true;
        return e;
      }
      case Tok::Keyword:
        switch (t.keyword) {
          case Kw::True: return Literal(t, Value::Bool(true));
          case Kw::False: return Literal(t, Value::Bool(false));
          case Kw::Empty: return Literal(t, Value());
          case Kw::Null: return Literal(t, Value::Null());
          case Kw::Nothing:
          case Kw::New: Refuse(std::string(KeywordText(t.keyword)) + " (objects)");
          default: break;
        }
        break;
      default: break;
    }
    pos_ = start;
    Fail("expected an expression but found " + Describe(t));
  }

  std::vector<Token> tokens_;
  size_t pos_ = 0;
  Program& program_;
  Procedure* proc_ = nullptr;
  std::vector<VarDecl>* vars_;
  std::vector<ConstDecl>* consts_;
  int32_t for_depth_ = 0;
  int32_t do_depth_ = 0;
  int32_t parse_depth_ = 0;
  int32_t block_depth_ = 0;
};

}  // namespace

void ParseScript(std::string_view text, Program& program) {
  Parser(Tokenize(text), program).ParseProgram();
}

}  // namespace morvex::script
