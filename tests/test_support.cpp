#include "test_support.hpp"

#include <gtest/gtest.h>

#include <charconv>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "core/double_bits.hpp"
#include "core/errors.hpp"

namespace morvex::test {

TempFolder::TempFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "morvex-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a temporary folder");
  path_ = pattern;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempFolder::Write(std::string_view name, std::string_view bytes) const {
  auto file = path_ / std::string(name);
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

bool Unescape(const std::string& raw, std::string& out) {
  static const std::string kEscapes = "\\\\s r\rn\nt\t";  // each escape letter, then the character it stands for
  out.clear();
  for (size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\\') {
      out.push_back(raw[i]);
      continue;
    }
    if (++i >= raw.size()) return false;
    unsigned value = 0;
    if (raw[i] == 'x') {
      if (i + 2 >= raw.size() || std::from_chars(&raw[i + 1], &raw[i + 3], value, 16).ptr != &raw[i + 3]) return false;
      out.push_back(static_cast<char>(value));
      i += 2;
      continue;
    }
    size_t at = 0;
    while (at < kEscapes.size() && kEscapes[at] != raw[i]) at += 2;
    if (at >= kEscapes.size()) return false;
    out.push_back(kEscapes[at + 1]);
  }
  return true;
}

int32_t FailureCode(const std::function<void()>& action) {
  try {
    action();
  } catch (const Failure& failure) {
    EXPECT_STRNE(failure.what(), "") << "a failure says what failed";
    return failure.code();
  }
  return 0;
}

std::ostream& operator<<(std::ostream& os, const Event& e) {
  return os << (e.channel == 'C' ? "C" : "C2") << "(" << e.length << "," << e.first << ",\"" << e.text << "\")";
}

Calc::Calc() {
  m.ProgramFolder(folder.str());
  m.Initialize();
  m.Events().InputBox = [this](std::string& num) {
    asked.push_back(num);
    num.clear();
  };
}

std::string Calc::Run(std::string_view line) {
  std::string text(line);
  return m.Calculate(text);
}

std::string Calc::Out(std::string_view line) {
  std::string text(line);
  try {
    m.Calculate(text);
  } catch (const Failure& failure) {
    ADD_FAILURE() << "\"" << line << "\" failed with code " << failure.code() << ": " << failure.what();
  }
  return m.OutString();
}

void Calc::RunAll(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) Out(line);
}

void Calc::Record() {
  m.Events().Change = [this](int16_t length, int16_t first) { events.push_back(C(length, first, m.DNAString())); };
  m.Events().Change2 = [this](int16_t length, int16_t first) { events.push_back(C2(length, first, m.DNAString2())); };
}

std::optional<clsMorvex::VariableView> Calc::Var(std::string_view name) const {
  for (const auto& v : m.VariableList()) {
    if (Upper(v.Key) == Upper(std::string(name))) return v;
  }
  return std::nullopt;
}

std::string HostView(clsMorvex& m) {
  std::ostringstream view;
  view << "| " << m.OutString() << " | " << m.InString() << " | " << m.Expression() << " | " << m.StringVariable()
       << " | " << m.StringTyping() << " | " << m.ErrNumber() << ' ' << m.ErrFirst() << ' ' << m.ErrLength() << ' '
       << m.ErrDescription() << ' ' << m.ErrFormula() << " | " << m.DNAString() << " | " << m.DNAString2() << "\n";
  for (const auto& v : m.VariableList()) view << v.Key << ':' << v.TypeVar << ':' << detail::BitsOf(v.Value) << ' ';
  return view.str();
}

std::string ErrorPlace(clsMorvex& m) {
  const int number = m.ErrNumber();
  const int first = m.ErrFirst();
  const int length = m.ErrLength();
  if (number == 0 || number == 13) {
    if (!m.ErrFormula().empty()) return "ErrFormula " + m.ErrFormula() + " without an error of a place";
    if (first != 0 || length != static_cast<int>(m.InString().size())) return "the place is not the whole echo";
    return "none";
  }
  if (number < 1 || number > 9) return "ErrNumber " + std::to_string(number);
  if (m.OutString() != ErrorName(number)) return "OutString " + m.OutString() + " for ErrNumber " + std::to_string(number);
  if (first < 0 || length < 1) return "place " + std::to_string(first) + "+" + std::to_string(length);
  if (m.ErrFormula().empty()) {
    if (first + length > static_cast<int>(m.InString().size())) return "place beyond the line " + m.InString();
    return "line";
  }
  if (first + length > static_cast<int>(m.DNAString2().size())) {
    return "place beyond the text of " + m.ErrFormula() + ": " + m.DNAString2();
  }
  return "formula";
}

void LayOut(dna& chain, const std::vector<CellSpec>& cells) {
  chain = dna();
  for (const CellSpec& shape : cells) {
    Cell& cell = chain.Add(flag::AddPattern);
    cell.Value(shape.value);
    cell.NameStr(shape.type);
  }
}

std::vector<std::string> Values(const dna& chain) {
  std::vector<std::string> values;
  for (const Cell& cell : chain) values.emplace_back(cell.Value());
  return values;
}

std::string CellsText(const dna& chain) {
  std::string text;
  for (const Cell& cell : chain) text += (text.empty() ? "" : " ") + std::string(cell.Value()) + ":" + std::to_string(cell.NameStr());
  return text;
}

}  // namespace morvex::test
