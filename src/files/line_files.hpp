#pragma once

#include <string>

#include "core/errors.hpp"
#include "files/fast_text_stream.hpp"
#include "workspace/calculator.hpp"

namespace morvex::detail {

// Walks the entries of an open line file by the count rules of line files:
// the walk ends at the end of the file, when the count reaches one below the
// stream's NumberOfBufferLines (so the last two entries of a block never
// run), or when the next entry lies beyond the block. `each(count, total)`
// takes the entry at IndexNextBufferLine (see CurrentLine) before it moves on.
template <class EachEntry>
void WalkLineFile(FastTextStream& stream, EachEntry each) {
  const int16_t total = CheckedInt16(stream.NumberOfBufferLines());
  int16_t count = 0;
  for (;;) {
    if (stream.AtEndOfFile()) break;
    count = CheckedInt16(count + 1);
    if (count == total - 1) break;
    each(count, total);
    stream.ReadLine();
    if (stream.getBufferLine(CheckedInt16(stream.IndexNextBufferLine())) == FastTextStream::LineOutOfBoundsText) break;
  }
}

// The entry of the walk in progress.
inline std::string CurrentLine(const FastTextStream& stream) {
  return stream.getBufferLine(CheckedInt16(stream.IndexNextBufferLine()));
}

// Runs a text file line by line through `calculate` (the dispatcher); an
// empty path means StartUp.txt in the program's folder. Raises Progress before
// each line, Wait at a pause line "$", and Change(0, 1) after each line.
void LoadHText(Calculator& c, std::string& path, LineCalculation calculate);

}  // namespace morvex::detail
