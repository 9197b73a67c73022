// The file-system operations the calculator needs from its platform: the test
// that a file exists, the program's folder, joining a folder and a name, and the
// listing of a folder's files in which formula files are looked for.
//
// None of these fails: a path that can't be examined is "no file", a folder
// that can't be listed has no files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace morvex::platform {

// True if `path` names a regular file (after following symbolic links).
bool FileExists(const std::string& path);

// `folder` and `name` joined by one separator; no separator is added when the
// folder is empty or already ends in one. Plain text joining: nothing is
// resolved or normalised.
std::string JoinPath(std::string_view folder, std::string_view name);

// The folder of the running program, from /proc/self/exe where the system has
// it, else the current folder at the first call, else ".". Found once per
// process.
std::string ExecutableFolder();

// One regular file of a folder.
struct FolderFile {
  std::string name;      // the file's name with its extension
  std::string fullPath;  // JoinPath(folder, name)
};

// Whether `name` in `folder` is a regular file, as FileExists of the joined
// path. While the folder is watched (FolderGeneration) the answer is kept until
// the folder changes, so that asking costs no system call; the answer for a
// symbolic link is never kept.
bool FolderHasFile(const std::string& folder, std::string_view name);

// The regular files of `folder` (no subfolders, nothing below them), in the
// order the file system enumerates them. A missing or unreadable folder gives
// an empty list; an entry that can't be examined is left out.
//
// The listing is cached per thread and per folder. While the folder is watched
// (FolderGeneration) it is listed again only after the watch saw a change, so
// a call costs no status query; a folder that holds a symbolic link is listed
// every time. Unwatched, the folder is listed again only when its modification
// time has changed since, one status query of the folder in the common case;
// because a folder's time has a coarse tick, a listing taken while the
// folder's time was within a few seconds of the clock is not trusted, and the
// next call lists again: two changes inside one tick are never missed. Either
// way a file added, removed or renamed shows at the very next call.
//
// The reference stays valid until the next call of ListFolderFiles on the same
// thread; copy what must last longer.
const std::vector<FolderFile>& ListFolderFiles(const std::string& folder);

// A number of the calling thread that moves on whenever ListFolderFiles gives
// out a listing it did not give out unchanged the time before (for any
// folder). What a caller derives from a listing stays good while the number,
// read after the call, is the one it was derived under.
uint64_t ListingVersion();

// The path of the file `name` in `folder`: the exact spelling when it exists,
// else the first listed file whose name `sameName` takes for it (the caller's
// rule of case), else the exact path.
using SameName = bool (*)(std::string_view listed, std::string_view wanted);
std::string FindFile(const std::string& folder, std::string_view name, SameName sameName);

}  // namespace morvex::platform
