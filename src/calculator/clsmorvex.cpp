// The public class: properties over the calculator's fields, and the doors
// into its subsystems.
#include "calculator/line_dispatcher.hpp"
#include "core/shared_state.hpp"
#include "files/function_listing.hpp"
#include "files/line_files.hpp"
#include "platform/file_system.hpp"
#include "workspace/calculator.hpp"

namespace morvex {

using detail::Calculator;

clsMorvex::clsMorvex() : impl_(std::make_unique<Calculator>()) {
  impl_->ProgramFolder = platform::ExecutableFolder();
}
clsMorvex::~clsMorvex() = default;
clsMorvex::clsMorvex(clsMorvex&& other) noexcept = default;
clsMorvex& clsMorvex::operator=(clsMorvex&& other) noexcept = default;

void clsMorvex::FetchFunctions() { detail::FetchFunctions(Impl()); }

const std::string& clsMorvex::Expression() const { return Impl().Expression; }
void clsMorvex::Expression(std::string value) { Impl().Expression = std::move(value); }

std::string clsMorvex::DNAString2() {
  Calculator& c = Impl();
  c.DNAString2Field = c.SecondChain.Join();
  return c.DNAString2Field;
}
void clsMorvex::DNAString2(std::string value) { Impl().DNAString2Field = std::move(value); }
std::string clsMorvex::DNAString() {
  Calculator& c = Impl();
  c.DNAStringField = c.WorkingChain.Join();
  return c.DNAStringField;
}
void clsMorvex::DNAString(std::string value) { Impl().DNAStringField = std::move(value); }

const std::string& clsMorvex::StringVariable() const { return Impl().StringVariable; }
void clsMorvex::StringVariable(std::string value) { Impl().StringVariable = std::move(value); }
const std::string& clsMorvex::StringTyping() const { return Impl().StringTyping; }
const std::string& clsMorvex::ErrDescription() const { return Impl().ErrDescription; }

void clsMorvex::LoadHText() {
  std::string none;
  detail::LoadHText(Impl(), none, detail::Calculate);
}
void clsMorvex::LoadHText(std::string& Path) { detail::LoadHText(Impl(), Path, detail::Calculate); }

int16_t clsMorvex::ErrNumber() const { return Impl().ErrNumber; }
int16_t clsMorvex::ErrLength() const { return Impl().ErrLength; }
int16_t clsMorvex::ErrFirst() const { return Impl().ErrFirst; }
const std::string& clsMorvex::InString() const { return Impl().InString; }
const std::string& clsMorvex::OutString() const { return Impl().OutString; }
const std::string& clsMorvex::ErrFormula() const { return Impl().ErrFormula; }
const std::string& clsMorvex::ScriptFailure() const { return Impl().ScriptFailure; }

std::string clsMorvex::Calculate(std::string& TText) { return detail::Calculate(Impl(), TText); }
std::string clsMorvex::Calculate(std::string_view line) {
  std::string text(line);
  return detail::Calculate(Impl(), text);
}

void clsMorvex::ClearOutputs() { Impl().ClearOutputs(); }

void clsMorvex::Initialize() {
  SharedState& g = Shared();
  g.gErr = CErrOcur();
  Impl().SetUpVariableTable();
  g.gNext = SuccessorTemplate();
  g.gAngle = DNAProp();
  Impl().Initialized = true;
}

void clsMorvex::UnLoadVars() {
  if (!Impl().Initialized) return;
  // A new table; the slots that remain (Ans's last result among them) stay.
  Impl().SetUpVariableTable();
}

void clsMorvex::Terminate() noexcept {}

EventHandlers& clsMorvex::Events() { return Impl().Events; }

const std::string& clsMorvex::ProgramFolder() const { return Impl().ProgramFolder; }
void clsMorvex::ProgramFolder(std::string folder) { Impl().ProgramFolder = std::move(folder); }

std::string clsMorvex::AngleUnit() const { return Shared().gAngle.Degre; }

std::vector<clsMorvex::VariableView> clsMorvex::VariableList() const {
  std::vector<VariableView> list;
  for (const Class1& variable : Impl().Variables) list.push_back({variable.Key, variable.TypeVar, variable.Value});
  return list;
}

detail::Calculator& clsMorvex::Impl() const {
  if (!impl_) Fail(failure_code::ObjectNotSet, "the calculator was moved to another object");
  return *impl_;
}

}  // namespace morvex
