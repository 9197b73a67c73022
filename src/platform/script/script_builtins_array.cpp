// Built-in functions on arrays.
#include <algorithm>
#include <memory>
#include <string>

#include "platform/script/script_builtin_functions.hpp"
#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"
#include "platform/script/script_limits.hpp"

namespace morvex::script::builtins {
namespace {

const ArrayData& ArrayArgument(const Value& v, const char* function) {
  if (!v.is_array()) Raise(error_code::TypeMismatch, std::string(function) + " needs an array");
  return *v.array();
}

// The 0-based dimension named by the optional second argument (1 is the first).
size_t Dimension(const ArrayData& a, const Value* args, size_t count) {
  if (!a.allocated()) Raise(error_code::SubscriptOutOfRange, "the array has no elements yet");
  int32_t d = count > 1 ? ToLong(args[1]) : 1;
  if (d < 1 || static_cast<size_t>(d) > a.extents.size()) {
    Raise(error_code::SubscriptOutOfRange, "the array has no dimension " + std::to_string(d));
  }
  return static_cast<size_t>(d - 1);
}

ArrayRef OneDimension(size_t size, Budget& budget) {
  if (size > limits::kMaxArrayElements) {
    Raise(error_code::OutOfMemory, "an array of " + std::to_string(size) + " elements is too large");
  }
  budget.Charge(static_cast<int64_t>(size) + 1);
  auto array = std::make_shared<ArrayData>();
  array->extents = {static_cast<int32_t>(size)};
  array->items.resize(size);
  return array;
}

}  // namespace

Value Array(const Value* args, size_t count, Budget& budget) {
  ArrayRef array = OneDimension(count, budget);
  for (size_t i = 0; i < count; ++i) {
    if (args[i].is_array()) {
      int32_t nesting = args[i].array()->nesting + 1;
      if (nesting > limits::kMaxArrayNesting) Raise(error_code::OutOfStackSpace, "arrays nested too deeply");
      array->nesting = std::max(array->nesting, nesting);
    }
    array->items[i] = args[i];
  }
  return Value::Arr(std::move(array));
}

Value UBound(const Value* args, size_t count, Budget&) {
  const ArrayData& a = ArrayArgument(args[0], "UBound");
  return Value::Long(a.extents[Dimension(a, args, count)] - 1);
}

Value LBound(const Value* args, size_t count, Budget&) {
  const ArrayData& a = ArrayArgument(args[0], "LBound");
  Dimension(a, args, count);
  return Value::Long(0);
}

Value Split(const Value* args, size_t count, Budget& budget) {
  // Split(expression[, delimiter[, count[, compare]]]); the delimiter is " " by default.
  if (args[0].is_null()) Raise(error_code::InvalidUseOfNull, "the text of Split");
  std::string text = ToText(args[0]);
  std::string delimiter = count > 1 ? ToText(args[1]) : std::string(" ");
  budget.ChargeBytes(text.size() + delimiter.size());
  int32_t limit = count > 2 ? ToLong(args[2]) : -1;
  if (limit < -1) Raise(error_code::InvalidCall, "the count of Split must be -1 or more");
  bool text_compare = false;
  if (count > 3) {
    int32_t mode = ToLong(args[3]);
    if (mode != 0 && mode != 1) Raise(error_code::InvalidCall, "the comparison mode must be 0 or 1");
    text_compare = mode == 1;
  }
  std::vector<std::string_view> parts;
  std::string_view rest = text;
  if (!text.empty() && limit != 0) {
    size_t from = 0;
    while (!delimiter.empty() && (limit == -1 || static_cast<int32_t>(parts.size()) + 1 < limit)) {
      size_t at = SearchText(rest, delimiter, from, text_compare, budget);
      if (at == std::string_view::npos) break;
      parts.push_back(rest.substr(from, at - from));
      from = at + delimiter.size();
      if (parts.size() >= limits::kMaxArrayElements) {
        Raise(error_code::OutOfMemory, "Split would make too many elements");
      }
    }
    parts.push_back(rest.substr(from));
  }
  ArrayRef array = OneDimension(parts.size(), budget);
  for (size_t i = 0; i < parts.size(); ++i) array->items[i] = MakeString(std::string(parts[i]), budget);
  return Value::Arr(std::move(array));
}

Value Join(const Value* args, size_t count, Budget& budget) {
  const ArrayData& a = ArrayArgument(args[0], "Join");
  if (a.extents.size() > 1) Raise(error_code::TypeMismatch, "Join needs an array of one dimension");
  std::string delimiter = count > 1 ? ToText(args[1]) : std::string(" ");
  std::string out;
  for (size_t i = 0; i < a.items.size(); ++i) {
    if (i > 0) out += delimiter;
    if (!a.items[i].is_null()) AppendText(out, a.items[i]);
    CheckStringLength(out.size());
    budget.Step();
  }
  return MakeString(std::move(out), budget);
}

}  // namespace morvex::script::builtins
