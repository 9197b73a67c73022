// A watch on a folder, so that a line can tell without asking the file system
// whether anything in the program's folder changed since the last line.
//
// On Linux each thread keeps one inotify instance with a watch per folder it
// was asked about (up to a small bound). FolderGeneration reads the pending
// notifications without blocking and moves the folder's generation on when any
// arrived: a file created, written, removed, renamed or given other attributes
// before the call shows in the generation it returns. Whether any arrived is
// told in memory the kernel shares with the thread (ReadableSignal), so a
// question when nothing changed costs no system call; where that is not
// available, it costs one (the count of pending bytes).
// Elsewhere, or when the folder can't be watched, the answer is 0: "not
// watched", and callers look at the file system as they would without a watch.
//
// What a watch can't see: a change behind a symbolic link that stands in the
// folder (its target's contents), and a change of the path above the folder
// (a parent folder renamed or a link along the path retargeted). Callers that
// cache what they read don't cache what lies behind a symbolic link.
#pragma once

#include <cstdint>
#include <string>

namespace morvex::platform {

// The folder's generation: non-zero while watched, a new value after every
// change seen; 0 when the folder is not watched.
uint64_t FolderGeneration(const std::string& folder);

// Turns the watches of the calling thread off (every folder then answers 0)
// or on again; they are on unless turned off.
void WatchFolders(bool on);

// Marks the work of one line: the notifications are read once when it begins,
// and the questions of the line, nested lines aside, take the generations as
// they were then. A line thus costs no system call for its folder checks while
// nothing changed (one without the shared-memory signal); outside a line every
// question reads the notifications itself.
class FolderWatchLine {
 public:
  FolderWatchLine();
  ~FolderWatchLine();
  FolderWatchLine(const FolderWatchLine&) = delete;
  FolderWatchLine& operator=(const FolderWatchLine&) = delete;
};

}  // namespace morvex::platform
