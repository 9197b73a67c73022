#include "core/variable_table.hpp"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "core/errors.hpp"
#include "core/text_case.hpp"

namespace morvex {

namespace {

// Lineages are unique within the process, so that no two tables share one.
uint64_t NewLineage() noexcept {
  static std::atomic<uint64_t> next{0};
  return ++next;
}

}  // namespace

VariableString::VariableString() noexcept : lineage_(NewLineage()) {}

VariableString::VariableString(const VariableString& other)
    : variables_(other.variables_),
      containerKeys_(other.containerKeys_),
      positions_(other.positions_),
      firstBytes_{other.firstBytes_[0], other.firstBytes_[1], other.firstBytes_[2], other.firstBytes_[3]},
      lengths_(other.lengths_),
      lineage_(NewLineage()) {}

VariableString::VariableString(VariableString&& other) noexcept
    : variables_(std::move(other.variables_)),
      containerKeys_(std::move(other.containerKeys_)),
      positions_(std::move(other.positions_)),
      firstBytes_{other.firstBytes_[0], other.firstBytes_[1], other.firstBytes_[2], other.firstBytes_[3]},
      lengths_(other.lengths_),
      lineage_(other.lineage_) {
  other = VariableString();
}

VariableString& VariableString::operator=(const VariableString& other) {
  if (this != &other) *this = VariableString(other);
  return *this;
}

VariableString& VariableString::operator=(VariableString&& other) noexcept {
  if (this == &other) return *this;
  variables_ = std::move(other.variables_);
  containerKeys_ = std::move(other.containerKeys_);
  positions_ = std::move(other.positions_);
  std::copy(std::begin(other.firstBytes_), std::end(other.firstBytes_), std::begin(firstBytes_));
  lengths_ = other.lengths_;
  lineage_ = other.lineage_;
  other.variables_.clear();
  other.containerKeys_.clear();
  other.positions_.clear();
  std::fill(std::begin(other.firstBytes_), std::end(other.firstBytes_), 0);
  other.lengths_ = 0;
  other.lineage_ = NewLineage();
  return *this;
}

Class1& VariableString::Add(std::string_view key, std::string_view containerKey) {
  if (!containerKey.empty() && IndexOfKey(containerKey) != 0) {
    Fail(failure_code::KeyInUse, "the variable \"" + std::string(containerKey) + "\" is already in the table");
  }
  Class1& record = variables_.emplace_back();
  record.Key = std::string(key);
  containerKeys_.emplace_back(containerKey);
  if (!containerKey.empty()) {
    positions_.emplace(ToUpper(containerKey), Count());
    NoteShape(containerKey);
  }
  return record;
}

void VariableString::NoteShape(std::string_view key) noexcept {
  const unsigned char first = UpperChar(static_cast<unsigned char>(key[0]));
  firstBytes_[first / 64] |= uint64_t{1} << (first % 64);
  lengths_ |= uint64_t{1} << std::min<size_t>(key.size(), 63);
}


Class1& VariableString::Item(int32_t index) {
  if (index < 1 || index > Count()) {
    Fail(failure_code::SubscriptOutOfRange, "the variable table has no record at position " + std::to_string(index));
  }
  return variables_[static_cast<size_t>(index - 1)];
}

const Class1& VariableString::Item(int32_t index) const { return const_cast<VariableString*>(this)->Item(index); }

Class1& VariableString::Item(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "no variable \"" + std::string(key) + "\" in the table");
  return variables_[static_cast<size_t>(index - 1)];
}

void VariableString::Remove(int32_t index) {
  Item(index);
  const size_t at = static_cast<size_t>(index - 1);
  if (!containerKeys_[at].empty()) positions_.erase(ToUpper(containerKeys_[at]));
  variables_.erase(variables_.begin() + static_cast<std::ptrdiff_t>(at));
  containerKeys_.erase(containerKeys_.begin() + static_cast<std::ptrdiff_t>(at));
  ReindexFrom(at);
  lineage_ = NewLineage();
}

void VariableString::Remove(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "no variable \"" + std::string(key) + "\" in the table");
  Remove(index);
}

int32_t VariableString::FindKey(std::string_view key) const noexcept {
  auto found = positions_.find(ToUpper(key));
  return found == positions_.end() ? 0 : found->second;
}

void VariableString::Respell(int32_t index, std::string_view key) {
  Class1& record = Item(index);
  if (record.Key == key) return;
  record.Key = std::string(key);
  lineage_ = NewLineage();
}

// The records from `first` (0-based) on moved down: their positions follow.
void VariableString::ReindexFrom(size_t first) {
  for (size_t i = first; i < containerKeys_.size(); ++i) {
    if (!containerKeys_[i].empty()) positions_[ToUpper(containerKeys_[i])] = static_cast<int32_t>(i + 1);
  }
}

}  // namespace morvex
