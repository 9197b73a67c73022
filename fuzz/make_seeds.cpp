// Writes COUNT random sessions (seeds 1 to COUNT) into FOLDER, as files
// "session-N" in the fuzz target's input form.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "session.hpp"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s FOLDER COUNT\n", argv[0]);
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  const long count = std::strtol(argv[2], nullptr, 10);
  for (long seed = 1; seed <= count; ++seed) {
    std::ofstream(folder / ("session-" + std::to_string(seed)), std::ios::binary)
        << morvex::fuzz::ToText(morvex::fuzz::RandomSession(static_cast<uint32_t>(seed)));
  }
  return 0;
}
