// Feeds arbitrary bytes to one calculator as a session (see session.hpp):
// lines split at line feeds (expressions, assignments, formula definitions,
// commands, the names of line files, script calls), and the program folder
// the calculator runs in, built from the same input: a StartUp.txt, a line
// file "lines.txt" and a script file "vbscript.txt", so that line files and
// the script engine are fuzzed as well. Every line must end with an answer, an
// error or a morvex::Failure, within LineCpuBoundSeconds() of the thread's CPU
// time; a crash, a leak, a slower line or a sanitizer report is a bug.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "morvex/morvex.hpp"
#include "session.hpp"

namespace {

// The program folder of this process, with a file that names itself beside
// the files that each input writes.
const std::string& ProgramFolder() {
  static const std::string folder = [] {
    auto path = std::filesystem::temp_directory_path() / ("morvex-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(path);
    std::ofstream(path / "loop.txt") << "loop\n\n\n";
    return path.string();
  }();
  return folder;
}

// Runs one line of the session; a line slower than the bound stops the fuzzer
// with the input that holds it.
void RunLine(morvex::clsMorvex& calc, const std::string& text) {
  std::string line = text;
  const double start = morvex::fuzz::ThreadCpuSeconds();
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
  const double took = morvex::fuzz::ThreadCpuSeconds() - start;
  if (took > morvex::fuzz::LineCpuBoundSeconds()) {
    std::fprintf(stderr, "a line took %.2f s of CPU time (bound %.1f s): \"%s\"\n", took,
                 morvex::fuzz::LineCpuBoundSeconds(), text.c_str());
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const morvex::fuzz::Session session =
      morvex::fuzz::FromText(std::string_view(reinterpret_cast<const char*>(data), size));
  morvex::fuzz::WriteProgramFolder(session, ProgramFolder());

  morvex::clsMorvex calc;
  calc.ProgramFolder(ProgramFolder());
  calc.Initialize();
  size_t checksum = 0;
  calc.Events().Change = [&](int16_t length, int16_t first) { checksum += calc.DNAString().size() + length + first; };
  calc.Events().Change2 = [&](int16_t length, int16_t first) { checksum += calc.DNAString2().size() + length + first; };
  calc.Events().InputBox = [](std::string& num) { num = num.size() % 2 == 0 ? "1.5" : ""; };
  for (const std::string& line : session.lines) RunLine(calc, line);
  return checksum == static_cast<size_t>(-1) ? 1 : 0;
}
