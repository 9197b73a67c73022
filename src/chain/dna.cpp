#include "chain/dna.hpp"

#include <algorithm>

#include "chain/successor_table.hpp"
#include "core/errors.hpp"
#include "core/text_case.hpp"

namespace morvex {

Cell& dna::Add(Flags flags, std::string_view key) {
  if (Count() >= kMaxCells) FailOverflow("a chain holds at most 32,767 cells");
  if (!key.empty() && IndexOfKey(key) != 0) {
    Fail(failure_code::KeyInUse, "the key \"" + std::string(key) + "\" is already in use in the chain");
  }
  MoveEditPoint(static_cast<size_t>(Count()));
  Cell& cell = front_.emplace_back();
  cell.SetFlags(flags);
  if (!key.empty()) cell.ContainerKey(std::string(key));
  return cell;
}

Cell& dna::Item(int32_t index) {
  if (index < 1 || index > Count()) {
    Fail(failure_code::SubscriptOutOfRange, "the chain has no cell at position " + std::to_string(index));
  }
  return (*this)[index];
}

const Cell& dna::Item(int32_t index) const { return const_cast<dna*>(this)->Item(index); }

Cell& dna::Item(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "the chain has no cell under the key \"" + std::string(key) + "\"");
  return (*this)[index];
}

void dna::Remove(int32_t index) { Remove(index, 1); }

void dna::Remove(int32_t index, int32_t count) {
  if (count <= 0) return;
  if (index < 1 || index > Count() - count + 1) {  // the first position outside the chain fails
    Item(index);
    Item(index + count - 1);
  }
  // Cells close before the edit point close up where they are: moving the few
  // behind them costs less than moving the edit point over them.
  const size_t end = static_cast<size_t>(index - 1 + count);
  if (end <= front_.size() && front_.size() - end <= kShortTail) {
    const auto first = front_.begin() + (index - 1);
    front_.erase(first, first + count);
    return;
  }
  MoveEditPoint(static_cast<size_t>(index - 1));
  back_.erase(back_.end() - count, back_.end());
}

void dna::Remove(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "the chain has no cell under the key \"" + std::string(key) + "\"");
  Remove(index);
}

void dna::Insert(int32_t index, Cell cell) {
  if (Count() >= kMaxCells) FailOverflow("a chain holds at most 32,767 cells");
  if (index < 1 || index > Count() + 1) {
    Fail(failure_code::SubscriptOutOfRange, "the chain has no cell at position " + std::to_string(index));
  }
  MoveEditPoint(static_cast<size_t>(index - 1));
  front_.push_back(std::move(cell));
}

void dna::ShiftEditPoint(size_t cellsBefore) {
  // Either side may come to hold the whole chain: room for it is made once,
  // so that a chain reused line after line stops allocating.
  const size_t count = front_.size() + back_.size();
  if (cellsBefore > front_.size() && front_.capacity() < count) front_.reserve(count);
  if (cellsBefore < front_.size() && back_.capacity() < count) back_.reserve(count);
  while (front_.size() > cellsBefore) {
    back_.push_back(std::move(front_.back()));
    front_.pop_back();
  }
  while (front_.size() < cellsBefore) {
    front_.push_back(std::move(back_.back()));
    back_.pop_back();
  }
}

std::string dna::Join() const {
  std::string text;
  JoinInto(text);
  return text;
}

void dna::JoinInto(std::string& text) const {
  size_t length = 0;
  ForEach(1, Count(), [&](const Cell& cell) { length += cell.Text().size(); });
  text.resize(length);
  char* out = text.data();
  ForEach(1, Count(), [&](const Cell& cell) {
    for (const char ch : cell.Value()) *out++ = ch;  // most cells hold one character
  });
}

int32_t dna::IndexOfKey(std::string_view key) const noexcept {
  for (int32_t i = 1; i <= Count(); ++i) {
    const std::string& cellKey = (*this)[i].ContainerKey();
    if (!cellKey.empty() && EqualsIgnoreCase(cellKey, key)) return i;
  }
  return 0;
}

void ReplayCopy(const dna& source, int32_t times) {
  // Each copy leaves the row of its last cell that has one, as the depth
  // stands at that cell, and moves the depth by the same amount: one walk
  // tells both for any number of copies.
  int32_t depth = 0;
  int32_t lowest = 0;
  int32_t highest = 0;
  int16_t lastWithRow = TypeNone;
  int32_t depthAtLast = 0;
  bool anyRow = false;
  source.ForEach(1, source.Count(), [&](const Cell& cell) {
    const int16_t code = cell.NameStr();
    if (code == TypeStart) highest = std::max(highest, ++depth);
    if (code >= 0 && code < 128 && successor_rows::kEntries[static_cast<size_t>(code)].has) {
      anyRow = true;
      lastWithRow = code;
      depthAtLast = depth;
    }
    if (code == TypeEnd) lowest = std::min(lowest, --depth);
  });
  SuccessorTemplate& next = Shared().gNext;
  const int32_t start = next.StartNumber();
  for (int32_t k = 0; k < times; ++k) {
    const int32_t from = start + k * depth;
    if (from + highest > INT16_MAX || from + lowest < INT16_MIN) {
      // The depth leaves 16 bits: the copies fail where they would, cell by cell.
      for (int32_t copy = 0; copy < times; ++copy) {
        source.ForEach(1, source.Count(), [&next](const Cell& cell) { WriteSuccessorRow(next, cell.NameStr()); });
      }
      return;
    }
  }
  if (times <= 0) return;
  if (anyRow) {
    const int32_t depthThere = start + (times - 1) * depth + depthAtLast;
    next.SetFlags(successor_rows::kEntries[static_cast<size_t>(lastWithRow)].rows[depthThere > 0 ? 1 : 0]);
  }
  next.StartNumber(static_cast<int16_t>(start + times * depth));
}

dna CopyChain(const dna& source) {
  dna copy;
  CopyChainInto(source, copy);
  return copy;
}

void CopyChainInto(const dna& source, dna& copy) {
  copy.Clear();
  copy.Reserve(source.Count());
  source.ForEach(1, source.Count(), [&copy](const Cell& cell) {
    Cell& fresh = copy.Add(cell.GetFlags());
    fresh.KeyVal(cell.KeyVal());
    fresh.StartNumber(cell.StartNumber());
    fresh.NameStr(cell.NameStr());
    fresh.Value(cell.Value());
  });
}

int16_t CellTextOffset(const dna& chain, int32_t index) {
  if (index - 1 > chain.Count()) {
    Fail(failure_code::SubscriptOutOfRange, "the chain has no cell at position " + std::to_string(index - 1));
  }
  int64_t position = 1;
  for (int32_t i = 1; i < index; ++i) position += chain[i].Text().size();
  return CheckedInt16(position);
}

int16_t CellTextLength(const dna& chain, int32_t first, int32_t count) {
  int64_t length = 0;
  for (int32_t i = first; i < first + count; ++i) length += chain.Item(i).Text().size();
  return CheckedInt16(length);
}

int16_t CellAtPosition(const dna& chain, int32_t position) {
  int64_t running = 0;
  for (int32_t i = 1; i <= chain.Count(); ++i) {
    running += chain[i].Text().size();
    if (running >= position) return CheckedInt16(i);
  }
  return 0;
}

void SpliceChain(dna& target, const dna& inserted, int32_t position) {
  // The cell at `position` is replaced by copies of the inserted cells. The
  // copies assign NameStr in the order in which the calculator has always
  // copied here (the cells from `position` on into a spare chain, the inserted
  // cells, the spare chain back), so the successor template and the depth
  // counters see the same codes in the same order.
  target.Item(position);  // a position outside the chain is the container's failure
  const int32_t count = target.Count();
  for (int32_t i = position; i <= count; ++i) WriteSuccessorRow(target[i].NameStr());
  for (const Cell& cell : inserted) WriteSuccessorRow(cell.NameStr());
  for (int32_t i = position; i <= count; ++i) WriteSuccessorRow(target[i].NameStr());

  for (int32_t i = position + 1; i <= count; ++i) target[i].StartNumber(0);  // moved cells lose it
  target.Remove(position);
  int32_t at = position;
  for (const Cell& cell : inserted) {
    Cell copy;
    copy.SetFlags(cell.GetFlags());
    copy.KeyVal(cell.KeyVal());
    copy.Value(cell.Value());
    copy.SetNameStrQuietly(cell.NameStr());
    target.Insert(at++, std::move(copy));
  }
}

}  // namespace morvex
