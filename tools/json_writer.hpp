// A small JSON writer for the host's records. Strings are byte strings of one
// byte per character (Latin-1): every byte above 127 is written as \u00XX, so
// the output is plain ASCII and valid JSON whatever the line held.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace morvex::cli {

// Appends `bytes` as a quoted JSON string.
void AppendJsonString(std::string& out, std::string_view bytes);

// Appends a number with full precision (shortest text that reads back as the
// same double); NaN and infinities, which JSON cannot hold, become null.
void AppendJsonNumber(std::string& out, double value);
void AppendJsonNumber(std::string& out, int64_t value);

// Builds one JSON object, members in the order they are added.
class JsonObject {
 public:
  JsonObject& String(std::string_view key, std::string_view value);
  JsonObject& Number(std::string_view key, double value);
  JsonObject& Integer(std::string_view key, int64_t value);
  JsonObject& Null(std::string_view key);
  // `json` must already be a JSON value (an array or object written elsewhere).
  JsonObject& Raw(std::string_view key, std::string_view json);
  // The finished object; the builder may be reused after Clear().
  const std::string& Finish();
  void Clear();

 private:
  void Key(std::string_view key);
  std::string text_;
  bool finished_ = false;
};

}  // namespace morvex::cli
