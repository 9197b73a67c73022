#include "test_support.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <charconv>
#include <cctype>
#include <fstream>
#include <random>
#include <stdexcept>

#include "core/errors.hpp"

namespace morvex::test {

TempFolder::TempFolder() {
  static std::atomic<unsigned> counter{0};
  std::random_device device;
  auto base = std::filesystem::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = base / ("morvex-test-" + std::to_string(device()) + "-" + std::to_string(counter++));
    if (std::filesystem::create_directory(candidate)) {
      path_ = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary folder");
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
  out.clear();
  for (size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\\') {
      out.push_back(raw[i]);
      continue;
    }
    if (++i >= raw.size()) return false;
    switch (raw[i]) {
      case '\\': out.push_back('\\'); break;
      case 's': out.push_back(' '); break;
      case 'r': out.push_back('\r'); break;
      case 'n': out.push_back('\n'); break;
      case 't': out.push_back('\t'); break;
      case 'x': {
        if (i + 2 >= raw.size()) return false;
        unsigned value = 0;
        auto [end, ec] = std::from_chars(raw.data() + i + 1, raw.data() + i + 3, value, 16);
        if (ec != std::errc() || end != raw.data() + i + 3) return false;
        out.push_back(static_cast<char>(value));
        i += 2;
        break;
      }
      default: return false;
    }
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
