#include "text_layout.hpp"

#include <algorithm>

namespace morvex::cli {
namespace {

constexpr std::string_view kArrow = " -> ";

std::size_t MarkedWidth(std::string_view text, const Palette& palette) {
  return text.size() + (palette.colour ? 0 : 2);
}

void AppendStyled(std::string& out, std::string_view text, std::string_view style, const Palette& palette) {
  out += style;
  out += text;
  if (!style.empty()) out += palette.reset;
}

}  // namespace

Palette Palette::Plain() { return Palette{}; }

Palette Palette::Colour() {
  Palette palette;
  palette.colour = true;
  palette.consumed = "\x1b[1;31m";  // bold red: what a step takes away
  palette.produced = "\x1b[1;32m";  // bold green: what it puts in its place
  palette.answer = "\x1b[1m";
  palette.error = "\x1b[31m";
  palette.note = "\x1b[36m";
  palette.dim = "\x1b[2m";
  palette.reset = "\x1b[0m";
  return palette;
}

std::string StyledLine(std::string_view text, std::string_view style, const Palette& palette) {
  std::string line;
  AppendStyled(line, text, style, palette);
  line += '\n';
  return line;
}

void AppendMarked(std::string& out, std::string_view text, const Span& span, std::string_view style,
                  const Palette& palette) {
  const std::size_t begin = std::min(span.begin, text.size());
  const std::size_t end = std::clamp(span.end, begin, text.size());
  out += text.substr(0, begin);
  if (palette.colour) {
    AppendStyled(out, text.substr(begin, end - begin), style, palette);
  } else {
    out += '[';
    out += text.substr(begin, end - begin);
    out += ']';
  }
  out += text.substr(end);
}

std::string FormatStepRow(const StepRow& row, const Palette& palette, std::size_t width) {
  const std::string indent(2 + 4 * static_cast<std::size_t>(std::max(row.level, 0)), ' ');
  const bool oneLine = indent.size() + MarkedWidth(row.before, palette) + kArrow.size() +
                           MarkedWidth(row.after, palette) <= width;
  std::string out = indent;
  AppendMarked(out, row.before, row.consumed, palette.consumed, palette);
  if (oneLine) {
    AppendStyled(out, kArrow, palette.dim, palette);
  } else {
    out += '\n';
    out += indent;
    AppendStyled(out, kArrow.substr(1), palette.dim, palette);
  }
  AppendMarked(out, row.after, row.produced, palette.produced, palette);
  out += '\n';
  return out;
}

std::string CaretMarker(std::string_view text, int first, int length) {
  if (length < 1) return {};
  first = std::max(first, 0);
  std::string marker;
  marker.reserve(static_cast<std::size_t>(first) + static_cast<std::size_t>(length));
  for (int i = 0; i < first; ++i) {
    const bool tab = static_cast<std::size_t>(i) < text.size() && text[static_cast<std::size_t>(i)] == '\t';
    marker += tab ? '\t' : ' ';
  }
  marker.append(static_cast<std::size_t>(length), '^');
  return marker;
}

std::string AnswerBesideLine(std::string_view echo, std::string_view answer, std::string_view note,
                             const Palette& palette, std::size_t width) {
  std::string out(echo);
  std::size_t column = echo.size();
  auto place = [&](std::string_view separator, std::string_view text, std::string_view style) {
    if (column + separator.size() + text.size() > width) {
      out += "\n  ";
      column = 2;
      while (!separator.empty() && separator.front() == ' ') separator.remove_prefix(1);
    }
    out += separator;
    AppendStyled(out, text, style, palette);
    column += separator.size() + text.size();
  };
  if (!answer.empty()) place(" = ", answer, palette.answer);
  if (!note.empty()) place("   ", note, palette.note);
  out += '\n';
  return out;
}

}  // namespace morvex::cli
