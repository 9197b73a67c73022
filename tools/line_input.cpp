#include "line_input.hpp"

namespace morvex::cli {

bool ReadInputLine(std::istream& in, std::string& line) {
  if (!std::getline(in, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

bool StreamInput::ReadLine(std::string_view prompt, std::string& line) {
  if (promptOut_ != nullptr && !prompt.empty()) {
    std::fwrite(prompt.data(), 1, prompt.size(), promptOut_);
    std::fflush(promptOut_);
  }
  return ReadInputLine(in_, line);
}

}  // namespace morvex::cli
