// Feeds arbitrary bytes to one calculator as a sequence of lines (split at
// line feeds): expressions, assignments, formula definitions, commands, the
// names of line files. Every line must end with an answer, an error or a
// morvex::Failure; a crash, a leak, a hang or a sanitizer report is a bug.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "morvex/morvex.hpp"

namespace {

// A program folder with a line file, a file that names itself and a start-up file.
const std::string& ProgramFolder() {
  static const std::string folder = [] {
    auto path = std::filesystem::temp_directory_path() / ("morvex-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(path);
    std::ofstream(path / "lines.txt") << "2+3=a\nXVar^2=sq\nsq3+a\n$\nrad\n\n\n";
    std::ofstream(path / "loop.txt") << "loop\n\n\n";
    std::ofstream(path / "StartUp.txt") << "1=one\n\n\n";
    return path.string();
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  morvex::clsMorvex calc;
  calc.ProgramFolder(ProgramFolder());
  calc.Initialize();
  size_t checksum = 0;
  calc.Events().Change = [&](int16_t length, int16_t first) { checksum += calc.DNAString().size() + length + first; };
  calc.Events().Change2 = [&](int16_t length, int16_t first) { checksum += calc.DNAString2().size() + length + first; };
  calc.Events().InputBox = [](std::string& num) { num = num.size() % 2 == 0 ? "1.5" : ""; };
  const std::string input(reinterpret_cast<const char*>(data), size);
  size_t start = 0;
  while (start <= input.size()) {
    size_t end = input.find('\n', start);
    if (end == std::string::npos) end = input.size();
    std::string line = input.substr(start, end - start);
    try {
      if (line == ":load") {
        calc.LoadHText();
      } else if (line == ":functions") {
        calc.FetchFunctions();
      } else {
        calc.Calculate(line);
      }
    } catch (const morvex::Failure&) {
      // a failure of the library's own type is an allowed outcome
    }
    start = end + 1;
  }
  return checksum == static_cast<size_t>(-1) ? 1 : 0;
}
