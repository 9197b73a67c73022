#include "platform/script/script_control.hpp"

#include <utility>

#include "platform/script/script_budget.hpp"
#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"
#include "platform/script/script_frames.hpp"
#include "platform/script/script_interpreter.hpp"
#include "platform/script/script_lexer.hpp"
#include "platform/script/script_limits.hpp"
#include "platform/script/script_program_cache.hpp"

namespace morvex::script {

struct ScriptControl::State {
  std::shared_ptr<const Program> program;
  std::vector<Value> globals;
  SlotStack slots;
  Budget budget;
};

namespace {

Failure ToFailure(const ScriptError& error, int32_t line, const Procedure* procedure) {
  int32_t at = error.line() != 0 ? error.line() : line;
  std::string message = "Script error " + std::to_string(error.code());
  if (at > 0) message += " at line " + std::to_string(at);
  if (procedure != nullptr && error.line() == 0) {
    message += std::string(" in ") + (procedure->is_function ? "Function " : "Sub ") + procedure->name;
  }
  message += ": " + error.message();
  return Failure(error.code(), message);
}

// Runs `body` on an interpreter of the state's program and turns script
// errors into failures that name the line.
template <typename Body>
auto Guarded(Interpreter& interpreter, Body&& body) {
  try {
    return body();
  } catch (const ScriptError& error) {
    throw ToFailure(error, interpreter.line(), interpreter.procedure());
  }
}

}  // namespace

const ScriptProcedure& ScriptProcedures::Item(std::string_view name) const {
  std::string lower = LowerName(name);
  for (const ScriptProcedure& item : items_) {
    if (LowerName(item.Name()) == lower) return item;
  }
  throw Failure(error_code::UnknownName, "The script has no procedure named \"" + std::string(name) + "\"");
}

ScriptControl::ScriptControl() : state_(std::make_unique<State>()) {}
ScriptControl::~ScriptControl() = default;
ScriptControl::ScriptControl(ScriptControl&&) noexcept = default;
ScriptControl& ScriptControl::operator=(ScriptControl&&) noexcept = default;

void ScriptControl::Language(std::string_view name) {
  if (LowerName(name) != "vbscript") {
    throw Failure(error_code::InvalidCall, "The script engine knows only VBScript, not \"" + std::string(name) + "\"");
  }
  language_set_ = true;
}

void ScriptControl::ExecuteStatement(std::string_view text) {
  if (!language_set_) throw Failure(error_code::LanguageNotSet, "Set the script language before running a script");
  if (text.size() > limits::kMaxScriptLength) {
    throw Failure(error_code::OutOfMemory, "The script text is longer than " +
                                               std::to_string(limits::kMaxScriptLength) + " characters");
  }
  std::shared_ptr<const Program> program;
  try {
    program = CompiledProgram(text);
  } catch (const ScriptError& error) {
    throw ToFailure(error, 0, nullptr);
  }
  State& state = *state_;
  state.program = program;
  state.slots.Clear();
  procedures_.items_.clear();
  for (const Procedure& proc : program->procedures) {
    procedures_.items_.emplace_back(proc.name, static_cast<int32_t>(proc.params.size()));
  }
  state.budget.Start();
  Interpreter interpreter(*program, state.globals, state.slots, state.budget);
  Guarded(interpreter, [&] {
    interpreter.ResetGlobals();
    interpreter.RunTopLevel();
  });
}

std::string ScriptControl::Run(std::string_view name, std::vector<std::string>& parameters) {
  State& state = *state_;
  if (!state.program) throw Failure(error_code::UnknownName, "No script has been given to the engine");
  int32_t index = state.program->FindProcedure(LowerName(name));
  if (index < 0) {
    throw Failure(error_code::UnknownName, "The script has no procedure named \"" + std::string(name) + "\"");
  }
  const Procedure& proc = state.program->procedures[static_cast<size_t>(index)];
  if (parameters.size() != proc.params.size()) {
    throw Failure(error_code::WrongArgumentCount,
                  "\"" + proc.name + "\" takes " + std::to_string(proc.params.size()) + " argument(s), not " +
                      std::to_string(parameters.size()));
  }
  std::vector<Value> arguments;
  arguments.reserve(parameters.size());
  for (const std::string& parameter : parameters) {
    if (parameter.size() > limits::kMaxStringLength) {
      throw Failure(error_code::OutOfStringSpace, "An argument is longer than the string limit");
    }
    arguments.push_back(Value::Str(parameter));
  }
  state.slots.Clear();
  state.budget.Start();
  // The program stays alive for the call even if the script is replaced meanwhile.
  std::shared_ptr<const Program> program = state.program;
  Interpreter interpreter(*program, state.globals, state.slots, state.budget);
  return Guarded(interpreter, [&] {
    Value result = interpreter.CallFromHost(index, arguments);
    for (size_t i = 0; i < parameters.size(); ++i) {
      const Value& value = arguments[i];
      if (proc.params[i].by_ref && !value.is_null() && !value.is_array()) parameters[i] = ToText(value);
    }
    return ToText(result);
  });
}

}  // namespace morvex::script
