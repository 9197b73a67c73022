#include "files/fast_text_stream.hpp"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>

#include "morvex/failure.hpp"

namespace morvex {

namespace {

constexpr int64_t kMaxPosition = std::numeric_limits<int32_t>::max();

}  // namespace

FastTextStream::~FastTextStream() {
  if (file_ != nullptr) std::fclose(file_);
}

bool FastTextStream::OpenTextFileForReading(const std::string& Path) {
  if (file_ != nullptr) return false;
  // A name with a NUL byte would open a different, shorter name.
  if (Path.empty() || Path.find('\0') != std::string::npos) return false;
  // Only regular files: opening a pipe would wait for a writer, and a folder
  // opens but can't be read.
  std::error_code ec;
  if (!std::filesystem::is_regular_file(Path, ec) || ec) return false;

  std::FILE* file = std::fopen(Path.c_str(), "rb");
  if (file == nullptr) return false;
  // Unbuffered: each block is one read straight into the block, with no second
  // copy through the C library's buffer.
  std::setvbuf(file, nullptr, _IONBF, 0);

  long length = -1;
  if (std::fseek(file, 0, SEEK_END) == 0) length = std::ftell(file);
  if (length < 0 || length > kMaxPosition || std::fseek(file, 0, SEEK_SET) != 0) {
    std::fclose(file);
    return false;
  }

  // Small files get a block of their own length; nothing is read beyond Size.
  const auto capacity = static_cast<int32_t>(std::min<long>(length, BlockSize));
  std::unique_ptr<char[]> block;
  if (capacity > 0) block = std::make_unique_for_overwrite<char[]>(static_cast<size_t>(capacity));

  file_ = file;
  filePosition_ = 0;
  block_ = std::move(block);
  blockCapacity_ = capacity;
  size_ = static_cast<int32_t>(length);
  LoadBuffer();
  if (length > 0 && !blockLoaded_) {
    // The file has bytes but none could be read: refuse it and start over.
    std::fclose(file_);
    file_ = nullptr;
    filePosition_ = 0;
    block_.reset();
    blockCapacity_ = 0;
    atEndOfFile_ = false;
    size_ = -1;
    return false;
  }
  return true;
}

void FastTextStream::LoadBuffer() {
  if (file_ == nullptr || filePosition_ >= size_) {
    atEndOfFile_ = true;
    return;
  }
  const size_t got = std::fread(block_.get(), 1, static_cast<size_t>(blockCapacity_), file_);
  if (got == 0) {
    // Fewer bytes than Size promised (the file shrank, or a read error): end
    // here rather than hand out empty blocks for ever.
    atEndOfFile_ = true;
    return;
  }
  filePosition_ += static_cast<int64_t>(got);

  lines_.clear();
  const char* begin = block_.get();
  const char* const end = begin + got;
  while (true) {
    const auto* feed = static_cast<const char*>(std::memchr(begin, '\n', static_cast<size_t>(end - begin)));
    if (feed == nullptr) break;
    lines_.emplace_back(begin, static_cast<size_t>(feed - begin));
    begin = feed + 1;
  }
  lines_.emplace_back(begin, static_cast<size_t>(end - begin));

  blockLoaded_ = true;
  numberOfBufferLines_ = static_cast<int32_t>(lines_.size()) - 1;
  indexNextBufferLine_ = 0;
}

std::optional<std::string> FastTextStream::ReadLine() {
  if (indexNextBufferLine_ > numberOfBufferLines_) LoadBuffer();
  if (atEndOfFile_) return std::nullopt;
  if (!blockLoaded_) FailNoBlock("ReadLine");

  std::string_view entry = lines_[static_cast<size_t>(indexNextBufferLine_)];
  if (!entry.empty() && entry.back() == '\r') entry.remove_suffix(1);
  ++indexNextBufferLine_;
  return std::string(entry);
}

std::string FastTextStream::getBufferLine(int16_t LineNumber) const {
  if (!blockLoaded_) FailNoBlock("getBufferLine");
  if (LineNumber < 0 || LineNumber > numberOfBufferLines_) return std::string(LineOutOfBoundsText);
  return std::string(lines_[static_cast<size_t>(LineNumber)]);
}

void FastTextStream::FailNoBlock(const char* operation) {
  throw Failure(failure_code::SubscriptOutOfRange,
                std::string("FastTextStream::") + operation +
                    ": no block of the file has been read (the stream is not open, or the file is empty)");
}

}  // namespace morvex
