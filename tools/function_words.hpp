// The calculator's reserved words, with a line each for :help, and the
// candidates that Tab completion offers for a word being typed.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace morvex::cli {

struct FunctionWord {
  std::string_view word;  // in the spelling the calculator echoes
  std::string_view help;
};

std::span<const FunctionWord> FunctionWords();

// The words that complete `word`, sorted, without repeats, compared without
// regard to case: command names (with their ':') when the word starts the
// line with ':'; else the function words and the `variables` (the user's
// variables and formula words, and Ans, XVar, YVar).
std::vector<std::string> CompletionCandidates(std::string_view lineBeforeWord, std::string_view word,
                                              const std::vector<std::string>& variables);

// Where the word that ends at `cursor` begins: letters, digits and '_', and a
// ':' that starts the line.
std::size_t WordStart(std::string_view line, std::size_t cursor);

}  // namespace morvex::cli
