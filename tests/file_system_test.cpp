// The program folder as the calculator sees it: which entries are files, the
// listing and when it is read again (watched, or by the folder's time), and
// the program's own folder.
#include "platform/file_system.hpp"
#include "platform/folder_watch.hpp"
#include "platform/readable_signal.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>

#include "test_support.hpp"

namespace morvex::platform {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;
using test::TempFolder;

Names Listed(const std::string& folder) {
  Names names;
  for (const FolderFile& file : ListFolderFiles(folder)) names.push_back(file.name);
  std::sort(names.begin(), names.end());
  return names;
}

TEST(FileSystem, OnlyRegularFilesAndLinksToThemAreFiles) {
  TempFolder folder;
  const fs::path root = folder.path();
  const std::string file = folder.Write("a.txt", "1").string(), dir = folder.str();
  folder.Write("B.TXT", "2");
  folder.Write(".hidden", "");
  fs::create_directory(root / "sub");
  folder.Write("sub/inner.txt", "3");
  fs::create_directory(root / "dir.txt");
  fs::create_symlink(file, root / "link.txt");
  fs::create_symlink(root / "sub", root / "linkdir.txt");
  fs::create_symlink(root / "gone.txt", root / "broken.txt");
  for (const std::string& given : {dir, dir + "/"}) {
    EXPECT_EQ(Listed(given), (Names{".hidden", "B.TXT", "a.txt", "link.txt"})) << given;
    for (const FolderFile& listed : ListFolderFiles(given)) EXPECT_EQ(listed.fullPath, dir + "/" + listed.name);
  }
  const std::pair<std::string, bool> exists[] = {{file, true},           {dir + "/link.txt", true},
                                                 {dir + "/broken.txt", false}, {dir + "/sub", false},
                                                 {"", false},            {file + std::string("\0x", 2), false}};
  for (const auto& [path, is] : exists) EXPECT_EQ(FileExists(path), is) << path;
  for (const std::string& path : {dir + "/missing", file, std::string(), dir + std::string("\0/x", 3)}) {
    EXPECT_EQ(Listed(path), Names{}) << path;
  }
  // A folder that appears and goes.
  const std::string later = dir + "/later";
  EXPECT_EQ(Listed(later), Names{});
  fs::create_directory(later);
  folder.Write("later/x.txt", "1");
  EXPECT_EQ(Listed(later), Names{"x.txt"});
  fs::remove_all(later);
  EXPECT_EQ(Listed(later), Names{});

  const fs::path program(ExecutableFolder());
  std::error_code ec;
  EXPECT_TRUE(program.is_absolute() && fs::equivalent(fs::read_symlink("/proc/self/exe").parent_path(), program, ec))
      << program;
}

// Unwatched, the folder's time decides whether the last listing is reused: a
// change that leaves the time as it was is seen only while the time is recent.
TEST(FileSystem, UnwatchedListingIsReusedOnlyWhileTheFolderTimeIsOldAndUnchanged) {
  struct WatchOff {
    WatchOff() { WatchFolders(false); }
    ~WatchOff() { WatchFolders(true); }
  } unwatched;
  TempFolder folder;
  const fs::path root = folder.path();
  const auto now = fs::file_time_type::clock::now();
  const std::pair<fs::file_time_type, bool> cases[] = {
      {now - std::chrono::hours(1), false}, {now, true}, {now + std::chrono::hours(1), true}};
  int n = 0;
  for (const auto& [folderTime, newFileSeen] : cases) {
    const std::string added = "new" + std::to_string(n++) + ".txt";
    fs::last_write_time(root, folderTime);
    Listed(folder.str());
    folder.Write(added, "2");
    fs::last_write_time(root, folderTime);
    Names after = Listed(folder.str());
    EXPECT_EQ(std::count(after.begin(), after.end(), added), newFileSeen ? 1 : 0) << n;
    fs::last_write_time(root, now - std::chrono::hours(2));  // any change of the time reads anew
    after = Listed(folder.str());
    EXPECT_EQ(std::count(after.begin(), after.end(), added), 1) << n;
  }
}

// Watched, every change in the folder shows at the next question, also behind
// a symbolic link, which lies outside the watch. Within one line the
// notifications are read once, at its start.
TEST(FileSystem, WatchedFolderShowsEveryChangeAtTheNextCall) {
  TempFolder folder, elsewhere;
  const fs::path root = folder.path();
  ASSERT_NE(FolderGeneration(folder.str()), 0u) << "the folder is watched on this system";
  const std::pair<std::function<void()>, Names> steps[] = {
      {[] {}, {}},
      {[&] { folder.Write("vbscript.txt", "x"); }, {"vbscript.txt"}},
      {[&] { folder.Write("a.txt", "1"); }, {"a.txt", "vbscript.txt"}},
      {[&] { fs::remove(root / "vbscript.txt"); }, {"a.txt"}},
      {[&] { fs::rename(root / "a.txt", root / "vbscript.txt"); }, {"vbscript.txt"}},
      {[&] { fs::create_directory(root / "four.txt"); }, {"vbscript.txt"}},
      {[&] { folder.Write("b.txt", "5"), folder.Write("c.txt", "5"); }, {"b.txt", "c.txt", "vbscript.txt"}},
      {[&] { fs::remove(root / "vbscript.txt"), fs::create_symlink(elsewhere.Write("t.txt", "t"), root / "vbscript.txt"); },
       {"b.txt", "c.txt", "vbscript.txt"}},
      {[&] { fs::remove(elsewhere.path() / "t.txt"); }, {"b.txt", "c.txt"}},
  };
  int step = 0;
  for (const auto& [change, names] : steps) {
    change();
    EXPECT_EQ(Listed(folder.str()), names) << step;
    EXPECT_EQ(FolderHasFile(folder.str(), "vbscript.txt"), !names.empty() && names.back() == "vbscript.txt") << step++;
  }
  const uint64_t before = FolderGeneration(folder.str());
  const FolderWatchLine line;
  folder.Write("d.txt", "1");
  EXPECT_EQ(FolderGeneration(folder.str()), before);
  const FolderWatchLine nested;
  EXPECT_NE(FolderGeneration(folder.str()), before);
}

// Each wake-up of the descriptor is told once; more wake-ups than the ring
// holds are told too, and the signal stands again after them.
TEST(FileSystem, ReadableSignalTellsEachWakeUpOnce) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  char byte = 'x';
  const auto wake = [&](int times) {
    for (int k = 0; k < times; ++k) ASSERT_TRUE(write(ends[1], &byte, 1) == 1 && read(ends[0], &byte, 1) == 1);
  };
  {
    ReadableSignal signal(ends[0]);
    if (!signal.Armed()) GTEST_SKIP() << "no io_uring here: lines ask the descriptor instead";
    EXPECT_FALSE(signal.Arrived());
    for (const int times : {1, 2, 1, 40, 1}) {
      wake(times);
      EXPECT_TRUE(signal.Arrived()) << times;
      EXPECT_FALSE(signal.Arrived()) << times;
      EXPECT_TRUE(signal.Armed()) << times;
    }
  }
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace morvex::platform
