// Line cutting: the line becomes one cell per character; the expression ends
// at the first equals sign or the first space, a target name may follow the
// equals sign, and what stands behind goes to the trailing text.
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"

namespace morvex::detail {
namespace {

constexpr std::string_view kEndMarkerKey = "EndVer";

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

std::string JoinValues(const dna& chain, int32_t first, int32_t last) {
  std::string text;
  for (int32_t i = first; i <= last; ++i) text.append(chain[i].Value());
  return text;
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

void CutLine(Calculator& c, std::string_view text) {
  SharedState& g = Shared();
  g.gErr = CErrOcur();
  g.gReport = Report();
  c.WorkingChain.Clear();  // keeps its storage for the next line
  g.gNext.StartNumber(0);
  g.gParenDepth = 0;

  // One cell per character. A first double quote starts a string (its cell is
  // a space, so the trailing text begins there); a second one, or an
  // apostrophe, ends the line.
  dna& chain = c.WorkingChain;
  bool inString = false;
  for (char ch : text) {
    ClassifyChar(ch);
    bool quoteAsSpace = false;
    if (ch == '"' && !inString) {
      inString = true;
      quoteAsSpace = true;
    } else if (ch == '"') {
      break;
    }
    if (ch == '\'') break;
    Cell& cell = chain.Add(flag::AddPattern);
    cell.NameStr(g.gCharClass);
    cell.SetFlags(g.gNext.GetFlags());
    cell.Value(quoteAsSpace ? std::string_view(" ") : std::string_view(&ch, 1));
  }
  Cell& endMarker = chain.Add(flag::AddPattern, kEndMarkerKey);
  endMarker.Value(" ");
  endMarker.NameStr(TypeNone);

  // Where the expression ends.
  SetEndText("");
  int32_t equalsPosition = 0;
  int32_t spacePosition = 0;
  for (int32_t i = 1; i <= chain.Count(); ++i) {
    if (equalsPosition == 0 && chain[i].NameStr() == TypeEquals) equalsPosition = i;
    if (spacePosition == 0 && chain[i].Value() == " ") spacePosition = i;
  }
  const int32_t endPosition = chain.Count();
  int32_t cut = spacePosition;
  c.StringVariable.clear();
  if (equalsPosition != 0) {
    cut = equalsPosition;
    if (equalsPosition < spacePosition) {
      c.StringVariable = SplitTargetName(JoinValues(chain, equalsPosition + 1, spacePosition - 1));
    }
  }
  g.gReport.StrVariable = c.StringVariable;

  if (cut != endPosition) AppendEndText(JoinValues(chain, spacePosition + 1, endPosition - 1));
  while (chain.Count() >= cut) chain.Remove(chain.Count());
}

}  // namespace morvex::detail
