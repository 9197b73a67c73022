// The script path: with a file "vbscript.txt" in the program's folder, every
// line is first offered to the procedures of that script. The line is read as
// a call (a name, arguments in parentheses, an optional "=name" for a numeric
// result); each argument is computed by the calculator itself, the procedure
// runs, and its result becomes the line's answer. Any failure on the way makes
// the line an ordinary line; what stopped the engine is told in ScriptFailure.
#include "files/script_path.hpp"

#include <vector>

#include "core/nesting.hpp"
#include "core/shared_state.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/reducer.hpp"
#include "files/line_files.hpp"
#include "platform/file_system.hpp"
#include "script/script_engine.hpp"
#include "script/script_limits.hpp"

namespace morvex::detail {
namespace {

constexpr std::string_view kScriptFile = "vbscript.txt";
constexpr int32_t kMaxParameters = 12;

[[noreturn]] void Refuse(std::string_view why) { Fail(failure_code::InvalidCall, why); }

// The script text: the file's entries joined as they stand (a CR LF file keeps
// its lines apart by their CR; a file of LF ends alone runs together), taken
// by the count rules of the line files, but the one entry of a file without a
// line feed is taken too.
std::string ReadScriptText(const std::string& path) {
  FastTextStream stream;
  stream.OpenTextFileForReading(path);
  std::string text;
  WalkLineFile(stream, [&](int16_t, int16_t) { text += CurrentLine(stream); });
  return text;
}

struct ScriptCall {
  std::string name;
  std::string arguments;
};

// The procedure name and the argument text of a line; comparisons are exact.
ScriptCall CutCall(const std::string& text) {
  ScriptCall call;
  const size_t open = text.find('(');
  if (open != std::string::npos) {
    call.name = text.substr(0, open);
    call.arguments = text.substr(open + 1);
    const size_t equals = call.arguments.find('=');
    if (equals != std::string::npos) call.arguments.resize(equals);
  } else {
    call.arguments = text;
    const size_t equals = text.find('=');
    call.name = equals == std::string::npos ? text : text.substr(0, equals);
  }
  return call;
}

// p(1) .. p(k-1) end at commas (not matched against parentheses); p(k) is the
// rest less its last character, the closing parenthesis.
std::vector<std::string> CutArguments(std::string arguments, int32_t k) {
  std::vector<std::string> parameters;
  for (int32_t i = 1; i < k; ++i) {
    const size_t comma = arguments.find(',');
    if (comma == std::string::npos) Refuse("a script call with too few arguments");
    parameters.push_back(arguments.substr(0, comma));
    arguments.erase(0, comma + 1);
  }
  if (arguments.empty()) Refuse("a script call without its last argument");
  arguments.pop_back();
  parameters.push_back(std::move(arguments));
  return parameters;
}

std::string CalculateText(Calculator& c, LineCalculation calculate, std::string line) { return calculate(c, line); }

// Computes each argument as a line; Ans is put back between the arguments. An
// argument that gives no value but leaves trailing text (a quoted string)
// reaches the script as that text.
std::string ComputeArguments(Calculator& c, LineCalculation calculate, std::vector<std::string>& parameters) {
  const int32_t k = static_cast<int32_t>(parameters.size());
  std::string saved;
  for (int32_t i = 1; i <= k; ++i) {
    c.RaiseVBSProgress(static_cast<double>(i) / (k + 1));
    saved = CalculateText(c, calculate, i == 1 ? std::string("Ans") : saved);
    std::string& parameter = parameters[static_cast<size_t>(i - 1)];
    parameter = CalculateText(c, calculate, parameter);
    if (parameter.empty() && !c.Expression.empty()) parameter = c.Expression;
  }
  c.RaiseVBSProgress(1.0);
  return saved;
}

bool IsNumberText(const std::string& result) {
  return !result.empty() && NumberToText(ReadNumber(result)) == result;
}

// What stopped a run, as ScriptFailure tells it; a run-time error is told
// after `where`, the place of its line.
std::string StopText(const script::ScriptError& error, const std::string& where) {
  switch (error.stop()) {
    case script::Stop::StepBudget: return "stopped by the step budget";
    case script::Stop::CallDepth: return "call depth over " + std::to_string(script::limits::kMaxCallDepth);
    case script::Stop::StackLimit: return "nesting over the stack limit";
    case script::Stop::SizeCap: return "string over the size cap";
    default: return where + ": " + error.message();
  }
}

// Compiles the script and runs its top level. A script that does not compile
// or whose top level fails is told once per change of its text.
void LoadScript(Calculator& c, script::ScriptControl& engine, const std::string& path) {
  try {
    engine.Language("vbscript");
    engine.ExecuteStatement(ReadScriptText(path));
  } catch (const script::ScriptError& error) {
    if (engine.TextIsNew()) {
      const std::string line = "line " + std::to_string(error.line());
      c.ScriptFailure = std::string(kScriptFile) + (error.stop() == script::Stop::Compile
                                                        ? " does not compile: " + line + ": " + error.message()
                                                        : " does not run: " + StopText(error, line));
    }
    Refuse("the script file cannot be used");
  }
}

std::string RunProcedure(Calculator& c, script::ScriptControl& engine, const std::string& name,
                         const std::vector<std::string>& parameters) {
  try {
    return engine.Run(name, parameters);
  } catch (const script::ScriptError& error) {
    const std::string where =
        "run-time error at line " + std::to_string(error.line()) + " of " + std::string(kScriptFile);
    c.ScriptFailure = name + ": " + StopText(error, where);
    Refuse("the script procedure failed");
  }
}

std::string RunCall(Calculator& c, const std::string& text, LineCalculation calculate) {
  SharedState& g = Shared();
  const std::string path = platform::JoinPath(c.ProgramFolder, kScriptFile);
  if (!platform::FileExists(path)) Refuse("no script file");
  script::ScriptControl engine;
  LoadScript(c, engine, path);

  const ScriptCall call = CutCall(text);
  const script::ScriptProcedure* procedure = nullptr;
  try {
    procedure = &engine.Procedures().Item(call.name);
  } catch (const script::ScriptError&) {
    Refuse("no such script procedure");  // the usual way for a line that is no call
  }
  const int32_t k = procedure->NumArgs();
  g.gScriptName.clear();
  g.gScriptName = procedure->Name();
  if (k > kMaxParameters) return "";

  NestingGuard nesting("script calls");
  std::vector<std::string> parameters;
  std::string saved;
  std::string tail;
  if (k > 0) {
    parameters = CutArguments(call.arguments, k);
    saved = ComputeArguments(c, calculate, parameters);
    tail = text;
  } else {
    c.RaiseVBSProgress(0.5);
    if (text.find('(') != std::string::npos || text.find('=') != std::string::npos) tail = text;
  }
  const std::string result = RunProcedure(c, engine, procedure->Name(), parameters);

  if (IsNumberText(result)) {
    saved = CalculateText(c, calculate, result);  // the result becomes Ans
    const size_t equals = tail.find('=');
    if (equals != std::string::npos) CalculateText(c, calculate, saved + tail.substr(equals));
  } else {
    CalculateText(c, calculate, saved);  // Ans as it was
  }
  if (k == 0) c.RaiseVBSProgress(1.0);
  return result;
}

}  // namespace

bool ScriptFileExists(const Calculator& c) { return platform::FileExists(platform::JoinPath(c.ProgramFolder, kScriptFile)); }

std::string RunScriptLine(Calculator& c, const std::string& text, LineCalculation calculate) {
  SharedState& g = Shared();
  g.gScriptDeclined = false;
  try {
    return RunCall(c, text, calculate);
  } catch (const Failure& failure) {
    if (IsFatal(failure)) throw;
    g.gScriptDeclined = true;  // every failure takes the one quiet road
    return "";
  }
}

}  // namespace morvex::detail
