#include "test_support.hpp"

#include <atomic>
#include <fstream>
#include <random>
#include <stdexcept>

namespace morvex::test {

TempFolder::TempFolder() {
  static std::atomic<unsigned> counter{0};
  std::random_device device;
  auto base = std::filesystem::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = base / ("morvex-test-" + std::to_string(device()) + "-" + std::to_string(counter++));
    if (std::filesystem::create_directory(candidate)) {
      path_ = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary folder");
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempFolder::Write(std::string_view name, std::string_view bytes) const {
  auto file = path_ / std::string(name);
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file;
}

}  // namespace morvex::test
