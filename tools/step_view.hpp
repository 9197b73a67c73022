// The step view: turns the Change and Change2 events of a line into rows of
// worked arithmetic, "before -> after", with the characters each step consumes
// marked in the before text and those it produces marked in the after text.
//
// The events name a stretch of the chain's text; a step raises one before the
// reduction (the consumed characters) and usually one after it (the produced
// characters), but some steps raise only one of the two and some changes raise
// none. So the tracker reads the events as snapshots of the text: a row is
// made whenever the text changes, the consumed and produced stretches come
// from comparing the two texts around the marked stretch, and an event on the
// new text that lies within the produced stretch is taken as that step's
// "after" event rather than as the start of the next step.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace morvex::cli {

// A stretch of a text: characters [begin, end), 0-based.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool operator==(const Span&) const = default;
};

struct StepRow {
  int level = 0;  // 0: a step of the line; 1: a step of a formula word's text
  std::string before;
  Span consumed;
  std::string after;
  Span produced;
};

// Follows the events of one text (the line's chain or a formula's text).
class StepTracker {
 public:
  // Rows are handed to `emit` as soon as they are complete.
  StepTracker(int level, std::function<void(StepRow&&)> emit);

  // An event: `length` characters of `text` from the 1-based `firstChar` are
  // about to be, or have been, replaced. Events of length 0 only mark the end
  // of a stretch and are passed over.
  void OnEvent(std::string_view text, int firstChar, int length);
  // Forgets the text: the next event starts afresh (a new line, or a new
  // formula text on the second chain).
  void Restart();

 private:
  int level_;
  std::function<void(StepRow&&)> emit_;
  bool started_ = false;
  std::string text_;
  Span mark_;
  bool marked_ = false;  // mark_ holds characters an event named as about to change
};

// The consumed stretch of `before` and the produced stretch of `after` for a
// change from `before` to `after`. When `before` has a marked stretch and the
// text around it is unchanged, that stretch is what changed; otherwise the
// change is what lies between the common beginning and the common end.
struct TextChange {
  Span consumed;
  Span produced;
};
TextChange CompareTexts(std::string_view before, const Span* mark, std::string_view after);

}  // namespace morvex::cli
