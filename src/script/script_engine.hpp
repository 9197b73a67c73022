// The script engine: a small VBScript interpreter for the user's procedures,
// behind the interface that the calculator's script path uses (Language,
// ExecuteStatement, Procedures().Item, NumArgs, Name, Run). It knows nothing of
// the calculator: it takes a text and strings, and gives back a string.
//
// The subset it takes (everything else is refused when the text is compiled):
//  - Function and Sub (Public/Private allowed), parameters ByRef (the default:
//    a plain variable of the caller is shared) or ByVal; a Function's result
//    is assigned to its name; Call, and calls with or without parentheses.
//  - Dim and Const of plain variables, in a procedure or at the top level;
//    names not declared are variables of their scope. Top-level statements
//    run at ExecuteStatement; their variables last while the engine lives.
//  - If/ElseIf/Else/End If and the single-line If; For/Next with Step;
//    Do/Loop with While or Until at the top or the bottom; While/Wend;
//    Exit For/Do/Function/Sub; Select Case with lists, "To" ranges and "Is".
//  - Values: Empty, Boolean, numbers (all Doubles), strings. Operators: ^ unary
//    - * / \ Mod + - & = <> < > <= >= Not And Or Xor Eqv Imp, with VBScript's
//    precedence and its rules for strings met by numbers.
//  - Built-in functions: Abs Atn Cos Sin Tan Exp Log Sqr Int Fix Round Sgn
//    CDbl CInt CLng CBool CStr IsNumeric IsEmpty TypeName Len Left Right Mid
//    InStr UCase LCase Trim LTrim RTrim Replace Space String StrReverse
//    StrComp Chr Asc; constants vbCr vbLf vbCrLf vbNewLine vbTab.
//  - Comments with ' and Rem, ":" between statements, " _" to continue a line.
// Not taken: arrays (Dim a(3), ReDim, For Each), Null, objects (Set, Class,
// With, CreateObject), Option Explicit, On Error, GoTo, dates, dialogs, Eval
// and Execute, Rnd, &H literals.
//
// The sandbox: a script reaches nothing outside the interpreter, and every
// ExecuteStatement or Run is bounded (script_limits.hpp): a step budget, a
// call depth, a stack allowance, a cap on the size of strings and of the
// script, and a bounded depth of the parser's recursion.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace morvex::script {

// What stopped the engine.
enum class Stop : uint8_t {
  Compile,           // the text is no script of this subset
  Runtime,           // an error of a statement: division by zero, type mismatch, ...
  StepBudget,        // the step budget of one run is used up
  CallDepth,         // procedure calls nested too deeply
  StackLimit,        // expressions or blocks nested too deeply while running
  SizeCap,           // a string or the script text over its size cap
  UnknownProcedure,  // Item or Run of a name the script does not define
};

// Every failure of the engine: a VBScript error number, what stopped it, the
// line of the script (1-based; 0 when unknown) and a message naming the error.
class ScriptError : public std::exception {
 public:
  ScriptError(int32_t code, Stop stop, std::string message, int32_t line = 0)
      : code_(code), stop_(stop), message_(std::move(message)), line_(line) {}
  int32_t code() const noexcept { return code_; }
  Stop stop() const noexcept { return stop_; }
  void set_stop(Stop stop) noexcept { stop_ = stop; }
  int32_t line() const noexcept { return line_; }
  void set_line(int32_t line) noexcept { line_ = line; }
  const std::string& message() const noexcept { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  int32_t code_;
  Stop stop_;
  std::string message_;
  int32_t line_;
};

// A procedure of the script: its name as written and its number of parameters.
class ScriptProcedure {
 public:
  ScriptProcedure(std::string name, int32_t num_args) : name_(std::move(name)), num_args_(num_args) {}
  const std::string& Name() const { return name_; }
  int32_t NumArgs() const { return num_args_; }

 private:
  std::string name_;
  int32_t num_args_;
};

class ScriptProcedures {
 public:
  // Names compared without regard to case; an unknown name fails (UnknownProcedure).
  const ScriptProcedure& Item(std::string_view name) const;
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }

 private:
  friend class ScriptControl;
  std::vector<ScriptProcedure> items_;
};

class ScriptControl {
 public:
  ScriptControl();
  ~ScriptControl();
  ScriptControl(ScriptControl&&) noexcept;
  ScriptControl& operator=(ScriptControl&&) noexcept;

  // "vbscript" in any case; any other language fails.
  void Language(std::string_view name);

  // Compiles a whole script text, defines its procedures and runs its
  // top-level statements with fresh top-level variables. A text that does not
  // compile fails with Stop::Compile and its line; the top level fails as a
  // run does. The thread keeps the last text compiled, so the same text again
  // is not compiled again.
  void ExecuteStatement(std::string_view text);

  // Whether the text of the last ExecuteStatement differed from the one the
  // thread's ExecuteStatement had before it: a host that reports a script
  // that does not compile can do so once per change of the text.
  bool TextIsNew() const { return text_is_new_; }

  const ScriptProcedures& Procedures() const { return procedures_; }

  // Calls a procedure with one string per parameter and returns its result
  // as CStr gives it ("" for Empty and for a Sub). What the procedure does to
  // its parameters is not given back.
  std::string Run(std::string_view name, const std::vector<std::string>& parameters);

 private:
  struct State;
  bool language_set_ = false;
  bool text_is_new_ = false;
  ScriptProcedures procedures_;
  std::unique_ptr<State> state_;
};

}  // namespace morvex::script
