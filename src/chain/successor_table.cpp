#include "chain/successor_table.hpp"

namespace morvex {

void WriteSuccessorRowSlowly(int16_t code) {
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

}  // namespace morvex
