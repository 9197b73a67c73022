#include "session.hpp"

#include <time.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace morvex::fuzz {
namespace {

constexpr std::string_view kMarker = "::";
constexpr std::string_view kSessionMarker = "::session";

bool IsFileName(std::string_view name) {
  for (std::string_view file : kFileNames) {
    if (name == file) return true;
  }
  return false;
}

// The pools the generator draws from. The names overlap the reserved words and
// one another on purpose: a name is found inside any run of letters, so "a"
// cuts "YVar" and "sin" cuts "intsin".
constexpr std::string_view kNames[] = {"r", "x", "a", "b", "j", "k", "m", "F", "q", "n", "s", "xy", "yv",
                                       "ar", "in", "na", "ab", "sin", "Ans", "XVar", "YVar", "xytw", "lines"};
constexpr std::string_view kWords[] = {"sin", "cos", "int", "abs", "Ans", "XVar", "YVar", "xvar", "yvar", "pi",
                                       "exp", "log", "ln", "sqr", "fix", "sign", "arcsin", "zrtoon", "e", "E"};
constexpr std::string_view kNumbers[] = {"0", "1", "2", "3", "8", "10", "0.5", "1E-3", "2e2", "1.2.3"};
constexpr std::string_view kJoins[] = {"+", "-", "*", "/", "^", "(", ")", "!", ",", "<", ">", "", "", "", "(", ")"};
constexpr std::string_view kCommands[] = {"rad", "deg", "$", "lines", "StartUp", "1+inc(2)", "inc(XVar)",
                                          "twice(3,4)", "loopy(1)", "rec(1)", "inc(inc(1))"};

// Procedures of the script file: plain ones, and ones that end only by the
// engine's step budget, call depth or size caps.
constexpr std::string_view kScript[] = {
    "Function inc(x)",  "  inc = x + 1",      "End Function",   "Function twice(a, b)", "  twice = a * 2 + b",
    "End Function",     "Function loopy(x)",  "  Do",           "  Loop",               "End Function",
    "Function rec(n)",  "  rec = rec(n + 1)", "End Function",   "Function big(x)",      "  s = \"ab\"",
    "  Do",             "    s = s & s",      "  Loop",         "End Function",         "Sub quiet(a)",
    "End Sub"};

template <class Random, class T, size_t N>
std::string_view Pick(Random& random, const T (&pool)[N]) {
  return pool[random() % N];
}

template <class Random>
std::string Expression(Random& random) {
  std::string text;
  const int parts = 1 + static_cast<int>(random() % 6);
  for (int k = 0; k < parts; ++k) {
    switch (random() % 3) {
      case 0: text += Pick(random, kNames); break;
      case 1: text += Pick(random, kWords); break;
      default: text += Pick(random, kNumbers); break;
    }
    if (k + 1 < parts || random() % 3 == 0) text += Pick(random, kJoins);
  }
  return text;
}

// The name is drawn before the expression, in statements of their own: the
// order of the operands of `+` is the compiler's, and the same seed must give
// the same session with every compiler.
template <class Random>
std::string Assignment(Random& random) {
  const std::string_view name = Pick(random, kNames);
  return Expression(random) + "=" + std::string(name);
}

template <class Random>
std::string Line(Random& random) {
  const uint32_t kind = random() % 20;
  if (kind < 11) return Assignment(random);
  if (kind < 17) return Expression(random);
  if (kind < 18) return "NOTHING=" + std::string(Pick(random, kNames));
  return std::string(Pick(random, kCommands));
}

}  // namespace

std::string ToText(const Session& session) {
  std::string text;
  for (const std::string& line : session.lines) text += line + "\n";
  for (const auto& [name, lines] : session.files) {
    text += std::string(kMarker) + name + "\n";
    for (const std::string& line : lines) text += line + "\n";
  }
  return text;
}

Session FromText(std::string_view text) {
  Session session;
  std::vector<std::string>* target = &session.lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = text.substr(start, end - start);
    start = end + 1;
    if (line == kSessionMarker) {
      target = &session.lines;
    } else if (line.substr(0, kMarker.size()) == kMarker && IsFileName(line.substr(kMarker.size()))) {
      target = &session.files[std::string(line.substr(kMarker.size()))];
    } else {
      target->emplace_back(line);
    }
  }
  return session;
}

void WriteProgramFolder(const Session& session, const std::string& folder) {
  for (std::string_view name : kFileNames) {
    const std::filesystem::path path = std::filesystem::path(folder) / name;
    const auto file = session.files.find(std::string(name));
    if (file == session.files.end()) {
      std::error_code ignored;
      std::filesystem::remove(path, ignored);
      continue;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    for (const std::string& line : file->second) out << line << "\r\n";
    out << "\r\n\r\n";
  }
}

Session RandomSession(uint32_t seed) {
  std::mt19937 random(seed);
  Session session;
  const int count = 4 + static_cast<int>(random() % 12);
  for (int k = 0; k < count; ++k) session.lines.push_back(Line(random));
  if (random() % 2 == 0) {
    auto& file = session.files["lines.txt"];
    const int lines = 1 + static_cast<int>(random() % 4);
    for (int k = 0; k < lines; ++k) file.push_back(Line(random));
  }
  if (random() % 3 == 0) session.files["StartUp.txt"] = {Assignment(random)};
  if (random() % 3 == 0) session.files["vbscript.txt"].assign(std::begin(kScript), std::end(kScript));
  return session;
}

double ThreadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double LineCpuBoundSeconds() {
  // ThreadSanitizer slows a line five to fifteen times, AddressSanitizer
  // about three times (gcc says so by macros, clang by __has_feature).
#if defined(__SANITIZE_THREAD__)
#define MORVEX_LINE_SLOWDOWN 10.0
#elif defined(__SANITIZE_ADDRESS__)
#define MORVEX_LINE_SLOWDOWN 3.0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define MORVEX_LINE_SLOWDOWN 10.0
#elif __has_feature(address_sanitizer)
#define MORVEX_LINE_SLOWDOWN 3.0
#endif
#endif
#ifndef MORVEX_LINE_SLOWDOWN
#define MORVEX_LINE_SLOWDOWN 1.0
#endif
  return 1.0 * MORVEX_LINE_SLOWDOWN;
}

}  // namespace morvex::fuzz
