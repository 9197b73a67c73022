#include "core/variable_table.hpp"

#include "core/errors.hpp"
#include "core/text_case.hpp"

namespace morvex {

Class1& VariableString::Add(std::string_view key, std::string_view containerKey) {
  if (!containerKey.empty() && IndexOfKey(containerKey) != 0) {
    Fail(failure_code::KeyInUse, "the variable \"" + std::string(containerKey) + "\" is already in the table");
  }
  Class1& record = variables_.emplace_back();
  record.Key = std::string(key);
  containerKeys_.emplace_back(containerKey);
  return record;
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
  variables_.erase(variables_.begin() + (index - 1));
  containerKeys_.erase(containerKeys_.begin() + (index - 1));
}

void VariableString::Remove(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "no variable \"" + std::string(key) + "\" in the table");
  Remove(index);
}

int32_t VariableString::IndexOfKey(std::string_view key) const noexcept {
  for (size_t i = 0; i < containerKeys_.size(); ++i) {
    if (!containerKeys_[i].empty() && EqualsIgnoreCase(containerKeys_[i], key)) return static_cast<int32_t>(i + 1);
  }
  return 0;
}

}  // namespace morvex
