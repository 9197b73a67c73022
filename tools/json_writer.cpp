#include "json_writer.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace morvex::cli {
namespace {

constexpr char kHex[] = "0123456789abcdef";

void AppendUnicodeEscape(std::string& out, unsigned char byte) {
  out += "\\u00";
  out += kHex[byte >> 4];
  out += kHex[byte & 0x0F];
}

}  // namespace

void AppendJsonString(std::string& out, std::string_view bytes) {
  out += '"';
  for (const char ch : bytes) {
    const auto byte = static_cast<unsigned char>(ch);
    switch (byte) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (byte < 0x20 || byte >= 0x7F) {
          AppendUnicodeEscape(out, byte);
        } else {
          out += ch;
        }
    }
  }
  out += '"';
}

void AppendJsonNumber(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  std::array<char, 32> buffer{};
  const auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  if (ec != std::errc()) {
    out += "null";
    return;
  }
  out.append(buffer.data(), end);
}

void AppendJsonNumber(std::string& out, int64_t value) {
  std::array<char, 24> buffer{};
  const auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  if (ec == std::errc()) out.append(buffer.data(), end);
}

void JsonObject::Key(std::string_view key) {
  if (text_.empty()) {
    text_ += '{';
  } else {
    text_ += ',';
  }
  AppendJsonString(text_, key);
  text_ += ':';
}

JsonObject& JsonObject::String(std::string_view key, std::string_view value) {
  Key(key);
  AppendJsonString(text_, value);
  return *this;
}

JsonObject& JsonObject::Number(std::string_view key, double value) {
  Key(key);
  AppendJsonNumber(text_, value);
  return *this;
}

JsonObject& JsonObject::Integer(std::string_view key, int64_t value) {
  Key(key);
  AppendJsonNumber(text_, value);
  return *this;
}

JsonObject& JsonObject::Null(std::string_view key) {
  Key(key);
  text_ += "null";
  return *this;
}

JsonObject& JsonObject::Raw(std::string_view key, std::string_view json) {
  Key(key);
  text_ += json;
  return *this;
}

const std::string& JsonObject::Finish() {
  if (!finished_) {
    if (text_.empty()) text_ += '{';
    text_ += '}';
    finished_ = true;
  }
  return text_;
}

void JsonObject::Clear() {
  text_.clear();
  finished_ = false;
}

}  // namespace morvex::cli
