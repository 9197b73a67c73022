// dna: the chain of cells of a line, positions counted from 1, with optional
// keys (compared without regard to case). A chain holds at most 32,767 cells:
// every index and character position of the calculator is a 16-bit integer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "chain/cell.hpp"

namespace morvex {

class dna {
 public:
  static constexpr int32_t kMaxCells = 32767;

  // Appends a cell with these flags (and under `key` if that is not empty; a key
  // in use is failure 457). Value, NameStr and KeyVal stay empty for the caller.
  Cell& Add(Flags flags, std::string_view key = {});
  // The cell at a 1-based position (failure 9 outside the chain) or under a key (failure 5).
  Cell& Item(int32_t index);
  const Cell& Item(int32_t index) const;
  Cell& Item(std::string_view key);
  int32_t Count() const noexcept { return static_cast<int32_t>(front_.size() + back_.size()); }
  void Remove(int32_t index);
  // Removes `count` cells from position `index` on.
  void Remove(int32_t index, int32_t count);
  void Remove(std::string_view key);
  // Removes every cell for which `drop` is true, keeping the others in order:
  // one sweep, where removing them one by one would move the edit point each time.
  template <class Drop>
  void RemoveWhere(Drop&& drop) {
    MoveEditPoint(static_cast<size_t>(Count()));
    size_t kept = 0;
    for (size_t k = 0; k < front_.size(); ++k) {
      if (drop(front_[k])) continue;
      if (kept != k) front_[kept] = std::move(front_[k]);
      ++kept;
    }
    front_.erase(front_.begin() + static_cast<std::ptrdiff_t>(kept), front_.end());
  }
  // Inserts `cell` before position `index` (Count()+1 appends).
  void Insert(int32_t index, Cell cell);
  void Reserve(int32_t cells) { front_.reserve(static_cast<size_t>(cells)); }
  void Clear() noexcept {
    front_.clear();
    back_.clear();
  }

  // The Values of all cells, joined.
  std::string Join() const;
  // The same into `text`, whose storage it reuses.
  void JoinInto(std::string& text) const;

  // Unchecked access for the passes, which keep their positions in range.
  Cell& operator[](int32_t index) noexcept { return At(static_cast<size_t>(index - 1)); }
  const Cell& operator[](int32_t index) const noexcept { return const_cast<dna*>(this)->At(static_cast<size_t>(index - 1)); }

  // Calls `visit` on the cells first..last in chain order (positions kept in
  // range by the caller): each side of the gap is walked as the plain array it
  // is, without the side test of operator[] per cell.
  template <class Visit>
  void ForEach(int32_t first, int32_t last, Visit&& visit) const {
    const size_t from = static_cast<size_t>(first - 1);
    const size_t to = static_cast<size_t>(last);  // one past the last, 0-based
    const size_t split = front_.size();
    for (size_t k = from; k < to && k < split; ++k) visit(front_[k]);
    if (to <= split) return;
    const Cell* atSplit = &back_.back();  // the cell at `split`; later cells lie below it
    for (size_t k = from > split ? from : split; k < to; ++k) visit(*(atSplit - (k - split)));
  }

  template <class Chain, class Value>
  class Iterator {
   public:
    Iterator(Chain* chain, int32_t index) : chain_(chain), index_(index) {}
    Value& operator*() const { return (*chain_)[index_]; }
    Value* operator->() const { return &(*chain_)[index_]; }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return index_ != other.index_; }
    bool operator==(const Iterator& other) const { return index_ == other.index_; }

   private:
    Chain* chain_;
    int32_t index_;
  };
  auto begin() noexcept { return Iterator<dna, Cell>(this, 1); }
  auto end() noexcept { return Iterator<dna, Cell>(this, Count() + 1); }
  auto begin() const noexcept { return Iterator<const dna, const Cell>(this, 1); }
  auto end() const noexcept { return Iterator<const dna, const Cell>(this, Count() + 1); }

 private:
  // The chain is a gap buffer: the cells before the place of the last edit in
  // `front_`, the cells after it in `back_`, last cell first. Reductions edit
  // near one place, so a removal or insertion costs what the edit point moves,
  // not the length of the chain.
  Cell& At(size_t k) noexcept { return k < front_.size() ? front_[k] : back_[back_.size() - 1 - (k - front_.size())]; }
  void MoveEditPoint(size_t cellsBefore) {
    if (cellsBefore != front_.size()) ShiftEditPoint(cellsBefore);  // mostly there already
  }
  void ShiftEditPoint(size_t cellsBefore);
  int32_t IndexOfKey(std::string_view key) const noexcept;
  static constexpr size_t kShortTail = 4;
  std::vector<Cell> front_;
  std::vector<Cell> back_;
};

// Whole-cell copy as the scanner saves and restores a chain: all flags, Value,
// KeyVal, StartNumber, and NameStr through its assignment (so the successor
// template sees every copied code, in chain order).
dna CopyChain(const dna& source);
// The same copy into `copy`, whose cells it replaces and whose storage it reuses.
void CopyChainInto(const dna& source, dna& copy);
// What such a copy does to the successor template, without the copy; or
// what `times` such copies in a row do.
void ReplayCopy(const dna& source, int32_t times = 1);

// Position helpers, in characters of the text that the chain spells (1-based).
int16_t CellTextOffset(const dna& chain, int32_t index);
int16_t CellTextLength(const dna& chain, int32_t first, int32_t count);
// The first cell at which the running length of the Values reaches `position`; 0 past the end.
int16_t CellAtPosition(const dna& chain, int32_t position);

// Replaces the cell of `target` at `position` by copies of all cells of `inserted`.
void SpliceChain(dna& target, const dna& inserted, int32_t position);

}  // namespace morvex
