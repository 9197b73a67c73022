#include "platform/script/script_value.hpp"

namespace morvex::script {

Value Value::Str(std::string text) {
  if (text.empty()) return Value(TextRef());
  return Value(TextRef(std::make_shared<const std::string>(std::move(text))));
}

Value Value::Whole(int64_t n) {
  if (n >= INT16_MIN && n <= INT16_MAX) return Int(static_cast<int16_t>(n));
  if (n >= INT32_MIN && n <= INT32_MAX) return Long(static_cast<int32_t>(n));
  return Dbl(static_cast<double>(n));
}

std::string_view TypeName(const Value& value) {
  switch (value.Target().type()) {
    case VType::Empty: return "Empty";
    case VType::Null: return "Null";
    case VType::Boolean: return "Boolean";
    case VType::Integer: return "Integer";
    case VType::Long: return "Long";
    case VType::Double: return "Double";
    case VType::String: return "String";
    case VType::Array: return "Variant()";
  }
  return "Unknown";
}

}  // namespace morvex::script
