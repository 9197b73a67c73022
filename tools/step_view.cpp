#include "step_view.hpp"

#include <algorithm>
#include <utility>

namespace morvex::cli {
namespace {

bool Touches(const Span& a, const Span& b) { return a.end == b.begin || b.end == a.begin; }

Span Clamp(std::string_view text, int firstChar, int length) {
  const std::size_t begin = std::min<std::size_t>(static_cast<std::size_t>(std::max(firstChar - 1, 0)), text.size());
  const std::size_t end = std::min<std::size_t>(begin + static_cast<std::size_t>(std::max(length, 0)), text.size());
  return {begin, end};
}

bool Within(const Span& inner, const Span& outer) { return inner.begin >= outer.begin && inner.end <= outer.end; }

}  // namespace

TextChange CompareTexts(std::string_view before, const Span* mark, std::string_view after) {
  if (mark != nullptr) {
    const std::string_view head = before.substr(0, mark->begin);
    const std::string_view tail = before.substr(mark->end);
    if (head.size() + tail.size() <= after.size() && after.starts_with(head) && after.ends_with(tail)) {
      return {*mark, {head.size(), after.size() - tail.size()}};
    }
  }
  const std::size_t shorter = std::min(before.size(), after.size());
  std::size_t head = 0;
  while (head < shorter && before[head] == after[head]) ++head;
  std::size_t tail = 0;
  while (tail < shorter - head && before[before.size() - 1 - tail] == after[after.size() - 1 - tail]) ++tail;
  return {{head, before.size() - tail}, {head, after.size() - tail}};
}

StepTracker::StepTracker(int level, std::function<void(StepRow&&)> emit) : level_(level), emit_(std::move(emit)) {}

void StepTracker::Restart() {
  started_ = false;
  marked_ = false;
  text_.clear();
}

void StepTracker::OnEvent(std::string_view text, int firstChar, int length) {
  if (length <= 0) return;
  const Span span = Clamp(text, firstChar, length);
  if (!started_) {
    started_ = true;
    text_.assign(text);
    mark_ = span;
    marked_ = true;
    return;
  }
  if (text == text_) {
    // Another mark on the same text. Neighbouring cells named one after the
    // other (two adjacent numbers) make one stretch; otherwise the latest
    // event is the more precise one (a group, then the step inside it).
    if (marked_ && Touches(mark_, span)) {
      mark_ = {std::min(mark_.begin, span.begin), std::max(mark_.end, span.end)};
    } else {
      mark_ = span;
    }
    marked_ = true;
    return;
  }
  const TextChange change = CompareTexts(text_, marked_ ? &mark_ : nullptr, text);
  const bool afterEvent = Within(span, change.produced);
  // A change that no event announced on either side (the calculator dropped a
  // cell quietly) gets no row of its own: the next row starts from its result.
  if (marked_ || afterEvent) {
    emit_(StepRow{level_, text_, change.consumed, std::string(text), change.produced});
  }
  text_.assign(text);
  mark_ = span;
  marked_ = !afterEvent;
}

}  // namespace morvex::cli
