#include "platform/file_system.hpp"
#include "platform/folder_watch.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "test_support.hpp"

namespace morvex::platform {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

std::vector<std::string> SortedNames(const std::vector<FolderFile>& files) {
  std::vector<std::string> names;
  for (const auto& file : files) names.push_back(file.name);
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> Names(const std::string& folder) { return SortedNames(ListFolderFiles(folder)); }

TEST(FileSystem, FileExistsOnlyForRegularFiles) {
  TempFolder folder;
  const auto file = folder.Write("a.txt", "1").string();
  fs::create_directory(folder.path() / "sub");
  fs::create_symlink(file, folder.path() / "link.txt");
  fs::create_symlink(folder.path() / "gone.txt", folder.path() / "broken.txt");
  struct Case {
    const char* label;
    std::string path;
    bool exists;
  };
  const std::vector<Case> cases = {
      {"regular file", file, true},
      {"link to a file", (folder.path() / "link.txt").string(), true},
      {"broken link", (folder.path() / "broken.txt").string(), false},
      {"folder", (folder.path() / "sub").string(), false},
      {"missing", (folder.path() / "missing.txt").string(), false},
      {"empty path", "", false},
      {"NUL cuts the name to an existing file", file + std::string("\0x", 2), false},
  };
  for (const auto& c : cases) EXPECT_EQ(FileExists(c.path), c.exists) << c.label;
}

TEST(FileSystem, JoinPathAddsOneSeparator) {
  struct Case {
    std::string folder, name, joined;
  };
  const std::vector<Case> cases = {
      {"dir", "StartUp.txt", "dir/StartUp.txt"},
      {"dir/", "StartUp.txt", "dir/StartUp.txt"},
      {"/", "x.txt", "/x.txt"},
      {"", "x.txt", "x.txt"},
      {"/a/b", "", "/a/b/"},
  };
  for (const auto& c : cases) EXPECT_EQ(JoinPath(c.folder, c.name), c.joined) << c.folder << " + " << c.name;
}

TEST(FileSystem, ExecutableFolderHoldsTheRunningProgram) {
  const std::string folder = ExecutableFolder();
  const fs::path path(folder);
  EXPECT_TRUE(path.is_absolute()) << folder;
  ASSERT_TRUE(fs::is_directory(path)) << folder;
  const bool holdsProgram = std::any_of(fs::directory_iterator(path), fs::directory_iterator(), [](const auto& entry) {
    std::error_code ec;
    return entry.is_regular_file() && fs::equivalent(entry.path(), "/proc/self/exe", ec);
  });
  EXPECT_TRUE(holdsProgram) << folder;
  EXPECT_EQ(ExecutableFolder(), folder);
}

TEST(FileSystem, ListsRegularFilesButNoSubfolders) {
  TempFolder folder;
  folder.Write("a.txt", "1");
  folder.Write("B.TXT", "2");
  folder.Write("notes", "");
  folder.Write(".hidden", "");
  fs::create_directory(folder.path() / "sub");
  fs::create_directory(folder.path() / "dir.txt");
  folder.Write("sub/inner.txt", "3");
  fs::create_symlink(folder.path() / "a.txt", folder.path() / "link.txt");
  fs::create_symlink(folder.path() / "sub", folder.path() / "linkdir.txt");

  for (const std::string& given : {folder.str(), folder.str() + "/"}) {
    SCOPED_TRACE(given);
    const auto& files = ListFolderFiles(given);
    EXPECT_EQ(SortedNames(files), (std::vector<std::string>{".hidden", "B.TXT", "a.txt", "link.txt", "notes"}));
    for (const auto& file : files) {
      EXPECT_EQ(file.fullPath, folder.str() + "/" + file.name);
      EXPECT_TRUE(FileExists(file.fullPath)) << file.fullPath;
    }
  }
}

TEST(FileSystem, FoldersThatCannotBeListedGiveNoFiles) {
  TempFolder folder;
  const auto file = folder.Write("plain.txt", "x").string();
  for (const std::string& path : {(folder.path() / "missing").string(), file, std::string(),
                                  folder.str() + std::string("\0/x", 3)}) {
    EXPECT_TRUE(ListFolderFiles(path).empty()) << path;
  }
}

TEST(FileSystem, ChangesShowAtTheNextCall) {
  TempFolder folder;
  const fs::path root = folder.path();
  struct Step {
    const char* label;
    std::function<void()> change;
    std::vector<std::string> names;
  };
  const std::vector<Step> steps = {
      {"first listing", [] {}, {}},
      {"file added", [&] { folder.Write("one.txt", "1"); }, {"one.txt"}},
      {"second file added", [&] { folder.Write("two.txt", "2"); }, {"one.txt", "two.txt"}},
      {"file renamed", [&] { fs::rename(root / "one.txt", root / "three.txt"); }, {"three.txt", "two.txt"}},
      {"file removed", [&] { fs::remove(root / "two.txt"); }, {"three.txt"}},
      {"subfolder added", [&] { fs::create_directory(root / "four.txt"); }, {"three.txt"}},
      {"two changes at once",
       [&] {
         folder.Write("five.txt", "5");
         fs::remove(root / "three.txt");
       },
       {"five.txt"}},
      {"nothing changed", [] {}, {"five.txt"}},
  };
  for (const auto& step : steps) {
    step.change();
    EXPECT_EQ(Names(folder.str()), step.names) << step.label;
  }
}

TEST(FileSystem, FolderThatAppearsOrGoesIsSeenAtTheNextCall) {
  TempFolder folder;
  const std::string inner = (folder.path() / "later").string();
  EXPECT_TRUE(ListFolderFiles(inner).empty());
  fs::create_directory(inner);
  folder.Write("later/x.txt", "1");
  EXPECT_EQ(Names(inner), std::vector<std::string>{"x.txt"});
  fs::remove_all(inner);
  EXPECT_TRUE(ListFolderFiles(inner).empty());
}

// The folder's time decides whether the last listing is reused. A change that
// leaves the time as it was is only seen while the time is recent.
// The folder checks without a watch, on the modification time alone.
struct WatchOff {
  WatchOff() { WatchFolders(false); }
  ~WatchOff() { WatchFolders(true); }
};

TEST(FileSystem, ListingIsReusedOnlyWhileTheFolderTimeIsOldAndUnchanged) {
  const WatchOff unwatched;
  TempFolder folder;
  const fs::path root = folder.path();
  folder.Write("a.txt", "1");
  const auto now = fs::file_time_type::clock::now();
  struct Case {
    const char* label;
    fs::file_time_type folderTime;
    bool newFileSeen;
  };
  const std::vector<Case> cases = {
      // An old, unchanged time: the cached listing is given, no new listing.
      {"time an hour old", now - std::chrono::hours(1), false},
      // A time within the tick of the listing: a change may hide in it.
      {"time of now", now, true},
      {"time in the future", now + std::chrono::hours(1), true},
  };
  int n = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const std::string added = "new" + std::to_string(n++) + ".txt";
    fs::last_write_time(root, c.folderTime);
    const auto before = Names(folder.str());
    folder.Write(added, "2");
    fs::last_write_time(root, c.folderTime);
    const auto after = Names(folder.str());
    EXPECT_EQ(std::count(after.begin(), after.end(), added), c.newFileSeen ? 1 : 0);
    EXPECT_EQ(after.size(), before.size() + (c.newFileSeen ? 1 : 0));
    // Any change of the time brings the listing up to date.
    fs::last_write_time(root, now - std::chrono::hours(2));
    const auto current = Names(folder.str());
    EXPECT_EQ(std::count(current.begin(), current.end(), added), 1);
  }
}

// Watched, every change shows at the next question, whatever the folder's
// time says, and a symbolic link's target is asked about each time.
TEST(FileSystem, WatchedFolderShowsEveryChangeAtTheNextCall) {
  TempFolder folder;
  TempFolder elsewhere;
  const fs::path root = folder.path();
  const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  ASSERT_NE(FolderGeneration(folder.str()), 0u) << "the folder is watched on this system";
  struct Step {
    const char* label;
    std::function<void()> change;
    std::vector<std::string> names;
    bool scriptExists;
  };
  const std::vector<Step> steps = {
      {"empty", [] {}, {}, false},
      {"created", [&] { folder.Write("vbscript.txt", "x"); }, {"vbscript.txt"}, true},
      {"unchanged", [] {}, {"vbscript.txt"}, true},
      {"another", [&] { folder.Write("a.txt", "1"); }, {"a.txt", "vbscript.txt"}, true},
      {"removed", [&] { fs::remove(root / "vbscript.txt"); }, {"a.txt"}, false},
      {"renamed in", [&] { fs::rename(root / "a.txt", root / "vbscript.txt"); }, {"vbscript.txt"}, true},
      {"linked out", [&] {
         fs::remove(root / "vbscript.txt");
         fs::create_symlink(elsewhere.Write("target.txt", "t"), root / "vbscript.txt");
       }, {"vbscript.txt"}, true},
      {"target gone", [&] { fs::remove(elsewhere.path() / "target.txt"); }, {}, false},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.label);
    step.change();
    fs::last_write_time(root, old);  // the folder's time says nothing
    EXPECT_EQ(Names(folder.str()), step.names);
    EXPECT_EQ(FolderHasFile(folder.str(), "vbscript.txt"), step.scriptExists);
  }
}

// The answers are kept while the folder is unchanged, but not for a symbolic
// link: its target's removal outside the folder shows at the next question.
TEST(FileSystem, KeptAnswersLeaveLinksOut) {
  TempFolder folder;
  TempFolder elsewhere;
  ASSERT_NE(FolderGeneration(folder.str()), 0u) << "the folder is watched on this system";
  fs::create_symlink(elsewhere.Write("target.txt", "t"), folder.path() / "vbscript.txt");
  EXPECT_TRUE(FolderHasFile(folder.str(), "vbscript.txt"));
  fs::remove(elsewhere.path() / "target.txt");
  EXPECT_FALSE(FolderHasFile(folder.str(), "vbscript.txt"));
  EXPECT_FALSE(FolderHasFile(folder.str(), "a.txt"));
  folder.Write("a.txt", "1");
  EXPECT_TRUE(FolderHasFile(folder.str(), "a.txt"));
}

// Within one line the notifications are read once, at its start.
TEST(FileSystem, ALineReadsTheWatchOnce) {
  TempFolder folder;
  const uint64_t before = FolderGeneration(folder.str());
  {
    const FolderWatchLine line;
    folder.Write("a.txt", "1");
    EXPECT_EQ(FolderGeneration(folder.str()), before);
    const FolderWatchLine nested;
    EXPECT_NE(FolderGeneration(folder.str()), before);
  }
  EXPECT_NE(FolderGeneration(folder.str()), before);
}

}  // namespace
}  // namespace morvex::platform
