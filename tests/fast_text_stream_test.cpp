// The block reader of text files: entries cut at line feeds, the edges of
// blocks in large files, and the opens it refuses.
#include "files/fast_text_stream.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <tuple>

#include "test_support.hpp"

namespace morvex {
namespace {

using Lines = std::vector<std::string>;
using test::TempFolder;
const std::string kOut(FastTextStream::LineOutOfBoundsText);

Lines ReadRest(FastTextStream& stream) {
  Lines lines;
  while (auto line = stream.ReadLine()) {
    lines.push_back(*line);
    if (lines.size() > 200000) break;  // a reader that never ends fails below, not here
  }
  return lines;
}

Lines Entries(const FastTextStream& stream) {
  Lines entries;
  for (int32_t i = 0; i <= stream.NumberOfBufferLines(); ++i) entries.push_back(stream.getBufferLine(int16_t(i)));
  return entries;
}

// Lines of 8 bytes, "L" and five digits and CR LF, after a prefix.
std::string NumberedLines(const std::string& prefix, int count) {
  std::string bytes = prefix;
  char line[16];
  for (int i = 0; i < count; ++i) bytes += std::string(line, size_t(std::snprintf(line, sizeof line, "L%05d\r\n", i)));
  return bytes;
}

TEST(FastTextStream, SmallFilesSplitAtLineFeeds) {
  // The bytes, the entries, and the lines.
  const std::tuple<std::string, Lines, Lines> cases[] = {
      {"a\r\nb\r\n", {"a\r", "b\r", ""}, {"a", "b", ""}},
      {"a\nb\r\nc\r", {"a", "b\r", "c\r"}, {"a", "b", "c"}},
      {"a\r\r\n", {"a\r\r", ""}, {"a\r", ""}},
      {"\n\n", {"", "", ""}, {"", "", ""}},
      {std::string("x\0y\xff\n\t", 6), {std::string("x\0y\xff", 4), "\t"}, {std::string("x\0y\xff", 4), "\t"}},
  };
  TempFolder folder;
  for (const auto& [bytes, entries, lines] : cases) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    const auto path = folder.Write("case.txt", bytes).string();
    FastTextStream stream;
    ASSERT_TRUE(stream.OpenTextFileForReading(path));
    EXPECT_EQ(Entries(stream), entries);
    for (int16_t outside : {int16_t(-1), int16_t(entries.size()), std::numeric_limits<int16_t>::max()}) {
      EXPECT_EQ(stream.getBufferLine(outside), kOut) << outside;
    }
    EXPECT_EQ(ReadRest(stream), lines);
    EXPECT_TRUE(stream.AtEndOfFile());
    EXPECT_EQ(Entries(stream), entries) << "the end leaves the last block's entries";
  }
}

// An empty file has no entries; a refused open leaves the stream without a
// file and does not use up the one open the object allows.
TEST(FastTextStream, EmptyAndRefusedFilesHaveNoEntries) {
  TempFolder folder;
  const auto real = folder.Write("real.txt", "1+1\n").string();
  std::filesystem::create_directory(folder.path() / "sub.txt");
  FastTextStream empty;
  ASSERT_TRUE(empty.OpenTextFileForReading(folder.Write("empty.txt", "").string()));
  EXPECT_TRUE(empty.AtEndOfFile());
  EXPECT_EQ(empty.ReadLine(), std::nullopt);
  EXPECT_EQ(test::FailureCode([&] { (void)empty.getBufferLine(0); }), failure_code::SubscriptOutOfRange);
  for (const std::string& path : {folder.str() + "/missing.txt", folder.str() + "/sub.txt", std::string(),
                                  real + std::string("\0.bak", 5)}) {
    FastTextStream stream;
    EXPECT_FALSE(stream.OpenTextFileForReading(path));
    EXPECT_EQ(test::FailureCode([&] { (void)stream.ReadLine(); }), failure_code::SubscriptOutOfRange);
    ASSERT_TRUE(stream.OpenTextFileForReading(real));
    EXPECT_EQ(stream.ReadLine(), std::optional<std::string>("1+1"));
    EXPECT_FALSE(stream.OpenTextFileForReading(real));
    EXPECT_EQ(ReadRest(stream), Lines{""}) << "a second open changes nothing";
  }
}

// More opens than the process may hold files at once: each must be closed.
TEST(FastTextStream, DestroyingTheStreamClosesTheFile) {
  TempFolder folder;
  const auto path = folder.Write("f.txt", "1\n").string();
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  rlimit lowered = saved;
  lowered.rlim_cur = std::min<rlim_t>(saved.rlim_cur, 128);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
  int opened = 0;
  while (opened < 1000 && FastTextStream().OpenTextFileForReading(path)) ++opened;
  setrlimit(RLIMIT_NOFILE, &saved);
  EXPECT_EQ(opened, 1000);
}

// Each block is cut on its own: a line across the edge is two entries.
TEST(FastTextStream, BlockEdges) {
  // The bytes; NumberOfBufferLines of block 1; ReadLine's results from line
  // `edgeStart` on; the number of lines.
  const std::string longLine(63000, 'a');
  const std::tuple<std::string, int32_t, Lines, size_t, size_t> cases[] = {
      // Line 7874 starts at byte 62,994: the second block starts with its CR LF.
      {NumberedLines("x\n", 8000), 7875, {"L07874", "", "L07875"}, 7875, 8003},
      // The block ends on a line feed: an empty entry, then a fresh line.
      {NumberedLines("", 7900), 7875, {"L07874", "", "L07875"}, 7874, 7902},
      {NumberedLines("", 7875), 7875, {"L07874", ""}, 7874, 7876},  // exactly one block
      {longLine + "bbb\nc", 0, {longLine, "bbb", "c"}, 0, 3},      // a line longer than a block
  };
  TempFolder folder;
  for (const auto& [bytes, firstBlockHighest, linesAtEdge, edgeStart, totalLines] : cases) {
    SCOPED_TRACE(totalLines);
    FastTextStream stream;
    ASSERT_TRUE(stream.OpenTextFileForReading(folder.Write("edge.txt", bytes).string()));
    EXPECT_EQ(stream.NumberOfBufferLines(), firstBlockHighest);
    const Lines lines = ReadRest(stream);
    ASSERT_EQ(lines.size(), totalLines);
    EXPECT_EQ(Lines(lines.begin() + long(edgeStart), lines.begin() + long(edgeStart + linesAtEdge.size())), linesAtEdge);
  }
  // A file that shrinks while read still ends: the first block was read whole, the second gives nothing.
  const auto path = folder.Write("shrinks.txt", NumberedLines("", 8000)).string();
  FastTextStream stream;
  ASSERT_TRUE(stream.OpenTextFileForReading(path));
  std::filesystem::resize_file(path, 100);
  EXPECT_EQ(ReadRest(stream).size(), 7876u);
  EXPECT_TRUE(stream.AtEndOfFile());
}

}  // namespace
}  // namespace morvex
