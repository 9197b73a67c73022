// DNAGroup: an ordered keyed collection of calculator records.
#include "calculator/calculator_access.hpp"
#include "core/errors.hpp"
#include "core/text_case.hpp"
#include "morvex/morvex.hpp"

namespace morvex {

clsMorvex& DNAGroup::Add(std::string& OutString, std::string& InString, int16_t& ErrFirst, int16_t& ErrLength,
                         int16_t& ErrNumber, std::string& ErrDescription, std::string& StringTyping,
                         std::string& StringVariable, std::string& DNAString, std::string& DNAString2,
                         std::string& Expression, const std::string& sKey) {
  if (!sKey.empty() && IndexOfKey(sKey) != 0) {
    Fail(failure_code::KeyInUse, "the key \"" + sKey + "\" is already in use in the group");
  }
  auto record = std::make_unique<clsMorvex>();
  detail::Calculator& fields = detail::CalculatorAccess::Of(*record);
  fields.OutString = OutString;
  fields.InString = InString;
  fields.ErrFirst = ErrFirst;
  fields.ErrLength = ErrLength;
  fields.ErrNumber = ErrNumber;
  fields.ErrDescription = ErrDescription;
  fields.StringTyping = StringTyping;
  fields.StringVariable = StringVariable;
  fields.DNAStringField = DNAString;
  fields.DNAString2Field = DNAString2;
  fields.Expression = Expression;
  records_.push_back({sKey, std::move(record)});
  return *records_.back().calculator;
}

clsMorvex& DNAGroup::Item(int32_t index) {
  if (index < 1 || index > Count()) {
    Fail(failure_code::SubscriptOutOfRange, "the group has no record at position " + std::to_string(index));
  }
  return *records_[static_cast<size_t>(index - 1)].calculator;
}

clsMorvex& DNAGroup::Item(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "the group has no record under the key \"" + std::string(key) + "\"");
  return Item(index);
}

int32_t DNAGroup::Count() const noexcept { return static_cast<int32_t>(records_.size()); }

void DNAGroup::Remove(int32_t index) {
  Item(index);
  records_.erase(records_.begin() + (index - 1));
}

void DNAGroup::Remove(std::string_view key) {
  int32_t index = IndexOfKey(key);
  if (index == 0) Fail(failure_code::InvalidCall, "the group has no record under the key \"" + std::string(key) + "\"");
  Remove(index);
}

int32_t DNAGroup::IndexOfKey(std::string_view key) const {
  for (size_t i = 0; i < records_.size(); ++i) {
    if (!records_[i].key.empty() && EqualsIgnoreCase(records_[i].key, key)) return static_cast<int32_t>(i + 1);
  }
  return 0;
}

}  // namespace morvex
