// Line cutting: the line becomes one cell per character; the expression ends
// at the first equals sign or the first space, a target name may follow the
// equals sign, and what stands behind goes to the trailing text.
#include <algorithm>
#include <array>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"

namespace morvex::detail {
namespace {

void SetEndText(std::string text) {
  SharedState& g = Shared();
  g.gEndText = std::move(text);
  g.gReport.StrEnd = g.gEndText;
}

void AppendEndText(std::string_view text) {
  SharedState& g = Shared();
  g.gEndText.append(text);
  g.gReport.StrEnd = g.gEndText;
}

// How a line is cut, found from its text before any cell is made: the cells
// are its characters up to a second double quote or an apostrophe, a first
// double quote standing as a blank; the cut lies at the first equals sign (by
// class: a character without a class takes the one before it) or else the
// first blank, else behind the last cell.
struct LineShape {
  size_t cells = 0;
  size_t quote = 0;     // the cell of the opening double quote, 0 for none
  size_t equals = 0;    // the first cell of the class of "=", 0 for none
  size_t blank = 0;     // the first blank cell, cells + 1 for none
};

// The characters that shape a line; any other only adds a cell.
constexpr std::array<bool, 256> kShapesLine = [] {
  std::array<bool, 256> shapes{};
  for (unsigned char ch : {'"', '\'', '=', ' '}) shapes[ch] = true;
  return shapes;
}();

LineShape ShapeOf(std::string_view text, int16_t charClass) {
  LineShape shape;
  for (char ch : text) {
    if (!kShapesLine[static_cast<unsigned char>(ch)]) {
      ++shape.cells;
      continue;
    }
    if (ch == '\'' || (ch == '"' && shape.quote != 0)) break;
    ++shape.cells;
    if (ch == '"') shape.quote = shape.cells;
    if (ch == '=' && shape.equals == 0) shape.equals = shape.cells;
    if ((ch == ' ' || ch == '"') && shape.blank == 0) shape.blank = shape.cells;
  }
  // An equals sign is the one character of its class; only a first character
  // without a class, taking the class the line before ended on, shares it.
  if (shape.cells > 0 && charClass == TypeEquals && CharClass(text[0]) == 0) shape.equals = 1;
  if (shape.blank == 0) shape.blank = shape.cells + 1;
  return shape;
}

}  // namespace

std::string SplitTargetName(std::string_view text) {
  size_t length = 0;
  while (length < text.size() && IsNameChar(static_cast<unsigned char>(text[length]))) ++length;
  AppendEndText(text.substr(length));
  return std::string(text.substr(0, length));
}

void ApplyTemplate(dna& chain, int32_t i) {
  if (i < chain.Count()) chain[i + 1].SetFlags(Shared().gNext.GetFlags());
}

LineCut CutLine(Calculator& c, std::string_view text) {
  SharedState& g = Shared();
  // The error and the side texts are emptied where they stand, keeping their storage.
  g.gErr.FirstError = g.gErr.LengthError = g.gErr.NumError = 0;
  g.gErr.DescError.clear();
  g.gErr.Formula.clear();
  g.gReport.StrVariable.clear();
  g.gReport.StrEnd.clear();
  g.gReport.StrInput.clear();
  g.gReport.StrOutput.clear();
  c.WorkingChain.Clear();  // keeps its storage for the next line
  g.gNext.StartNumber(0);
  g.gParenDepth = 0;

  const LineShape shape = ShapeOf(text, g.gCharClass);
  const size_t cut = shape.equals != 0 ? shape.equals : shape.blank;

  // One cell per character before the cut, but a run of characters of the
  // class of a number makes one number cell, as folding would join them. Every
  // character of the line still classifies and writes its row into the
  // template, in order, as the cells behind the cut did before they were cut
  // away. A line longer than a chain is cut a cell per character and fails
  // where the chain is full.
  const bool overlong = shape.cells >= static_cast<size_t>(dna::kMaxCells);
  dna& chain = c.WorkingChain;
  chain.Reserve(static_cast<int32_t>(std::min(cut, static_cast<size_t>(dna::kMaxCells))));
  const size_t cells = overlong ? shape.cells : std::min(cut - 1, shape.cells);
  Cell* number = nullptr;  // the number cell that a further digit joins
  LineCut made{.letters = false, .rowsOfChain = cells == shape.cells};
  for (size_t i = 1; i <= cells; ++i) {
    const char ch = text[i - 1];
    if (const int16_t own = CharClass(ch); own != 0) g.gCharClass = own;
    const int16_t code = g.gCharClass;
    const std::string_view spelled = i == shape.quote ? std::string_view(" ") : std::string_view(&ch, 1);
    if (number != nullptr && code == TypeNumber) {
      // The template holds the row of a number already, which the character would write again.
      number->Text().append(spelled);
      continue;
    }
    Cell& cell = chain.Add(flag::AddPattern);
    cell.SetNameStrQuietly(code);
    WriteSuccessorRow(g.gNext, code);
    cell.SetFlags(g.gNext.GetFlags());
    cell.Value(spelled);
    number = code == TypeNumber && !overlong ? &cell : nullptr;
    made.letters = made.letters || code == TypeChar;
  }
  for (size_t i = cells + 1; i <= shape.cells; ++i) {
    if (const int16_t own = CharClass(text[i - 1]); own != 0) g.gCharClass = own;
    WriteSuccessorRow(g.gNext, g.gCharClass);
  }
  if (overlong) FailOverflow("a chain holds at most 32,767 cells");

  // The target name and the trailing text.
  SetEndText("");
  c.StringVariable.clear();
  if (shape.equals != 0 && shape.equals < shape.blank) {
    c.StringVariable = SplitTargetName(text.substr(shape.equals, shape.blank - 1 - shape.equals));
  }
  g.gReport.StrVariable = c.StringVariable;
  if (cut <= shape.cells) {
    std::string tail(text.substr(std::min(shape.blank, shape.cells), shape.cells - std::min(shape.blank, shape.cells)));
    if (shape.quote > shape.blank) tail[shape.quote - shape.blank - 1] = ' ';
    AppendEndText(tail);
  }
  return made;
}

}  // namespace morvex::detail
