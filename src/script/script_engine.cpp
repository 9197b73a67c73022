// The engine's door: compiles a text (once per text on a thread), runs its top
// level and its procedures within the budget, and gives every failure the line
// of the script where it happened.
#include "script/script_engine.hpp"

#include <optional>
#include <utility>

#include "script/script_interpreter.hpp"

namespace morvex::script {
namespace {

std::string_view ErrorName(int32_t code) {
  switch (code) {
    case error_code::InvalidCall: return "Invalid procedure call or argument";
    case error_code::Overflow: return "Overflow";
    case error_code::DivisionByZero: return "Division by zero";
    case error_code::TypeMismatch: return "Type mismatch";
    case error_code::OutOfStringSpace: return "Out of string space";
    case error_code::TooLong: return "Script ran too long";
    case error_code::OutOfStackSpace: return "Out of stack space";
    case error_code::UnknownName: return "Unknown procedure or function";
    case error_code::WrongArgumentCount: return "Wrong number of arguments";
    case error_code::IllegalAssignment: return "Illegal assignment";
    case error_code::SyntaxError: return "Syntax error";
    case error_code::InvalidCharacter: return "Invalid character";
    case error_code::UnterminatedString: return "Unterminated string constant";
    case error_code::NameRedefined: return "Name redefined";
    case error_code::ParenthesesOnSubCall: return "Cannot use parentheses when calling a Sub";
    default: return "Script error";
  }
}

// The last text compiled on this thread. A calculator hands the same text to
// a new engine for every line; it is compiled once.
struct CompiledText {
  std::string text;
  std::shared_ptr<const Program> program;
  std::optional<ScriptError> error;
};
thread_local CompiledText last_compiled;

}  // namespace

void Raise(int32_t code, std::string_view detail, int32_t line, Stop stop) {
  std::string message(ErrorName(code));
  if (!detail.empty()) message.append(": ").append(detail);
  throw ScriptError(code, stop, std::move(message), line);
}

std::string Quoted(std::string_view text) {
  constexpr size_t kShown = 40;
  std::string out = "\"";
  out.append(text.substr(0, kShown));
  if (text.size() > kShown) out += "...";
  return out + '"';
}

std::string LowerName(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return lower;
}

void Budget::Exhausted() {
  Raise(error_code::TooLong, "more than " + std::to_string(limits::kStepBudget) + " steps in one run", 0,
        Stop::StepBudget);
}

void Budget::CheckStack() const {
  uintptr_t here = CurrentFrame();
  uintptr_t used = here < stack_base_ ? stack_base_ - here : here - stack_base_;
  if (used > limits::kMaxStackBytes) {
    Raise(error_code::OutOfStackSpace, "expressions or blocks nested too deeply", 0, Stop::StackLimit);
  }
}

void Budget::EnterCall() {
  if (call_depth_ >= limits::kMaxCallDepth) {
    Raise(error_code::OutOfStackSpace, "more than " + std::to_string(limits::kMaxCallDepth) + " nested calls", 0,
          Stop::CallDepth);
  }
  ++call_depth_;
  CheckStack();
}

const ScriptProcedure& ScriptProcedures::Item(std::string_view name) const {
  std::string lower = LowerName(name);
  for (const ScriptProcedure& item : items_) {
    if (LowerName(item.Name()) == lower) return item;
  }
  Raise(error_code::UnknownName, "the script has no procedure " + Quoted(name), 0, Stop::UnknownProcedure);
}

struct ScriptControl::State {
  std::shared_ptr<const Program> program;
  std::vector<Value> globals;
  Budget budget;

  // Runs `body` on an interpreter of the program; a failure without a line
  // gets the line of the statement that was running.
  template <typename Body>
  auto Guarded(Body&& body) {
    budget.Start();
    Interpreter interpreter(*program, globals, budget);
    try {
      return body(interpreter);
    } catch (ScriptError& error) {
      if (error.line() == 0) error.set_line(interpreter.line());
      throw;
    }
  }
};

ScriptControl::ScriptControl() : state_(std::make_unique<State>()) {}
ScriptControl::~ScriptControl() = default;
ScriptControl::ScriptControl(ScriptControl&&) noexcept = default;
ScriptControl& ScriptControl::operator=(ScriptControl&&) noexcept = default;

void ScriptControl::Language(std::string_view name) {
  if (LowerName(name) != "vbscript") {
    Raise(error_code::InvalidCall, "the script engine knows only VBScript, not " + Quoted(name), 0, Stop::Compile);
  }
  language_set_ = true;
}

void ScriptControl::ExecuteStatement(std::string_view text) {
  if (!language_set_) Raise(error_code::InvalidCall, "set the script language first", 0, Stop::Compile);
  if (text.size() > limits::kMaxScriptLength) {
    Raise(error_code::OutOfStringSpace, "the script text is over the size cap", 0, Stop::SizeCap);
  }
  CompiledText& last = last_compiled;
  text_is_new_ = last.text != text || (!last.program && !last.error);
  if (text_is_new_) {
    last = CompiledText{std::string(text), nullptr, std::nullopt};
    try {
      last.program = CompileProgram(text);
    } catch (ScriptError& error) {
      error.set_stop(Stop::Compile);
      last.error = error;
    }
  }
  if (last.error) throw *last.error;
  State& state = *state_;
  state.program = last.program;
  procedures_.items_.clear();
  for (const Procedure& proc : state.program->procedures) {
    procedures_.items_.emplace_back(proc.name, static_cast<int32_t>(proc.params.size()));
  }
  state.globals.assign(static_cast<size_t>(state.program->global_count), Value());
  state.Guarded([](Interpreter& interpreter) { interpreter.RunTopLevel(); });
}

std::string ScriptControl::Run(std::string_view name, const std::vector<std::string>& parameters) {
  State& state = *state_;
  int32_t index = state.program ? state.program->FindProcedure(name) : -1;
  if (index < 0) Raise(error_code::UnknownName, "the script has no procedure " + Quoted(name), 0, Stop::UnknownProcedure);
  const Procedure& proc = state.program->procedures[static_cast<size_t>(index)];
  if (parameters.size() != proc.params.size()) {
    Raise(error_code::WrongArgumentCount, Quoted(proc.name) + " takes " + std::to_string(proc.params.size()) +
                                              " argument(s), not " + std::to_string(parameters.size()));
  }
  std::vector<Value> arguments;
  for (const std::string& parameter : parameters) {
    CheckStringLength(parameter.size());
    arguments.push_back(Value::Str(parameter));
  }
  return state.Guarded([&](Interpreter& interpreter) {
    return ToText(interpreter.CallFromHost(index, std::move(arguments)));
  });
}

}  // namespace morvex::script
