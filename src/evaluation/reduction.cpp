#include "evaluation/reduction.hpp"

#include <algorithm>

#include "evaluation/number_text.hpp"

namespace morvex::detail {

void Reduction::NotifyMeasured(int32_t n, int32_t i) const {
  NotifyRaw(CellTextLength(chain, i, n), CellTextOffset(chain, i));
}

void Reduction::NotifyRaw(int16_t length, int16_t firstChar) const {
  if (channel == Channel::Change) {
    c.RaiseChange(length, firstChar);
  } else if (channel == Channel::Change2) {
    c.RaiseChange2(length, firstChar);
  }
}

void Reduction::NoteChainTypes() {
  mayHold_ = TypeSet{TypeNumber};  // every reduction makes numbers
  ++typesNoted_;
  // The passes look at the range alone (the cell after it at most).
  const int32_t end = std::min(chain.Count(), last + 1);
  chain.ForEach(std::max(first, 1), end, [this](const Cell& cell) {
    const int16_t type = cell.NameStr();
    if (type < 0 || type >= 128) return;
    mayHold_.bits[static_cast<size_t>(type) / 64] |= uint64_t{1} << (type % 64);
  });
}

void GiveUp(dna& chain, int32_t i, int32_t count) {
  for (int32_t k = i; k < i + count; ++k) {
    if (k >= 1 && k <= chain.Count()) chain[k].NameStr(TypeNone);
  }
}

void GiveUpByArity(Reduction& r) {
  const int32_t i = r.position;
  if (r.arity >= 3) {
    GiveUp(r.chain, i, 3);
  } else if (r.arity == 2) {
    GiveUp(r.chain, i, 2);
  } else if (i >= 1 && i + 1 <= r.chain.Count()) {
    double right = ReadNumberStrict(r.chain[i + 1].Value());
    double left = ReadNumber(r.chain[i].Value());
    GiveUp(r.chain, right > left ? i + 1 : i, 1);
  }
}

bool HasGivenUpCell(const dna& chain) {
  for (const Cell& cell : chain) {
    if (cell.NameStr() == TypeNone) return true;
  }
  return false;
}

std::string FirstGivenUpRun(const dna& chain) {
  std::string text;
  bool inRun = false;
  for (const Cell& cell : chain) {
    if (cell.NameStr() == TypeNone) {
      text.append(cell.Value());
      inRun = true;
    } else if (inRun) {
      break;
    }
  }
  return text;
}

}  // namespace morvex::detail
