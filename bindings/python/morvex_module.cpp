// The Python module `morvex`: a Calculator over clsMorvex, with the
// properties as read-only attributes, the events as callables and failures as
// morvex.Failure.
//
// Text crosses as Latin-1, a character per byte, as the calculator reads its
// lines: every position the calculator reports is an index into the Python
// string, and no byte is ever refused on the way out.
//
// The GIL: calculate, load_h_text and fetch_functions release it while the
// calculator works; each callback takes it back for the call. A callback that
// raises ends the use of callbacks for the rest of that call (an unknown word
// is then declined), the call finishes as it would without handlers, and the
// callback's exception is raised from it; the calculator and its variables
// stay as the call left them.
#include <pybind11/eval.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <optional>
#include <string>
#include <utility>

#include "morvex/morvex.hpp"

namespace py = pybind11;

namespace {

py::str FromBytes(const std::string& text) {
  return py::reinterpret_steal<py::str>(PyUnicode_DecodeLatin1(text.data(), static_cast<Py_ssize_t>(text.size()), nullptr));
}

std::string ToBytes(const py::handle& text) {
  return py::bytes(py::str(text).attr("encode")("latin-1"));
}

py::object ToPython(const std::string& text) { return FromBytes(text); }
py::object ToPython(int16_t number) { return py::int_(number); }
py::object ToPython(double number) { return py::float_(number); }

class Calculator {
 public:
  explicit Calculator(bool initialize) {
    if (initialize) calculator_.Initialize();
  }

  py::str Calculate(const py::str& line) {
    std::string text = ToBytes(line);
    std::string result;
    Work([&] { result = calculator_.Calculate(text); });
    return FromBytes(result);
  }
  void LoadHText(const std::optional<py::str>& path) {
    std::string text = path ? ToBytes(*path) : std::string();
    Work([&] { calculator_.LoadHText(text); });
  }
  void FetchFunctions() {
    Work([&] { calculator_.FetchFunctions(); });
  }

  morvex::clsMorvex& Calc() { return calculator_; }

  // The callable of each event, or None; setting one binds it to the
  // calculator's event of that shape.
  template <auto Event, typename... Args>
  void SetHandler(py::object& slot, py::object callable) {
    slot = std::move(callable);
    if (slot.is_none())
      calculator_.Events().*Event = nullptr;
    else
      calculator_.Events().*Event = [this, &slot](Args... args) {
        py::gil_scoped_acquire gil;
        Invoke(slot, ToPython(args)...);
      };
  }

  void SetInputBox(py::object callable) {
    on_input_box = std::move(callable);
    if (on_input_box.is_none()) {
      calculator_.Events().InputBox = nullptr;
      return;
    }
    calculator_.Events().InputBox = [this](std::string& word) {
      py::gil_scoped_acquire gil;
      py::object answer = Invoke(on_input_box, FromBytes(word));
      word = answer.is_none() ? std::string() : ToBytes(answer);
    };
  }

  // The garbage collector's view of the handlers: a handler that refers to
  // its own calculator forms a cycle that it can then find and break.
  int VisitHandlers(visitproc visit, void* arg) {
    for (py::object* slot : Slots()) Py_VISIT(slot->ptr());
    return 0;
  }
  void DropHandlers() {
    calculator_.Events() = {};
    for (py::object* slot : Slots()) *slot = py::none();
  }

  py::object on_change = py::none(), on_change2 = py::none(), on_wait = py::none(), on_progress = py::none(),
             on_internal_calc = py::none(), on_get_functions = py::none(), on_update_variables = py::none(),
             on_input_box = py::none(), on_vbs_progress = py::none(), on_host_turn = py::none();

 private:
  // Runs the calculator without the GIL, then raises what a callback raised.
  template <typename Body>
  void Work(Body&& body) {
    pending_.reset();
    {
      py::gil_scoped_release release;
      body();
    }
    if (pending_) {
      py::error_already_set error = std::move(*pending_);
      pending_.reset();
      throw error;
    }
  }

  // Calls a handler (the caller holds the GIL); after a handler has raised,
  // none is called again within the same call, and the answer is None.
  template <typename... Args>
  py::object Invoke(const py::object& handler, Args&&... args) {
    if (pending_ || handler.is_none()) return py::none();
    try {
      return handler(std::forward<Args>(args)...);
    } catch (py::error_already_set& error) {
      pending_ = std::move(error);
    } catch (const std::exception& error) {
      PyErr_SetString(PyExc_RuntimeError, error.what());
      pending_ = py::error_already_set();
    }
    return py::none();
  }

  std::array<py::object*, 10> Slots() {
    return {&on_change,   &on_change2,          &on_wait,      &on_progress,     &on_internal_calc,
            &on_get_functions, &on_update_variables, &on_input_box, &on_vbs_progress, &on_host_turn};
  }

  morvex::clsMorvex calculator_;
  std::optional<py::error_already_set> pending_;
};

using Events = morvex::EventHandlers;

// One read-only attribute over a text property of the calculator.
template <typename Read>
void TextProperty(py::class_<Calculator>& cls, const char* name, Read read, const char* doc) {
  cls.def_property_readonly(name, [read](Calculator& self) { return FromBytes(read(self.Calc())); }, doc);
}

template <auto Event, auto Slot, typename... Args>
void EventProperty(py::class_<Calculator>& cls, const char* name, const char* doc) {
  cls.def_property(
      name, [](Calculator& self) { return self.*Slot; },
      [](Calculator& self, py::object callable) { self.SetHandler<Event, Args...>(self.*Slot, std::move(callable)); },
      doc);
}

bool Constructed(PyObject* self) {
  return reinterpret_cast<py::detail::instance*>(self)->get_value_and_holder().holder_constructed();
}

// Lets the garbage collector see a calculator's handlers and drop them.
void AllowCollection(PyHeapTypeObject* heapType) {
  PyTypeObject& type = heapType->ht_type;
  type.tp_flags |= Py_TPFLAGS_HAVE_GC;
  type.tp_traverse = [](PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(Py_TYPE(self));
    if (!Constructed(self)) return 0;
    return py::cast<Calculator&>(py::handle(self)).VisitHandlers(visit, arg);
  };
  type.tp_clear = [](PyObject* self) {
    if (Constructed(self))
      py::cast<Calculator&>(py::handle(self)).DropHandlers();
    return 0;
  };
}

void DefineCalculator(py::module_& module) {
  py::class_<Calculator> cls(module, "Calculator",
                             "An engineering expression calculator: calculate(line) computes a line; the answer, "
                             "or the error and its place, are read from the attributes.",
                             py::custom_type_setup(AllowCollection));
  cls.def(py::init<bool>(), py::arg("initialize") = true,
          "A calculator, initialised unless initialize is False (then initialize() comes first).");
  cls.def("initialize", [](Calculator& self) { self.Calc().Initialize(); });
  cls.def("calculate", &Calculator::Calculate, py::arg("line"),
          "Computes a line and returns its result text (the answer, the error's name, ...).");
  cls.def("load_h_text", &Calculator::LoadHText, py::arg("path") = py::none(),
          "Runs a text file line by line; no path is StartUp.txt in the program's folder.");
  cls.def("fetch_functions", &Calculator::FetchFunctions, "Lists the user variables through on_get_functions.");
  cls.def("unload_vars", [](Calculator& self) { self.Calc().UnLoadVars(); }, "Forgets all user variables.");
  cls.def("terminate", [](Calculator& self) { self.Calc().Terminate(); });

  using morvex::clsMorvex;
  TextProperty(cls, "out_string", [](clsMorvex& c) { return c.OutString(); }, "The answer of the last line.");
  TextProperty(cls, "in_string", [](clsMorvex& c) { return c.InString(); }, "The line as it was understood.");
  TextProperty(cls, "err_description", [](clsMorvex& c) { return c.ErrDescription(); }, "The error's name.");
  TextProperty(cls, "err_formula", [](clsMorvex& c) { return c.ErrFormula(); },
               "The formula word whose text holds the error, or ''.");
  TextProperty(cls, "script_failure", [](clsMorvex& c) { return c.ScriptFailure(); },
               "The last failure of a script procedure during the last line, or ''.");
  TextProperty(cls, "expression", [](clsMorvex& c) { return c.Expression(); }, "The message or trailing text.");
  TextProperty(cls, "string_typing", [](clsMorvex& c) { return c.StringTyping(); }, "The log line of the last line.");
  TextProperty(cls, "string_variable", [](clsMorvex& c) { return c.StringVariable(); }, "The log of names.");
  TextProperty(cls, "dna_string", [](clsMorvex& c) { return c.DNAString(); }, "The working chain, now.");
  TextProperty(cls, "dna_string2", [](clsMorvex& c) { return c.DNAString2(); }, "The second chain, now.");
  TextProperty(cls, "angle_unit", [](clsMorvex& c) { return c.AngleUnit(); }, "'Degree' or 'Radian'.");
  cls.def_property_readonly("err_number", [](Calculator& self) { return self.Calc().ErrNumber(); });
  cls.def_property_readonly("err_first", [](Calculator& self) { return self.Calc().ErrFirst(); },
                            "0-based position of the offending token.");
  cls.def_property_readonly("err_length", [](Calculator& self) { return self.Calc().ErrLength(); });
  cls.def_property_readonly(
      "variables",
      [](Calculator& self) {
        py::list table;
        for (const auto& variable : self.Calc().VariableList())
          table.append(py::make_tuple(FromBytes(variable.Key), variable.TypeVar, variable.Value));
        return table;
      },
      "The variable table as (name, type_var, value) tuples, Ans, XVar and YVar first.");
  cls.def_property(
      "program_folder", [](Calculator& self) { return FromBytes(self.Calc().ProgramFolder()); },
      [](Calculator& self, const py::str& folder) { self.Calc().ProgramFolder(ToBytes(folder)); },
      "The folder of StartUp.txt, vbscript.txt and formula files.");

  EventProperty<&Events::Change, &Calculator::on_change, int16_t, int16_t>(
      cls, "on_change", "on_change(length, first): characters first (1-based) of dna_string are replaced.");
  EventProperty<&Events::Change2, &Calculator::on_change2, int16_t, int16_t>(
      cls, "on_change2", "on_change2(length, first): the same for dna_string2.");
  EventProperty<&Events::Wait, &Calculator::on_wait>(cls, "on_wait", "on_wait(): a pause the line '$' asked for.");
  EventProperty<&Events::Progress, &Calculator::on_progress, double>(cls, "on_progress",
                                                                     "on_progress(percent): share of a file done.");
  EventProperty<&Events::InternalCalc, &Calculator::on_internal_calc, double>(
      cls, "on_internal_calc", "on_internal_calc(percent): share of a nested calculation done.");
  EventProperty<&Events::GetFunctions, &Calculator::on_get_functions, const std::string&, const std::string&>(
      cls, "on_get_functions", "on_get_functions(name, expression): one user variable (fetch_functions).");
  EventProperty<&Events::UpdateVariables, &Calculator::on_update_variables, double>(
      cls, "on_update_variables", "on_update_variables(percent): share of the recalculation done.");
  EventProperty<&Events::VBSProgress, &Calculator::on_vbs_progress, double>(
      cls, "on_vbs_progress", "on_vbs_progress(percent): share of a script procedure's work done.");
  EventProperty<&Events::HostTurn, &Calculator::on_host_turn>(cls, "on_host_turn",
                                                               "on_host_turn(): a turn for the host's event loop.");
  cls.def_property(
      "on_input_box", [](Calculator& self) { return self.on_input_box; },
      [](Calculator& self, py::object callable) { self.SetInputBox(std::move(callable)); },
      "on_input_box(word): the value of an unknown word (str or number), or None to decline.");
}

// morvex.Failure: what the calculator cannot handle (code and message).
void DefineFailure(py::module_& module) {
  py::exec(R"python(
class Failure(Exception):
    """A failure of the calculator: `code` (91: used before initialize, 28: nesting too deep, 6: overflow, ...)
    and `message`. The calculator and its variables stay usable."""

    def __init__(self, code, message):
        super().__init__(code, message)
        self.code = code
        self.message = message

    def __str__(self):
        return f"{self.message} (code {self.code})"
)python",
           module.attr("__dict__"));
  static py::handle failure_type = py::object(module.attr("Failure")).release();
  py::register_exception_translator([](std::exception_ptr pointer) {
    try {
      if (pointer) std::rethrow_exception(pointer);
    } catch (const morvex::Failure& failure) {
      py::object instance = py::reinterpret_borrow<py::object>(failure_type)(failure.code(), FromBytes(failure.what()));
      PyErr_SetObject(failure_type.ptr(), instance.ptr());
    }
  });
}

}  // namespace

PYBIND11_MODULE(morvex, module) {
  module.doc() =
      "Morvex, an engineering expression calculator.\n\n"
      "Calculator().calculate(line) computes a line; the answer (out_string) or the error (err_number, "
      "err_description, 0-based err_first, err_length) are read from attributes. Text is Latin-1, a character a "
      "byte. Events are callables set on on_change, on_input_box, ...; calculate releases the GIL and callbacks "
      "take it back. A callback that raises ends the callbacks for the rest of the call (an unknown word is then "
      "declined); the call finishes and raises the callback's exception. Failures are morvex.Failure (code, "
      "message); the calculator and its variables stay usable. Use a Calculator from one thread at a time.";
  module.attr("__version__") = MORVEX_VERSION_STRING;
  DefineFailure(module);
  DefineCalculator(module);
}
