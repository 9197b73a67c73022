#include "variables/formula_stage.hpp"

#include <algorithm>
#include <array>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/number_text.hpp"
#include "platform/file_system.hpp"

namespace morvex::detail {
namespace {

// The chain as MarkVariables reads it, into `text`: upper-cased Values, a
// gathered name as one "$" per character, so that it is not found again and
// character positions stay those of CellAtPosition.
void SpellForVariables(const dna& chain, std::string& text) {
  text.clear();
  for (const Cell& cell : chain) {
    if (cell.NameStr() == TypeVariable) {
      text.append(cell.Text().size(), '$');
    } else {
      for (char ch : cell.Value()) text.push_back(static_cast<char>(UpperChar(static_cast<unsigned char>(ch))));
    }
  }
}

// The chain as FindFormulaFile reads it, upper-cased: a gathered name by its
// first character, any other cell (a character, a number) by its text.
std::string SpellFirstCharacters(const dna& chain) {
  std::string text;
  for (const Cell& cell : chain) {
    const std::string_view spelled = cell.NameStr() == TypeVariable ? cell.Value().substr(0, 1) : cell.Value();
    for (char ch : spelled) text.push_back(static_cast<char>(UpperChar(static_cast<unsigned char>(ch))));
  }
  return text;
}

// Whether each character position from `position` on, `length` of them,
// lies in a letter cell: the cells are walked once, where asking
// CellAtPosition for each position would walk them from the front each time.
bool AllLettersUnder(const dna& chain, size_t position, size_t length) {
  size_t running = 0;  // the characters of the cells up to cell i
  int32_t i = 0;
  for (size_t p = position; p < position + length; ++p) {
    while (running < p) {
      if (++i > chain.Count()) return false;
      running += chain[i].Text().size();
    }
    if (chain[i].NameStr() != TypeChar) return false;
  }
  return true;
}

// Gathers the occurrences of `name` into cells of code 99, up to the first
// that lies over a cell that is no letter; false when there was one. `spelled`
// is the chain as SpellForVariables reads it and is kept so: a gathered
// occurrence spells as many "$" as it had letters, at the same positions.
bool MarkName(dna& chain, std::string& spelled, const std::string& name) {
  const std::string upperName = ToUpper(name);
  if (upperName.empty()) return true;
  const size_t length = upperName.size();
  size_t start = 0;  // 0-based offset of the search
  for (;;) {
    const size_t found = spelled.find(upperName, start);
    if (found == std::string::npos) return true;
    const size_t position = found + 1;
    if (!AllLettersUnder(chain, position, length)) return false;
    const int16_t first = CellAtPosition(chain, static_cast<int32_t>(position));
    chain[first].NameStr(TypeVariable);
    chain[first].Value(name);
    chain.Remove(first + 1, static_cast<int32_t>(length) - 1);  // one letter a cell
    spelled.replace(found, length, length, '$');
    const size_t next = spelled.find(upperName, start);
    start = next == std::string::npos ? 0 : next;
  }
}

constexpr std::array<std::string_view, 20> kReservedAtLineEnd = {
    "SIN", "TAN", "COT", "EXP", "LOG", "LN", "ARCSIN", "ARCCOS", "ARCCOT", "ARCTAN",
    "INT", "COS", "SQR", "PI",  "ANS", "ZRTOON", "$",  "XVAR",   "SIGN",   "ABS"};
constexpr std::array<std::string_view, 21> kReservedInLine = {
    "SIN", "TAN", "COT", "EXP", "LOG", "LN",   "ARCSIN", "ARCCOS", "ARCCOT", "ARCTAN", "INT",
    "COS", "SQR", "PI",  "ANS", "ZRTOON", "XVAR", "YVAR", "SIGN", "FIX",    "ABS"};

template <size_t N>
bool InList(const std::array<std::string_view, N>& list, std::string_view upperWord) {
  return std::find(list.begin(), list.end(), upperWord) != list.end();
}

// Whether the word is put to the host.
bool IsUnknownWord(const Calculator& c, const std::string& word, bool atLineEnd) {
  if (word.empty()) return false;
  if (c.VariableExists(word)) return false;
  if (word.size() == 1) {
    if (word == "E" || word == "e") return false;
    return !(atLineEnd && word == "$");
  }
  const std::string upper = ToUpper(word);
  return atLineEnd ? !InList(kReservedAtLineEnd, upper) : !InList(kReservedInLine, upper);
}

void AskForValue(Calculator& c, const std::string& word) {
  std::string num = word;
  c.RaiseInputBox(num);
  if (num.empty()) return;
  const std::string valueText = NumberToText(ReadNumber(num));
  Class1& variable = c.Variables.Add(word, word);
  variable.Value = ReadNumber(valueText);
  variable.TypeVar = var_type::Plain;
  c.Expression = "New Variable " + word + " Added";
  c.ResizeVariableChains();
  c.VariableChains.back() = MakeValueChain(valueText);
}

bool EndsInTxt(std::string_view path) {
  return path.size() >= 3 && EqualsIgnoreCase(path.substr(path.size() - 3), "TXT");
}

// The text files of the folder as gFormulaFiles: a name without ".txt" under
// its path without it, the first of the paths that differ only in case. The
// list is made again only when the folder's listing may have changed.
void ListFormulaFiles(const std::string& folder) {
  SharedState& g = Shared();
  const std::vector<platform::FolderFile>& files = platform::ListFolderFiles(folder);
  const uint64_t version = platform::ListingVersion();
  if (g.gFormulaFilesVersion == version && g.gFormulaFilesFolder == folder) return;
  g.gFormulaFilesVersion = 0;  // until the list is whole
  g.gFormulaFiles = VariableString();
  for (const platform::FolderFile& file : files) {
    if (!EndsInTxt(file.fullPath) || file.name.size() < 4 || file.fullPath.size() < 4) continue;
    std::string containerKey = file.fullPath.substr(0, file.fullPath.size() - 4);
    if (g.gFormulaFiles.IndexOfKey(containerKey) != 0) continue;
    g.gFormulaFiles.Add(file.name.substr(0, file.name.size() - 4), containerKey);
  }
  g.gFormulaFilesFolder = folder;
  g.gFormulaFilesVersion = version;
}

}  // namespace

// Only the names that occur in the line go through the exact search, in the
// order of the names, longest first and equal lengths in table order; the
// others could not be found there.
bool MarkVariables(Calculator& c) {
  NameFinder& finder = c.Names;
  finder.Follow(c.Variables);
  if (finder.Empty()) return true;  // no name to look for: the line is not spelled out
  thread_local std::vector<int32_t> candidates;
  thread_local std::string spelled;
  SpellForVariables(c.WorkingChain, spelled);
  finder.Find(spelled, candidates);
  bool complete = true;
  for (int32_t position : candidates) {
    complete = MarkName(c.WorkingChain, spelled, c.Variables.Item(position).Key) && complete;
  }
  return complete;
}

bool ResolveUnknownWords(Calculator& c) {
  dna& chain = c.WorkingChain;
  // Words are made of letter cells: a line without one asks nothing.
  bool anyLetter = false;
  chain.ForEach(1, chain.Count(), [&anyLetter](const Cell& cell) { anyLetter = anyLetter || cell.NameStr() == TypeChar; });
  if (!anyLetter) return false;
  bool asked = false;
  std::string word;
  for (int32_t i = 1; i <= chain.Count(); ++i) {
    const bool last = i == chain.Count();
    if (chain[i].NameStr() == TypeChar) {
      word.append(chain[i].Value());
      if (!last) continue;
      if (IsUnknownWord(c, word, true)) {
        AskForValue(c, word);
        asked = true;
      }
    } else if (!word.empty() && IsUnknownWord(c, word, false)) {
      AskForValue(c, word);
      asked = true;
    }
    word.clear();
  }
  return asked;
}

std::string FindFormulaFile(Calculator& c) {
  SharedState& g = Shared();
  dna& chain = c.WorkingChain;
  // Only a chain whose first cell is a letter can be a file's name: any other
  // line is answered without asking the folder.
  if (chain.Count() == 0 || chain[1].NameStr() != TypeChar) return {};
  ListFormulaFiles(c.ProgramFolder);
  const std::string spelled = SpellFirstCharacters(chain);
  for (const Class1& record : g.gFormulaFiles) {
    if (!EqualsIgnoreCase(record.Key, spelled)) continue;
    chain[1].NameStr(TypeFormulaFile);
    chain[1].Value(record.Key);
    while (chain.Count() > 1) chain.Remove(chain.Count());
    g.gFormulaFileName = record.Key;
    return record.Key;
  }
  return {};
}

std::string FormulaFilePath(const Calculator& c, const std::string& name) {
  return platform::FindFile(c.ProgramFolder, name + ".txt", EqualsIgnoreCase);
}

std::optional<std::string> RunFormulaStage(Calculator& c) {
  // A line that begins with a blank has no words (a blank of the class of a
  // number begins the number cell it stands in).
  if (c.WorkingChain.Count() > 0 && c.WorkingChain[1].Value().starts_with(' ')) return std::nullopt;
  const bool complete = MarkVariables(c);
  std::string fileName = FindFormulaFile(c);
  if (!fileName.empty()) return FormulaFilePath(c, fileName);
  // Gathering again finds the names that the host's answers made. With no
  // word asked, it could find only what the first gathering left behind a
  // name over a cell that is no letter.
  if (ResolveUnknownWords(c) || !complete) MarkVariables(c);
  return std::nullopt;
}

}  // namespace morvex::detail
