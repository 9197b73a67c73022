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

void clsMorvex::FetchFunctions() { detail::FetchFunctions(*impl_); }

const std::string& clsMorvex::Expression() const { return impl_->Expression; }
void clsMorvex::Expression(std::string value) { impl_->Expression = std::move(value); }

std::string clsMorvex::DNAString2() {
  impl_->DNAString2Field = impl_->SecondChain.Join();
  return impl_->DNAString2Field;
}
void clsMorvex::DNAString2(std::string value) { impl_->DNAString2Field = std::move(value); }
std::string clsMorvex::DNAString() {
  impl_->DNAStringField = impl_->WorkingChain.Join();
  return impl_->DNAStringField;
}
void clsMorvex::DNAString(std::string value) { impl_->DNAStringField = std::move(value); }

const std::string& clsMorvex::StringVariable() const { return impl_->StringVariable; }
void clsMorvex::StringVariable(std::string value) { impl_->StringVariable = std::move(value); }
const std::string& clsMorvex::StringTyping() const { return impl_->StringTyping; }
void clsMorvex::StringTyping(std::string value) { impl_->StringTyping = std::move(value); }
const std::string& clsMorvex::ErrDescription() const { return impl_->ErrDescription; }
void clsMorvex::ErrDescription(std::string value) { impl_->ErrDescription = std::move(value); }

void clsMorvex::LoadHText() {
  std::string none;
  detail::LoadHText(*impl_, none, detail::Calculate);
}
void clsMorvex::LoadHText(std::string& Path) { detail::LoadHText(*impl_, Path, detail::Calculate); }

int16_t clsMorvex::ErrNumber() const { return impl_->ErrNumber; }
void clsMorvex::ErrNumber(int16_t value) { impl_->ErrNumber = value; }
int16_t clsMorvex::ErrLength() const { return impl_->ErrLength; }
void clsMorvex::ErrLength(int16_t value) { impl_->ErrLength = value; }
int16_t clsMorvex::ErrFirst() const { return impl_->ErrFirst; }
void clsMorvex::ErrFirst(int16_t value) { impl_->ErrFirst = value; }
const std::string& clsMorvex::InString() const { return impl_->InString; }
void clsMorvex::InString(std::string value) { impl_->InString = std::move(value); }
const std::string& clsMorvex::OutString() const { return impl_->OutString; }
void clsMorvex::OutString(std::string value) { impl_->OutString = std::move(value); }
const std::string& clsMorvex::ErrFormula() const { return impl_->ErrFormula; }
const std::string& clsMorvex::ScriptFailure() const { return impl_->ScriptFailure; }

std::string clsMorvex::Calculate(std::string& TText) { return detail::Calculate(*impl_, TText); }
std::string clsMorvex::Calculate(std::string_view line) {
  std::string text(line);
  return detail::Calculate(*impl_, text);
}

void clsMorvex::Initialize() {
  SharedState& g = Shared();
  g.gErr = CErrOcur();
  impl_->SetUpVariableTable();
  g.gNext = SuccessorTemplate();
  g.gAngle = DNAProp();
  impl_->Initialized = true;
}

void clsMorvex::UnLoadVars() {
  if (!impl_->Initialized) return;
  // A new table; the slots that remain (Ans's last result among them) stay.
  impl_->SetUpVariableTable();
}

void clsMorvex::Terminate() {}

EventHandlers& clsMorvex::Events() { return impl_->Events; }

const std::string& clsMorvex::ProgramFolder() const { return impl_->ProgramFolder; }
void clsMorvex::ProgramFolder(std::string folder) { impl_->ProgramFolder = std::move(folder); }

std::string clsMorvex::AngleUnit() const { return Shared().gAngle.Degre; }

std::vector<clsMorvex::VariableView> clsMorvex::VariableList() const {
  std::vector<VariableView> list;
  for (const Class1& variable : impl_->Variables) list.push_back({variable.Key, variable.TypeVar, variable.Value});
  return list;
}

detail::Calculator& clsMorvex::Internals() { return *impl_; }

}  // namespace morvex
