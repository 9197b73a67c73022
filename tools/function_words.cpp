#include "function_words.hpp"

#include <algorithm>
#include <array>

#include "commands.hpp"

namespace morvex::cli {
namespace {

constexpr std::array kFunctionWords{
    FunctionWord{"Sin", "sine in the angle unit (:deg, :rad); Sin30 is 0.5 in degrees"},
    FunctionWord{"Cos", "cosine"},
    FunctionWord{"Tan", "tangent; Tan90 in degrees is a pole (error 13)"},
    FunctionWord{"Cot", "cotangent"},
    FunctionWord{"ArcSin", "inverse sine, in the angle unit"},
    FunctionWord{"ArcCos", "inverse cosine"},
    FunctionWord{"ArcTan", "inverse tangent"},
    FunctionWord{"ArcCot", "inverse cotangent, from -90 to 90 degrees"},
    FunctionWord{"Sqr", "square root"},
    FunctionWord{"Ln", "natural logarithm"},
    FunctionWord{"Log", "logarithm to base 10"},
    FunctionWord{"Exp", "power of ten: Exp2 is 100, 3Exp2 is 300"},
    FunctionWord{"e", "e to the power: e1 is 2.71828182845905 (1e3 is 1000)"},
    FunctionWord{"ABS", "magnitude"},
    FunctionWord{"Int", "whole part, downwards: Int-2.5 is -3"},
    FunctionWord{"Fix", "whole part, towards zero: Fix-2.5 is -2"},
    FunctionWord{"Sign", "1 for zero and above, -1 below"},
    FunctionWord{"ZrToOn", "1 for zero, else the number unchanged"},
    FunctionWord{"PI", "3.14159265358979"},
    FunctionWord{"Ans", "the answer of the last line"},
    FunctionWord{"XVar", "in a formula, the number right of its word: XVar^2=sq, then sq3 is 9"},
    FunctionWord{"YVar", "in a formula, the number left of its word: YVar*XVar=by, then 2by3 is 6"},
};

bool IsWordChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

std::span<const FunctionWord> FunctionWords() { return kFunctionWords; }

std::size_t WordStart(std::string_view line, std::size_t cursor) {
  cursor = std::min(cursor, line.size());
  std::size_t start = cursor;
  while (start > 0 && IsWordChar(line[start - 1])) --start;
  if (start == 1 && line[0] == ':') start = 0;
  return start;
}

std::vector<std::string> CompletionCandidates(std::string_view lineBeforeWord, std::string_view word,
                                              const std::vector<std::string>& variables) {
  std::vector<std::string> candidates;
  auto offer = [&](std::string_view name) {
    if (StartsWithIgnoringCase(name, word)) candidates.emplace_back(name);
  };
  if (lineBeforeWord.empty() && word.starts_with(':')) {
    for (const CommandSpec& entry : Commands()) offer(":" + std::string(entry.word));
  } else {
    for (const FunctionWord& function : kFunctionWords) offer(function.word);
    for (const std::string& name : variables) offer(name);
  }
  auto lessIgnoringCase = [](const std::string& a, const std::string& b) {
    auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; };
    if (EqualsIgnoringCase(a, b)) return a < b;
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [&](char x, char y) { return lower(x) < lower(y); });
  };
  std::sort(candidates.begin(), candidates.end(), lessIgnoringCase);
  // Ans, XVar and YVar are function words and variables both.
  candidates.erase(std::unique(candidates.begin(), candidates.end(),
                               [](const std::string& a, const std::string& b) { return EqualsIgnoringCase(a, b); }),
                   candidates.end());
  return candidates;
}

}  // namespace morvex::cli
