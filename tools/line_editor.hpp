// The line editor of a terminal session, on libedit: arrows, Home and End,
// Ctrl-R to search the history, Tab to complete a word, Ctrl-C to drop the
// line being typed, and a history that is kept in a file between sessions.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "line_input.hpp"

namespace morvex::cli {

class LineEditor : public LineInput {
 public:
  // The names Tab may complete besides the function words and commands (the
  // variables of the moment); asked at each Tab.
  using NameSource = std::function<std::vector<std::string>()>;

  // `historyFile`: where the history is read from and saved to; none keeps
  // the history of this session only.
  LineEditor(std::optional<std::string> historyFile, NameSource names);
  ~LineEditor() override;
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  bool ReadLine(std::string_view prompt, std::string& line) override;
  void Remember(const std::string& line) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The history file in the user's home folder, or nothing without a home.
std::optional<std::string> DefaultHistoryFile();

}  // namespace morvex::cli
