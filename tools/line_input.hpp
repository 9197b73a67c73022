// Where the session's lines come from: plainly from a stream (a pipe, a file,
// or a terminal without the line editor), or from the line editor.
#pragma once

#include <cstdio>
#include <istream>
#include <string>
#include <string_view>

namespace morvex::cli {

class LineInput {
 public:
  virtual ~LineInput() = default;
  // Shows `prompt` where prompts are shown and reads one line, without its
  // end. False at the end of the input.
  virtual bool ReadLine(std::string_view prompt, std::string& line) = 0;
  // Keeps a line that the user entered in the history, where there is one.
  virtual void Remember(const std::string& /*line*/) {}
};

// Reads one line: LF or CR LF ends it, and the end is not part of the line; a
// last line without an end counts too. False at the end of the input.
bool ReadInputLine(std::istream& in, std::string& line);

class StreamInput : public LineInput {
 public:
  // Prompts go to `promptOut`; nullptr shows none.
  StreamInput(std::istream& in, std::FILE* promptOut) : in_(in), promptOut_(promptOut) {}
  bool ReadLine(std::string_view prompt, std::string& line) override;

 private:
  std::istream& in_;
  std::FILE* promptOut_;
};

}  // namespace morvex::cli
