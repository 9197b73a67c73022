#include "platform/script/script_program_cache.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/script/script_error.hpp"
#include "platform/script/script_parser.hpp"
#include "platform/script/script_resolver.hpp"

namespace morvex::script {
namespace {

constexpr size_t kEntries = 8;
// Longer texts are parsed every time rather than kept.
constexpr size_t kMaxCachedText = 1u << 20;

struct Entry {
  std::string text;
  size_t hash = 0;
  std::shared_ptr<const Program> program;
  std::optional<ScriptError> error;
};

// Most recently used first.
thread_local std::vector<Entry> cache;

Entry Compile(std::string_view text, size_t hash) {
  Entry entry;
  entry.text = std::string(text);
  entry.hash = hash;
  try {
    auto program = std::make_shared<Program>();
    ParseScript(text, *program);
    ResolveProgram(*program);
    entry.program = std::move(program);
  } catch (const ScriptError& error) {
    entry.error = error;
  }
  return entry;
}

const Entry& Lookup(std::string_view text) {
  size_t hash = std::hash<std::string_view>{}(text);
  for (size_t i = 0; i < cache.size(); ++i) {
    if (cache[i].hash == hash && cache[i].text == text) {
      if (i > 0) std::rotate(cache.begin(), cache.begin() + static_cast<std::ptrdiff_t>(i),
                             cache.begin() + static_cast<std::ptrdiff_t>(i) + 1);
      return cache.front();
    }
  }
  Entry entry = Compile(text, hash);
  if (text.size() > kMaxCachedText) {
    thread_local Entry uncached;
    uncached = std::move(entry);
    return uncached;
  }
  if (cache.size() >= kEntries) cache.pop_back();
  cache.insert(cache.begin(), std::move(entry));
  return cache.front();
}

}  // namespace

std::shared_ptr<const Program> CompiledProgram(std::string_view text) {
  const Entry& entry = Lookup(text);
  if (entry.error) throw *entry.error;
  return entry.program;
}

void ClearProgramCache() { cache.clear(); }

}  // namespace morvex::script
