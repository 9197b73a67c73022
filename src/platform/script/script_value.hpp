// The Variant of the script language: Empty, Null, Boolean, Integer (16 bits),
// Long (32 bits), Double, String and arrays of Variants.
//
// Strings and arrays are shared between copies: a copy of a Value costs a
// reference count, and an array is copied only when a shared one is changed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace morvex::script {

enum class VType : uint8_t { Empty, Null, Boolean, Integer, Long, Double, String, Array };

class Value;
struct ArrayData;
using TextRef = std::shared_ptr<const std::string>;
using ArrayRef = std::shared_ptr<ArrayData>;

class Value {
 public:
  Value() = default;

  static Value Null() { return Value(NullTag{}); }
  static Value Bool(bool b) { return Value(b); }
  static Value Int(int16_t i) { return Value(i); }
  static Value Long(int32_t l) { return Value(l); }
  static Value Dbl(double d) { return Value(d); }
  // The text must already be within the string limit.
  static Value Str(std::string text);
  static Value Str(TextRef text) { return Value(std::move(text)); }
  static Value Arr(ArrayRef array) { return Value(std::move(array)); }
  // A by-reference parameter: a slot of a frame that stands for another slot.
  static Value Ref(Value* target) { return Value(target); }
  // An Integer if it fits, else a Long if it fits, else a Double.
  static Value Whole(int64_t n);

  VType type() const { return static_cast<VType>(data_.index()); }
  bool is_ref() const { return data_.index() == kRefIndex; }
  bool is_empty() const { return data_.index() == 0; }
  bool is_null() const { return type() == VType::Null; }
  bool is_string() const { return type() == VType::String; }
  bool is_array() const { return type() == VType::Array; }
  // Empty, Boolean, Integer, Long or Double.
  bool is_number_like() const {
    VType t = type();
    return t == VType::Empty || (t >= VType::Boolean && t <= VType::Double);
  }

  bool boolean() const { return std::get<bool>(data_); }
  int16_t integer() const { return std::get<int16_t>(data_); }
  int32_t long_value() const { return std::get<int32_t>(data_); }
  double dbl() const { return std::get<double>(data_); }
  std::string_view str() const {
    const TextRef& t = std::get<TextRef>(data_);
    return t ? std::string_view(*t) : std::string_view();
  }
  const TextRef& text_ref() const { return std::get<TextRef>(data_); }
  const ArrayRef& array() const { return std::get<ArrayRef>(data_); }
  ArrayRef& array() { return std::get<ArrayRef>(data_); }
  Value* ref() const { return std::get<Value*>(data_); }

  // The slot a by-reference slot stands for, or this one.
  Value& Target() { return is_ref() ? *ref() : *this; }
  const Value& Target() const { return is_ref() ? *ref() : *this; }

 private:
  struct NullTag {};
  static constexpr size_t kRefIndex = 8;
  template <typename T>
  explicit Value(T v) : data_(std::move(v)) {}

  std::variant<std::monostate, NullTag, bool, int16_t, int32_t, double, TextRef, ArrayRef, Value*> data_;
};

// An array: the element count of each dimension (indexes start at 0; the first
// dimension varies fastest in `items`), the elements, and whether it was
// declared with fixed bounds by Dim. No dimensions is a dynamic array not yet
// sized by ReDim.
struct ArrayData {
  std::vector<int32_t> extents;
  std::vector<Value> items;
  bool fixed = false;
  // How many arrays deep the elements nest (1 for an array of scalars); bounded
  // so that freeing nested arrays cannot recurse without end.
  int32_t nesting = 1;

  bool allocated() const { return !extents.empty(); }
};

// The VBScript type name of a value: "Empty", "Integer", "Variant()", ...
std::string_view TypeName(const Value& value);

}  // namespace morvex::script
