// Shared helpers of the unit tests: temporary folders, a calculator in a
// folder of its own with a recording host, failure codes, and hand-built chains.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "calculator/calculator_access.hpp"
#include "morvex/morvex.hpp"
#include "workspace/calculator.hpp"

namespace morvex::test {

// A fresh folder under the system's temporary directory, removed with the object.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string str() const { return path_.string(); }
  // Writes `bytes` exactly as given (no line-end translation) to a file of the folder.
  std::filesystem::path Write(std::string_view name, std::string_view bytes) const;

 private:
  std::filesystem::path path_;
};

std::string Upper(std::string text);

// The escapes of the test data files: \\ a backslash, \s a blank, \r, \n, \t,
// and \xHH a byte. False on a malformed escape.
bool Unescape(const std::string& raw, std::string& out);

// The code of the morvex::Failure that `action` raised (whose message must not
// be empty), or 0 if it raised none.
int32_t FailureCode(const std::function<void()>& action);

// One Change ('C') or Change2 ('2') event with the chain text the handler saw.
struct Event {
  char channel;
  int length, first;
  std::string text;
  bool operator==(const Event&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Event& e);
inline Event C(int length, int first, std::string text) { return {'C', length, first, std::move(text)}; }
inline Event C2(int length, int first, std::string text) { return {'2', length, first, std::move(text)}; }

// A calculator in an empty program folder of its own. The host answers no
// prompt and records the words it was asked about.
struct Calc {
  TempFolder folder;
  clsMorvex m;
  std::vector<std::string> asked;
  std::vector<Event> events;  // filled once Record() is called

  Calc();
  detail::Calculator& in() { return detail::CalculatorAccess::Of(m); }
  // Calculate's result; a Failure goes to the caller.
  std::string Run(std::string_view line);
  // OutString after the line; a Failure is a test failure.
  std::string Out(std::string_view line);
  void RunAll(const std::vector<std::string>& lines);
  // Records Change and Change2 with the chain text of the moment into `events`.
  void Record();
  std::optional<clsMorvex::VariableView> Var(std::string_view name) const;  // any case
  bool Has(std::string_view name) const { return Var(name).has_value(); }
  double Ans() const { return m.VariableList().at(0).Value; }
};

// Where the error of the last line lies: "line" (ErrFormula empty, the place
// within InString), "formula" (within DNAString2, the text of the formula
// that ErrFormula names), "none" for ErrNumber 0 or 13 (the place is the whole
// echo); or what is wrong with the error properties.
std::string ErrorPlace(clsMorvex& m);

// What a host can read after a line, on one line of text: every output
// property, the error record and each variable's name, TypeVar and value bits.
std::string HostView(clsMorvex& m);

// Hand-built chains: each cell's text and type code.
struct CellSpec {
  const char* value;
  int16_t type;
};
void LayOut(dna& chain, const std::vector<CellSpec>& cells);
std::vector<std::string> Values(const dna& chain);
// The cells of a chain as "value:code value:code".
std::string CellsText(const dna& chain);

}  // namespace morvex::test
