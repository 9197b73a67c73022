// The script engine of the calculator: a VBScript interpreter behind the small
// interface that the script path uses. It runs in a sandbox: a script reaches
// nothing outside the interpreter, and every run is bounded in steps, call
// depth, stack, string and array sizes.
//
// Every failure is a morvex::Failure with a VBScript error number (13 type
// mismatch, 11 division by zero, 6 overflow, 5 invalid call, 28 out of stack
// space, 1002 syntax error, 438 unknown procedure, 500 undefined variable, ...)
// and a message that names the script line.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "morvex/failure.hpp"

namespace morvex::script {

// A procedure that a script defines: its name as written and its number of parameters.
class ScriptProcedure {
 public:
  ScriptProcedure(std::string name, int32_t num_args) : name_(std::move(name)), num_args_(num_args) {}
  const std::string& Name() const { return name_; }
  int32_t NumArgs() const { return num_args_; }

 private:
  std::string name_;
  int32_t num_args_;
};

// The procedures of the script, in the order of the text.
class ScriptProcedures {
 public:
  // Names are compared without regard to case; an unknown name fails with code 438.
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
  ScriptControl(const ScriptControl&) = delete;
  ScriptControl& operator=(const ScriptControl&) = delete;

  // "vbscript" in any case; anything else fails with code 5.
  void Language(std::string_view name);

  // Takes a whole script text: defines its procedures and runs its top-level
  // statements with fresh top-level variables. A text the engine cannot take
  // (syntax error, refused construct or name, unknown function) fails, and so
  // does an error while the top level runs. A second call replaces the script.
  void ExecuteStatement(std::string_view text);

  const ScriptProcedures& Procedures() const { return procedures_; }

  // Calls a procedure with one string per parameter. Parameters declared
  // ByRef (the default) are passed by reference: what the procedure leaves in
  // them is written back as text. Returns the result as CStr gives it, ""
  // for Empty and for a Sub. A run-time error in the script fails.
  std::string Run(std::string_view name, std::vector<std::string>& parameters);

 private:
  struct State;
  bool language_set_ = false;
  ScriptProcedures procedures_;
  std::unique_ptr<State> state_;
};

}  // namespace morvex::script
