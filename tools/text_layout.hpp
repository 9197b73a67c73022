// How the plain session lays out what it prints: colours (or none), the step
// rows, the caret marker under an error and the line with its answer.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "step_view.hpp"

namespace morvex::cli {

// Escape sequences for the parts of the output, or nothing at all. In plain
// mode the marks of a step row are brackets instead of colour.
struct Palette {
  bool colour = false;
  std::string_view consumed, produced, answer, error, note, dim, reset;

  static Palette Plain();
  static Palette Colour();
};

// `text` in `style` (nothing in plain mode), ended by a line break.
std::string StyledLine(std::string_view text, std::string_view style, const Palette& palette);

// Writes `text` with `span` set off: in colour with `style`, else in brackets.
void AppendMarked(std::string& out, std::string_view text, const Span& span, std::string_view style,
                  const Palette& palette);

// One step row, ended by a line break: "before -> after" indented by its
// level, or "before" and "-> after" on two lines when one would pass `width`.
std::string FormatStepRow(const StepRow& row, const Palette& palette, std::size_t width);

// A line of blanks and carets that marks `length` characters of `text` from
// the 0-based `first` on (tabs in the text before the mark are kept, so the
// carets stay under their characters). No characters (length < 1) gives "".
std::string CaretMarker(std::string_view text, int first, int length);

// The line as it was understood with its answer: "echo = answer  note" when
// it fits in `width`, else the answer (and the note) on lines of their own
// under the echo. An empty answer or note is left out. Ends with a line break.
std::string AnswerBesideLine(std::string_view echo, std::string_view answer, std::string_view note,
                             const Palette& palette, std::size_t width);

}  // namespace morvex::cli
