// FastTextStream: the block reader of the calculator's text files (the start-up
// file, formula files and the script file).
//
// A file is read in blocks of BlockSize bytes: one read fills the block, one
// pass cuts it into entries at every line feed (byte 10), and lines are then
// handed out from those entries. Bytes are characters of one byte each; there is
// no handling of Unicode. An entry keeps a carriage return that stood before
// its line feed; only ReadLine drops one such carriage return.
//
// Entries follow the blocks, not the file's lines: the last entry of a block is
// whatever follows the block's last line feed, so a line that crosses the edge
// of a block is two entries, one in each block. A block with n line feeds has
// n + 1 entries, and NumberOfBufferLines is n: the highest index, not a count.
//
// Decisions where the reader's rules leave a choice:
//  - The block holds exactly the bytes read and nothing more. After a short
//    read (the file's last block) the last entry is the file's tail alone, with
//    no filling; in particular it never holds a line feed.
//  - getBufferLine and ReadLine on a stream that has never loaded a block (not
//    opened, a refused open, or an empty file for getBufferLine) fail with
//    Failure code 9 (subscript out of range): there is no entry to index.
//    Callers that walk the entries test AtEndOfFile first.
//  - A file that is not a regular file, or is longer than a 32-bit signed size
//    can hold, or whose first block can't be read, is refused by
//    OpenTextFileForReading (false), and the stream stays as it was.
//  - A read that yields no bytes before Size is reached (the file shrank, or a
//    read error) counts as the end of the file, so a reading loop always ends.
//
// The entries are views into the block, which the object owns; getBufferLine
// and ReadLine hand out copies, so nothing a caller keeps depends on the next
// block. The file is closed when the object is destroyed.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvex {

class FastTextStream {
 public:
  // Bytes read at once, and so the size of a block.
  static constexpr int32_t BlockSize = 63000;
  // What getBufferLine gives for an index that the block does not hold.
  static constexpr std::string_view LineOutOfBoundsText = "Error: LineNumber out of bounds";

  FastTextStream() = default;
  ~FastTextStream();
  FastTextStream(const FastTextStream&) = delete;
  FastTextStream& operator=(const FastTextStream&) = delete;
  FastTextStream(FastTextStream&&) = delete;
  FastTextStream& operator=(FastTextStream&&) = delete;

  // The next entry less one trailing carriage return, moving on by one entry
  // and loading the next block when the current one is used up; no value at the
  // end of the file.
  std::optional<std::string> ReadLine();

  // Opens the file as bytes and loads its first block. False if a file is open
  // already on this object (nothing changes) or the file can't be opened.
  bool OpenTextFileForReading(const std::string& Path);

  // Set when a new block is wanted and no bytes are left.
  bool AtEndOfFile() const noexcept { return atEndOfFile_; }

  // The entry at LineNumber of the current block as it stands (carriage return
  // included), or LineOutOfBoundsText. Moves nothing.
  std::string getBufferLine(int16_t LineNumber) const;

  // The highest entry index of the current block (0 before any block).
  int32_t NumberOfBufferLines() const noexcept { return numberOfBufferLines_; }
  // The index of the entry that ReadLine hands out next (-1 before any block).
  int32_t IndexNextBufferLine() const noexcept { return indexNextBufferLine_; }

 private:
  void LoadBuffer();
  [[noreturn]] static void FailNoBlock(const char* operation);

  std::FILE* file_ = nullptr;
  int64_t filePosition_ = 0;      // where the next read of the file starts
  std::unique_ptr<char[]> block_; // the bytes of the block read last
  int32_t blockCapacity_ = 0;     // bytes the block can hold
  bool blockLoaded_ = false;      // the entries have been filled at least once
  std::vector<std::string_view> lines_;  // the entries, views into block_

  int32_t numberOfBufferLines_ = 0;
  int32_t indexNextBufferLine_ = -1;
  bool atEndOfFile_ = false;
  int32_t size_ = -1;  // the file's length in bytes
};

}  // namespace morvex
