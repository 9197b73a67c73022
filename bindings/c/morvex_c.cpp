// The C interface: a handle around clsMorvex. Every entry point catches
// whatever the calculator throws and turns it into a return code and a
// failure record on the handle, so that no C++ exception reaches a C host.
#include "morvex/morvex.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "morvex/morvex.hpp"

struct morvex_calculator {
  morvex::clsMorvex calculator;
  int32_t failure_code = 0;
  std::string failure_message;
  // Text that a getter computes (rather than reads from a field) lives here
  // until the next call on the handle.
  std::string scratch;
  std::string result;
  std::vector<morvex::clsMorvex::VariableView> variables;
  bool has_variables = false;
};

namespace {

// Runs one call on the handle: clears the last failure and records a new one
// from whatever escapes the calculator.
template <typename Work>
int Guarded(morvex_calculator* calc, Work&& work) {
  if (calc == nullptr) return MORVEX_FAILED;
  calc->failure_code = 0;
  calc->failure_message.clear();
  calc->has_variables = false;
  try {
    work(calc->calculator);
    return MORVEX_OK;
  } catch (const morvex::Failure& failure) {
    calc->failure_code = failure.code();
    calc->failure_message = failure.what();
  } catch (const std::bad_alloc&) {
    calc->failure_code = MORVEX_FAILURE_OUT_OF_MEMORY;
    calc->failure_message = "out of memory";
  } catch (const std::exception& error) {
    calc->failure_code = MORVEX_FAILURE_INTERNAL;
    calc->failure_message = error.what();
  } catch (...) {
    calc->failure_code = MORVEX_FAILURE_INTERNAL;
    calc->failure_message = "unknown failure";
  }
  return MORVEX_FAILED;
}

const char* Give(const std::string& text, size_t* length) {
  if (length != nullptr) *length = text.size();
  return text.c_str();
}

const char* GiveEmpty(size_t* length) {
  if (length != nullptr) *length = 0;
  return "";
}

// A getter that reads a field of the calculator.
template <typename Read>
const char* GiveField(morvex_calculator* calc, size_t* length, Read&& read) {
  if (calc == nullptr) return GiveEmpty(length);
  return Give(read(calc->calculator), length);
}

// A getter that computes its text: the text is kept in the handle's scratch.
template <typename Compute>
const char* GiveComputed(morvex_calculator* calc, size_t* length, Compute&& compute) {
  if (Guarded(calc, [&](morvex::clsMorvex& calculator) { calc->scratch = compute(calculator); }) != MORVEX_OK)
    return GiveEmpty(length);
  return Give(calc->scratch, length);
}

std::string Text(const char* text, size_t length) {
  return text == nullptr ? std::string() : std::string(text, length);
}

// Each kind of C handler, called with its user pointer as the calculator's
// event of that shape.
auto Adapt(morvex_change_handler handler, void* user) {
  return [handler, user](int16_t length, int16_t first) { handler(user, length, first); };
}
auto Adapt(morvex_notice_handler handler, void* user) {
  return [handler, user] { handler(user); };
}
auto Adapt(morvex_percent_handler handler, void* user) {
  return [handler, user](double percent) { handler(user, percent); };
}
auto Adapt(morvex_get_functions_handler handler, void* user) {
  return [handler, user](const std::string& name, const std::string& expression) {
    handler(user, name.c_str(), name.size(), expression.c_str(), expression.size());
  };
}
auto Adapt(morvex_input_box_handler handler, void* user) {
  return [handler, user](std::string& word) {
    const char* answer = handler(user, word.c_str(), word.size());
    word = answer == nullptr ? "" : answer;
  };
}

// Sets one event of the handle to a C handler, or clears it.
template <typename Event, typename Handler>
int SetEvent(morvex_calculator* calc, Event morvex::EventHandlers::*event, Handler handler, void* user) {
  return Guarded(calc, [&](morvex::clsMorvex& c) {
    Event& slot = c.Events().*event;
    if (handler == nullptr)
      slot = nullptr;
    else
      slot = Adapt(handler, user);
  });
}

}  // namespace

extern "C" {

const char* morvex_version(void) { return MORVEX_VERSION_STRING; }

morvex_calculator* morvex_create(void) {
  try {
    return new morvex_calculator();
  } catch (...) {
    return nullptr;
  }
}

void morvex_destroy(morvex_calculator* calc) { delete calc; }

int morvex_initialize(morvex_calculator* calc) {
  return Guarded(calc, [](morvex::clsMorvex& c) { c.Initialize(); });
}
int morvex_unload_vars(morvex_calculator* calc) {
  return Guarded(calc, [](morvex::clsMorvex& c) { c.UnLoadVars(); });
}
int morvex_terminate(morvex_calculator* calc) {
  return Guarded(calc, [](morvex::clsMorvex& c) { c.Terminate(); });
}

int32_t morvex_failure_code(const morvex_calculator* calc) { return calc == nullptr ? 0 : calc->failure_code; }
const char* morvex_failure_message(const morvex_calculator* calc) {
  return calc == nullptr ? "" : calc->failure_message.c_str();
}

int morvex_calculate(morvex_calculator* calc, const char* line, size_t length) {
  return Guarded(calc, [&](morvex::clsMorvex& c) {
    calc->result.clear();
    calc->result = c.Calculate(std::string_view(line == nullptr ? "" : line, line == nullptr ? 0 : length));
  });
}
const char* morvex_result(morvex_calculator* calc, size_t* length) {
  return calc == nullptr ? GiveEmpty(length) : Give(calc->result, length);
}

int morvex_load_h_text(morvex_calculator* calc, const char* path, size_t length) {
  return Guarded(calc, [&](morvex::clsMorvex& c) {
    std::string text = Text(path, length);
    c.LoadHText(text);
  });
}
int morvex_fetch_functions(morvex_calculator* calc) {
  return Guarded(calc, [](morvex::clsMorvex& c) { c.FetchFunctions(); });
}

const char* morvex_out_string(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.OutString(); });
}
const char* morvex_in_string(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.InString(); });
}
int16_t morvex_err_number(const morvex_calculator* calc) { return calc == nullptr ? 0 : calc->calculator.ErrNumber(); }
int16_t morvex_err_first(const morvex_calculator* calc) { return calc == nullptr ? 0 : calc->calculator.ErrFirst(); }
int16_t morvex_err_length(const morvex_calculator* calc) { return calc == nullptr ? 0 : calc->calculator.ErrLength(); }
const char* morvex_err_description(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.ErrDescription(); });
}
const char* morvex_err_formula(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.ErrFormula(); });
}
const char* morvex_script_failure(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.ScriptFailure(); });
}
const char* morvex_expression(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.Expression(); });
}
const char* morvex_string_typing(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.StringTyping(); });
}
const char* morvex_string_variable(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.StringVariable(); });
}
const char* morvex_dna_string(morvex_calculator* calc, size_t* length) {
  return GiveComputed(calc, length, [](morvex::clsMorvex& c) { return c.DNAString(); });
}
const char* morvex_dna_string2(morvex_calculator* calc, size_t* length) {
  return GiveComputed(calc, length, [](morvex::clsMorvex& c) { return c.DNAString2(); });
}
const char* morvex_angle_unit(morvex_calculator* calc, size_t* length) {
  return GiveComputed(calc, length, [](morvex::clsMorvex& c) { return c.AngleUnit(); });
}

const char* morvex_program_folder(morvex_calculator* calc, size_t* length) {
  return GiveField(calc, length, [](morvex::clsMorvex& c) -> const std::string& { return c.ProgramFolder(); });
}
int morvex_set_program_folder(morvex_calculator* calc, const char* folder, size_t length) {
  return Guarded(calc, [&](morvex::clsMorvex& c) { c.ProgramFolder(Text(folder, length)); });
}

int32_t morvex_variable_count(morvex_calculator* calc) {
  if (Guarded(calc, [&](morvex::clsMorvex& c) { calc->variables = c.VariableList(); }) != MORVEX_OK) return 0;
  calc->has_variables = true;
  return static_cast<int32_t>(calc->variables.size());
}

int morvex_variable(morvex_calculator* calc, int32_t index, const char** key, size_t* key_length, int16_t* type_var,
                    double* value) {
  if (calc == nullptr) return MORVEX_FAILED;
  if (!calc->has_variables) {
    morvex_variable_count(calc);
    if (calc->failure_code != 0) return MORVEX_FAILED;
  }
  if (index < 1 || index > static_cast<int32_t>(calc->variables.size())) {
    calc->failure_code = MORVEX_FAILURE_SUBSCRIPT_OUT_OF_RANGE;
    calc->failure_message = "no variable at position " + std::to_string(index);
    return MORVEX_FAILED;
  }
  const auto& variable = calc->variables[static_cast<size_t>(index - 1)];
  if (key != nullptr) *key = variable.Key.c_str();
  if (key_length != nullptr) *key_length = variable.Key.size();
  if (type_var != nullptr) *type_var = variable.TypeVar;
  if (value != nullptr) *value = variable.Value;
  calc->failure_code = 0;
  calc->failure_message.clear();
  return MORVEX_OK;
}

int morvex_on_change(morvex_calculator* calc, morvex_change_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::Change, handler, user);
}
int morvex_on_change2(morvex_calculator* calc, morvex_change_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::Change2, handler, user);
}
int morvex_on_wait(morvex_calculator* calc, morvex_notice_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::Wait, handler, user);
}
int morvex_on_progress(morvex_calculator* calc, morvex_percent_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::Progress, handler, user);
}
int morvex_on_internal_calc(morvex_calculator* calc, morvex_percent_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::InternalCalc, handler, user);
}
int morvex_on_get_functions(morvex_calculator* calc, morvex_get_functions_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::GetFunctions, handler, user);
}
int morvex_on_update_variables(morvex_calculator* calc, morvex_percent_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::UpdateVariables, handler, user);
}
int morvex_on_input_box(morvex_calculator* calc, morvex_input_box_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::InputBox, handler, user);
}
int morvex_on_vbs_progress(morvex_calculator* calc, morvex_percent_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::VBSProgress, handler, user);
}
int morvex_on_host_turn(morvex_calculator* calc, morvex_notice_handler handler, void* user) {
  return SetEvent(calc, &morvex::EventHandlers::HostTurn, handler, user);
}

}  // extern "C"
