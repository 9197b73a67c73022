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
  int32_t Count() const noexcept { return static_cast<int32_t>(cells_.size()); }
  void Remove(int32_t index);
  void Remove(std::string_view key);
  // Inserts copies of `cells` before position `index` (Count()+1 appends).
  void InsertCopies(int32_t index, const std::vector<Cell>& cells);
  void Clear() noexcept { cells_.clear(); }

  // The Values of all cells, joined.
  std::string Join() const;

  auto begin() noexcept { return cells_.begin(); }
  auto end() noexcept { return cells_.end(); }
  auto begin() const noexcept { return cells_.begin(); }
  auto end() const noexcept { return cells_.end(); }
  // Unchecked access for the passes, which keep their positions in range.
  Cell& operator[](int32_t index) noexcept { return cells_[static_cast<size_t>(index - 1)]; }
  const Cell& operator[](int32_t index) const noexcept { return cells_[static_cast<size_t>(index - 1)]; }

 private:
  int32_t IndexOfKey(std::string_view key) const noexcept;
  std::vector<Cell> cells_;
};

// Whole-cell copy as the scanner saves and restores a chain: all flags, Value,
// KeyVal, StartNumber, and NameStr through its assignment (so the successor
// template sees every copied code, in chain order).
dna CopyChain(const dna& source);
// Copies one cell onto the end of `target` the way a splice moves cells: flags,
// Value, KeyVal and NameStr (assigned), but not StartNumber.
void AppendSpliceCopy(dna& target, const Cell& source);

// Position helpers, in characters of the text that the chain spells (1-based).
int16_t CellTextOffset(const dna& chain, int32_t index);
int16_t CellTextLength(const dna& chain, int32_t first, int32_t count);
// The first cell at which the running length of the Values reaches `position`; 0 past the end.
int16_t CellAtPosition(const dna& chain, int32_t position);

// Replaces the cell of `target` at `position` by copies of all cells of `inserted`.
void SpliceChain(dna& target, const dna& inserted, int32_t position);

}  // namespace morvex
