#include "files/fast_text_stream.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "morvex/failure.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::TempFolder;
const std::string kOut(FastTextStream::LineOutOfBoundsText);

std::vector<std::string> ReadRest(FastTextStream& stream) {
  std::vector<std::string> lines;
  while (auto line = stream.ReadLine()) {
    lines.push_back(*line);
    if (lines.size() > 200000) break;  // a reader that never ends fails below, not here
  }
  return lines;
}

std::vector<std::string> Entries(const FastTextStream& stream) {
  std::vector<std::string> entries;
  for (int32_t i = 0; i <= stream.NumberOfBufferLines(); ++i) {
    entries.push_back(stream.getBufferLine(static_cast<int16_t>(i)));
  }
  return entries;
}

// A file that fits in one block: its entries, the lines ReadLine gives, and
// where CurrentPosition ends.
struct SmallFileCase {
  const char* label;
  std::string bytes;
  std::vector<std::string> entries;
  std::vector<std::string> lines;
  int32_t finalPosition;
};

TEST(FastTextStream, SmallFilesSplitAtLineFeeds) {
  const std::vector<SmallFileCase> cases = {
      {"CR LF ends", "a\r\nb\r\n", {"a\r", "b\r", ""}, {"a", "b", ""}, 7},
      {"LF ends, no final LF", "a\nb\nc", {"a", "b", "c"}, {"a", "b", "c"}, 6},
      {"two CRs lose one", "a\r\r\n", {"a\r\r", ""}, {"a\r", ""}, 5},
      {"lone CR", "\r", {"\r"}, {""}, 2},
      {"only line feeds", "\n\n", {"", "", ""}, {"", "", ""}, 3},
      {"mixed ends", "a\nb\r\nc\r", {"a", "b\r", "c\r"}, {"a", "b", "c"}, 8},
      {"CR inside a line stays", "x\ry\r\n", {"x\ry\r", ""}, {"x\ry", ""}, 6},
      {"no line feed", "12+3", {"12+3"}, {"12+3"}, 5},
      {"any byte is a character", std::string("x\0y\xff\n\t", 6), {std::string("x\0y\xff", 4), "\t"},
       {std::string("x\0y\xff", 4), "\t"}, 7},
  };
  TempFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const auto path = folder.Write("case.txt", c.bytes).string();
    FastTextStream stream;
    ASSERT_TRUE(stream.OpenTextFileForReading(path));
    EXPECT_EQ(stream.Path(), path);
    EXPECT_EQ(stream.Size(), static_cast<int32_t>(c.bytes.size()));
    EXPECT_EQ(stream.CurrentPosition(), 0);
    EXPECT_EQ(stream.RealFilePosition(), static_cast<int32_t>(c.bytes.size()));
    EXPECT_FALSE(stream.AtEndOfFile());
    EXPECT_EQ(stream.NumberOfBufferLines(), static_cast<int32_t>(c.entries.size()) - 1);
    EXPECT_EQ(stream.IndexNextBufferLine(), 0);
    EXPECT_EQ(Entries(stream), c.entries);

    const int16_t highest = static_cast<int16_t>(stream.NumberOfBufferLines());
    for (int16_t outside : {int16_t{-1}, static_cast<int16_t>(highest + 1), std::numeric_limits<int16_t>::max(),
                            std::numeric_limits<int16_t>::min()}) {
      EXPECT_EQ(stream.getBufferLine(outside), kOut) << outside;
    }

    for (size_t i = 0; i < c.lines.size(); ++i) {
      EXPECT_EQ(stream.ReadLine(), std::optional<std::string>(c.lines[i])) << "line " << i;
      EXPECT_EQ(stream.IndexNextBufferLine(), static_cast<int32_t>(i) + 1);
    }
    EXPECT_FALSE(stream.AtEndOfFile());
    EXPECT_EQ(stream.ReadLine(), std::nullopt);
    EXPECT_TRUE(stream.AtEndOfFile());
    EXPECT_EQ(stream.ReadLine(), std::nullopt);
    EXPECT_EQ(stream.CurrentPosition(), c.finalPosition);
    // The end of the file leaves the last block's entries in place.
    EXPECT_EQ(Entries(stream), c.entries);
  }
}

TEST(FastTextStream, EmptyFileIsAtEndAtOnce) {
  TempFolder folder;
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(folder.Write("empty.txt", "").string()));
  EXPECT_TRUE(stream.AtEndOfFile());
  EXPECT_EQ(stream.Size(), 0);
  EXPECT_EQ(stream.CurrentPosition(), 0);
  EXPECT_EQ(stream.NumberOfBufferLines(), 0);
  EXPECT_EQ(stream.IndexNextBufferLine(), -1);
  EXPECT_EQ(stream.RealFilePosition(), 0);
  EXPECT_EQ(stream.ReadLine(), std::nullopt);
  EXPECT_EQ(stream.ReadLine(), std::nullopt);
  // No entry was ever read: indexing is a failure of the library, not a crash.
  EXPECT_EQ(test::FailureCode([&] { (void)stream.getBufferLine(0); }), failure_code::SubscriptOutOfRange);
}

TEST(FastTextStream, RefusedOpensLeaveTheStreamUnopened) {
  TempFolder folder;
  const auto real = folder.Write("real.txt", "1+1\n").string();
  (void)std::filesystem::create_directory(folder.path() / "sub.txt");
  struct Case {
    const char* label;
    std::string path;
  };
  const std::vector<Case> cases = {
      {"missing file", (folder.path() / "missing.txt").string()},
      {"a folder", (folder.path() / "sub.txt").string()},
      {"empty path", ""},
      {"NUL inside the path", real + std::string("\0.bak", 5)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    FastTextStream stream;
    EXPECT_FALSE(stream.OpenTextFileForReading(c.path));
    EXPECT_EQ(stream.Path(), "");
    EXPECT_EQ(stream.Size(), -1);
    EXPECT_EQ(stream.CurrentPosition(), -1);
    EXPECT_EQ(stream.RealFilePosition(), -1);
    EXPECT_FALSE(stream.AtEndOfFile());
    EXPECT_EQ(stream.NumberOfBufferLines(), 0);
    EXPECT_EQ(stream.IndexNextBufferLine(), -1);
    stream.Skip(0, 0);
    EXPECT_EQ(stream.RealFilePosition(), -1);
    EXPECT_EQ(test::FailureCode([&] { (void)stream.getBufferLine(0); }), failure_code::SubscriptOutOfRange);
    EXPECT_EQ(test::FailureCode([&] { (void)stream.ReadLine(); }), failure_code::SubscriptOutOfRange);
    // A refused open does not use up the one open the object allows.
    ASSERT_TRUE(stream.OpenTextFileForReading(real));
    EXPECT_EQ(stream.ReadLine(), std::optional<std::string>("1+1"));
  }
}

TEST(FastTextStream, SecondOpenIsRefusedAndChangesNothing) {
  TempFolder folder;
  const auto first = folder.Write("first.txt", "a\nb\nc").string();
  const auto second = folder.Write("second.txt", "x\ny").string();
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(first));
  EXPECT_EQ(stream.ReadLine(), std::optional<std::string>("a"));
  EXPECT_FALSE(stream.OpenTextFileForReading(second));
  EXPECT_FALSE(stream.OpenTextFileForReading(first));
  EXPECT_EQ(stream.Path(), first);
  EXPECT_EQ(stream.Size(), 5);
  EXPECT_EQ(stream.CurrentPosition(), 2);
  EXPECT_EQ(stream.IndexNextBufferLine(), 1);
  EXPECT_EQ(ReadRest(stream), (std::vector<std::string>{"b", "c"}));
}

TEST(FastTextStream, DestroyingTheStreamClosesTheFile) {
  // More opens than the process may hold files at once: each must be closed.
  TempFolder folder;
  const auto path = folder.Write("f.txt", "1\n").string();
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  rlimit lowered = saved;
  lowered.rlim_cur = std::min<rlim_t>(saved.rlim_cur, 128);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
  int opened = 0;
  for (int i = 0; i < 1000; ++i) {
    FastTextStream stream;
    if (!stream.OpenTextFileForReading(path)) break;
    ++opened;
  }
  setrlimit(RLIMIT_NOFILE, &saved);
  EXPECT_EQ(opened, 1000);
}

// Lines of 8 bytes, "L" and five digits and CR LF, after a prefix.
std::string NumberedLines(const std::string& prefix, int count) {
  std::string bytes = prefix;
  char line[16];
  for (int i = 0; i < count; ++i) {
    std::snprintf(line, sizeof line, "L%05d\r\n", i);
    bytes += line;
  }
  return bytes;
}

TEST(FastTextStream, LineCrossingTheBlockEdgeIsTwoEntries) {
  // "x\n" then 8000 numbered lines: 64,002 bytes. Line 7874 starts at byte
  // 62,994, so the first block ends with "L07874" and the second starts "\r\n".
  TempFolder folder;
  const std::string bytes = NumberedLines("x\n", 8000);
  ASSERT_EQ(bytes.size(), 64002u);
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(folder.Write("big.txt", bytes).string()));
  EXPECT_EQ(stream.RealFilePosition(), FastTextStream::BlockSize);
  EXPECT_EQ(stream.NumberOfBufferLines(), 7875);
  EXPECT_EQ(stream.getBufferLine(0), "x");
  EXPECT_EQ(stream.getBufferLine(7874), "L07873\r");
  EXPECT_EQ(stream.getBufferLine(7875), "L07874");
  EXPECT_EQ(stream.getBufferLine(7876), kOut);

  EXPECT_EQ(stream.ReadLine(), std::optional<std::string>("x"));
  for (int i = 0; i < 7874; ++i) ASSERT_TRUE(stream.ReadLine().has_value());
  EXPECT_EQ(stream.ReadLine(), std::optional<std::string>("L07874"));
  // Each entry counted one byte for its line feed, the block's last one too.
  EXPECT_EQ(stream.CurrentPosition(), 63001);
  EXPECT_EQ(stream.IndexNextBufferLine(), 7876);
  EXPECT_EQ(stream.RealFilePosition(), FastTextStream::BlockSize);

  // The next ReadLine loads the second block: its first entry is the CR that
  // ended line 7874, and ReadLine drops it.
  EXPECT_EQ(stream.ReadLine(), std::optional<std::string>(""));
  EXPECT_EQ(stream.RealFilePosition(), 64002);
  EXPECT_EQ(stream.NumberOfBufferLines(), 126);
  EXPECT_EQ(stream.IndexNextBufferLine(), 1);
  EXPECT_EQ(stream.getBufferLine(0), "\r");
  EXPECT_EQ(stream.getBufferLine(1), "L07875\r");
  EXPECT_EQ(stream.getBufferLine(126), "");

  const auto rest = ReadRest(stream);
  ASSERT_EQ(rest.size(), 126u);
  EXPECT_EQ(rest.front(), "L07875");
  EXPECT_EQ(rest[124], "L07999");
  EXPECT_EQ(rest.back(), "");
  EXPECT_TRUE(stream.AtEndOfFile());
  EXPECT_EQ(stream.CurrentPosition(), 64004);
}

TEST(FastTextStream, FileThatShrinksWhileReadStillEnds) {
  TempFolder folder;
  const auto path = folder.Write("shrinks.txt", NumberedLines("", 8000)).string();
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(path));
  std::filesystem::resize_file(path, 100);
  const auto lines = ReadRest(stream);
  // The first block was read whole; the second has no bytes left to give.
  EXPECT_EQ(lines.size(), 7876u);
  EXPECT_TRUE(stream.AtEndOfFile());
  EXPECT_EQ(stream.ReadLine(), std::nullopt);
}

TEST(FastTextStream, BlockEdges) {
  struct Case {
    const char* label;
    std::string bytes;
    int32_t firstBlockHighest;                 // NumberOfBufferLines of block 1
    std::vector<std::string> linesAtEdge;      // ReadLine results around the edge
    size_t edgeStart;                          // index of linesAtEdge[0] among all lines
    size_t totalLines;
  };
  const std::string longLine(63000, 'a');
  const std::vector<Case> cases = {
      // The block's last byte is a line feed: the block ends with an empty
      // entry, and the next block starts at a fresh line.
      {"line feed is the block's last byte", NumberedLines("", 7900), 7875, {"L07874", "", "L07875"}, 7874, 7902},
      // Exactly one block: no second read, the end comes after the empty entry.
      {"file of exactly one block", NumberedLines("", 7875), 7875, {"L07874", ""}, 7874, 7876},
      // A line longer than a block is cut at the edge.
      {"line longer than a block", longLine + "bbb\nc", 0, {longLine, "bbb", "c"}, 0, 3},
  };
  TempFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    FastTextStream stream;
    ASSERT_TRUE(stream.OpenTextFileForReading(folder.Write("edge.txt", c.bytes).string()));
    EXPECT_EQ(stream.NumberOfBufferLines(), c.firstBlockHighest);
    const auto lines = ReadRest(stream);
    ASSERT_EQ(lines.size(), c.totalLines);
    for (size_t i = 0; i < c.linesAtEdge.size(); ++i) {
      EXPECT_EQ(lines[c.edgeStart + i], c.linesAtEdge[i]) << "line " << c.edgeStart + i;
    }
    EXPECT_TRUE(stream.AtEndOfFile());
    EXPECT_EQ(stream.RealFilePosition(), static_cast<int32_t>(c.bytes.size()));
  }
}

TEST(FastTextStream, SkipMovesAndLoadsABlock) {
  // 7 bytes: "a" CR LF "b" CR LF "c".
  const std::string bytes = "a\r\nb\r\nc";
  struct Case {
    const char* label;
    bool readFirst;  // one ReadLine before the Skip, so CurrentPosition is 3
    int32_t offset;
    int16_t origin;
    int32_t position;
    std::vector<std::string> entries;
    std::optional<std::string> next;
  };
  const std::vector<Case> cases = {
      {"absolute", false, 3, 0, 3, {"b\r", "c"}, "b"},
      {"any other origin is absolute", false, 3, 9, 3, {"b\r", "c"}, "b"},
      {"from the current position", true, 2, 1, 5, {"", "c"}, ""},
      {"back from the current position", true, -3, 1, 0, {"a\r", "b\r", "c"}, "a"},
      {"back from the end", false, 1, 2, 6, {"c"}, "c"},
      {"the whole size back from the end", true, 7, 2, 0, {"a\r", "b\r", "c"}, "a"},
  };
  TempFolder folder;
  const auto path = folder.Write("skip.txt", bytes).string();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    FastTextStream stream;
    ASSERT_TRUE(stream.OpenTextFileForReading(path));
    if (c.readFirst) {
      ASSERT_EQ(stream.ReadLine(), std::optional<std::string>("a"));
    }
    stream.Skip(c.offset, c.origin);
    EXPECT_EQ(stream.CurrentPosition(), c.position);
    EXPECT_EQ(stream.RealFilePosition(), 7);
    EXPECT_EQ(stream.IndexNextBufferLine(), 0);
    EXPECT_FALSE(stream.AtEndOfFile());
    EXPECT_EQ(Entries(stream), c.entries);
    EXPECT_EQ(stream.ReadLine(), c.next);
  }
}

TEST(FastTextStream, SkipOutsideTheFileDoesNothing) {
  const std::string bytes = "a\r\nb\r\nc";
  struct Case {
    const char* label;
    int32_t offset;
    int16_t origin;
  };
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  const std::vector<Case> cases = {
      {"before the start", -1, 0},  {"past the end", 8, 0},          {"past the end from here", 5, 1},
      {"before the start from here", -4, 1}, {"past the end from the end", -1, 2}, {"before the start from the end", 8, 2},
      {"huge from here", kMax, 1},  {"most negative from here", kMin, 1}, {"most negative from the end", kMin, 2},
      {"huge from the end", kMax, 2},
  };
  TempFolder folder;
  const auto path = folder.Write("skip.txt", bytes).string();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    FastTextStream stream;
    ASSERT_TRUE(stream.OpenTextFileForReading(path));
    ASSERT_EQ(stream.ReadLine(), std::optional<std::string>("a"));
    stream.Skip(c.offset, c.origin);
    EXPECT_EQ(stream.CurrentPosition(), 3);
    EXPECT_EQ(stream.IndexNextBufferLine(), 1);
    EXPECT_EQ(stream.NumberOfBufferLines(), 2);
    EXPECT_FALSE(stream.AtEndOfFile());
    EXPECT_EQ(stream.ReadLine(), std::optional<std::string>("b"));
  }
}

TEST(FastTextStream, SkipToTheEndAndBackAgain) {
  TempFolder folder;
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(folder.Write("s.txt", "a\nb").string()));
  stream.Skip(0, 2);
  EXPECT_EQ(stream.CurrentPosition(), 3);
  EXPECT_TRUE(stream.AtEndOfFile());
  EXPECT_EQ(stream.ReadLine(), std::nullopt);

  // Bytes are left to read from the start, so the end is no longer reached.
  stream.Skip(0, 0);
  EXPECT_FALSE(stream.AtEndOfFile());
  EXPECT_EQ(ReadRest(stream), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(stream.AtEndOfFile());
}

TEST(FastTextStream, SkipIntoALargeFileLoadsAFullBlockFromThere) {
  TempFolder folder;
  const std::string bytes = NumberedLines("x\n", 16000);  // 128,002 bytes
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(folder.Write("big.txt", bytes).string()));
  stream.Skip(2 + 8 * 100, 0);  // the start of line 100
  EXPECT_EQ(stream.RealFilePosition(), 802 + FastTextStream::BlockSize);
  EXPECT_EQ(stream.getBufferLine(0), "L00100\r");
  // 63,000 bytes from a line start hold 7,875 whole lines and an empty tail.
  EXPECT_EQ(stream.NumberOfBufferLines(), 7875);
  EXPECT_EQ(stream.getBufferLine(7875), "");
  const auto rest = ReadRest(stream);
  // Each of the three blocks from there ends on a line feed, so each adds an
  // empty entry after its last line.
  ASSERT_EQ(rest.size(), 15900u + 3u);
  EXPECT_EQ(rest.front(), "L00100");
  EXPECT_EQ(rest[rest.size() - 2], "L15999");
}

}  // namespace
}  // namespace morvex
