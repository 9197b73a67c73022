#include "chain/successor_table.hpp"

#include "core/shared_state.hpp"

namespace morvex {
namespace {

using namespace flag;

// Rows as flag sets; BEnd of the "depth" rows is added when the template's
// depth is above 0.
constexpr Flags kNumberRow = BAns | BChar | BFirst | BFunction | BLast | BNumber | BOper | BPlus | BPower | BStart;
constexpr Flags kWordRow = BAns | BChar | BEnd | BExtra | BFirst | BFunction | BNumber | BPowerNum | BSign | BStart;
constexpr Flags kOperatorRow = BAns | BChar | BFunction | BNumber | BSign | BStart;
constexpr Flags kOpenRow = kOperatorRow | BFirst;
constexpr Flags kCloseRow = BAns | BChar | BFunction | BLast | BNumber | BOper | BPlus | BPower;
constexpr Flags kExtraRow = kOperatorRow | BPowerNum;
constexpr Flags kPowerNumRow = BNumber | BSign | BStart;

}  // namespace

bool SuccessorRow(int16_t code, bool depthAboveZero, Flags& row) {
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

void WriteSuccessorRow(int16_t code) {
  SharedState& g = Shared();
  if (code == TypeStart) {
    g.gNext.StartNumber(CheckedInt16(g.gNext.StartNumber() + 1));
  }
  Flags row = 0;
  if (SuccessorRow(code, g.gNext.StartNumber() > 0, row)) g.gNext.SetFlags(row);
  if (code == TypeEnd) {
    g.gNext.StartNumber(CheckedInt16(g.gNext.StartNumber() - 1));
  }
}

void Cell::NameStr(int16_t code) {
  nameStr_ = code;
  WriteSuccessorRow(code);
}

}  // namespace morvex
