// Shared helpers of the unit tests.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace morvex::test {

// A fresh folder under the system's temporary directory, removed with the object.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string str() const { return path_.string(); }
  // Writes `bytes` exactly as given (no line-end translation) to a file of the folder.
  std::filesystem::path Write(std::string_view name, std::string_view bytes) const;

 private:
  std::filesystem::path path_;
};

}  // namespace morvex::test
