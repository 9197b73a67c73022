#include "chain/successor_table.hpp"

namespace morvex {

void WriteSuccessorRowSlowly(SuccessorTemplate& next, int16_t code) {
  if (code == TypeStart) next.StartNumber(CheckedInt16(next.StartNumber() + 1));
  Flags row = 0;
  if (SuccessorRow(code, next.StartNumber() > 0, row)) next.SetFlags(row);
  if (code == TypeEnd) next.StartNumber(CheckedInt16(next.StartNumber() - 1));
}

}  // namespace morvex
