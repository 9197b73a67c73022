#include "chain/dna.hpp"

#include <algorithm>

#include "calculator/errors.hpp"
#include "chain/text_case.hpp"

namespace morvex {

Cell& dna::Add(Flags flags, std::string_view key) {
  if (Count() >= kMaxCells) FailOverflow("a chain holds at most 32,767 cells");
  if (!key.empty() && IndexOfKey(key) != 0) {
    Fail(failure_code::KeyInUse, "the key \"" + std::string(key) + "\" is already in use in the chain");
  }
  Cell& cell = cells_.emplace_back();
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

void dna::Remove(int32_t index) {
  Item(index);  // checks the position
  cells_.erase(cells_.begin() + (index - 1));
}

void dna::Remove(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "the chain has no cell under the key \"" + std::string(key) + "\"");
  cells_.erase(cells_.begin() + (index - 1));
}

void dna::InsertCopies(int32_t index, const std::vector<Cell>& cells) {
  if (Count() + static_cast<int64_t>(cells.size()) > kMaxCells) FailOverflow("a chain holds at most 32,767 cells");
  cells_.insert(cells_.begin() + (index - 1), cells.begin(), cells.end());
}

std::string dna::Join() const {
  size_t length = 0;
  for (const Cell& cell : cells_) length += cell.Text().size();
  std::string text;
  text.reserve(length);
  for (const Cell& cell : cells_) text.append(cell.Value());
  return text;
}

int32_t dna::IndexOfKey(std::string_view key) const noexcept {
  for (size_t i = 0; i < cells_.size(); ++i) {
    const std::string& cellKey = cells_[i].ContainerKey();
    if (!cellKey.empty() && EqualsIgnoreCase(cellKey, key)) return static_cast<int32_t>(i + 1);
  }
  return 0;
}

dna CopyChain(const dna& source) {
  dna copy;
  for (const Cell& cell : source) {
    Cell& fresh = copy.Add(cell.GetFlags());
    fresh.KeyVal(cell.KeyVal());
    fresh.StartNumber(cell.StartNumber());
    fresh.NameStr(cell.NameStr());
    fresh.Value(cell.Value());
  }
  return copy;
}

void AppendSpliceCopy(dna& target, const Cell& source) {
  Cell& fresh = target.Add(source.GetFlags());
  fresh.KeyVal(source.KeyVal());
  fresh.NameStr(source.NameStr());
  fresh.Value(source.Value());
}

int16_t CellTextOffset(const dna& chain, int32_t index) {
  int64_t position = 1;
  int32_t last = std::min(index - 1, chain.Count());
  for (int32_t i = 1; i <= last; ++i) position += chain[i].Text().size();
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
  // The cells from `position` on move behind the inserted copies; the cell that
  // stood at `position` goes. Copies run NameStr through its assignment, in
  // chain order, as every cell copy of the calculator does.
  target.Item(position);  // a position outside the chain is the container's failure
  dna tail;
  for (int32_t i = position; i <= target.Count(); ++i) AppendSpliceCopy(tail, target[i]);
  while (target.Count() >= position) target.Remove(target.Count());
  for (const Cell& cell : inserted) AppendSpliceCopy(target, cell);
  for (const Cell& cell : tail) AppendSpliceCopy(target, cell);
  target.Remove(position + inserted.Count());
}

}  // namespace morvex
