// The successor table: for each type code, the row of flags that says what may
// follow a cell of that code. Assigning a code to any cell writes its row into
// the shared template gNext; the scanner then copies the template onto cells.
#pragma once

#include <array>
#include <cstdint>

#include "chain/type_codes.hpp"
#include "core/shared_state.hpp"
#include "core/successor_flags.hpp"

namespace morvex {

namespace successor_rows {

using namespace flag;

// Rows as flag sets; BEnd of the "depth" rows is added when the template's
// depth is above 0.
inline constexpr Flags kNumberRow = BAns | BChar | BFirst | BFunction | BLast | BNumber | BOper | BPlus | BPower | BStart;
inline constexpr Flags kWordRow = BAns | BChar | BEnd | BExtra | BFirst | BFunction | BNumber | BPowerNum | BSign | BStart;
inline constexpr Flags kOperatorRow = BAns | BChar | BFunction | BNumber | BSign | BStart;
inline constexpr Flags kOpenRow = kOperatorRow | BFirst;
inline constexpr Flags kCloseRow = BAns | BChar | BFunction | BLast | BNumber | BOper | BPlus | BPower;
inline constexpr Flags kExtraRow = kOperatorRow | BPowerNum;
inline constexpr Flags kPowerNumRow = BNumber | BSign | BStart;

}  // namespace successor_rows

// The row of a code as the table gives it, for a template depth above 0 or not
// (the only thing BEnd of rows 1, 8, 9, 11 depends on). Returns false for codes
// without a row.
constexpr bool SuccessorRow(int16_t code, bool depthAboveZero, Flags& row) {
  using namespace successor_rows;
  const Flags depthEnd = depthAboveZero ? BEnd : 0;
  switch (code) {
    case TypeNumber:
    case TypeAns:
    case TypeChar:
      row = kNumberRow | depthEnd;
      return true;
    case TypeWord:
      row = kWordRow;
      return true;
    case TypePlus:
    case TypeOper:
    case TypePower:
      row = kOperatorRow;
      return true;
    case TypeSign:
    case TypeStart:
      row = kOpenRow;
      return true;
    case TypeEnd:
      row = kCloseRow | depthEnd;
      return true;
    case TypeExtra:
      row = kExtraRow;
      return true;
    case TypePowerNum:
      row = kPowerNumRow;
      return true;
    default:
      if (code >= TypeLess && code <= TypeBar) {
        row = kOperatorRow;
        return true;
      }
      return false;
  }
}

namespace successor_rows {

// The rows of the codes 0 to 127 by the depth being above 0, and whether the
// code has a row: a code's assignment is then one look-up, as the scanner and
// the reductions assign codes at every step.
struct Entry {
  Flags rows[2] = {0, 0};
  bool has = false;
};
constexpr std::array<Entry, 128> MakeEntries() {
  std::array<Entry, 128> entries{};
  for (int16_t code = 0; code < 128; ++code) {
    Entry& entry = entries[static_cast<size_t>(code)];
    entry.has = SuccessorRow(code, false, entry.rows[0]);
    SuccessorRow(code, true, entry.rows[1]);
  }
  return entries;
}
inline constexpr std::array<Entry, 128> kEntries = MakeEntries();

}  // namespace successor_rows

// Writes the row of a parenthesis with the depth bookkeeping, or of a code
// outside the table.
void WriteSuccessorRowSlowly(SuccessorTemplate& next, int16_t code);

// Writes the row of `code` into the template `next` (gNext), with the depth
// bookkeeping of the open and close parenthesis. Codes without a row leave it
// as it is.
inline void WriteSuccessorRow(SuccessorTemplate& next, int16_t code) {
  if (code == TypeStart || code == TypeEnd || code < 0 || code >= 128) {
    WriteSuccessorRowSlowly(next, code);
    return;
  }
  const successor_rows::Entry& entry = successor_rows::kEntries[static_cast<size_t>(code)];
  if (!entry.has) return;
  next.SetFlags(entry.rows[next.StartNumber() > 0 ? 1 : 0]);
}

inline void WriteSuccessorRow(int16_t code) { WriteSuccessorRow(Shared().gNext, code); }

}  // namespace morvex
