// Cell: one token of a line, and the type codes that it may carry.
//
// A cell holds its text (Value), its type code (NameStr) and fourteen successor
// flags that say what may stand next to it. Assigning a type code rewrites the
// shared successor template gNext (see successor_table.hpp): that is how the
// scanner gets a cell's flags without a grammar.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "chain/cell_text.hpp"
#include "chain/successor_table.hpp"
#include "chain/type_codes.hpp"
#include "core/successor_flags.hpp"

namespace morvex {


class Cell {
 public:
  Cell() = default;

  // Assigning the type code stores it and writes the code's successor row into
  // the shared template gNext (with the depth bookkeeping of codes 7, 8).
  void NameStr(int16_t code) {
    nameStr_ = code;
    WriteSuccessorRow(code);
  }
  int16_t NameStr() const noexcept { return nameStr_; }
  // Stores a code without touching the template: for a copy whose assignment
  // has already been replayed on the template in the calculator's own order.
  void SetNameStrQuietly(int16_t code) noexcept { nameStr_ = code; }

  std::string_view Value() const noexcept { return value_.view(); }
  void Value(std::string_view text) { value_.assign(text); }
  CellText& Text() noexcept { return value_; }
  const CellText& Text() const noexcept { return value_; }

  int16_t StartNumber() const noexcept { return startNumber_; }
  void StartNumber(int16_t depth) noexcept { startNumber_ = depth; }

  const std::string& KeyVal() const noexcept { return keys_ ? keys_->keyVal : NoKey(); }
  void KeyVal(std::string key) {
    if (key.empty() && !keys_) return;
    Keys().keyVal = std::move(key);
  }

  Flags GetFlags() const noexcept { return flags_; }
  void SetFlags(Flags flags) noexcept { flags_ = flags & flag::All; }
  bool Has(Flags f) const noexcept { return (flags_ & f) != 0; }
  void Set(Flags f, bool on) noexcept { flags_ = on ? (flags_ | f) : (flags_ & ~f); }

  bool BNumber() const noexcept { return Has(flag::BNumber); }
  bool BFirst() const noexcept { return Has(flag::BFirst); }
  bool BOper() const noexcept { return Has(flag::BOper); }
  bool BSign() const noexcept { return Has(flag::BSign); }
  bool BPower() const noexcept { return Has(flag::BPower); }
  bool BLast() const noexcept { return Has(flag::BLast); }
  bool BStart() const noexcept { return Has(flag::BStart); }
  bool BEnd() const noexcept { return Has(flag::BEnd); }
  bool BFunction() const noexcept { return Has(flag::BFunction); }
  bool BPlus() const noexcept { return Has(flag::BPlus); }
  bool BAns() const noexcept { return Has(flag::BAns); }
  bool BExtra() const noexcept { return Has(flag::BExtra); }
  bool BChar() const noexcept { return Has(flag::BChar); }
  bool BPowerNum() const noexcept { return Has(flag::BPowerNum); }

  // The container key of the chain that holds the cell ("" for none).
  const std::string& ContainerKey() const noexcept { return keys_ ? keys_->containerKey : NoKey(); }
  void ContainerKey(std::string key) {
    if (key.empty() && !keys_) return;
    Keys().containerKey = std::move(key);
  }

  Cell(const Cell& other)
      : value_(other.value_),
        keys_(other.keys_ ? std::make_unique<CellKeys>(*other.keys_) : nullptr),
        flags_(other.flags_),
        nameStr_(other.nameStr_),
        startNumber_(other.startNumber_) {}
  Cell& operator=(const Cell& other) {
    if (this != &other) *this = Cell(other);
    return *this;
  }
  Cell(Cell&&) noexcept = default;
  Cell& operator=(Cell&&) noexcept = default;

 private:
  // The two keys are rare (the end marker of a line, the first cell of a
  // stored chain), so they live apart and a cell stays small to move.
  struct CellKeys {
    std::string keyVal;
    std::string containerKey;
  };
  CellKeys& Keys() {
    if (!keys_) keys_ = std::make_unique<CellKeys>();
    return *keys_;
  }
  static const std::string& NoKey() noexcept {
    static const std::string empty;
    return empty;
  }

  CellText value_;
  std::unique_ptr<CellKeys> keys_;
  Flags flags_ = 0;
  int16_t nameStr_ = TypeNone;
  int16_t startNumber_ = 0;
};

}  // namespace morvex
