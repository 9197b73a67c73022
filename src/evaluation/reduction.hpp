// A reduction in progress: the chain it works on, its range, how it reports
// its steps to the host, and the state that its failure handling reads.
//
// Every reducer and every driver of the calculator (the silent run, the
// calculation run, the runs of a formula's text, and the range reducers of a
// word power) is a table of stages over this context. The stages are built
// from the pass primitives of passes.hpp; a difference between two reducers
// is a difference in their tables (reducer.hpp), not a copied procedure.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Where a reduction's steps are reported: nowhere (the silent run), as Change
// over the working chain, or as Change2 over the second chain.
enum class Channel : uint8_t { Silent, Change, Change2 };

// How the factorial of a reducer multiplies.
enum class FactorialRule : uint8_t {
  DoubleForward,  // in double precision, magnitudes below 171
  Int32Forward,   // 32-bit product: 13! is the overflow
  Int32Backward,  // the same, the pass running from the end of the range
};

// What the function word pass does with a word that no row takes.
enum class LoneWordRule : uint8_t {
  Skip,         // passed over
  ZeroNumber,   // becomes the number 0
  ZeroKeepWord, // its text becomes "0" (with a Change over 2), its code stays
};

// A set of type codes from 0 to 127.
struct TypeSet {
  uint64_t bits[2] = {0, 0};

  constexpr TypeSet() = default;
  constexpr TypeSet(std::initializer_list<int16_t> codes) {
    for (const int16_t code : codes) {
      if (code >= 0 && code < 128) bits[code / 64] |= uint64_t{1} << (code % 64);
    }
  }
  constexpr bool Empty() const noexcept { return (bits[0] | bits[1]) == 0; }
  constexpr bool Meets(const TypeSet& other) const noexcept {
    return ((bits[0] & other.bits[0]) | (bits[1] & other.bits[1])) != 0;
  }
};

struct Reduction {
  Calculator& c;
  dna& chain;
  Channel channel;
  int32_t first = 0;  // the "(" of a group, or 0 for the whole chain
  int32_t last = 0;   // the ")" of a group, or the cell count
  int32_t arity = 2;  // cells the step in progress stands on (failure handling)
  int32_t position = 0;  // the scan position of the step in progress
  bool progress = false;
  FactorialRule factorial = FactorialRule::DoubleForward;
  LoneWordRule loneWords = LoneWordRule::Skip;
  bool signWordHasRow = true;

 private:
  TypeSet mayHold_ = AllCodes();
  uint32_t typesNoted_ = 0;
  void NotifyMeasured(int32_t n, int32_t i) const;
  static constexpr TypeSet AllCodes() {
    TypeSet all;
    all.bits[0] = all.bits[1] = ~uint64_t{0};
    return all;
  }

 public:

  Reduction(Calculator& calc, dna& ch, Channel chan) : c(calc), chain(ch), channel(chan) {}

  // The type codes that the chain may hold: a superset, taken from the chain
  // and widened by every stage that brings new kinds of cells. A pass for a
  // code that the chain cannot hold finds nothing, so it is skipped.
  void NoteChainTypes();
  bool MayHold(int16_t type) const noexcept {
    return static_cast<uint16_t>(type) < 128 && (mayHold_.bits[static_cast<size_t>(type) / 64] >> (type % 64) & 1u) != 0;
  }
  bool MayHoldAny(const TypeSet& codes) const noexcept { return mayHold_.Meets(codes); }
  const TypeSet& NotedTypes() const noexcept { return mayHold_; }
  // Counts the notes, so that what a reducer derives from them knows when to derive it again.
  uint32_t TypesNoted() const noexcept { return typesNoted_; }

  bool Loud() const { return channel != Channel::Silent; }
  // Raises Change (or Change2) over the `n` cells from `i`, measured on the chain as it stands.
  // Measuring the text costs a walk of the chain: only for a host that listens.
  void Notify(int32_t n, int32_t i) const {
    if (channel == Channel::Change ? static_cast<bool>(c.Events.Change)
                                   : channel == Channel::Change2 && static_cast<bool>(c.Events.Change2)) {
      NotifyMeasured(n, i);
    }
  }
  // Raises Change (or Change2) with a length and a first character as given.
  void NotifyRaw(int16_t length, int16_t firstChar) const;
  // The whole chain: first 0 and last the cell count.
  void WholeChain() {
    first = 0;
    last = chain.Count();
  }
};

// Gives up cells: they become TypeNone, the mark of a step that cannot be done.
void GiveUp(dna& chain, int32_t i, int32_t count);
// Overflow handling by arity: 3 gives up i..i+2, 2 gives up i and i+1, 1 the
// larger of the two values.
void GiveUpByArity(Reduction& r);
bool HasGivenUpCell(const dna& chain);
// The Values of the first unbroken run of given-up cells: the failing text of a line.
std::string FirstGivenUpRun(const dna& chain);

}  // namespace morvex::detail
