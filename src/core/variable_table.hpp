// The variable table: named numbers and named formulas of one calculator.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/text_case.hpp"

namespace morvex {

// What a variable stands for (TypeVar).
namespace var_type {
inline constexpr int16_t Plain = 1;    // a number in Value
inline constexpr int16_t FormulaX = 2;  // a formula in XVar: takes the number to its right
inline constexpr int16_t FormulaY = 3;  // a formula in YVar: takes the number to its left
inline constexpr int16_t FormulaXY = 4;  // a formula in both: stands between two operands
}  // namespace var_type

// Fixed positions of a calculator's table: Ans, XVar and YVar are always the
// first three; the user's own variables begin at FirstUser.
namespace var_index {
inline constexpr int32_t Ans = 1;
inline constexpr int32_t XVar = 2;
inline constexpr int32_t YVar = 3;
inline constexpr int32_t FirstUser = 4;
}  // namespace var_index

// One variable.
struct Class1 {
  std::string Key;  // the name, in the spelling of the latest assignment
  int16_t TypeVar = 0;
  double Value = 0;
};

// Ordered keyed container of Class1, positions from 1, keys compared without
// regard to case. Positions 1 to 3 of a calculator's table are Ans, XVar, YVar.
// A calculator keeps every record under its own name, so that a name's hashed
// look-up finds the one record whose Key it is.
//
// Look-ups by key are hashed, so that a line's cost does not grow with the
// table. A table also carries a lineage: caches built from a table (the names
// a line is searched for) stay valid for the same lineage and a count no
// smaller than they saw, extending themselves by the records appended since.
// Every change other than an append (a removal, a new spelling through
// Respell) and every copy starts a new lineage. A record's Key is therefore
// changed only through Respell.
class VariableString {
 public:
  VariableString() noexcept;
  VariableString(const VariableString& other);
  VariableString(VariableString&& other) noexcept;
  VariableString& operator=(const VariableString& other);
  VariableString& operator=(VariableString&& other) noexcept;
  ~VariableString() = default;

  // Appends a record with Key set; under `containerKey` unless that is empty
  // (a key in use is failure 457).
  Class1& Add(std::string_view key, std::string_view containerKey);
  Class1& Item(int32_t index);              // failure 9 outside the table
  const Class1& Item(int32_t index) const;
  Class1& Item(std::string_view key);       // failure 5 for an unknown key
  int32_t Count() const noexcept { return static_cast<int32_t>(variables_.size()); }
  void Remove(int32_t index);
  void Remove(std::string_view key);
  // The position of the record under a container key, 0 when there is none.
  int32_t IndexOfKey(std::string_view key) const noexcept { return MayHoldShape(key) ? FindKey(key) : 0; }
  // Gives record `index` the spelling `key` (the same name in another case).
  void Respell(int32_t index, std::string_view key);
  uint64_t Lineage() const noexcept { return lineage_; }

  auto begin() noexcept { return variables_.begin(); }
  auto end() noexcept { return variables_.end(); }
  auto begin() const noexcept { return variables_.begin(); }
  auto end() const noexcept { return variables_.end(); }

 private:
  void ReindexFrom(size_t first);
  void NoteShape(std::string_view key) noexcept;
  bool MayHoldShape(std::string_view key) const noexcept {
    if (key.empty()) return false;
    const unsigned char first = UpperChar(static_cast<unsigned char>(key[0]));
    return (firstBytes_[first / 64] >> (first % 64) & 1) != 0 && (lengths_ >> std::min<size_t>(key.size(), 63) & 1) != 0;
  }
  int32_t FindKey(std::string_view key) const noexcept;

  std::vector<Class1> variables_;
  std::vector<std::string> containerKeys_;  // in step with variables_; "" for none
  std::unordered_map<std::string, int32_t> positions_;  // upper-cased container key -> position
  // The shapes of the keys ever added (upper-cased first byte, length up to
  // 63): a key of another shape, such as a number or an operator of a line,
  // is known to be absent without being hashed.
  uint64_t firstBytes_[4] = {};
  uint64_t lengths_ = 0;
  uint64_t lineage_;
};

}  // namespace morvex
